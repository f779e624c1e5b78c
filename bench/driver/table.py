"""table.py - the rows that were measured, and the one table of them."""
import statistics
from dataclasses import dataclass, field


@dataclass
class Row:
    """One job: its unit, and the figures of each contender, ours first, one for each round."""
    name: str
    unit: str
    figures: dict = field(default_factory=dict)

    def ratios(self, peer):
        """How many times as good ours is, round by round. Of what is said per second more is better."""
        ours = next(iter(self.figures.values()))
        pairs = zip(ours, self.figures[peer])
        return [mine / its if self.unit.endswith("/s") else its / mine for mine, its in pairs]


def short(figure):
    """Three digits that matter."""
    if figure >= 100:
        return f"{figure:,.0f}"
    return f"{figure:.3g}" if figure < 10 else f"{figure:.1f}"


def ratio(figure):
    return f"{figure:.2f}" if figure < 9.995 else f"{figure:.1f}" if figure < 99.95 else f"{figure:.0f}"


def spread(figures, text):
    return f"{text(min(figures))} to {text(max(figures))}"


def lines_of(row):
    ours, *peers = row.figures
    median = short(statistics.median(row.figures[ours]))
    if not peers:
        yield [row.name, row.unit, median, "", "", "", spread(row.figures[ours], short)]
    for number, peer in enumerate(peers):
        ratios = row.ratios(peer)
        job = [row.name, row.unit, median] if number == 0 else ["", "", ""]
        yield [*job, peer, short(statistics.median(row.figures[peer])), ratio(statistics.median(ratios)),
               spread(ratios, ratio)]


def markdown(rows):
    """The table; medians, and of the ratios the least and the greatest."""
    head = ["Job", "Unit", "Ours", "Peer", "Its figure", "Ratio", "Spread"]
    lines = ["| " + " | ".join(head) + " |", "|---|---|---:|---|---:|---:|---|"]
    for row in rows:
        lines += ["| " + " | ".join(cells) + " |" for cells in lines_of(row)]
    return "\n".join(lines)
