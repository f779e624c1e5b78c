"""machine.py - the machine that is measured on: its description, its cores, and one program run on some of them."""
import os
import platform
import subprocess
import time
from dataclasses import dataclass
from pathlib import Path

from driver.tree import Fault

kCores = sorted(os.sched_getaffinity(0))
kTwoCores = kCores[-2:]
kOneCore = kCores[-1:]  # the first one has the most other work; bench/run --core changes it


@dataclass
class Timing:
    """What one program took: seconds by the clock and of processor time, and bytes of memory at its peak."""
    seconds: float
    cpu: float
    peak: int


def run(command, cores, cwd=None):
    """Runs a program on these cores, its output thrown away, with all that it starts."""
    began = time.monotonic()
    with subprocess.Popen([str(word) for word in command], cwd=cwd, stdin=subprocess.DEVNULL,
                          stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
                          preexec_fn=lambda: os.sched_setaffinity(0, cores)) as process:
        complaint = process.stderr.read()
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        raise Fault(f"{' '.join(str(word) for word in command)} ended with {process.returncode}:\n{complaint}")
    return Timing(time.monotonic() - began, usage.ru_utime + usage.ru_stime, usage.ru_maxrss * 1024)


def output_of(command, cores=None, env=None):
    """What a program prints."""
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False, env=env,
                          preexec_fn=lambda: os.sched_setaffinity(0, cores or kCores))
    if done.returncode != 0:
        raise Fault(f"{' '.join(str(word) for word in command)} ended with {done.returncode}:\n{done.stderr}")
    return done.stdout


def processor():
    """The processor by its name, family and what it knows of the instruction sets that there are variants for."""
    fields = {}
    for line in Path("/proc/cpuinfo").read_text().split("\n\n", maxsplit=1)[0].splitlines():
        name, _, value = line.partition(":")
        fields[name.strip()] = value.strip()
    flags = fields.get("flags", "").split()
    sets = {"AVX2": "avx2", "AVX-512": "avx512bw", "VNNI": "avx512_vnni"}
    known = [name for name, flag in sets.items() if flag in flags]
    name = fields.get("model name", platform.machine())
    return f"{name} (family {fields.get('cpu family', '?')}, model {fields.get('model', '?')}; {', '.join(known)})"


def description():
    """One sentence: processor, cores, system, compiler, load, date."""
    system = dict(line.split("=", 1) for line in Path("/etc/os-release").read_text().splitlines() if "=" in line)
    compiler = output_of(["g++", "-dumpfullversion"]).strip()
    kernels = os.environ.get("KV_KERNELS")
    return (f"{processor()}, {len(kCores)} cores, {system['PRETTY_NAME'].strip(chr(34))}, g++ {compiler}, "
            + (f"KV_KERNELS={kernels}, " if kernels else "")
            + f"load {os.getloadavg()[0]:.1f} at the start, {time.strftime('%Y-%m-%d')}")
