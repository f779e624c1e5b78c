"""Large source banks, written as docs/FORMATS.md describes them; waves are holes in a sparse file."""
import os
import struct

kNoParent = 0xFFFFFFFF
kInfo, kBank, kProgram, kRegion, kLayer, kSample = 0, 17, 18, 19, 20, 21


def note(kind, ident, parent, body, more=0):
    """A committed note; `more` bytes of its body follow elsewhere."""
    return struct.pack("<BBIII", 0, kind, ident, parent, len(body) + more) + body


def text(words):
    raw = words.encode("utf-8")
    return bytes([len(raw)]) + raw


def words(*numbers):
    return struct.pack(f"<{len(numbers)}I", *numbers)


def sample_fields(name, rate, channels, frames):
    """Of a plain sample of 16 bits with a raw wave, up to the wave."""
    size = frames * channels * 2
    return text(name) + text("") + words(rate, 16, channels, frames, 60, 0, 0, 0, 0, size, size)


class SourceWriter:
    """Notes in file order; ids are given from 0."""

    def __init__(self, path):
        self.file = open(path, "wb")
        self.file.write(b"QXDB" + bytes(range(1, 17)))
        self.next_id = 0

    def add(self, kind, parent, body, hole=0, tail=b""):
        self.file.write(note(kind, self.next_id, parent, body, hole + len(tail)))
        if hole:
            self.file.seek(hole, os.SEEK_CUR)
        self.file.write(tail)
        self.next_id += 1
        return self.next_id - 1

    def information(self):
        self.add(kInfo, kNoParent, text("Large") + text("made by trust/load") + words(0, 0, 0, 0, 0))

    def bank(self):
        return self.add(kBank, kNoParent, text("Bank") + words(0, 0, 0))

    def program(self, bank, number, split):
        return self.add(kProgram, bank, text(f"Program {number}") + words(number, 0 if split else 1, 1, 0))

    def region(self, program, low, high=None):
        return self.add(kRegion, program, text("Region") + words(low, low if high is None else high, 1, 127, 0))

    def layer(self, region, sample):
        return self.add(kLayer, region, words(0, 64, 1, 0, 0, sample, 0))

    def sample(self, name, rate, channels, frames):
        return self.add(kSample, kNoParent, sample_fields(name, rate, channels, frames), frames * channels * 2, words(0))

    def close(self):
        self.file.close()


def source_of_notes(path, notes):
    """Exactly so many notes: in hundred of them a sample, in a thousand a program, the rest regions with a layer."""
    writer = SourceWriter(path)
    writer.information()
    samples = [writer.sample(f"Sample {i}", 44100, 1, 50) for i in range(max(1, notes // 100))]
    bank = writer.bank()
    number = 0
    while notes - writer.next_id >= 3:
        program = writer.program(bank, number, split=number % 2 == 0)
        number += 1
        for _ in range(min(500, (notes - writer.next_id) // 2)):
            region = writer.region(program, writer.next_id % 128)
            writer.layer(region, samples[writer.next_id % len(samples)])
    while writer.next_id < notes:
        writer.program(bank, number, split=False)
        number += 1
    writer.close()


def source_of_samples(path, samples):
    """So many samples of 16 frames, and one program that plays the first."""
    writer = SourceWriter(path)
    writer.information()
    first = [writer.sample(f"Sample {i}", 44100, 1, 16) for i in range(samples)][0]
    writer.layer(writer.region(writer.program(writer.bank(), 0, split=True), 60), first)
    writer.close()


def source_of_wide_regions(path, regions):
    """A split program of so many regions over all 256 keys, with three layers each."""
    writer = SourceWriter(path)
    writer.information()
    sample = writer.sample("Sample", 44100, 1, 50)
    program = writer.program(writer.bank(), 0, split=True)
    for _ in range(regions):
        region = writer.region(program, 0, 255)
        for _ in range(3):
            writer.layer(region, sample)
    writer.close()


def source_of_waves(path, mebibytes, each=100):
    """Silent stereo waves, all in holes: so many MiB, in samples of at most `each`."""
    writer = SourceWriter(path)
    writer.information()
    samples = []
    while mebibytes > 0:
        size = min(each, mebibytes)
        samples.append(writer.sample(f"Silence {len(samples)}", 44100, 2, size * 2**20 // 4))
        mebibytes -= size
    program = writer.program(writer.bank(), 0, split=False)
    for key, sample in enumerate(samples):
        writer.layer(writer.region(program, key % 128), sample)
    writer.close()
