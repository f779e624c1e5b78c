"""tables.py - what was measured as tables in Markdown."""
import math
from statistics import median


def number(figure, digits):
    """Of a figure that there is none of, a dash."""
    if figure is None or not math.isfinite(figure):
        return "-"
    text = f"{figure:.{digits}f}"
    return text[1:] if text.startswith("-") and float(text) == 0 else text


def table(head, rows):
    """The first column holds names, all others figures."""
    lines = ["| " + " | ".join(head) + " |", "|---|" + "---:|" * (len(head) - 1)]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows]) + "\n"


def rates_text(rates):
    return f"{rates[0]} to {rates[1]} Hz"


def tone_table(names, rows):
    """rows: of each contender its name, and its figures by width in bits and tone, with None for what it does not make.

    The figures that are not SINAD are those of the first tone at 24 bits, or at 16 where there are none."""
    head = ["SINAD in dB", *(f"{bits} bits, {name}" for bits in (16, 24) for name in names), "level held", "level, dB",
            "pitch, ppm"]
    lines = []
    for contender, figures in rows:
        cells = [figures.get((bits, name)) for bits in (16, 24) for name in names]
        one = figures.get((24, names[0])) or figures[(16, names[0])]
        lines.append([contender, *(number(cell and cell.sinad, 1) for cell in cells), number(one.sinad_held, 1),
                      number(one.level, 4), number(one.ppm, 3)])
    return table(head, lines)


def response_table(rows):
    """rows: pairs of a name and a Response."""
    def place(frequency):
        return number(frequency and frequency / 1000, 2)

    head = ["24 bits", "100 Hz to 18 kHz, dB", "at 20 kHz, dB", "-0.1 dB at, kHz", "-3 dB at, kHz", "images, dB",
            "aliases below 20 kHz, dB", "aliases, dB"]
    return table(head, [[name, number(found.evenness, 4), number(found.at_top, 3), place(found.falls_to(-0.1)),
                         place(found.falls_to(-3)), number(found.images, 1), number(found.low_aliases, 1),
                         number(found.aliases, 1)] for name, found in rows])


def loop_table(rows):
    """rows: triples of a contender's name, the name of a set of loops, and LoopFigures."""
    head = ["24 bits", "loops", "seam, worst, dB", "median, dB", "pitch, worst, cents", "median, cents",
            "length beside, worst, frames", "entry, worst, dB", "median, dB"]
    lines = []
    for contender, loops, figures in rows:
        level, cents, entry = figures.of("level"), figures.of("cents"), figures.of("entry")
        lines.append([contender, loops, number(max(level), 1), number(median(level), 1), number(max(cents), 3),
                      number(median(cents), 3), number(max(figures.of("beside")), 2), number(max(entry), 1),
                      number(median(entry), 1)])
    return table(head, lines)
