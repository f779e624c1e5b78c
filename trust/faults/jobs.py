"""What the proofs of faults and kills have in common: small inputs, the jobs, runs under the library of faults, and
what must hold after each run.

A run has a folder of its own. `in` holds what the job reads, `out` what it writes; both are snapshots, so that every
file must be afterwards as it was before the job or as a job without faults leaves it.
"""
import hashlib
import math
import mmap
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
from pathlib import Path

kTree = Path(__file__).resolve().parent.parent.parent
kPatience = 20  # seconds a run may take
kUsersPatience = 3  # seconds until a window that shows an alert is asked to end
kIdentity = slice(4, 20)  # of a bank: new in every file that is made
kReportBytes = 8192
kStruckAt, kCallAt, kPathAt = 8, 16, 80


def build_folder():
    return Path(os.environ.get("KV_BUILD", kTree / "build" / "release")).resolve()


def make(targets):
    """Builds what the proof needs, unless the caller has done it (KV_BUILD)."""
    if "KV_BUILD" in os.environ:
        return
    subprocess.run(["cmake", "--preset", "release", "-DKV_TESTS=ON"], cwd=kTree, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", "--preset", "release", "--target", *targets], cwd=kTree, check=True,
                   stdout=subprocess.DEVNULL)


def program(name):
    return str(build_folder() / {"kvbank": "tools/kvbank/kvbank", "kvbankmgr": "app/kvbankmgr",
                                 "play_note": "examples/play_note",
                                 "settings": "trust/faults/kv_trust_settings"}[name])


# --- Inputs.

def wave_bytes(frames, key, width):
    values = (int(0.4 * (2 ** (8 * width - 1)) * math.sin(2 * math.pi * n * (3 + key % 5) / frames))
              for n in range(frames))
    return b"".join((v & (2 ** (8 * width) - 1)).to_bytes(width, "little") for v in values)


def wav_file(data, width, rate=44100):
    head = struct.pack("<4sI4s4sIHHIIHH4sI", b"RIFF", 36 + len(data), b"WAVE", b"fmt ", 16, 1, 1, rate, rate * width,
                       width, 8 * width, b"data", len(data))
    return head + data


def chunk(tag, data):
    return tag + struct.pack("<I", len(data)) + data + b"\0" * (len(data) & 1)


def sound_font():
    """One preset that plays one sample on all keys."""
    frames = 200
    sample = wave_bytes(frames, 60, 2) + b"\0" * 92
    info = chunk(b"ifil", struct.pack("<HH", 2, 1)) + chunk(b"isng", b"EMU8000\0") + chunk(b"INAM", b"Tiny\0\0")
    presets = b"".join(struct.pack("<20sHHHIII", name, 0, 0, bag, 0, 0, 0) for name, bag in ((b"Tiny", 0), (b"EOP", 1)))
    instruments = b"".join(struct.pack("<20sH", name, bag) for name, bag in ((b"Tiny", 0), (b"EOI", 1)))
    bags = struct.pack("<HHHH", 0, 0, 1, 0)
    samples = (struct.pack("<20sIIIIIBbHH", b"Tiny", 0, frames, 20, 180, 44100, 60, 0, 0, 1)
               + struct.pack("<20sIIIIIBbHH", b"EOS", 0, 0, 0, 0, 0, 0, 0, 0, 0))
    pdta = (chunk(b"phdr", presets) + chunk(b"pbag", bags) + chunk(b"pmod", b"\0" * 10)
            + chunk(b"pgen", struct.pack("<HHHH", 41, 0, 0, 0)) + chunk(b"inst", instruments) + chunk(b"ibag", bags)
            + chunk(b"imod", b"\0" * 10) + chunk(b"igen", struct.pack("<HHHH", 53, 0, 0, 0)) + chunk(b"shdr", samples))
    lists = b"".join(chunk(b"LIST", kind + data) for kind, data in
                     ((b"INFO", info), (b"sdta", chunk(b"smpl", sample)), (b"pdta", pdta)))
    return chunk(b"RIFF", b"sfbk" + lists)


