"""spectrum.py - spectra of parts of a wave, in plain Python."""
import cmath
import functools
import math

kBeta = 20  # of Kaiser's window: what it lets through beside a line is below -180 dB


@functools.lru_cache
def turns(size):
    return [cmath.exp(-2j * math.pi * n / size) for n in range(size // 2)]


def transformed(values):
    """The discrete Fourier transform; the length is a power of two."""
    size = len(values)
    if size == 1:
        return list(values)
    even, odd = transformed(values[::2]), transformed(values[1::2])
    turned = [turn * value for turn, value in zip(turns(size), odd)]
    return [a + b for a, b in zip(even, turned)] + [a - b for a, b in zip(even, turned)]


def bessel(x):
    """I0, by its series."""
    total, term, n = 1.0, 1.0, 1
    while term > total * 1e-17:
        term *= (x / 2 / n) ** 2
        total += term
        n += 1
    return total


@functools.lru_cache
def window(size):
    """Kaiser's, so that a line has its amplitude."""
    middle = (size - 1) / 2
    parts = [bessel(kBeta * math.sqrt(1 - ((n - middle) / middle) ** 2)) for n in range(size)]
    total = sum(parts)
    return [2 * part / total for part in parts]


def levels(values, scale):
    """dB of each line from 0 to half the rate; 0 dB is a sine of full scale."""
    found = transformed([value * part / scale for value, part in zip(values, window(len(values)))])
    return [10 * math.log10(abs(line) ** 2 + 1e-30) for line in found[:len(values) // 2]]


def strongest(lines, count):
    """The lines in so many groups, of each the strongest."""
    edges = [round(number * len(lines) / count) for number in range(count + 1)]
    return [max(lines[begin:end]) for begin, end in zip(edges, edges[1:])]
