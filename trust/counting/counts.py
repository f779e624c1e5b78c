"""counts.py - what gcov counted, as shares of folders and as lists of what is missing."""
import os
import re

kCore = re.compile(r"(shared|SamplerDBDS|stream|codec|bank|libkvbank)/")
# Not of the core: they need a library of their own.
kOutside = re.compile(r"shared/System/kvPreferences")


class Fault(Exception):
    """What the user must know, in whole sentences."""


def is_core(path):
    return kCore.match(path) and not kOutside.match(path)


def add_counts(functions, report, tree, is_wanted=is_core):
    """Adds what gcov says of one object to {(path, line, function): [how often, how often each branch was taken]}.

    An inline function is in many objects; an instance of a template is a function of its own.
    """
    for file in report["files"]:
        path = file["file"].removeprefix(f"{tree}/")
        if not is_wanted(path):
            continue
        for line in file["lines"]:
            key = path, line["line_number"], line.get("function_name")
            branches = decisions(line["branches"])
            row = functions.setdefault(key, [0, [0] * len(branches)])
            row[0] += line["count"]
            if len(row[1]) != len(branches):
                raise Fault(f"Two objects do not have the same code of {key}.")
            row[1] = [old + new for old, new in zip(row[1], branches)]


def lines_of(functions):
    """{path: [(line, how often, how often each branch was taken)]}. Instances of a template with the same branches are
    one; those that differ, by what is decided for a type, are counted each."""
    table = {}
    for (path, line, _), (count, branches) in functions.items():
        row = table.setdefault(path, {}).setdefault(line, [0, {}])
        row[0] += count
        alike = row[1].setdefault(len(branches), [0] * len(branches))
        row[1][len(branches)] = [old + new for old, new in zip(alike, branches)]
    return {path: [(line, count, [taken for alike in branches.values() for taken in alike])
                   for line, (count, branches) in sorted(lines.items())] for path, lines in table.items()}


def decisions(branches):
    """How often each branch was taken, without the two at a call that may throw: its way out, and the way on."""
    counts, skip = [], False
    for at, branch in enumerate(branches):
        if skip:
            skip = False
        elif branch["throw"]:
            skip = at + 1 < len(branches) and branches[at + 1]["fallthrough"]
        elif at + 1 < len(branches) and branches[at + 1]["throw"] and branch["fallthrough"]:
            skip = True
        else:
            counts.append(branch["count"])
    return counts


def without_braces(files, text_of):
    """Without lines of closing braces alone: what they run is the end of a scope when an exception passes through."""
    return {path: [row for row in lines if text_of(path, row[0]).strip("});") or any(row[2])]
            for path, lines in files.items()}


def stale(kept, texts_of):
    """What is kept for lines that are no more."""
    return [key for key in kept if key[1] not in texts_of(key[0])]


def shares(files):
    """[lines reached, lines, branches taken, branches] by folder, and of "all"."""
    table = {}
    for path, lines in sorted(files.items()):
        for folder in (os.path.dirname(path), "all"):
            row = table.setdefault(folder, [0, 0, 0, 0])
            row[0] += sum(count > 0 for _, count, _ in lines)
            row[1] += len(lines)
            row[2] += sum(taken > 0 for _, _, branches in lines for taken in branches)
            row[3] += sum(len(branches) for _, _, branches in lines)
    table["all"] = table.pop("all", [0, 0, 0, 0])
    return table


def lines_missed(files):
    return [(path, line) for path, lines in sorted(files.items()) for line, count, _ in lines if count == 0]


def branches_missed(files):
    """(path, line, branches not taken, branches) of each line that is reached."""
    return [(path, line, branches.count(0), len(branches)) for path, lines in sorted(files.items())
            for line, count, branches in lines if count > 0 and 0 in branches]


def read_kept(path):
    """The reasons, by path and text of the line. Blocks of two lines: "path: reason", then "- text"."""
    lines = [line for line in path.read_text().splitlines() if line and not line.startswith("#")]
    kept = {}
    for head, text in zip(lines[::2], lines[1::2] + [""] * (len(lines) % 2)):
        source, _, reason = head.partition(": ")
        if not reason or not text.startswith("- "):
            raise Fault(f"{path} has a block that is no reason: {head}")
        kept[source, text[2:]] = reason
    return kept
