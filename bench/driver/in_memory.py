"""in_memory.py - the rows whose contenders work in one process, on one core: what bench/compare's programs print."""
from driver.machine import kOneCore, output_of
from driver.table import Row
from driver.tree import kPrograms

kTargets = ("resample_comparison", "codec_comparison", "container_comparison")


def names(options):
    """The names of all rows that are asked for, by program."""
    size = ["--quick"] if options.quick else []
    return {target: output_of([kPrograms / target, "--list", *size, "--rows", options.rows]).splitlines()
            for target in kTargets}


def measure(options):
    """Runs each program that has a row which is asked for; the rows, one program's after the other's."""
    for target, wanted in names(options).items():
        if not wanted:
            continue
        size = ["--quick"] if options.quick else []
        printed = output_of([kPrograms / target, *size, "--rounds", options.rounds, "--rows", options.rows], kOneCore)
        rows = {}
        for line in printed.splitlines():
            name, unit, contender, figure = line.split("\t")
            row = rows.setdefault(name, Row(name, unit))
            row.figures.setdefault(contender, []).append(float(figure))
        yield from rows.values()
