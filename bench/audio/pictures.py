"""pictures.py - the pictures of docs/SOUND.md, as SVG: a sweep, the errors of a tone, the seams of loops."""
import base64
import math
import struct
import zlib
from dataclasses import dataclass

from audio import spectrum
from driver.plot import line, text

kWidth, kTop, kBottom = 760, 64, 52
kGrid = 'stroke="#d4d4d8"'
kMiddle, kEnd = 'text-anchor="middle"', 'text-anchor="end"'
# From silence to full scale; each a step of 10 dB.
kHeat = ("#ffffff", "#f1f0f6", "#e3e0ee", "#d2cde6", "#bdb8dd", "#a3a8d6", "#849ccf", "#6190c6", "#4383b8", "#3574a3",
         "#38648a", "#4a5370", "#674457", "#8b3a42", "#b23a2c", "#d9531e", "#f97316")
kFloor, kStep = -170, 10


@dataclass
class Panel:
    """A part of a picture with two axes. across, up: pairs of what stands at both ends; logarithmic: across."""
    left: float
    top: float
    width: float
    height: float
    across: tuple
    up: tuple
    logarithmic: bool = False

    def x(self, figure):
        low, high = self.across
        if self.logarithmic:
            low, high, figure = math.log(low), math.log(high), math.log(figure)
        return self.left + (figure - low) / (high - low) * self.width

    def y(self, figure):
        low, high = self.up
        return self.top + (high - figure) / (high - low) * self.height

    def axes(self, title, across, up, names=("", "")):
        """across, up: pairs of a figure and its name; names: of the axes."""
        yield text(self.left, self.top - 10, title, 'font-size="13"')
        for figure, name in across:
            x = self.x(figure)
            yield line(x, self.top, x, self.top + self.height, kGrid)
            yield text(x, self.top + self.height + 16, name, kMiddle)
        for figure, name in up:
            y = self.y(figure)
            yield line(self.left, y, self.left + self.width, y, kGrid)
            yield text(self.left - 6, y + 4, name, kEnd)
        yield text(self.left + self.width / 2, self.top + self.height + 36, names[0], kMiddle)
        yield text(self.left - 6, self.top - 10, names[1], kEnd)

    def curve(self, points, style):
        shape = " ".join(f"{self.x(x):.1f},{self.y(y):.1f}" for x, y in points)
        return f'<polyline points="{shape}" fill="none" {style}/>'


def picture(title, height, parts):
    """A white ground, so that it is read on a dark page too."""
    return "\n".join([f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {kWidth} {height}" '
                      'font-family="sans-serif" font-size="12" fill="#18181b">',
                      '<rect width="100%" height="100%" fill="#ffffff"/>', text(16, 24, title, 'font-size="15"'),
                      *parts, "</svg>", ""])


def legend(entries, y, x):
    """entries: pairs of a name and a colour, in one row."""
    for name, colour in entries:
        yield line(x, y - 4, x + 18, y - 4, f'stroke="{colour}" stroke-width="4"')
        yield text(x + 24, y, name)
        x += 46 + 6.6 * len(name)


def indexed_png(rows, colours):
    """A picture of rows of numbers of colours."""
    def chunk(tag, body):
        return struct.pack(">I", len(body)) + tag + body + struct.pack(">I", zlib.crc32(tag + body))

    head = struct.pack(">IIBBBBB", len(rows[0]), len(rows), 8, 3, 0, 0, 0)
    palette = b"".join(bytes.fromhex(colour[1:]) for colour in colours)
    pixels = zlib.compress(b"".join(b"\0" + bytes(row) for row in rows), 9)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", head) + chunk(b"PLTE", palette) + chunk(b"IDAT", pixels) + chunk(
        b"IEND", b"")


def heat(level):
    return max(0, min(len(kHeat) - 1, math.floor((level - kFloor) / kStep)))


def spectrogram(wave, columns=320, rows=260, size=4096):
    """Rows from the highest frequency down, of numbers of colours."""
    begins = [round(n * (len(wave.samples) - size) / (columns - 1)) for n in range(columns)]
    pillars = []
    for begin in begins:
        lines = spectrum.levels(wave.samples[begin:begin + size], wave.scale)
        pillars.append([heat(level) for level in spectrum.strongest(lines, rows)])
    return [list(row) for row in zip(*pillars)][::-1]


def sweep_picture(title, sweep, named_waves):
    """What becomes of a sweep; named_waves: two pairs of a name and a wave."""
    height, width = 400, 300
    parts = []
    for number, (name, wave) in enumerate(named_waves):
        half = wave.rate / 2000
        panel = Panel(62 + number * (width + 62), kTop, width, 270, (0, sweep.seconds), (0, half))
        data = base64.b64encode(indexed_png(spectrogram(wave), kHeat)).decode()
        parts += panel.axes(name, [(n, f"{n} s") for n in range(int(sweep.seconds) + 1)],
                            [(n, str(n)) for n in range(0, int(half) + 1, 8)], ("time", "kHz"))
        parts.append(f'<image x="{panel.left:.0f}" y="{kTop}" width="{width}" height="270" preserveAspectRatio="none" '
                     f'href="data:image/png;base64,{data}"/>')
        parts.append(f'<rect x="{panel.left:.0f}" y="{kTop}" width="{width}" height="270" fill="none" '
                     'stroke="#71717a"/>')
    for number, colour in enumerate(kHeat):
        x = 200 + 20 * number
        parts.append(f'<rect x="{x}" y="380" width="20" height="10" fill="{colour}" {kGrid}/>')
    parts += [text(194, 390, f"{kFloor} dBFS", kEnd), text(206 + 20 * len(kHeat), 390, "0 dBFS")]
    return picture(title, height, parts)


def error_picture(title, panels):
    """panels: pairs of a width in bits and curves, each a name, a colour, what a fit has left, its rate and scale."""
    parts, height, size, points = [], 560, 32768, 330
    for number, (bits, curves) in enumerate(panels):
        panel = Panel(70, kTop + 14 + 236 * number, 660, 180, (0, 24), (-210, -70))
        parts += panel.axes(f"{bits} bits", [(n, str(n)) for n in range(0, 25, 4)],
                            [(n, str(n)) for n in range(-200, -70, 20)],
                            ("kHz" if number == len(panels) - 1 else "", "dBFS"))
        for _, colour, rest, rate, scale in curves:
            lines = spectrum.strongest(spectrum.levels(rest[:size], scale), points)
            places = [(n + 0.5) / points * rate / 2000 for n in range(points)]
            parts.append(panel.curve(zip(places, lines), f'stroke="{colour}" stroke-width="1.2"'))
    parts += legend([(name, colour) for name, colour, *_ in panels[0][1]], 46, 70)
    return picture(title, height, parts)


def seam_picture(title, dots):
    """dots: for each name and colour a list of pairs of a loop's length and its seam in dB."""
    panel = Panel(70, kTop, 660, 300, (16, 100000), (-180, 0), True)
    lengths = (20, 50, 100, 200, 500, 1000, 2000, 5000, 10000, 30000, 100000)
    parts = list(panel.axes("", [(n, f"{n:,}") for n in lengths],
                            [(n, str(n)) for n in range(-180, 1, 20)], ("frames of the loop in the source", "dB")))
    for _, colour, points in dots:
        parts += [f'<circle cx="{panel.x(frames):.1f}" cy="{panel.y(max(-180, level)):.1f}" r="3" fill="{colour}" '
                  'fill-opacity="0.7"/>' for frames, level in points]
    parts += legend([(name, colour) for name, colour, _ in dots], 46, 110)
    return picture(title, kTop + 300 + kBottom, parts)
