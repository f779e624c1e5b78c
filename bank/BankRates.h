// BankRates.h - the sample rates banks are built for; every table of six is indexed by this one.
#pragma once

#include <algorithm>
#include <array>

namespace Kestrova {

inline constexpr int kRateCount = 6;
inline constexpr std::array<int, kRateCount> iSPS = {44100, 48000, 88200, 96000, 176400, 192000};

inline constexpr unsigned int kLowestRate = 44100, kHighestRate = 192000;

// Every rate between the lowest and the highest can be built, but only
// banks at rates of the table are found later.
constexpr bool IsBuildableRate(unsigned int nRate) { return nRate >= kLowestRate && nRate <= kHighestRate; }

// The index of a rate in the table, or -1.
constexpr int RateIndex(unsigned long nRate) {
    const auto pFound = std::find(iSPS.begin(), iSPS.end(), static_cast<long>(nRate));
    return pFound == iSPS.end() ? -1 : static_cast<int>(pFound - iSPS.begin());
}

}  // namespace Kestrova
