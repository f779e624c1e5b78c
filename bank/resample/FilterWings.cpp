#include "bank/resample/FilterWings.h"

#include <algorithm>
#include <cstddef>
#include <new>

#include "bank/resample/FilterTables.h"

namespace Kestrova {

namespace {

constexpr int kGreat = 1 << 14;      // coefficients from here on do not fit a row when doubled
constexpr int kMostGreatTaps = 256;  // of both wings; rows of kMostWingTaps have fewer
constexpr int kWholeStep = 32768;
constexpr size_t kLine = 64;  // bytes

// kMostGreatTaps ones, and zeros for the rest of a row's last vector of ones.
struct GreatTaps {
    int16_t arTaps[2 * kMostGreatTaps]{};
    constexpr GreatTaps() { std::fill_n(arTaps, kMostGreatTaps, int16_t{1}); }
};
constexpr GreatTaps kGreatTaps;

constexpr int RoundUpToUnit(int nTaps) { return (nTaps + kRowUnit - 1) / kRowUnit * kRowUnit; }

// The table falls from its centre to the first entry below kGreat and stays below from there on.
int GreatEntries(const int16_t* pImp) {
    int n = 0;
    while (pImp[n] >= kGreat) ++n;
    return n;
}

void SetTable(FilterWings& wings, bool bLargeTable) {
    wings.pImp = bLargeTable ? LargeFilterImp : SmallFilterImp;
    wings.pImpD = bLargeTable ? LargeFilterImpD : SmallFilterImpD;
    wings.nEntries = bLargeTable ? kLargeFilterEntries : kSmallFilterEntries;
}

// At the whole step the first tap of a wing, and no other, lies within one source frame of the centre. The
// table is not negative there, so that tap can be great at every place, and kernels need not look at the
// place.
void SetGreatTaps(FilterWings& wings) {
    wings.arGreatTaps = kGreatTaps.arTaps + kMostGreatTaps;
    if (!wings.bDoubled) return;
    const int hLast = (GreatEntries(wings.pImp) << 7) - 1;
    wings.nGreatTaps = hLast / wings.nTableStep + 1;
    wings.nGreatLimit = wings.nTableStep == kWholeStep ? kWholeStep : hLast % wings.nTableStep;
}

int TapsUpTo(int hEnd, int h, int nTableStep) { return h < hEnd ? (hEnd - 1 - h) / nTableStep + 1 : 0; }

// The tables once more for the whole step, where the taps of a wing are 256 entries apart and have one
// fraction: by first entry. Behind the last entry there are zeros.
class EntriesByPhase {
public:
    EntriesByPhase(const int16_t* pImp, const int16_t* pImpD, int nEntries) {
        for (int nFirst = 0; nFirst <= kPhases; ++nFirst)
            for (int i = nFirst, k = 0; i < nEntries; i += kPhases, ++k) {
                m_arPhases[nFirst].arCoefficients[k] = pImp[i];
                m_arPhases[nFirst].arDifferences[k] = static_cast<int16_t>(2 * pImpD[i]);
            }
    }

