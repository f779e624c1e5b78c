"""tree.py - this tree: where it is, which packages its benchmarks lack, and building it."""
import os
import subprocess
from pathlib import Path

kTree = Path(__file__).resolve().parent.parent.parent
kBuild = kTree / "build" / "release"
kKvbank = kBuild / "tools" / "kvbank" / "kvbank"
kPrograms = kBuild / "bench" / "compare"


class Fault(Exception):
    """What the user must know, in whole sentences."""


def packages(*groups):
    """The Debian packages of these groups of packaging/packages.txt."""
    lines = (kTree / "packaging" / "packages.txt").read_text().splitlines()
    pairs = [line.split(" ", 1) for line in lines if line and not line.startswith("#")]
    return [package for group, package in pairs if group in groups]


def versions(names):
    """The versions of these packages, by name; one that is not installed is left out."""
    done = subprocess.run(["dpkg-query", "-W", "-f=${db:Status-Status} ${Package} ${Version}\n", *names],
                          capture_output=True, text=True, check=False)
    rows = [line.split(" ") for line in done.stdout.splitlines()]
    return {row[1]: row[2] for row in rows if row[0] == "installed"}


def require_packages(*groups):
    """Names what is missing; installs nothing."""
    wanted = packages(*groups)
    there = versions(wanted)
    missing = [name for name in wanted if name not in there]
    if missing:
        raise Fault(f"These packages are missing: {' '.join(missing)}. "
                    f"Install them with: sh packaging/install-packages.sh {' '.join(groups)}")


def build(*targets):
    """Builds targets of the release preset, with the benchmarks."""
    for command in (["cmake", "--preset", "release", "-DKV_BENCH=ON"],
                    ["cmake", "--build", "--preset", "release", "--target", *targets]):
        done = subprocess.run(command, cwd=kTree, env=os.environ, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              text=True, check=False)
        if done.returncode != 0:
            raise Fault(f"{' '.join(command)} has failed:\n{done.stdout}")
