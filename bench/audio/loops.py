"""loops.py - loops of steady tones: what a loop adds to the tone when a player repeats it, and how far it is off pitch.

The loop of a source holds a whole number of periods, so the source itself repeats without a seam. A player that repeats
the converted loop plays something periodic: the endless sine nearest to it is found exactly by fitting it to one pass,
and what is left of that pass is what the loop adds, in every pass.
"""
import math
from dataclasses import dataclass

from audio.fit import decibels, fitted
from audio.signals import kLevel
from audio.wave import Wave, rounded

kShort = (20, 21, 23, 25, 32, 37, 40, 45, 50, 57, 64, 71, 80, 89, 100, 101, 113, 128, 150, 151, 173, 200)
kLong = (256, 300, 441, 500, 777, 1000, 1500, 2000, 3001, 4410, 5000, 7000, 10000, 15000, 22050, 30000, 44100, 65536)
kPitches = (440, 1000, 5000)  # Hz; the tone is as near as whole periods allow
kCycles = (100, 147, 256, 600, 1024, 2048)  # waves that are nothing but their loop: one period each


@dataclass
class Loop:
    """frames: of the loop in the source; lead: frames in front of it, tail: behind it."""
    frames: int
    periods: int
    lead: int
    tail: int

    def frequency(self, rate):
        return self.periods * rate / self.frames

    def wave(self, rate, bits):
        speed = 2 * math.pi * self.periods / self.frames
        count = self.lead + self.frames + self.tail
        values = [kLevel * math.sin(speed * (n - self.lead) + 1) for n in range(count)]
        return Wave(rate, bits, rounded(values, bits), (self.lead, self.lead + self.frames - 1))


@dataclass
class Seam:
    loop: Loop
    beside: float  # frames by which the converted loop is longer than so many passes of the source's are
    level: float   # dB: what the loop adds, against the tone
    cents: float   # how far the loop's tone is off
    entry: float   # dB: how far the tone in front of the loop and that of the loop are apart where it begins; or nan


def short_loops(step=1):
    return loops_of(kShort[::step])


def long_loops(step=1):
    return loops_of(kLong[::step])


def loops_of(lengths):
    """The leads differ, so that the beginnings fall between frames differently."""
    pairs = sorted({(frames, max(1, round(pitch * frames / 44100))) for frames in lengths for pitch in kPitches})
    return [Loop(frames, periods, 8000 + 7 * number, 500) for number, (frames, periods) in enumerate(pairs)]


def whole_loops():
    return [Loop(frames, 1, 0, 0) for frames in kCycles]


def seam(loop, from_rate, wave, stretch):
    """stretch: of the contender's time, which moves the tone in front of the loop."""
    begin, end = wave.loop
    once = wave.samples[begin:end + 1]
    wanted = loop.frequency(from_rate)
    periods = max(1, round(wanted * len(once) / wave.rate))
    cosine, sine = projection(once, periods)
    speed = 2 * math.pi * periods / len(once)
    rest = [value - cosine * math.cos(speed * n) - sine * math.sin(speed * n) for n, value in enumerate(once)]
    power = sum(value * value for value in rest) / len(rest)
    tone = math.hypot(cosine, sine)
    heard = periods * wave.rate / len(once)
    exact = loop.frames * wave.rate / from_rate
    beside = len(once) - exact * max(1, round(len(once) / exact))
    return Seam(loop, beside, 10 * math.log10(power / (tone**2 / 2)), 1200 * math.log2(heard / wanted),
                entry(wave, wanted, stretch, complex(cosine, -sine) / tone))


def projection(once, periods):
    """A whole number of periods: cosine and sine are orthogonal."""
    speed = 2 * math.pi * periods / len(once)
    cosine = sum(value * math.cos(speed * n) for n, value in enumerate(once))
    sine = sum(value * math.sin(speed * n) for n, value in enumerate(once))
    return 2 * cosine / len(once), 2 * sine / len(once)


def entry(wave, frequency, stretch, of_loop):
    """of_loop: the loop's tone at its first frame, as a complex number of absolute value 1."""
    begin = wave.loop[0]
    part = wave.samples[max(0, begin - round(0.05 * wave.rate)):begin]
    if len(part) < wave.rate * 0.04:
        return math.nan
    fit = fitted(part, [frequency], wave.rate, stretch)
    phase = fit.phases[0] + 2 * math.pi * frequency * (1 + stretch) / wave.rate * len(part)
    return decibels(abs(complex(math.cos(phase), math.sin(phase)) - of_loop))


@dataclass
class LoopFigures:
    """Of many loops."""
    seams: list

    def of(self, figure):
        """One figure of all loops; of pitches and lengths how far they are off, either way."""
        values = [getattr(seam, figure) for seam in self.seams]
        return [abs(value) for value in values] if figure in ("cents", "beside") else values


def measured(loops, contender, rates, bits, stretch):
    from_rate, to_rate = rates
    waves = contender.convert([loop.wave(from_rate, bits) for loop in loops], to_rate)
    return LoopFigures([seam(loop, from_rate, wave, stretch) for loop, wave in zip(loops, waves)])
