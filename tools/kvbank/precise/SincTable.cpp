#include "tools/kvbank/precise/SincTable.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <mutex>
#include <numbers>
#include <utility>

namespace Kestrova {
namespace {

constexpr double kPassBand = 0.9105, kStopBand = 1.0;  // of half the lower rate
constexpr double kAttenuation = 180;                   // dB
constexpr double kPlacesPerFrame = 256;                // of the lower rate
constexpr size_t kLanes = 8;                           // sums that are made side by side
constexpr size_t kMostTables = 8;
constexpr double kPi = std::numbers::pi;

// Kaiser's formulas for the window's shape, and for its half width in frames of the lower rate.
constexpr double kShape = 0.1102 * (kAttenuation - 8.7);
constexpr double kHalfWidth = (kAttenuation - 7.95) / (14.36 * (kStopBand - kPassBand) / 2) / 2;

// The modified Bessel function of order zero, by its series.
double BesselI0(double x) {
    double sum = 1, term = 1;
    for (int k = 1; term > sum * 1e-18; ++k) {
        term *= (x / 2 / k) * (x / 2 / k);
        sum += term;
    }
    return sum;
}

// The filter for a rate of 1, so many frames from its middle.
double Filter(double frames) {
    const double inWindow = frames / kHalfWidth;
    if (std::abs(inWindow) >= 1) return 0;
    constexpr double kCutOff = (kPassBand + kStopBand) / 2;
    static const double whole = BesselI0(kShape);
    const double window = BesselI0(kShape * std::sqrt(1 - inWindow * inWindow)) / whole;
    const double angle = kPi * kCutOff * frames;
    return kCutOff * window * (angle == 0 ? 1 : std::sin(angle) / angle);
}

// Lagrange's weights of the grid's rows at -1, 0, 1 and 2, for a place from 0 to 1.
std::array<double, 4> CubicWeights(double x) {
    return {-x * (x - 1) * (x - 2) / 6, (x + 1) * (x - 1) * (x - 2) / 2, -(x + 1) * x * (x - 2) / 2,
            (x + 1) * x * (x - 1) / 6};
}

}  // namespace

SincTable::SincTable(double ratio) {
    const double width = std::max(ratio, 1.0);  // frames of the source in one of the lower rate
    const auto nHalf = static_cast<int64_t>(std::ceil(kHalfWidth * width)) + 1;
    m_nFirstTap = 1 - nHalf;
    m_nTaps = (2 * static_cast<size_t>(nHalf) + kLanes - 1) / kLanes * kLanes;
    m_nPlaces = static_cast<size_t>(std::ceil(kPlacesPerFrame / width));
    m_rows.reserve((m_nPlaces + 3) * m_nTaps);
    for (size_t nRow = 0; nRow < m_nPlaces + 3; ++nRow) {
        const double place = (static_cast<double>(nRow) - 1) / static_cast<double>(m_nPlaces);
        for (size_t nTap = 0; nTap < m_nTaps; ++nTap)
            m_rows.push_back(
                Filter((static_cast<double>(m_nFirstTap) + static_cast<double>(nTap) - place) / width) /
                width);
    }
}

double SincTable::At(double fraction, const double* pFrames) const {
    const double place = fraction * static_cast<double>(m_nPlaces);
    const size_t nRow = std::min(static_cast<size_t>(place), m_nPlaces - 1);
    const std::array<double, 4> weights = CubicWeights(place - static_cast<double>(nRow));
    const double* const pRow = &m_rows[nRow * m_nTaps];
    std::array<double, kLanes> sums{};
    for (size_t nTap = 0; nTap < m_nTaps; nTap += kLanes)
        for (size_t i = 0; i < kLanes; ++i) {
            const double* const pWeight = pRow + nTap + i;
            sums[i] +=
                pFrames[nTap + i] * (weights[0] * pWeight[0] + weights[1] * pWeight[m_nTaps] +
                                     weights[2] * pWeight[2 * m_nTaps] + weights[3] * pWeight[3 * m_nTaps]);
        }
    double sum = 0;
    for (const double lane : sums) sum += lane;
    return sum;
}

std::shared_ptr<const SincTable> TakeSincTable(double ratio) {
    using Kept = std::pair<double, std::shared_ptr<const SincTable>>;
    static std::mutex lock;
    static std::vector<Kept> tables;            // the one used last is the last
    const double width = std::max(ratio, 1.0);  // all lengthening has one table
    const std::lock_guard guard(lock);
    const auto pFound =
        std::find_if(tables.begin(), tables.end(), [&](const Kept& kept) { return kept.first == width; });
    if (pFound != tables.end()) {
        std::rotate(pFound, pFound + 1, tables.end());
        return tables.back().second;
    }
    auto pMade = std::make_shared<const SincTable>(width);
    if (tables.size() == kMostTables) tables.erase(tables.begin());
    tables.emplace_back(width, pMade);
    return pMade;
}

}  // namespace Kestrova
