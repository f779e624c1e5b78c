"""signals.py - the test signals: what is played, at any rate, and where in it to look."""
import math
from dataclasses import dataclass

from audio.wave import Wave, rounded

kLevel = 10 ** (-1 / 20)  # -1 dBFS
kEdge = 0.1               # seconds at both ends that are not looked at: a filter sees silence beyond them
kMultitone = (57.1, 211.3, 743.7, 1999.9, 5103.3, 10007.7, 17011.1)  # none is a harmonic of another


@dataclass
class Tones:
    """Steady sines. The peak of all together is at the level."""
    name: str
    frequencies: tuple
    seconds: float

    def at(self, rate, pitch=1.0):
        """Exact values, of which 1 is the full scale, at this rate; played so many times as high."""
        speeds = [2 * math.pi * frequency * pitch / rate for frequency in self.frequencies]
        total = [0.0] * round(self.seconds / pitch * rate)
        for number, speed in enumerate(speeds):
            phase = number * number  # spreads the peaks
            total = [value + math.sin(speed * n + phase) for n, value in enumerate(total)]
        peak = max(map(abs, total)) if len(speeds) > 1 else 1.0
        return [kLevel * value / peak for value in total]

    def wave(self, rate, bits, pitch=1.0):
        return Wave(rate, bits, rounded(self.at(rate, pitch), bits))

    @staticmethod
    def inside(wave):
        """The part of a wave that is looked at."""
        edge = round(kEdge * wave.rate)
        return wave.samples[edge:len(wave.samples) - edge]


@dataclass
class Steps:
    """One sine after the other, each faded in and out, so that none is heard in the next."""
    frequencies: tuple
    kStep, kFade, kSkip = 0.15, 0.02, 0.04  # seconds: of each, of its fades, before and behind the part looked at

    def wave(self, rate, bits):
        count, fade = round(self.kStep * rate), round(self.kFade * rate)
        ramp = [0.5 - 0.5 * math.cos(math.pi * (n + 0.5) / fade) for n in range(fade)]
        envelope = [kLevel * part for part in ramp + [1.0] * (count - 2 * fade) + ramp[::-1]]
        values = []
        for frequency in self.frequencies:
            speed = 2 * math.pi * frequency / rate
            values += [part * math.sin(speed * n) for n, part in enumerate(envelope)]
        return Wave(rate, bits, rounded(values, bits))

    def parts(self, wave):
        """Each frequency with the part of the wave in which it is steady."""
        for number, frequency in enumerate(self.frequencies):
            begin, end = number * self.kStep + self.kSkip, (number + 1) * self.kStep - self.kSkip
            yield frequency, wave.samples[round(begin * wave.rate):round(end * wave.rate)]


@dataclass
class Sweep:
    """A sine whose frequency rises evenly from one to the other."""
    low: float
    high: float
    seconds: float

    def wave(self, rate, bits):
        rise = (self.high - self.low) / self.seconds
        times = (n / rate for n in range(round(self.seconds * rate)))
        values = [kLevel * math.sin(2 * math.pi * (self.low + rise * time / 2) * time) for time in times]
        return Wave(rate, bits, rounded(values, bits))
