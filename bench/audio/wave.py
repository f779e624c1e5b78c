"""wave.py - WAV files of one channel, 16 or 24 bits, with one loop; samples are whole numbers in a list."""
import array
import struct
import sys
from dataclasses import dataclass
from pathlib import Path
from typing import Optional

from driver.tree import Fault

kSmplFields = 9  # words of a smpl chunk in front of its loops
kSwap = sys.byteorder == "big"


@dataclass
class Wave:
    """Samples as whole numbers at the full scale of their width. loop: first and last frame, both played."""
    rate: int
    bits: int
    samples: list
    loop: Optional[tuple] = None
    key: Optional[int] = None  # the root key that a file names

    @property
    def scale(self):
        return 2 ** (self.bits - 1)


def rounded(values, bits):
    """Values of which 1 is the full scale, as samples: rounded to the nearest, held to the limits."""
    scale = 2 ** (bits - 1)
    return [max(-scale, min(scale - 1, round(value * scale))) for value in values]


def packed(samples, bits):
    words = array.array("i" if bits == 24 else "h", samples)
    if kSwap:
        words.byteswap()
    raw = words.tobytes()
    if bits == 16:
        return raw
    out = bytearray(3 * len(samples))
    for place in range(3):
        out[place::3] = raw[place::4]
    return bytes(out)


def unpacked(raw, bits):
    if bits == 16:
        words = array.array("h", raw)
    else:
        wide = bytearray(len(raw) // 3 * 4)
        for place in range(3):  # into the upper bytes, so that the sign is right
            wide[place + 1::4] = raw[place::3]
        words = array.array("i", bytes(wide))
    if kSwap:
        words.byteswap()
    return list(words) if bits == 16 else [word >> 8 for word in words]


def chunk(tag, body):
    return tag + struct.pack("<I", len(body)) + body + b"\0" * (len(body) % 2)


def write(path, wave):
    frame = wave.bits // 8
    body = chunk(b"fmt ", struct.pack("<HHIIHH", 1, 1, wave.rate, wave.rate * frame, frame, wave.bits))
    if wave.loop:
        body += chunk(b"smpl", struct.pack("<9I", 0, 0, 0, 60, 0, 0, 0, 1, 0)
                      + struct.pack("<6I", 0, 0, *wave.loop, 0, 0))
    body += chunk(b"data", packed(wave.samples, wave.bits))
    Path(path).write_bytes(b"RIFF" + struct.pack("<I", 4 + len(body)) + b"WAVE" + body)


def read(path):
    raw = Path(path).read_bytes()
    chunks, at = {}, 12
    while at + 8 <= len(raw):
        size = struct.unpack_from("<I", raw, at + 4)[0]
        chunks[raw[at:at + 4]] = raw[at + 8:at + 8 + size]
        at += 8 + size + size % 2
    _, channels, rate, _, _, bits = struct.unpack_from("<HHIIHH", chunks[b"fmt "])
    if channels != 1 or bits not in (16, 24):
        raise Fault(f"{path}: {channels} channels of {bits} bits; one of 16 or 24 was wanted.")
    key, loop, smpl = None, None, chunks.get(b"smpl")
    if smpl:
        key = struct.unpack_from("<I", smpl, 12)[0]
        if struct.unpack_from("<I", smpl, 28)[0]:
            loop = struct.unpack_from("<2I", smpl, 4 * kSmplFields + 8)
    return Wave(rate, bits, unpacked(chunks[b"data"], bits), loop, key)