    struct Phase {
        int16_t arCoefficients[kRowUnit];
        int16_t arDifferences[kRowUnit];  // doubled
    };
    const Phase& Of(int nFirst) const { return m_arPhases[nFirst]; }

private:
    static constexpr int kPhases = 256;
    Phase m_arPhases[kPhases + 1]{};
};

const EntriesByPhase& PhasesOf(const FilterWings& wings) {
    static const EntriesByPhase s_small(SmallFilterImp, SmallFilterImpD, kSmallFilterEntries);
    static const EntriesByPhase s_large(LargeFilterImp, LargeFilterImpD, kLargeFilterEntries);
    return wings.pImp == SmallFilterImp ? s_small : s_large;
}

// All taps of a row, which the compiler makes vectors of: (2D * (fraction << 8)) >> 16 is (D * fraction) >>
// 7, and a high multiply of 16-bit numbers. The first tap is great, so that 2c' = 2c - 2^15; the numbers wrap
// to it.
void MakeWholeStepTaps(const FilterWings& wings, int h, int16_t* pRow) {
    const EntriesByPhase::Phase& phase = PhasesOf(wings).Of(h >> 7);
    const auto nFraction = static_cast<int16_t>((h & wings.nFractionMask) << 8);
    const int nShift = wings.bDoubled ? 1 : 0;
    for (int k = 0; k < kRowUnit; ++k) {
        const int c = phase.arCoefficients[k] + ((phase.arDifferences[k] * nFraction) >> 16);
        pRow[k] = static_cast<int16_t>(c << nShift);
    }
    if (wings.bDoubled) pRow[0] = static_cast<int16_t>(pRow[0] - (kGreat << 1));
}

// The first nTaps taps of a row, at any step.
void MakeTaps(const FilterWings& wings, int h, int nTaps, int16_t* pRow) {
    const int16_t* const pImp = wings.pImp;
    const int16_t* const pImpD = wings.pImpD;
    const int nStep = wings.nTableStep;
    const int nMask = wings.nFractionMask;
    const int nShift = wings.bDoubled ? 1 : 0;
    const int nGreat = std::min(wings.nGreatTaps - (h > wings.nGreatLimit ? 1 : 0), nTaps);
    for (int k = 0; k < nTaps; ++k, h += nStep) {
        const int c = pImp[h >> 7] + ((pImpD[h >> 7] * (h & nMask)) >> 7);
        pRow[k] = static_cast<int16_t>(c << nShift);
    }
    for (int k = 0; k < nGreat; ++k) pRow[k] = static_cast<int16_t>(pRow[k] - (kGreat << 1));
}

}  // namespace

FilterWings MakeFilterWings(bool bLargeTable, bool bInterpolate, int nTableStep, int nSampleBits) {
    FilterWings wings{};
    SetTable(wings, bLargeTable);
    wings.nFractionMask = bInterpolate ? 127 : 0;
    wings.nTableStep = nTableStep;
    wings.bDoubled = nSampleBits == 16;
    wings.nTaps = TapsUpTo(wings.nEntries << 7, 0, nTableStep);
    wings.nRowTaps = RoundUpToUnit(wings.nTaps);
    SetGreatTaps(wings);
    return wings;
}

bool IsSameRows(const FilterWings& a, const FilterWings& b) {
    return a.pImp == b.pImp && a.nFractionMask == b.nFractionMask && a.nTableStep == b.nTableStep &&
           a.bDoubled == b.bDoubled;
}

void MakeWing(const FilterWings& wings, int h, int nEntries, int16_t* pRow) {
    const int nTaps = TapsUpTo(nEntries << 7, h, wings.nTableStep);
    if (wings.nTableStep == kWholeStep)
        MakeWholeStepTaps(wings, h, pRow);
    else
        MakeTaps(wings, h, nTaps, pRow);
    std::fill(pRow + nTaps, pRow + wings.nRowTaps, int16_t{0});
}

std::shared_ptr<const WingTable> WingTable::Make(const FilterWings& wings) noexcept {
    const bool bSidesDiffer = wings.pImp[wings.nEntries - 1] != 0;
    const auto nRowTaps = static_cast<size_t>(wings.nRowTaps);
    const size_t nTaps = (static_cast<size_t>(wings.nTableStep) + 1) * nRowTaps;  // of one side
    const size_t nAllTaps = bSidesDiffer ? 2 * nTaps : nTaps;
    size_t nBytes = nAllTaps * sizeof(int16_t) + kLine;
    WingTable table;
    table.m_pMemory.reset(new (std::nothrow) int16_t[nBytes / sizeof(int16_t)]);
    void* p = table.m_pMemory.get();
    if (p == nullptr) return nullptr;
    auto* const pLeft = static_cast<int16_t*>(std::align(kLine, nAllTaps * sizeof(int16_t), p, nBytes));
    int16_t* const pRight = bSidesDiffer ? pLeft + nTaps : pLeft;
    for (int h = 0; h <= wings.nTableStep; ++h) {
        const size_t nRow = static_cast<size_t>(h) * nRowTaps;
        MakeWing(wings, h, wings.nEntries, pLeft + nRow);
        if (bSidesDiffer) MakeWing(wings, h, wings.nEntries - 1, pRight + nRow);
    }
    table.m_wings = wings;
    table.m_wings.pReadyLeft = pLeft;
    table.m_wings.pReadyRight = pRight;
    try {
        return std::make_shared<const WingTable>(std::move(table));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace Kestrova
