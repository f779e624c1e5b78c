"""counters.py - programs with counters: built, run, and what they have counted."""
import functools
import json
import os
import signal
import subprocess
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from counting.counts import Fault, add_counts, is_core, lines_of, without_braces

kTree = Path(__file__).resolve().parent.parent.parent
kBuild = kTree / "build" / "coverage"


@functools.cache
def texts_of(path):
    """The lines of this source, without the spaces around them."""
    return [line.strip() for line in (kTree / path).read_text().splitlines()]


def run(*command, cwd=kTree, variables=None):
    done = subprocess.run([str(word) for word in command], cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, errors="replace", env={**os.environ, **(variables or {})}, check=False)
    if done.returncode != 0:
        raise Fault(f"{command[0]} has failed:\n{done.stdout}")
    return done.stdout


def count(tests, variables_of=lambda test: None):
    """Builds and runs the test programs; their counts lie beside the objects."""
    run("cmake", "--preset", "coverage", "-DKV_TESTS=ON")
    run("cmake", "--build", "--preset", "coverage", "--target", *tests)
    for path in kBuild.rglob("*.gcda"):
        path.unlink()
    # A shell starts what runs in the background with these ignored, and tests of signals would inherit that.
    for ignored in (signal.SIGINT, signal.SIGHUP):
        signal.signal(ignored, signal.SIG_DFL)
    programs = {test: next(path for path in (kBuild / "tests").rglob(test) if path.is_file()) for test in tests}
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        list(pool.map(lambda test: run(programs[test], "--gtest_brief=1", cwd=programs[test].parent,
                                       variables=variables_of(test)), tests))


def read_counts(is_wanted=is_core):
    """What gcov says of every object, put together: of the sources that are wanted."""
    functions = {}
    gcov = ["gcov", "--branch-probabilities", "--json-format", "--stdout", "--relative-only", "--source-prefix", kTree]

    def reports(path):
        return [json.loads(line) for line in run(*gcov, path, cwd=path.parent).splitlines() if line.startswith("{")]

    with ThreadPoolExecutor(os.cpu_count()) as pool:
        for found in pool.map(reports, sorted(kBuild.rglob("*.gcda"))):
            for one in found:
                add_counts(functions, one, kTree, is_wanted)
    return without_braces(lines_of(functions), lambda path, line: texts_of(path)[line - 1])


def share(reached, all_of_them):
    return f"{reached} of {all_of_them} | {reached / max(1, all_of_them):.1%}"


def print_table(table):
    """What counts.shares has made."""
    print("| Folder | Lines | Share | Branches | Share |\n|---|---|---|---|---|")
    for folder, row in table.items():
        print(f"| {folder} | {share(row[0], row[1])} | {share(row[2], row[3])} |")
