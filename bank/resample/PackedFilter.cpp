#include "bank/resample/PackedFilter.h"

#include <cstddef>

#include "bank/resample/FilterKernel.h"

namespace Kestrova {

namespace {

constexpr int kPhases = 256;  // table entries per source frame

constexpr int RoundUpToUnit(int nTaps) { return (nTaps + kRowUnit - 1) / kRowUnit * kRowUnit; }

// One filter's tables: the pairs, and their copies by phase for table step 32768.
template <class TTable>
class PackedFilter {
public:
    static constexpr int kWingTaps = TTable::kEntries / kPhases;
    static constexpr int kPaddedTaps = RoundUpToUnit(kWingTaps);
    using Wing = int32_t[static_cast<size_t>(kPaddedTaps)];

    PackedFilter() {
        for (int i = 0; i < TTable::kEntries; ++i) m_arPairs[i] = PairOf(i);
        for (int nPhase = 0; nPhase <= kPhases; ++nPhase)
            for (int k = 0; k < kWingTaps; ++k) PlacePair(nPhase, k);
    }

    const int32_t* Pairs() const { return m_arPairs; }
    const int32_t* LeftPhases() const { return m_arLeft[0]; }
    const int32_t* RightPhases() const { return m_arRight[0]; }

private:
    static int32_t PairOf(int nEntry) {
        const int nCoefficient = TTable::kImp[nEntry];
        const int nDifference = TTable::kImpD[nEntry];
        return static_cast<int32_t>((static_cast<uint32_t>(nDifference) << 16) |
                                    (static_cast<uint32_t>(nCoefficient) & 0xFFFF));
    }

    // The left wing runs backwards, nearest frame last; the right one never takes the table's last entry.
    void PlacePair(int nPhase, int k) {
        const int nEntry = nPhase + k * kPhases;
        if (nPhase < kPhases) m_arLeft[nPhase][kPaddedTaps - 1 - k] = PairOf(nEntry);
        if (nEntry < TTable::kEntries - 1) m_arRight[nPhase][k] = PairOf(nEntry);
    }

    int32_t m_arPairs[TTable::kEntries]{};
    Wing m_arLeft[kPhases]{};
    Wing m_arRight[kPhases + 1]{};
};

// The most row entries that a wing needs at a table step, rounded up to whole vectors.
int MostTaps(int nEntries, int nTableStep) { return RoundUpToUnit(((nEntries << 7) - 1) / nTableStep + 1); }

template <class TTable>
FilterRowShape ShapeOf(bool bInterpolate, int nTableStep) {
    static const PackedFilter<TTable> s_filter;
    return {s_filter.Pairs(),
            s_filter.LeftPhases(),
            s_filter.RightPhases(),
            TTable::kEntries,
            nTableStep,
            bInterpolate ? 127 : 0,
            MostTaps(TTable::kEntries, nTableStep),
            MostTaps(TTable::kEntries - 1, nTableStep)};
}

}  // namespace

FilterRowShape MakeRowShape(bool bLargeTable, bool bInterpolate, int nTableStep) {
    return bLargeTable ? ShapeOf<LargeTable>(bInterpolate, nTableStep)
                       : ShapeOf<SmallTable>(bInterpolate, nTableStep);
}

}  // namespace Kestrova
