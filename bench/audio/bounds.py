"""bounds.py - what the two conversions promise, held against what was measured."""
import math
from dataclasses import dataclass, field

kToBest = 0.5        # dB that the precise conversion may stay below the best possible at 16 bits
kPurity24 = 140.0    # dB that it reaches at 24 bits
kPpm = 0.001         # what is called no difference in pitch
kSeam = -100.0       # dB that its loops stay below
kCents = 0.5         # that its loops may be off pitch
kKnownWithin = 0.2   # dB by which the standard one may differ from its known figures
# SINAD in dB of the standard conversion at 997 Hz, by rates and bits: its arithmetic is fixed, so these stay as they are.
kKnown = {(44100, 48000, 16): 80.63, (44100, 48000, 24): 82.78, (44100, 96000, 16): 80.7, (44100, 96000, 24): 82.8,
          (44100, 192000, 16): 80.7, (44100, 192000, 24): 82.8, (48000, 44100, 16): 81.1, (48000, 44100, 24): 83.2,
          (96000, 44100, 16): 83.7, (96000, 44100, 24): 85.7}
kFixedPoint = 32768  # the standard step from frame to frame is a whole number of these parts of a frame


def standard_ppm(ratio):
    """How much too high the standard conversion plays, because its step is cut to whole parts."""
    return 1e6 * (math.floor(ratio * kFixedPoint) / (ratio * kFixedPoint) - 1)


@dataclass
class Bounds:
    """Collects what was not kept, in words, and counts what was looked at."""
    looked: int = 0
    missed: list = field(default_factory=list)

    def hold(self, what, kept):
        self.looked += 1
        if not kept:
            self.missed.append(what)

    def tone(self, contender, job, bits, best, figures):
        """job: the rates and the tone, in words; best: SINAD of the best possible."""
        said = f"{contender}, {job}, {bits} bits: {figures.sinad:.2f} dB, {figures.ppm:+.4f} ppm"
        self.hold(f"{said}; wanted is no difference in pitch", abs(figures.ppm) <= kPpm)
        if bits == 24:
            self.hold(f"{said}; wanted are {kPurity24} dB", figures.sinad >= min(kPurity24, best - kToBest))
        else:
            self.hold(f"{said}; the best possible are {best:.2f} dB", figures.sinad >= best - kToBest)

    def standard_tone(self, rates, bits, figures):
        """Of the tone of 997 Hz."""
        said = f"standard, {rates}, {bits} bits: {figures.sinad:.2f} dB, {figures.ppm:+.3f} ppm"
        known = kKnown.get((*rates, bits))
        if known:
            self.hold(f"{said}; known are {known} dB", abs(figures.sinad - known) <= kKnownWithin)
        stretch = standard_ppm(rates[0] / rates[1])
        self.hold(f"{said}; its step makes {stretch:+.3f} ppm", abs(figures.ppm - stretch) <= 0.01)

    def seams(self, job, figures):
        for seam in figures.seams:
            said = f"precise, {job}, loop of {seam.loop.frames} frames with {seam.loop.periods} periods"
            self.hold(f"{said}: the seam has {seam.level:.1f} dB", seam.level <= kSeam)
            self.hold(f"{said}: it is {seam.cents:+.3f} cents off", abs(seam.cents) <= kCents)
