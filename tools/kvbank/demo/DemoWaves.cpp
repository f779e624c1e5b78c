#include "tools/kvbank/demo/DemoWaves.h"

#include <algorithm>
#include <array>

namespace Kestrova {
namespace {

constexpr int kOneBits = 30;  // of the fixed-point numbers: 1 is 2^30
constexpr int64_t kOne = int64_t{1} << kOneBits;
constexpr int64_t kFullScale = (1 << 23) - 1;

int64_t Times(int64_t a, int64_t b) { return (a * b) >> kOneBits; }

// sin(2 pi phase / 2^32), by the odd polynomial of degree five that is
// exact at the quarters, also in its slope.
int64_t Sine(uint32_t nPhase) {
    constexpr int64_t kA = 1686629713, kB = 688904866, kC = 76016977;  // pi/2, pi - 5/2, pi/2 - 3/2
    int64_t x = static_cast<int32_t>(nPhase);                          // in quarters of a turn, -2 to 2
    if (x > kOne) x = 2 * kOne - x;
    if (x < -kOne) x = -2 * kOne - x;
    const int64_t square = Times(x, x);
    return Times(x, kA - Times(square, kB - Times(square, kC)));
}

// A level of 0 to 1 as a 24-bit value.
int32_t ToFrame(int64_t level) {
    return static_cast<int32_t>((std::clamp(level, -kOne, kOne) * kFullScale) >> kOneBits);
}

// Numbers without a pattern, -1 to 1.
class Noise {
public:
    int64_t Next() {
        m_nState = m_nState * 1664525 + 1013904223;
        return static_cast<int32_t>(m_nState) / 2;
    }

private:
    uint32_t m_nState = 1;
};

// A sine that fades by the same share in every frame.
class FadingSine {
public:
    FadingSine(uint64_t nMilliHertz, uint32_t nRate, int64_t level, int nFadeShift, uint32_t nPhase = 0)
        : m_nStep(static_cast<uint32_t>((nMilliHertz << 32) / (uint64_t{nRate} * 1000))),
          m_nPhase(nPhase),
          m_level(level),
          m_nFadeShift(nFadeShift) {}

    int64_t Next() {
        const int64_t value = Times(Sine(m_nPhase), m_level);
        m_nPhase += m_nStep;
        m_level -= m_level >> m_nFadeShift;
        return value;
    }

private:
    uint32_t m_nStep;
    uint32_t m_nPhase;
    int64_t m_level;
    int m_nFadeShift;
};

}  // namespace

// The average of two neighbours delays by half a frame, so the period is half a frame longer than the line.
DemoFrames MakePluck(const DemoSound& sound) {
    Noise noise;
    std::vector<int64_t> line(sound.nPitch);
    for (int64_t& value : line) value = noise.Next() / 2;
    DemoFrames frames;
    for (size_t nAt = 0; frames.size() < sound.nFrames; nAt = (nAt + 1) % line.size()) {
        frames.push_back(ToFrame(line[nAt]));
        line[nAt] = (line[nAt] + line[(nAt + 1) % line.size()]) * 511 / 1024;
    }
    return frames;
}

// The right channel is a quarter of a turn behind the left, which gives width.
DemoFrames MakeBell(const DemoSound& sound) {
    static constexpr struct {
        uint32_t nRatio;  // in thousandths
        int nLevel;       // in sixteenths
        int nFadeShift;
    } kPartials[] = {{500, 2, 13}, {1000, 5, 13}, {1183, 3, 12}, {1506, 2, 12}, {2000, 2, 11}, {2662, 1, 10}};
    DemoFrames frames(size_t{sound.nFrames} * sound.nChannels);
    for (uint32_t nChannel = 0; nChannel < sound.nChannels; ++nChannel) {
        for (const auto& partial : kPartials) {
            FadingSine sine(uint64_t{sound.nPitch} * partial.nRatio, sound.nRate, kOne / 16 * partial.nLevel,
                            partial.nFadeShift, nChannel << 30);
            for (size_t i = nChannel; i < frames.size(); i += sound.nChannels)
                frames[i] += ToFrame(sine.Next());
        }
    }
    return frames;
}

// The loop holds a whole number of periods, of the second voice one more than of the first, so frame n + loop
// equals frame n. What comes before the loop fades in.
DemoFrames MakeSustained(const DemoSound& sound) {
    const uint64_t nLoop = sound.nLoopFrames;
    const uint32_t nAttack = sound.nFrames - sound.nLoopFrames;
    const auto harmonic = [nLoop](uint64_t n, uint64_t nPeriods) {
        return Sine(static_cast<uint32_t>(((n * nPeriods % nLoop) << 32) / nLoop));
    };
    DemoFrames frames;
    for (uint64_t n = 0; n < sound.nFrames; ++n) {
        for (uint32_t nChannel = 0; nChannel < sound.nChannels; ++nChannel) {
            int64_t level = 0;
            for (uint64_t nHarmonic = 1; nHarmonic <= 4; ++nHarmonic) {
                const uint64_t nFirst = (sound.nPitch + nChannel) * nHarmonic;
                const uint64_t nSecond = (sound.nPitch + 1 - nChannel) * nHarmonic;
                level += (2 * harmonic(n, nFirst) + harmonic(n, nSecond)) >> (nHarmonic + 2);
            }
            if (n < nAttack) level = level * static_cast<int64_t>(n) / nAttack;
            frames.push_back(ToFrame(level));
        }
    }
    return frames;
}

DemoFrames MakeBlock(const DemoSound& sound) {
    Noise noise;
    FadingSine tone(uint64_t{sound.nPitch} * 1000, sound.nRate, kOne / 2, 8);
    int64_t click = kOne / 4;
    DemoFrames frames;
    for (uint32_t n = 0; n < sound.nFrames; ++n) {
        frames.push_back(ToFrame(tone.Next() + Times(noise.Next(), click)));
        click -= click >> 5;
    }
    return frames;
}

}  // namespace Kestrova
