"""sandbox.py - a copy of the tree in which mutants are built and tested, apart from the sources and other builds."""
import os
import resource
import shutil
import signal
import subprocess
import time
from pathlib import Path

kTree = Path(__file__).resolve().parent.parent.parent
kBase = kTree / "build" / "mutants"
kIdleSeconds = 30
kMemory = 6 << 30
kFileSize = 2 << 30


def wait_while_busy(running, patience, idle=kIdleSeconds):
    """The exit code; None when it takes longer than the patience, or has long used no processor: it waits for ever."""
    begin = since = time.monotonic()
    used = None
    while time.monotonic() - begin < patience:
        try:
            return running.wait(min(1, idle))
        except subprocess.TimeoutExpired:
            now = ticks_of(running.pid)
        if now != used:
            used, since = now, time.monotonic()
        elif time.monotonic() - since > idle:
            break
    return None


def ticks_of(process):
    """The processor time that it and the children it has waited for have used."""
    fields = Path(f"/proc/{process}/stat").read_text().rsplit(")", 1)[1].split()
    return sum(int(field) for field in fields[11:15])


class Fault(Exception):
    """What the user must know, in whole sentences."""


class Sandbox:
    """Files are copied only when they differ, so that the second run builds little."""

    def __init__(self, base=kBase):
        self.source, self.build, self.temp = base / "tree", base / "build", base / "tmp"
        self.limits = {}
        self.copy_tree()
        self.configure()

    def copy_tree(self):
        listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=kTree,
                                capture_output=True, check=True)
        for name in filter(None, listed.stdout.decode().split("\0")):
            there, here = kTree / name, self.source / name
            if not there.is_file() or (here.exists() and here.read_bytes() == there.read_bytes()):
                continue
            here.parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(there, here)

    def configure(self):
        # No warning may pass for a kill; no test program is run when it has just been linked.
        done = subprocess.run(
            ["cmake", "-G", "Ninja", "-S", self.source, "-B", self.build, "-DCMAKE_BUILD_TYPE=Release",
             "-DCMAKE_CXX_FLAGS=-w", "-DCMAKE_CXX_FLAGS_RELEASE=-O1", "-DKV_TESTS=ON",
             "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST"],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        if done.returncode != 0:
            raise Fault(f"The build of the mutants cannot be configured:\n{done.stdout}")

    def compile(self, target):
        """Whether it compiles, and what was printed."""
        done = subprocess.run(["ninja", "-C", self.build, "-j1", target], stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, check=False)
        return done.returncode == 0, done.stdout

    def program(self, target):
        return next(path for path in (self.build / "tests").rglob(target) if path.is_file() and os.access(path, os.X_OK))

    def measure(self, target):
        """Runs the tests of the unchanged tree, which must pass; what they take gives a mutant's limits."""
        compiled, printed = self.compile(target)
        if not compiled:
            raise Fault(f"{target} does not build:\n{printed}")
        self.limits[target] = (600, 600)
        before, begin = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic()
        if not self.passes(target):
            raise Fault(f"{target} fails without any mutant; see what it prints when it is run by hand.")
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        used = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
        self.limits[target] = (int(4 * used) + 5, int(8 * (time.monotonic() - begin)) + 40)
        return used

    def passes(self, target):
        """Whether the tests pass. One that takes far too long, all the memory or a crash is a failure."""
        seconds, patience = self.limits[target]
        shutil.rmtree(self.temp, ignore_errors=True)
        self.temp.mkdir(parents=True)

        def limit():
            resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds + 5))
            resource.setrlimit(resource.RLIMIT_AS, (kMemory, kMemory))
            resource.setrlimit(resource.RLIMIT_FSIZE, (kFileSize, kFileSize))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

        running = subprocess.Popen([self.program(target), "--gtest_fail_fast", "--gtest_brief=1"], cwd=self.temp,
                                   env={**os.environ, "TMPDIR": str(self.temp)}, stdin=subprocess.DEVNULL,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True,
                                   preexec_fn=limit)
        code = wait_while_busy(running, patience)
        try:
            os.killpg(running.pid, signal.SIGKILL)  # what a failed test has left running, too
        except ProcessLookupError:
            pass
        running.wait()
        return code == 0

    def put(self, mutant):
        """The source with this mutant in it."""
        path = self.source / mutant.path
        path.write_text(mutant.apply((kTree / mutant.path).read_text()))

    def restore(self, mutant):
        shutil.copyfile(kTree / mutant.path, self.source / mutant.path)
