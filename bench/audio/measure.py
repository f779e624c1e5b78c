"""measure.py - what a contender does to steady tones: purity, pitch and level, pass band, images and aliases."""
import math
from dataclasses import dataclass

from audio.fit import decibels, fitted, line_amplitude
from audio.signals import kLevel, kMultitone, Steps, Tones

kTones = (("997 Hz", (997,)), ("10 kHz", (10000,)), ("multitone", kMultitone))
kTop = 20000    # Hz: what the ear may want
kEven = 18000   # up to where the pass band is said to be even or not
kNear = 40      # Hz: a line so near the tone, 0 or half the rate cannot be told from it
kOffset = 0.37  # Hz below a round frequency: its rounding errors then repeat after long, and are noise and no lines
kOrders = 5     # images around 0 (the tone itself, or its alias) to so many times the source's rate


@dataclass
class ToneFigures:
    sinad: float       # dB; amplitudes, phases and pitch fitted
    sinad_held: float  # dB; the same with the amplitude that was played; of one tone only
    ppm: float         # too high
    level: float       # dB, against what was played; of one tone only


def tones(seconds):
    return [Tones(name, frequencies, seconds) for name, frequencies in kTones]


def tone_figures(tone, wave, pitch=1.0):
    fit = fitted(tone.inside(wave), [frequency * pitch for frequency in tone.frequencies], wave.rate)
    if len(tone.frequencies) > 1:
        return ToneFigures(fit.sinad, math.nan, fit.ppm, math.nan), fit
    # What the fit leaves is orthogonal to the sine, so an error of the amplitude adds its own power to it.
    played, heard = kLevel * wave.scale, fit.amplitudes[0]
    held = 10 * math.log10(played**2 / 2 / (fit.rest_power + (heard - played) ** 2 / 2))
    return ToneFigures(fit.sinad, held, fit.ppm, decibels(heard / played)), fit


def best_possible(tone, from_rate, to_rate, bits, pitch=1.0):
    """The exact sines at the new rate, rounded, of a source that was rounded too: SINAD in dB.

    Rounding at the source is noise up to half its rate, of which a lower rate, or a higher pitch, holds a part only."""
    def noise(rate, played):
        return 10 ** (-tone_figures(tone, tone.wave(rate, bits, played), played)[0].sinad / 10)

    return -10 * math.log10(noise(to_rate, pitch) + min(1, to_rate / from_rate / pitch) * noise(from_rate, 1.0))


@dataclass
class Response:
    """Of a contender between two rates, at 24 bits; levels in dB against what was played, places in Hz or None."""
    levels: list        # pairs of a frequency and its level
    images: float       # the strongest line beside a tone of 20 kHz or less
    low_aliases: float  # the strongest line up to 20 kHz of a tone that the new rate cannot hold; -inf: none can be
    aliases: float      # the same wherever the line is

    @property
    def evenness(self):
        return max(abs(level) for frequency, level in self.levels if frequency <= kEven)

    @property
    def at_top(self):
        return [level for frequency, level in self.levels if frequency <= kTop][-1]

    def falls_to(self, limit):
        """Where the level first falls below the limit."""
        for (low, above), (high, below) in zip(self.levels, self.levels[1:]):
            if below < limit <= above:
                return low + (high - low) * (above - limit) / (above - below)
        return None


def response_steps(from_rate, to_rate):
    edge = min(from_rate, to_rate) // 2
    below = [100, 200, 500, *range(1000, kEven, 1000), *range(kEven, edge - 50, 100)]
    above = range((edge // 100 + 1) * 100, from_rate // 2 - 50, 100 if from_rate < 50000 else 300)
    return Steps(tuple(frequency - kOffset for frequency in (*below, *above)))


def folded(frequency, rate):
    frequency %= rate
    return min(frequency, rate - frequency)


def lines_of(frequency, from_rate, to_rate, stretch):
    """Where a tone may turn up that it should not, in Hz. A stretched time moves what is folded, too."""
    sources = [order * from_rate + side * frequency for order in range(kOrders) for side in (-1, 1)]
    lines = {folded(source * (1 + stretch), to_rate) for source in sources}
    tone = frequency if frequency < to_rate / 2 else -kNear
    return [line for line in lines if min(abs(line - tone), line, to_rate / 2 - line) >= kNear]


def response(steps, wave, from_rate, stretch):
    """stretch: of the contender's time, for the lines move with it."""
    played, levels, images, low_aliases, aliases = kLevel * wave.scale, [], [], [-math.inf], [-math.inf]
    for frequency, values in steps.parts(wave):
        rest = values
        if frequency < wave.rate / 2:
            fit = fitted(values, [frequency], wave.rate, stretch)
            rest = fit.rest
            levels.append((frequency, decibels(fit.amplitudes[0] / played)))
        for line in lines_of(frequency, from_rate, wave.rate, stretch):
            level = decibels(line_amplitude(rest, line / wave.rate) / played)
            if frequency <= kTop:
                images.append(level)
            elif frequency > wave.rate / 2:
                aliases.append(level)
                if line <= kTop:
                    low_aliases.append(level)
    return Response(levels, max(images), max(low_aliases), max(aliases))