def kvbank(*arguments, cwd):
    subprocess.run([program("kvbank"), *arguments], cwd=cwd, check=True, stdout=subprocess.DEVNULL)


def make_inputs(folder):
    """Every file that some job needs, in folders by kind."""
    (folder / "waves").mkdir(parents=True)
    for key, width in ((48, 2), (60, 3)):
        (folder / "waves" / f"Tone {key}.wav").write_bytes(wav_file(wave_bytes(300, key, width), width))
    (folder / "older").mkdir()
    (folder / "older" / "Other 50.wav").write_bytes(wav_file(wave_bytes(250, 50, 2), 2))
    (folder / "Tiny.sfz").write_text("<region> sample=waves/Tone 48.wav key=48\n<region> sample=waves/Tone 60.wav key=60\n")
    (folder / "Tiny.sf2").write_bytes(sound_font())
    (folder / "settings.ini").write_text("[AdditionalBankPaths]\n/banks/of/yesterday\n")
    (folder / "preferences.json").write_text('{"Window/Height": 3}\n')
    (folder / "trust.log").write_text("an older line\n")
    kvbank("import", "waves", "-o", "Tiny.kvs", cwd=folder)
    kvbank("import", "Tiny.sf2", "-o", "Font.kvs", cwd=folder)
    (folder / "stale").mkdir()
    kvbank("import", "older", "-o", "stale/Tiny.kvs", cwd=folder)
    for layout in ("plain", "per-key"):
        kvbank("build", "Tiny.kvs", "-d", layout, "-r", "44100,96000", "--layout", layout, cwd=folder)
    kvbank("build", "Tiny.kvs", "-d", "summed", "-r", "44100,96000", "--sums", cwd=folder)
    kvbank("build", "stale/Tiny.kvs", "-d", "stale/banks", "-r", "44100,96000", "--sums", cwd=folder)


# --- Jobs.

class Job:
    """A command and the files it begins with, as (name in the inputs, place in the run)."""

    def __init__(self, name, words, files, command="kvbank", again=(), variables=None, lists=True,
                 groups=(), tells=True, silent=False, settings=None, partial=()):
        self.name, self.words, self.files, self.command = name, words.split(), files, command
        self.again = again            # further words for the same command where its files may be there already
        self.variables = variables or {}
        self.lists = lists            # whether kvbank looks after the folder `out`
        self.groups = groups          # of calls that are its business; without, all
        self.tells = tells            # whether it says why it failed
        self.silent = silent          # whether not even its exit code does
        self.settings = settings or {}  # further variables for the library of faults
        self.partial = partial        # files that may lack something, when a message says what

    def forgets(self, name):
        """Whether the job does its work all the same when it cannot keep this file: the window with its settings."""
        return self.command == "kvbankmgr" and name.endswith(".ini")


kTiny = [("Tiny.kvs", "in/Tiny.kvs")]
kBank = [("plain/Tiny_0AC44.kvn", "out/Tiny_0AC44.kvn")]
kPlain = kBank + [("plain/Tiny_17700.kvn", "out/Tiny_17700.kvn")]
kSummed = [(f"summed/Tiny_{rate}.kvn{end}", f"out/Tiny_{rate}.kvn{end}")
           for rate in ("0AC44", "17700") for end in ("", ".sha256")]
kStale = [(f"stale/banks/Tiny_{rate}.kvn{end}", f"out/Tiny_{rate}.kvn{end}")
          for rate in ("0AC44", "17700") for end in ("", ".sha256")]
kWaves = [("waves", "in/waves")]

