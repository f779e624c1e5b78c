#!/usr/bin/env python3
"""Plays one note of a built bank into a WAV file, as play_note.c does: 16 bits, stereo, at the bank's rate.

    play_note.py BANK BANK-NUMBER PROGRAM KEY VELOCITY SECONDS OUT.wav

The library is looked for as the system does; the environment variable KVBANK_LIBRARY names another one.
"""
import ctypes
import os
import sys
import wave

NONE = 0xFFFFFFFF
NOT_FOUND = 7
ONE = 32768  # the position in a wave, in parts of a frame
U32, U64, I32 = ctypes.c_uint32, ctypes.c_uint64, ctypes.c_int32
Name = ctypes.c_char * 256


class BankInfo(ctypes.Structure):
    _fields_ = [("name", Name), ("description", Name), ("identity", ctypes.c_uint8 * 16), ("kind", U32),
                ("rate", U32), ("per_key", U32), ("program_count", U32), ("sample_count", U32)]


class Layer(ctypes.Structure):
    _fields_ = [("sample", U32), ("values", U32 * 4)]


class Sample(ctypes.Structure):
    _fields_ = [("name", Name), ("id", U32), ("rate", U32), ("bits", U32), ("is_float", U32), ("channels", U32),
                ("frame_bytes", U32), ("root_key", U32), ("fine_tune", I32), ("loop_count", U32),
                ("encoding", U32), ("frames", U64), ("wave_bytes", U64), ("stored_bytes", U64),
                ("file_offset", U64)]


class Loop(ctypes.Structure):
    _fields_ = [("start", U32), ("end", U32), ("play_count", U32), ("cue_id", U32)]


kvb = ctypes.CDLL(os.environ.get("KVBANK_LIBRARY", "libkvbank.so.1"))
kvb.kvb_error_text.restype = ctypes.c_char_p
kvb.kvb_pitch_ratio.restype = ctypes.c_double
kvb.kvb_close.argtypes = [ctypes.c_void_p]


class BankError(Exception):
    def __init__(self, error):
        super().__init__(kvb.kvb_error_text(error).decode())
        self.error = error


def check(error):
    if error != 0:
        raise BankError(error)


def get(kind, function, *where):
    """What one of the kvb_get functions fills in."""
    info = kind()
    check(function(*where, ctypes.byref(info), ctypes.c_size_t(ctypes.sizeof(info))))
    return info


def regions_of(bank, program, key, velocity):
    region = U32(NONE)
    while (error := kvb.kvb_find_region(bank, program, key, velocity, region, ctypes.byref(region))) == 0:
        yield region
    if error != NOT_FOUND or region.value == NONE:  # a note that no region is for is an error, not silence
        raise BankError(error)


def samples_of(bank, region):
    for i in range(NONE):
        try:
            layer = get(Layer, kvb.kvb_get_layer, bank, region, U32(i))
        except BankError:
            return
        if layer.sample != NONE:
            yield U32(layer.sample)


class Voice:
    """A sample that plays."""

    def __init__(self, bank, number):
        self.sample = get(Sample, kvb.kvb_get_sample, bank, number)
        frames, count = ctypes.c_void_p(), U64()
        check(kvb.kvb_get_frames(bank, number, ctypes.byref(frames), ctypes.byref(count)))
        if self.sample.is_float or self.sample.bits not in (16, 24):
            raise BankError(NOT_FOUND)
        size = count.value * self.sample.frame_bytes
        self.count = count.value
        # A view of the mapped file: nothing is copied.
        self.bytes = memoryview((ctypes.c_uint8 * size).from_address(frames.value)).cast("B")
        self.loop = None
        if self.sample.loop_count > 0:
            loop = get(Loop, kvb.kvb_get_loop, bank, number, U32(0))
            if loop.start <= loop.end < self.count:
                self.loop = loop

    def value(self, position, side):
        """The upper 16 bits of one channel at a position: the loop is repeated, behind the end is silence."""
        if self.loop and position > self.loop.end:
            length = self.loop.end - self.loop.start + 1
            position = self.loop.start + (position - self.loop.start) % length
        if position >= self.count:
            return 0
        width = self.sample.bits // 8
        channel = side if side < self.sample.channels else 0
        at = position * self.sample.frame_bytes + channel * width + width - 2
        return int.from_bytes(self.bytes[at:at + 2], "little", signed=True)

    def add(self, key, out):
        step = int(kvb.kvb_pitch_ratio(ctypes.byref(self.sample), key) * ONE)
        for i in range(len(out) // 2):
            frame, part = divmod(i * step, ONE)
            for side in range(2):
                a, b = self.value(frame, side), self.value(frame + 1, side)
                out[2 * i + side] += a + int((b - a) * part / ONE)


def play(bank, number, program_number, key, velocity, seconds, path):
    rate = get(BankInfo, kvb.kvb_get_bank, bank).rate
    program = U32()
    check(kvb.kvb_find_program(bank, U32(number), U32(program_number), ctypes.byref(program)))
    out = [0] * (2 * int(seconds * rate))
    for region in regions_of(bank, program, key, velocity):
        for sample in samples_of(bank, region):
            Voice(bank, sample).add(key, out)
    with wave.open(path, "wb") as file:
        file.setparams((2, 2, rate, 0, "NONE", None))
        file.writeframes(b"".join(max(-32768, min(32767, value)).to_bytes(2, "little", signed=True)
                                  for value in out))


def main(arguments):
    if len(arguments) != 8:
        print("usage: play_note.py BANK NUMBER PROGRAM KEY VELOCITY SECONDS OUT", file=sys.stderr)
        return 2
    bank = ctypes.c_void_p()
    try:
        check(kvb.kvb_open(os.fsencode(arguments[1]), 0, ctypes.byref(bank)))
        play(bank, *map(int, arguments[2:6]), float(arguments[6]), arguments[7])
    except BankError as error:
        print(f"play_note.py: {arguments[1]}: {error}", file=sys.stderr)
        return 1
    finally:
        kvb.kvb_close(bank)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
