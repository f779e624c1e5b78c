// FilterWings.h - the wings of a filter at a table step, made one by one or all at once.
#pragma once

#include <cstdint>
#include <memory>

#include "bank/resample/FilterBlock.h"

namespace Kestrova {

// The wings that one conversion uses, without ready rows.
//   nTableStep: 1..32768    nSampleBits: 16 or 24
// nTaps is above kMostWingTaps when the step is too small for rows.
FilterWings MakeFilterWings(bool bLargeTable, bool bInterpolate, int nTableStep, int nSampleBits);

// Whether both have the same rows, ready or not.
bool IsSameRows(const FilterWings& a, const FilterWings& b);

// The ready rows of all places: about 2 MB, and at most 4. Constant once made.
class WingTable {
public:
    // Null without memory.
    static std::shared_ptr<const WingTable> Make(const FilterWings& wings) noexcept;

    // The wings that it was made of, with its ready rows, which live as long as the table.
    const FilterWings& Wings() const { return m_wings; }

private:
    std::unique_ptr<int16_t[]> m_pMemory;
    FilterWings m_wings{};
};

}  // namespace Kestrova