kJobs = [
    Job("build", "build in/Tiny.kvs -d out -r 44100,96000", kTiny),
    Job("build per-key", "build in/Font.kvs -d out -r 48000 --layout per-key", [("Font.kvs", "in/Font.kvs")]),
    Job("build -f", "build in/Tiny.kvs -d out -r 44100,96000 -f --sums --log-file out/build.log", kTiny + kStale),
    Job("build --jobs", "build in/Tiny.kvs in/Font.kvs -d out -r 48000 --jobs 2",
        kTiny + [("Font.kvs", "in/Font.kvs")]),
    Job("import folder", "import in/waves -o out/New.kvs", kWaves, again=("-f",)),
    Job("import sfz", "import in/Tiny.sfz -o out/New.kvs", kWaves + [("Tiny.sfz", "in/Tiny.sfz")], again=("-f",)),
    Job("import sf2 -f", "import in/Tiny.sf2 -o out/New.kvs -f",
        [("Tiny.sf2", "in/Tiny.sf2"), ("stale/Tiny.kvs", "out/New.kvs")]),
    Job("export wav", "export in/Tiny.kvs -o out --sfz", kTiny, again=("-f",), partial=("out/Tone.sfz",)),
    Job("export flac", "export in/Tiny.kvs -o out --format flac --bits 16", kTiny, again=("-f",)),
    Job("render", "render out/Tiny_0AC44.kvn --note 60 --seconds 0.01 --release 0.01 -o out/note.wav", kBank,
        again=("-f",)),
    Job("report", "report out/Tiny_0AC44.kvn --source in/Tiny.kvs -o out/page.html", kTiny + kBank, again=("-f",),
        partial=("out/page.html",)),
    Job("remove", "remove out --source in/Tiny.kvs -r all -y", kTiny + kSummed),
    Job("verify --write-sums", "verify --write-sums out/Tiny_0AC44.kvn out/Tiny_17700.kvn", kPlain),
    Job("verify --source", "verify out/Tiny_0AC44.kvn --source in/Tiny.kvs", kTiny + kBank),
    Job("verify sums", "verify out/Tiny_0AC44.kvn", kSummed),
    Job("list", "list out --source in/Tiny.kvs", kTiny + kPlain),
    Job("space", "space in/Tiny.kvs -d out -r all", kTiny + kPlain),
    Job("info", "info in/Tiny.kvs --json", kTiny),
    Job("tree", "tree in/Tiny.kvs", kTiny),
    Job("demo", "demo -o out/Demo.kvs", [], again=("-f",)),
    Job("library", "in/Tiny_0AC44.kvn 0 0 48 100 0.01 out/note.wav", [("plain/Tiny_0AC44.kvn", "in/Tiny_0AC44.kvn")],
        command="play_note", lists=False, groups=("map", "memory"), tells=False),
    Job("settings", "ini FOLDER/out/settings.ini", [("settings.ini", "out/settings.ini")], command="settings",
        lists=False, tells=False, silent=True),
    Job("preferences", "preferences com.kestrova.Trust", [("preferences.json", "out/com.kestrova.Trust.json")],
        command="settings", lists=False, tells=False, variables={"XDG_CONFIG_HOME": "FOLDER/out"}),
    Job("window", "create48000 FOLDER/in/Tiny.kvs FOLDER/out", kTiny, command="kvbankmgr", tells=False,
        variables={"QT_QPA_PLATFORM": "offscreen", "XDG_DATA_HOME": "FOLDER/out", "XDG_CONFIG_HOME": "FOLDER/out"},
        settings={"KV_FAULT_BELOW": "FOLDER/", "KV_FAULT_OWN_CODE": "1"}),
    Job("log", "log FOLDER/out/trust.log", [("trust.log", "out/trust.log")], command="settings", lists=False,
        tells=False, silent=True),
]


# --- Runs.

class Shot:
    """Which calls of a run go wrong, and how."""

    def __init__(self, groups, at, error=0, for_good=False, kind="error"):
        self.groups, self.at, self.error, self.for_good, self.kind = groups, at, error, for_good, kind

    def variables(self):
        found = {"KV_FAULT_GROUPS": self.groups, "KV_FAULT_AT": str(self.at), "KV_FAULT_KIND": self.kind}
        if self.error:
            found["KV_FAULT_ERROR"] = str(self.error)
        if self.for_good:
            found["KV_FAULT_FOR_GOOD"] = "1"
        return found

    def __str__(self):
        name = self.kind if self.kind != "error" else os.strerror(self.error)
        return f"{self.groups} {self.at}{' for good' if self.for_good else ''}: {name}"


