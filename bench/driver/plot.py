"""plot.py - curves as an SVG picture, both axes logarithmic: what grows with its size is a straight line there."""
import math
from xml.sax.saxutils import escape

kWidth, kHeight = 720, 440
kLeft, kRight, kTop, kBottom = 76, 190, 44, 56
kColours = ("#0b5cad", "#c2410c", "#15803d", "#7e22ce", "#a16207")
kNames = {-9: "1 ns", -8: "10 ns", -7: "100 ns", -6: "1 µs", -5: "10 µs", -4: "100 µs", -3: "1 ms", -2: "10 ms",
          -1: "100 ms", 0: "1 s", 1: "10 s", 2: "100 s"}


class Axis:
    """A logarithmic axis between two decades (or, of base 2, octaves), as places of the picture."""
    def __init__(self, figures, begin, end, base=10):
        self.base, self.begin, self.end = base, begin, end
        self.low = math.floor(math.log(min(figures), base) + 1e-9)
        self.high = max(math.ceil(math.log(max(figures), base) - 1e-9), self.low + 1)

    def place(self, figure):
        part = (math.log(figure, self.base) - self.low) / (self.high - self.low)
        return self.begin + part * (self.end - self.begin)

    def ticks(self):
        return range(self.low, self.high + 1)


def size_name(figure):
    for unit, name in ((10**9, "G"), (10**6, "M"), (10**3, "k")):
        if figure >= unit:
            return f"{figure // unit}{name}"
    return str(figure)


def line(x1, y1, x2, y2, style):
    return f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" {style}/>'


def text(x, y, words, style=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" {style}>{escape(words)}</text>'


def grid(across, up):
    style = 'stroke="#d4d4d8"'
    for tick in across.ticks():
        x = across.place(across.base**tick)
        yield line(x, kTop, x, kHeight - kBottom, style)
        yield text(x, kHeight - kBottom + 18, size_name(across.base**tick), 'text-anchor="middle"')
    for tick in up.ticks():
        y = up.place(10.0**tick)
        yield line(kLeft, y, kWidth - kRight, y, style)
        yield text(kLeft - 8, y + 4, kNames.get(tick, f"10^{tick} s"), 'text-anchor="end"')


def guide(curves, across, up):
    """A dashed line of exact proportion, through the last point of the first curve."""
    size, seconds = curves[0][1][-1]
    points = []
    for step in range(101):
        at = across.base ** (across.low + step / 100 * (across.high - across.low))
        if 10.0**up.low <= seconds * at / size <= 10.0**up.high:
            points.append(f"{across.place(at):.1f},{up.place(seconds * at / size):.1f}")
    yield f'<polyline points="{" ".join(points)}" fill="none" stroke="#71717a" stroke-dasharray="4 4"/>'


def legend(names):
    x = kWidth - kRight + 14
    for number, (name, colour) in enumerate(names):
        y = kTop + 14 + 22 * number
        dashes = ' stroke-dasharray="4 4"' if colour == "#71717a" else ""
        yield line(x, y, x + 24, y, f'stroke="{colour}" stroke-width="2"{dashes}')
        yield text(x + 30, y + 4, name)


def drawing(title, unit, curves, proportional, base=10):
    """The picture. curves: pairs of a name and its points, which are pairs of a size and seconds."""
    points = [point for _, row in curves for point in row]
    across = Axis([size for size, _ in points], kLeft, kWidth - kRight, base)
    up = Axis([seconds for _, seconds in points], kHeight - kBottom, kTop)
    names = [(name, kColours[number]) for number, (name, _) in enumerate(curves)]
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {kWidth} {kHeight}" font-family="sans-serif" '
             'font-size="12" fill="#18181b">', '<rect width="100%" height="100%" fill="#ffffff"/>',
             text(kLeft, 26, title, 'font-size="15"'), *grid(across, up)]
    if proportional:
        parts += guide(curves, across, up)
        names.append(("in proportion", "#71717a"))
    for (_, row), (_, colour) in zip(curves, names):
        shape = " ".join(f"{across.place(size):.1f},{up.place(seconds):.1f}" for size, seconds in row)
        parts.append(f'<polyline points="{shape}" fill="none" stroke="{colour}" stroke-width="2"/>')
        parts += [f'<circle cx="{across.place(size):.1f}" cy="{up.place(seconds):.1f}" r="3" fill="{colour}"/>'
                  for size, seconds in row]
    parts += legend(names)
    parts.append(text((kLeft + kWidth - kRight) / 2, kHeight - 14, unit, 'text-anchor="middle"'))
    return "\n".join([*parts, "</svg>", ""])
