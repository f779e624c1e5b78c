"""fit.py - sines fitted to a wave by least squares, and what the wave has beside them.

The model of a wave at the rate R is c + sum of a_k cos(w_k n) + b_k sin(w_k n), w_k = 2 pi f_k (1 + s) / R, n counted
from the middle of the part that is looked at. The frequencies f_k are those that were played; a_k, b_k and the constant
c are unknown, and so is s, by which all frequencies are too high (a time that is stretched makes it negative), unless
it is given. For given s all others follow from linear equations. s is found by Gauss and Newton's method, first in a
short part from the middle, then in longer ones, so that no sine is ever more than a fraction of a period astray.
"""
import math
from dataclasses import dataclass
from operator import mul

kParts = (16, 4, 1)  # the parts in which s is found: 1/16 of the frames, 1/4, all


def dot(left, right):
    return sum(map(mul, left, right))


def solved(matrix, right):
    """Linear equations, by elimination with pivots."""
    size = len(right)
    rows = [list(row) + [value] for row, value in zip(matrix, right)]
    for column in range(size):
        pivot = max(range(column, size), key=lambda row: abs(rows[row][column]))
        rows[column], rows[pivot] = rows[pivot], rows[column]
        for row in range(column + 1, size):
            factor = rows[row][column] / rows[column][column]
            rows[row] = [below - factor * above for below, above in zip(rows[row], rows[column])]
    solution = [0.0] * size
    for row in reversed(range(size)):
        known = dot(rows[row][row + 1:size], solution[row + 1:])
        solution[row] = (rows[row][size] - known) / rows[row][row]
    return solution


def normal_equations(columns, values):
    matrix = [[0.0] * len(columns) for _ in columns]
    for row, left in enumerate(columns):
        for column in range(row, len(columns)):
            matrix[row][column] = matrix[column][row] = dot(left, columns[column])
    return matrix, [dot(column, values) for column in columns]


def weighted(columns, weights, count):
    total = [0.0] * count
    for column, weight in zip(columns, weights):
        total = [value + weight * part for value, part in zip(total, column)]
    return total


@dataclass
class Fit:
    """What was found. amplitudes and phases (of a cosine, at the first frame of the part) go with the frequencies."""
    amplitudes: list
    phases: list
    stretch: float  # s
    rest: list      # the wave without its sines and its constant
    power: float    # mean square of the sines

    @property
    def ppm(self):
        return 1e6 * self.stretch

    @property
    def rest_power(self):
        return dot(self.rest, self.rest) / len(self.rest)

    @property
    def sinad(self):
        """Sines to all else that is no constant, in dB."""
        return 10 * math.log10(self.power / self.rest_power)


class Problem:
    """One part of a wave and the frequencies that are in it, as parts of its rate."""
    def __init__(self, values, frequencies, stretch):
        self.values = values
        self.middle = (len(values) - 1) / 2
        self.times = [n - self.middle for n in range(len(values))]
        self.frequencies, self.stretch = frequencies, stretch
        self.fit()

    def fit(self):
        self.speeds = [2 * math.pi * frequency * (1 + self.stretch) for frequency in self.frequencies]
        self.columns = []
        for speed in self.speeds:
            angles = [speed * time for time in self.times]
            self.columns += [list(map(math.cos, angles)), list(map(math.sin, angles))]
        self.columns.append([1.0] * len(self.values))
        self.equations = normal_equations(self.columns, self.values)
        self.weights = solved(*self.equations)

    def sines(self):
        return weighted(self.columns[:-1], self.weights, len(self.values))

    def step(self):
        """Betters s: one more column, the derivative of the model to s."""
        turned = []
        for number, speed in enumerate(self.speeds):
            turned += [speed * self.weights[2 * number + 1], -speed * self.weights[2 * number]]
        slope = list(map(mul, self.times, weighted(self.columns[:-1], turned, len(self.values))))
        matrix, right = self.equations
        border = [dot(column, slope) for column in self.columns]
        whole = [row + [edge] for row, edge in zip(matrix, border)] + [border + [dot(slope, slope)]]
        # Speeds are (1 + s) times those that were played, so a step of s is relative to the speeds of now.
        self.stretch += solved(whole, right + [dot(slope, self.values)])[-1] * (1 + self.stretch)
        self.fit()


def fitted(values, frequencies, rate, stretch=None):
    """The sines of these frequencies (Hz) in a wave. stretch: s, if it is known."""
    parts = [frequency / rate for frequency in frequencies]
    found = stretch
    if stretch is None:
        found = 0.0
        for part in kParts:
            count = len(values) // part
            begin = (len(values) - count) // 2
            problem = Problem(values[begin:begin + count], parts, found)
            problem.step()
            found = problem.stretch
    else:
        problem = Problem(values, parts, found)
    pairs = list(zip(problem.weights[0:-1:2], problem.weights[1:-1:2]))
    amplitudes = [math.hypot(*pair) for pair in pairs]
    phases = [math.atan2(-b, a) - speed * problem.middle for (a, b), speed in zip(pairs, problem.speeds)]
    sines = problem.sines()
    rest = [value - sine - problem.weights[-1] for value, sine in zip(values, sines)]
    return Fit(amplitudes, phases, found, rest, dot(sines, sines) / len(sines))


def line_amplitude(values, frequency):
    """The amplitude of one line, of this frequency as a part of the rate, in what a fit has left."""
    speed = 2 * math.pi * frequency
    angles = [speed * n for n in range(len(values))]
    return 2 / len(values) * math.hypot(dot(values, map(math.cos, angles)), dot(values, map(math.sin, angles)))


def decibels(ratio):
    """Of amplitudes."""
    return 20 * math.log10(ratio) if ratio > 0 else -math.inf