class Run:
    """What became of one run. ended: its user had to end it."""

    def __init__(self, code, out, err, operations, struck, call, path, ended):
        self.ended = ended
        self.code, self.out, self.err = code, out, err
        self.operations, self.struck, self.call, self.path = operations, struck, call, path


def tidy(text, folder):
    """Without what differs from run to run: times and free space."""
    text = text.replace(str(folder) + "/", "")
    text = re.sub(r" in [0-9]+:[0-9:]+", " in TIME", text)
    text = re.sub(r'"seconds": [0-9.e-]+', '"seconds": TIME', text)
    return re.sub(r"[0-9.]+ [kMGT]?B are free|\"free\": [0-9]+", "FREE", text)


def comparable(path):
    """The bytes of a file, without what is new in every file that is made."""
    data = path.read_bytes()
    if path.suffix in (".kvn", ".kvr", ".kvs") and len(data) >= kIdentity.stop:
        return data[:kIdentity.start] + data[kIdentity.stop:]
    if path.suffix == ".sha256":
        bank = path.with_suffix("")
        fits = bank.exists() and data.decode(errors="replace") == f"{hashlib.sha256(bank.read_bytes()).hexdigest()}  {bank.name}\n"
        return b"fits" if fits else b"does not fit: " + data
    if path.suffix == ".log":
        return b""  # every line has its time; the lines are looked at by themselves
    return data


def snapshot(folder):
    found = {}
    for root, folders, files in os.walk(folder):
        for name in files + [f for f in folders if f.startswith(".")]:
            path = Path(root) / name
            found[str(path.relative_to(folder))] = comparable(path) if path.is_file() else b"a folder"
    return found


def is_unsettled(content, whole):
    """Whether all bytes are there, but perhaps the states of some notes still say that they are new (1): a torn commit.
    Such a bank is whole for its players, by its quick-load table."""
    return content is not None and whole is not None and len(content) == len(whole) and all(
        now == then or (now, then) == (1, 0) for now, then in zip(content, whole))


