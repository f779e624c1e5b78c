// resample_comparison - the long filter (quality 7) beside libsoxr, libswresample and libsamplerate: millions
// of destination samples a second, a sample being one value of one channel. Every contender converts the same
// wave, from and to interleaved memory; what it makes must have the level of what ours makes.
#include <cmath>
#include <memory>

#include "bench/BenchConversion.h"
#include "bench/compare/Comparison.h"
#include "bench/compare/ResamplePeers.h"

namespace Kestrova::Bench {
namespace {

// Ours gets packed samples.
Bytes Packed(const Conversion& conversion) {
    Bytes wave;
    const auto put = [&](uint32_t n) {
        for (unsigned nShift = 0; nShift < conversion.shape.nBits; nShift += 8)
            wave.push_back(static_cast<uint8_t>(n >> nShift));
    };
    for (const int16_t n : conversion.source16) put(static_cast<uint32_t>(n));
    for (const int32_t n : conversion.source32) put(static_cast<uint32_t>(n) >> 8);
    return wave;
}

template <class TAt>
double Level(size_t nSamples, TAt at) {
    double sum = 0;
    for (size_t n = 0; n < nSamples; ++n) sum += at(n) * at(n);
    return std::sqrt(sum / static_cast<double>(nSamples));
}

double LevelOf(const Conversion& conversion, size_t nSamples) {
    return Level(nSamples, [&](size_t n) {
        return conversion.Is16() ? conversion.out16[n] / 32768.0 : conversion.out32[n] / 2147483648.0;
    });
}

// What the contenders of one row share.
struct Row {
    Conversion conversion;
    BenchConversion own;
    double level;     // of what ours makes
    double nSamples;  // millions that ours makes, by which every rate is reckoned

    explicit Row(const WaveShape& shape)
        : conversion(shape), own(Packed(conversion), shape.nBits, shape.nChannels, shape.Ratio()) {
        const size_t nMade = own.Run() * shape.nChannels;
        level = Level(nMade, [this](size_t n) { return own.At(n); });
        nSamples = static_cast<double>(nMade) / 1e6;
    }

    // The peer's output is as long and as loud as ours, within a hundredth; otherwise it did other work.
    bool IsEqualWork(size_t nFrames) const {
        const double nWanted = static_cast<double>(conversion.shape.ToFrames());
        if (std::abs(static_cast<double>(nFrames) - nWanted) > 0.01 * nWanted) return false;
        const double levelOfPeer = LevelOf(conversion, nFrames * conversion.shape.nChannels);
        return std::abs(levelOfPeer - level) <= 0.01 * level;
    }
};

std::vector<Contender> MakeContenders(ComparisonSize size, const WaveShape& shape) {
    const auto pRow = std::make_shared<Row>(shape);
    std::vector<Contender> contenders = {
        {"ours", RateTurn(size, pRow->nSamples, [pRow] { return pRow->own.Run() > 0; })}};
    const auto addPeer = [&](const char* pszName, std::function<size_t(Conversion&)> convert) {
        if (!pRow->IsEqualWork(convert(pRow->conversion))) convert = [](Conversion&) { return size_t{0}; };
        contenders.push_back({pszName, RateTurn(size, pRow->nSamples,
                                                [pRow, convert] { return convert(pRow->conversion) > 0; })});
    };
    addPeer("libsoxr HQ", [](Conversion& c) { return ResampleWithSoxr(c, SoxrQuality::Hq); });
    addPeer("libsoxr VHQ", [](Conversion& c) { return ResampleWithSoxr(c, SoxrQuality::Vhq); });
    addPeer("libswresample, 64 taps", ResampleWithSwr);
    addPeer("libsamplerate, medium sinc",
            [](Conversion& c) { return ResampleWithSampleRate(c, SampleRateQuality::Medium); });
    addPeer("libsamplerate, best sinc",
            [](Conversion& c) { return ResampleWithSampleRate(c, SampleRateQuality::Best); });
    return contenders;
}

std::string NameOf(const WaveShape& shape) {
    return "long filter, " + std::to_string(shape.nFromRate) + " to " + std::to_string(shape.nToRate) + ", " +
           std::to_string(shape.nBits) + "-bit " + (shape.nChannels == 1 ? "mono" : "stereo");
}

std::vector<ComparisonRow> RowsOf(ComparisonSize size) {
    const size_t nFrames = size.bQuick ? 50000 : 1000000;
    const WaveShape shapes[] = {{16, 1, 44100, 48000, nFrames},  {16, 2, 44100, 48000, nFrames},
                                {24, 1, 44100, 48000, nFrames},  {24, 2, 44100, 48000, nFrames},
                                {16, 2, 44100, 192000, nFrames}, {16, 2, 96000, 44100, nFrames},
                                {24, 2, 96000, 44100, nFrames}};
    std::vector<ComparisonRow> rows;
    for (const WaveShape& shape : shapes)
        rows.push_back({NameOf(shape), "Msamples/s", [=] { return MakeContenders(size, shape); }});
    return rows;
}

}  // namespace
}  // namespace Kestrova::Bench

int main(int argc, char** argv) {
    return Kestrova::Bench::RunComparison(argc, argv, Kestrova::Bench::RowsOf);
}
