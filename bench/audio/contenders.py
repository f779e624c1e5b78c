"""contenders.py - who converts: ours as a user gets it, and the peers, each behind one call.

A contender takes waves of one rate and width and a rate, and gives as many waves of that rate and the same width.
"""
import array
import subprocess
import tempfile
from dataclasses import dataclass
from pathlib import Path

from audio import wave as wav
from driver.tree import Fault, kPrograms

kMostWaves = 128  # one for each key


def run(command, given=None):
    done = subprocess.run([str(word) for word in command], input=given, capture_output=True, check=False)
    if done.returncode != 0:
        complaint = done.stderr.decode(errors="replace")
        raise Fault(f"{' '.join(str(word) for word in command)} ended with {done.returncode}:\n{complaint}")
    return done.stdout


@dataclass
class Ours:
    """A folder of waves named by key, imported, built and exported."""
    name: str
    kvbank: Path
    folder: Path
    arguments: tuple = ()
    widths: tuple = (16, 24)

    def convert(self, waves, rate):
        if len(waves) > kMostWaves:
            raise Fault(f"{len(waves)} waves are more than there are keys.")
        made = self.bank({str(key): wave for key, wave in enumerate(waves)}, rate, "plain")
        return [wav.read(made / f"{key}.wav") for key in range(len(waves))]

    def transpose(self, wave, rate, semitones):
        """One wave as the per-key layout has it, so many semitones higher."""
        root, most = 40, 12
        if abs(semitones) > most:
            raise Fault(f"{semitones} semitones are more than this looks at.")
        # The short waves are nearer to all other keys, for which the long one is then not made.
        short = wav.Wave(wave.rate, wave.bits, wave.samples[:1000])
        waves = {str(root): wave, str(root - 2 * most - 2): short, str(root + 2 * most + 2): short}
        made = self.bank(waves, rate, "per-key")
        found = [one for one in map(wav.read, made.glob("*.wav")) if one.key == root + semitones]
        if len(found) != 1:
            raise Fault(f"{len(found)} waves have the key {root + semitones}.")
        return found[0]

    def bank(self, waves, rate, layout):
        """Makes a bank of these waves and exports it: the folder of its waves."""
        home = Path(tempfile.mkdtemp(dir=self.folder))
        source, made = home / "source", home / "made"
        source.mkdir(parents=True)
        for name, wave in waves.items():
            wav.write(source / f"{name}.wav", wave)
        run([self.kvbank, "-q", "import", source, "-o", home / "Sound.kvs"])
        run([self.kvbank, "-q", "build", home / "Sound.kvs", "-d", home, "-r", rate, "--layout", layout,
             *self.arguments])
        run([self.kvbank, "-q", "export", *home.glob("Sound_*.kv?"), "-o", made])
        return made


@dataclass
class Library:
    """A library behind bench/compare/ConvertWave.cpp; it gets and gives doubles, which are rounded here."""
    name: str
    peer: str
    widths: tuple = (16, 24)

    def convert(self, waves, rate):
        return [self.one(wave, rate) for wave in waves]

    def one(self, wave, rate):
        given = array.array("d", [sample / wave.scale for sample in wave.samples]).tobytes()
        made = array.array("d", run([kPrograms / "convert_wave", self.peer, wave.rate, rate], given))
        return wav.Wave(rate, wave.bits, wav.rounded(made, wave.bits))


@dataclass
class Command:
    """A program that reads one WAV file and writes another, of the same width. words: what it is started with."""
    name: str
    words: tuple
    folder: Path
    widths: tuple = (16, 24)

    def convert(self, waves, rate):
        return [self.one(wave, rate) for wave in waves]

    def one(self, wave, rate):
        given, made = self.folder / "given.wav", self.folder / "made.wav"
        wav.write(given, wave)
        places = {"given": given, "made": made, "rate": rate, "bits": wave.bits}
        run([word.format(**places) for word in self.words])
        return wav.read(made)


def ours(kvbank, folder):
    return [Ours("kvbank, standard", kvbank, folder),
            Ours("kvbank, precise", kvbank, folder, ("--conversion", "precise"))]


def dithered(kvbank, folder):
    return Ours("kvbank, precise and dithered", kvbank, folder, ("--conversion", "precise", "--dither"),
                (16,))


def peers(folder):
    ffmpeg = ("ffmpeg", "-v", "error", "-y", "-i", "{given}", "-af")
    to_file = ("-c:a", "pcm_s{bits}le", "{made}")
    return [Library("libsoxr, its highest recipe", "soxr-highest"), Library("libsoxr, VHQ", "soxr-vhq"),
            Library("libsamplerate, best sinc", "samplerate-best"),
            Command("sox, rate -v", ("sox", "-V1", "-D", "{given}", "{made}", "rate", "-v", "{rate}"), folder),
            Command("ffmpeg, its own", (*ffmpeg, "aresample={rate}", *to_file), folder),
            Command("ffmpeg, by libsoxr", (*ffmpeg, "aresample={rate}:resampler=soxr:precision=28", *to_file), folder)]