class Bench:
    """Inputs, and one folder after the other in which a job is run."""

    def __init__(self):
        self.home = tempfile.TemporaryDirectory(prefix="kvtrust-", dir="/dev/shm" if os.path.isdir("/dev/shm") else None)
        self.inputs = Path(self.home.name) / "inputs"
        self.folder = Path(self.home.name) / "run"
        make_inputs(self.inputs)
        report = Path(self.home.name) / "report"
        report.write_bytes(bytes(kReportBytes))
        self.file = open(report, "r+b")
        self.report = mmap.mmap(self.file.fileno(), kReportBytes)
        self.library = str(build_folder() / "trust/faults/libkv_trust_faults.so")
        self.environment = {"PATH": os.environ["PATH"], "HOME": str(Path(self.home.name) / "user"), "LC_ALL": "C.UTF-8",
                            "KV_FAULT_REPORT": str(report),
                            **{name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}}

    def prepare(self, job):
        shutil.rmtree(self.folder, ignore_errors=True)
        for place in ("in", "out"):
            (self.folder / place).mkdir(parents=True)
        for source, place in job.files:
            source, place = self.inputs / source, self.folder / place
            (shutil.copytree if source.is_dir() else shutil.copyfile)(source, place)

    def start(self, job, shot, more=()):
        environment = {**self.environment,
                       **{name: value.replace("FOLDER", str(self.folder)) for name, value in job.variables.items()}}
        environment.update({name: value.replace("FOLDER", str(self.folder)) for name, value in job.settings.items()})
        if shot:
            environment.update(shot.variables(), LD_PRELOAD=os.environ.get("KV_PRELOAD_FIRST", "") + self.library)
        self.report[:kReportBytes] = bytes(kReportBytes)
        words = [word.replace("FOLDER", str(self.folder)) for word in job.words]
        return subprocess.Popen([program(job.command), *words, *more], cwd=self.folder, env=environment,
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, close_fds=False)

    def end(self, process, asks=False):
        """asks: it may show an alert, which waits for its user; a signal ends that."""
        ended = False
        if asks:
            try:
                process.wait(timeout=kUsersPatience)
            except subprocess.TimeoutExpired:
                process.terminate()
                ended = True
        try:
            out, err = process.communicate(timeout=kPatience)
            code = process.returncode
        except subprocess.TimeoutExpired:
            process.kill()
            out, err = process.communicate()
            code = None
        operations, struck = struct.unpack_from("<QQ", self.report)
        call, path = (bytes(self.report[at:at + size]).split(b"\0")[0].decode(errors="replace")
                      for at, size in ((kCallAt, 64), (kPathAt, 4096)))
        return Run(code, tidy(out.decode(errors="replace"), self.folder),
                   tidy(err.decode(errors="replace"), self.folder), operations, struck, call, path, ended)

    def run(self, job, shot=None, more=()):
        return self.end(self.start(job, shot, more), job.command == "kvbankmgr")

    def kvbank(self, *words):
        return subprocess.run([program("kvbank"), *words], cwd=self.folder, capture_output=True, text=True,
                              timeout=kPatience, check=False)

    def learn(self, job):
        """What the job leaves without faults, twice, so that nothing else may differ."""
        self.prepare(job)
        job.before = snapshot(self.folder)
        first = self.run(job)
        job.after = snapshot(self.folder)
        self.prepare(job)
        second = self.run(job)
        if first.code != 0 or sorted(first.out.splitlines()) != sorted(second.out.splitlines()) or snapshot(self.folder) != job.after:
            sys.exit(f"{job.name}: does not do the same twice: {first.code} {first.out}{first.err}{second.out}")
        job.out = first.out

    # --- What must hold.

    def leftovers(self, job, found):
        """Files that are neither of the state before nor of that after."""
        return [name for name in found if name not in job.before and name not in job.after]

    def check_files(self, job, found, told=False):
        """Each file is as before or as it should be. The sum of a bank may be missing; settings are made as an empty
        file when they are opened, and those of a window that could not work lack lines; what the window was building
        stands in its place, where it says of itself that it is unfinished. told: a message says what a file lacks."""
        problems = []
        for name in sorted({*job.before, *job.after}):
            allowed = [job.before.get(name), job.after.get(name)]
            if name.endswith(".sha256"):
                allowed.append(None)
            if name.endswith(".ini"):
                allowed.append(b"")
            if job.forgets(name) and name in found and name in job.after:
                allowed += [found[name]] if set(found[name].splitlines()) <= set(job.after[name].splitlines()) else []
            if told and name in job.partial:
                continue
            if found.get(name) not in allowed and not (
                    job.command == "kvbankmgr" and (is_unsettled(found.get(name), job.after.get(name)) or
                                                    self.is_interrupted(name))):
                problems.append(f"{name} is neither as before nor as it should be")
        return problems

    def is_interrupted(self, name):
        lines = self.kvbank("list", "out").stdout.splitlines()
        return any(line.endswith(name) and " interrupted " in line for line in lines)

    def check_leftovers(self, job, found):
        left = self.leftovers(job, found)
        if not left:
            return []
        if not job.lists:
            return [f"{name} is left" for name in left]
        listed = self.kvbank("list", "out")
        text = listed.stdout + listed.stderr
        problems = [f"{name} is left, and list does not name it" for name in left
                    if name.split("/")[1] not in text]
        removed = self.kvbank("remove", "out", "--leftovers")
        still = self.leftovers(job, snapshot(self.folder))
        if removed.returncode != 0 or still:
            problems.append(f"remove --leftovers ends with {removed.returncode} and leaves {still}: {removed.stderr}")
        return problems
