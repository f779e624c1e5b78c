#include "codec/EqualRotations.h"

#include <algorithm>

#include "codec/RotationSort.h"

namespace Kestrova {
namespace {

// Numbers the rotations in their order; equal ones get the same number.
void NumberRotations(const uint32_t* order, uint32_t nCount, uint32_t nCopies, uint32_t* numbers) {
    for (uint32_t iFirst = 0; iFirst < nCount; iFirst += nCopies)
        for (uint32_t i = iFirst; i < iFirst + nCopies; ++i) numbers[order[i]] = iFirst;
}

}  // namespace

void EqualRotations::Start(const uint32_t* order, uint32_t nCount, uint32_t nCopies) {
    m_nCount = nCount;
    NumberRotations(order, nCount, nCopies, m_arrays.place);
    CloseCircle(m_arrays.place);
    std::fill_n(m_arrays.tie, nCount + kOvershootBytes, 0u);
}

void EqualRotations::TakeRanks(const uint8_t* block, const uint16_t* ranks,
                               const bool (&isRanked)[WaveFormat::kByteValues], bool bShared) {
    if (bShared) {
        const uint32_t nCopies = SortRotations(std::span(ranks, m_nCount), m_arrays.order, m_arrays.tie);
        NumberRotations(m_arrays.order, m_nCount, nCopies, m_arrays.tie);
    } else {
        // Equal rotations reach their first ranked positions at the
        // same distance, and their ranks differ there.
        const auto hasRank = [&](uint8_t ch) { return isRanked[ch]; };
        uint16_t rank = ranks[std::find_if(block, block + m_nCount, hasRank) - block];
        for (uint32_t i = m_nCount; i-- > 0;) {
            if (hasRank(block[i])) rank = ranks[i];
            m_arrays.tie[i] = rank;
        }
    }
    CloseCircle(m_arrays.tie);
}

void EqualRotations::CloseCircle(uint32_t* table) const {
    for (uint32_t i = 0; i < kOvershootBytes; ++i) table[m_nCount + i] = table[i % m_nCount];
}

}  // namespace Kestrova
