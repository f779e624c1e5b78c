#include "bench/BenchWaves.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <random>
#include <string_view>

namespace Kestrova::Bench {
namespace {

constexpr double kRate = 44100;
constexpr double kTwoPi = 6.283185307179586;

// value: -1 to 1
void PutSample(Bytes& wave, double value, unsigned nBits) {
    const auto n = static_cast<int32_t>(value * ((1 << (nBits - 1)) - 1));
    for (unsigned nShift = 0; nShift < nBits; nShift += 8) wave.push_back(static_cast<uint8_t>(n >> nShift));
}

struct Partial {
    double step;   // radians per frame
    double phase;  // radians between the channels
    double level;  // now
    double decay;  // per frame
};

std::array<Partial, 8> PartialsOf(uint32_t nSeed) {
    const double frequency = 55.0 * std::exp2((nSeed * 5 % 48) / 12.0);
    std::array<Partial, 8> partials;
    for (size_t i = 0; i < partials.size(); ++i) {
        const double nHarmonic = static_cast<double>(i) + 1;
        const double step = kTwoPi * frequency * nHarmonic * (1 + 0.0003 * nHarmonic * nHarmonic) / kRate;
        partials[i] = {step, 0.3 * nHarmonic, 0.4 / nHarmonic, std::exp(-nHarmonic / (4 * kRate))};
    }
    return partials;
}

}  // namespace

Bytes MakeNote(size_t nFrames, unsigned nBits, unsigned nChannels, uint32_t nSeed) {
    std::array<Partial, 8> partials = PartialsOf(nSeed);
    std::minstd_rand noise(nSeed + 1);
    Bytes wave;
    wave.reserve(nFrames * nChannels * nBits / 8);
    for (size_t nFrame = 0; nFrame < nFrames; ++nFrame) {
        for (unsigned nChannel = 0; nChannel < nChannels; ++nChannel) {
            double value = (static_cast<double>(noise() % 2001) - 1000) * 1e-6;
            for (const Partial& partial : partials)
                value += partial.level *
                         std::sin(static_cast<double>(nFrame) * partial.step + nChannel * partial.phase);
            PutSample(wave, std::clamp(value, -1.0, 1.0), nBits);
        }
        for (Partial& partial : partials) partial.level *= partial.decay;
    }
    return wave;
}

Bytes MakeLongNote(size_t nBytes) {
    constexpr size_t kFrameBytes = 4, kPiece = 6000000;
    Bytes wave = MakeNote(std::min(nBytes / kFrameBytes + 1, kPiece / kFrameBytes), 16, 2, 3);
    wave.reserve(nBytes + kFrameBytes);
    while (wave.size() < nBytes) wave.push_back(wave[wave.size() - kPiece]);
    wave.resize(nBytes);
    return wave;
}

Bytes MakeSine(size_t nFrames, unsigned nBits) {
    Bytes wave;
    wave.reserve(nFrames * nBits / 8);
    const double step = std::sqrt(0.004);
    for (size_t n = 0; n < nFrames; ++n)
        PutSample(wave, 0.8 * std::sin(static_cast<double>(n) * step), nBits);
    return wave;
}

Bytes MakeNoise(size_t nBytes) {
    std::mt19937 random(1);
    Bytes wave(nBytes);
    for (uint8_t& n : wave) n = static_cast<uint8_t>(random());
    return wave;
}

Bytes MakePeriodic(size_t nBytes, size_t nPeriod) {
    Bytes wave = MakeNoise(nPeriod);
    wave.reserve(nBytes);
    while (wave.size() < nBytes) wave.push_back(wave[wave.size() - nPeriod]);
    return wave;
}

Bytes ReadSoundFontSamples(size_t nMaxBytes) {
    const Bytes file = ReadWhole("/usr/share/sounds/sf2/TimGM6mb.sf2");
    constexpr std::string_view kBeforeSize = "sdtasmpl";
    const auto itMark = std::search(file.begin(), file.end(), kBeforeSize.begin(), kBeforeSize.end());
    const auto nMark = static_cast<size_t>(itMark - file.begin());
    uint32_t nSize = 0;
    const size_t nSamples = nMark + kBeforeSize.size() + sizeof nSize;
    if (nSamples > file.size()) return {};
    std::memcpy(&nSize, file.data() + nSamples - sizeof nSize, sizeof nSize);
    const size_t nBytes = std::min({nMaxBytes, size_t{nSize}, file.size() - nSamples});
    const uint8_t* const pSamples = file.data() + nSamples;
    return Bytes(pSamples, pSamples + nBytes);
}

}  // namespace Kestrova::Bench
