"""whole_programs.py - the rows whose contenders are programs, which are started again for each round."""
import os
import re
import tempfile
import time
from pathlib import Path

from driver.machine import kOneCore, kTwoCores, output_of, run
from driver.table import Row
from driver.tree import Fault, kKvbank, kPrograms

kTargets = ("kvbank", "kvbankmgr", "stream_file", "first_paint")
kFont = "/usr/share/sounds/sf2/FluidR3_GM.sf2"
kSmallFont = "/usr/share/sounds/sf2/TimGM6mb.sf2"

# Each wave expanded and converted, so many at a time: the folder of waves, the one for the output, how many.
kSoxEach = """find "$0" -name '*.bz2' -print0 | xargs -0 -n 1 -P "$2" sh -c '
    bzip2 -dc "$2" | sox -V1 -D -t wav - "$1/$(basename "$2" .bz2)" rate -v 48000' sh "$1" """
kCompressEach = """find "$0" -name '*.wav' -print0 | xargs -0 -n 1 -P "$1" bzip2 -9 -c >/dev/null"""


def in_turns(rounds, turns):
    """Each turn once a round: a list of results for each of them."""
    results = [[] for _ in turns]
    for _ in range(rounds):
        for turn, result in zip(turns, results):
            result.append(turn())
    return results


def of(timings, figure):
    return [figure(timing) for timing in timings]


class Expanding:
    """One long stream in a file, expanded by a program of ours and by lbzip2, which gets the filtered bytes."""
    names = ("expand, one long stream in a file, one thread", "expand, one long stream in a file, two threads")

    def __init__(self, options, folder):
        self.options = options
        self.bytes = 2_000_000 if options.quick else 60_000_000
        self.ours, self.bz2 = folder / "wave.ours", folder / "wave.bz2"
        run([kPrograms / "stream_file", "make", self.ours, self.bz2, self.bytes], kTwoCores)

    def measure(self):
        for name, cores in zip(self.names, (kOneCore, kTwoCores)):
            peer = f"lbzip2 -n{len(cores)}"
            turns = (lambda: run([kPrograms / "stream_file", "expand", self.ours, self.bytes, len(cores)], cores),
                     lambda: run(["lbzip2", f"-n{len(cores)}", "-dc", self.bz2], cores))
            ours, its = in_turns(self.options.rounds, turns)
            # One core is reckoned by processor time, for other programs may want it too.
            rate = lambda timing: self.bytes / 1e6 / (timing.cpu if len(cores) == 1 else timing.seconds)
            yield Row(name, "MB/s", {"ours": of(ours, rate), peer: of(its, rate)})


class Font:
    """A large SoundFont: imported, and made into a bank; beside bzip2 and sox, which do it wave by wave."""
    names = ("whole bank of the font to 48000, two cores", "whole bank of the font to 48000, one core",
             "whole bank, what a second core gives", "whole bank, memory at its peak, two cores",
             "whole bank, memory at its peak, one core", "import of the font, two cores",
             "import of the font, processor time")

    def __init__(self, options, folder):
        self.options = options
        self.font = options.font or (kSmallFont if options.quick else kFont)
        if not Path(self.font).exists():
            raise Fault(f"The SoundFont {self.font} is missing.")
        self.folder, self.source = folder, folder / "Font.kvs"
        self.waves, self.converted = folder / "waves", folder / "converted"
        self.converted.mkdir()
        self.import_font()
        run([kKvbank, "-q", "export", self.source, "-o", self.waves], kTwoCores)
        self.megabytes = sum(wave.stat().st_size - 44 for wave in self.waves.glob("*.wav")) / 1e6
        run(["sh", "-c", """find "$0" -name '*.wav' -print0 | xargs -0 -n 1 -P 2 bzip2 -9 -k""", self.waves], kTwoCores)

    def import_font(self):
        self.source.unlink(missing_ok=True)
        return run([kKvbank, "-q", "import", self.font, "-o", self.source], kTwoCores)

    def build(self, cores):
        for bank in self.folder.glob("*.kvn"):
            bank.unlink()
        return run([kKvbank, "-q", "build", self.source, "-d", self.folder, "-r", "48000"], cores)

    def convert_each(self, cores):
        return run(["sh", "-c", kSoxEach, self.waves, self.converted, len(cores)], cores)

    def compress_each(self):
        return run(["sh", "-c", kCompressEach, self.waves, 2], kTwoCores)

    def measure(self):
        two, one, sox_two, sox_one, imports, bzip2 = in_turns(self.options.rounds, (
            lambda: self.build(kTwoCores), lambda: self.build(kOneCore),
            lambda: self.convert_each(kTwoCores), lambda: self.convert_each(kOneCore),
            self.import_font, self.compress_each))
        rate = lambda timing: self.megabytes / timing.seconds
        peak = lambda timing: timing.peak / 1e6
        seconds = lambda timing: timing.seconds
        cpu = lambda timing: timing.cpu
        sox = "bzip2 -dc into sox rate -v, "
        yield Row(self.names[0], "MB/s", {"ours": of(two, rate), sox + "two at a time": of(sox_two, rate)})
        yield Row(self.names[1], "MB/s", {"ours": of(one, rate), sox + "one at a time": of(sox_one, rate)})
        yield Row(self.names[2], "MB/s", {"ours": of(two, rate), "ours on one core": of(one, rate)})
        yield Row(self.names[3], "MB", {"ours": of(two, peak)})
        yield Row(self.names[4], "MB", {"ours": of(one, peak)})
        compressing = "bzip2 -9 of its waves, two at a time"
        yield Row(self.names[5], "s", {"ours": of(imports, seconds), compressing: of(bzip2, seconds)})
        yield Row(self.names[6], "s", {"ours": of(imports, cpu), compressing: of(bzip2, cpu)})


class FirstPaint:
    """From the start of the process until the window has been painted, on the toolkit's offscreen platform."""
    names = ("start to first paint of the window",)

    def __init__(self, options, folder):
        self.options, self.folder = options, folder

    def paint(self, what):
        environment = dict(os.environ, QT_QPA_PLATFORM="offscreen")
        command = [kPrograms / "first_paint", what, time.monotonic_ns(), self.folder]
        return float(output_of(command, kOneCore, environment))

    def measure(self):
        self.paint("ours")  # once for the system's cache
        ours, toolkit = in_turns(2 * self.options.rounds, (lambda: self.paint("ours"), lambda: self.paint("toolkit")))
        yield Row(self.names[0], "ms", {"ours": ours, "an empty window of the toolkit": toolkit})


kGroups = (Expanding, Font, FirstPaint)


def names(options):
    return [name for group in kGroups for name in group.names if re.search(options.rows, name)]


def measure(options):
    """The rows that are asked for; a group of which one row is asked for is measured whole."""
    for group in kGroups:
        if not any(re.search(options.rows, name) for name in group.names):
            continue
        with tempfile.TemporaryDirectory(prefix="kv-bench-") as folder:
            for row in group(options, Path(folder)).measure():
                if re.search(options.rows, row.name):
                    yield row
