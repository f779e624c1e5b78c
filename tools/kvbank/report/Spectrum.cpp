#include "tools/kvbank/report/Spectrum.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace Kestrova {
namespace {

using Complex = std::complex<double>;

constexpr size_t kPiece = 4096;  // frames; a power of two
constexpr uint64_t kMostPieces = 64;
constexpr double kFullScale = 2147483648.0;
constexpr double kFloor = -120;  // dB
constexpr int kWidth = 640, kHeight = 120;
constexpr double kLowest = 20, kHighest = 100000;  // Hz

void Reorder(std::vector<Complex>& values) {
    for (size_t i = 1, j = 0; i < values.size(); ++i) {
        size_t nBit = values.size() / 2;
        for (; (j & nBit) != 0; nBit /= 2) j ^= nBit;
        j ^= nBit;
        if (i < j) std::swap(values[i], values[j]);
    }
}

// The discrete Fourier transform in place, by halves. REQUIRES: a power of two of values.
void Transform(std::vector<Complex>& values) {
    Reorder(values);
    for (size_t nSpan = 2; nSpan <= values.size(); nSpan *= 2) {
        const Complex turn = std::polar(1.0, -2 * std::numbers::pi / static_cast<double>(nSpan));
        for (size_t nFirst = 0; nFirst < values.size(); nFirst += nSpan) {
            Complex factor = 1;
            for (size_t i = nFirst; i < nFirst + nSpan / 2; ++i, factor *= turn) {
                const Complex odd = values[i + nSpan / 2] * factor;
                values[i + nSpan / 2] = values[i] - odd;
                values[i] += odd;
            }
        }
    }
}

double HannAt(size_t i) {
    return 0.5 - 0.5 * std::cos(2 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(kPiece));
}

// Its power is added, scaled so that a full-scale tone is 1.
void AddPiece(const MonoWave& wave, uint64_t nFirst, std::vector<double>& powers) {
    std::vector<Complex> values(kPiece);
    for (size_t i = 0; i < kPiece && nFirst + i < wave.GetFrames(); ++i)
        values[i] = wave.At(nFirst + i) / kFullScale * HannAt(i);
    Transform(values);
    for (size_t i = 0; i < powers.size(); ++i) powers[i] += std::norm(values[i] * (4.0 / kPiece));
}

int XOf(double hertz) {
    const double share = std::log(hertz / kLowest) / std::log(kHighest / kLowest);
    return static_cast<int>(std::lround(share * kWidth));
}

int YOf(double decibels) {
    return static_cast<int>(std::lround(std::clamp(decibels, kFloor, 0.0) / kFloor * kHeight));
}

// One point a column: the greatest of the entries that fall into it.
std::string CurveOf(const Spectrum& spectrum, const char* pszClass) {
    std::string strPath;
    int nColumn = -1, nTop = kHeight;
    const auto put = [&] {
        if (nColumn < 0) return;
        strPath.append(strPath.empty() ? "M" : "L").append(std::to_string(nColumn));
        strPath.append(" ").append(std::to_string(nTop));
    };
    for (size_t i = 1; i < spectrum.decibels.size(); ++i) {
        const double hertz = static_cast<double>(i) * spectrum.nRate / static_cast<double>(kPiece);
        if (hertz < kLowest || hertz > kHighest) continue;
        if (XOf(hertz) != nColumn) {
            put();
            nColumn = XOf(hertz);
            nTop = kHeight;
        }
        nTop = std::min(nTop, YOf(spectrum.decibels[i]));
    }
    put();
    return strPath.empty() ? "" : std::string("<path class=\"") + pszClass + "\" d=\"" + strPath + "\"/>";
}

std::string FrequencyLine(int nHertz) {
    const std::string strX = std::to_string(XOf(nHertz));
    const std::string strText =
        nHertz < 1000 ? std::to_string(nHertz) + " Hz" : std::to_string(nHertz / 1000) + " kHz";
    return "<path class=\"grid\" d=\"M" + strX + " 0V" + std::to_string(kHeight) + "\"/><text x=\"" + strX +
           "\" y=\"" + std::to_string(kHeight + 12) + "\">" + strText + "</text>";
}

std::string LevelLine(int nDecibels) {
    return "<path class=\"grid\" d=\"M0 " + std::to_string(YOf(nDecibels)) + "H" + std::to_string(kWidth) +
           "\"/><text class=\"level\" x=\"2\" y=\"" + std::to_string(YOf(nDecibels) - 2) + "\">" +
           std::to_string(nDecibels) + " dB</text>";
}

}  // namespace

Spectrum SpectrumOf(const MonoWave& wave, uint32_t nRate) {
    Spectrum spectrum{.nRate = nRate, .decibels = {}};
    if (wave.GetFrames() == 0) return spectrum;
    const uint64_t nFit = wave.GetFrames() > kPiece ? (wave.GetFrames() - kPiece) / (kPiece / 2) + 1 : 1;
    const uint64_t nPieces = std::min(nFit, kMostPieces);
    std::vector<double> powers(kPiece / 2);
    for (uint64_t n = 0; n < nPieces; ++n) AddPiece(wave, n * nFit / nPieces * (kPiece / 2), powers);
    for (const double power : powers)
        spectrum.decibels.push_back(10 * std::log10(std::max(power / static_cast<double>(nPieces), 1e-30)));
    return spectrum;
}

std::string SpectraSvg(const Spectrum& before, const Spectrum& after) {
    std::string strSvg = "<svg class=\"spectrum\" viewBox=\"0 0 " + std::to_string(kWidth) + " " +
                         std::to_string(kHeight + 14) + "\">";
    for (const int nHertz : {100, 1000, 10000}) strSvg += FrequencyLine(nHertz);
    for (const int nDecibels : {-30, -60, -90}) strSvg += LevelLine(nDecibels);
    return strSvg + CurveOf(before, "before") + CurveOf(after, "after") + "</svg>";
}

}  // namespace Kestrova
