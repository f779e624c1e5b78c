// A link leads from the place of a rotation to that of the rotation which starts one byte later, and names
// the byte passed on the way. All links together are one ring of places, or several rings: a block that
// repeats a text exactly has one for each copy. The block is what a walk from its origin passes, round and
// round until there are enough bytes.
//
// Every step waits for a link from memory. So the ring is cut into sections at many places at once, several
// walkers walk one section each at the same time, and the sections are put together in the end.
#include "codec/BlockUnsort.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <numeric>
#include <utility>

namespace Kestrova {
namespace {

using namespace WaveFormat;

// A link: in the low byte the byte passed, above it the next place, and a flag where a section starts.
constexpr unsigned kPlaceShift = 8;
constexpr uint32_t kStartFlag = 1u << 31;
static_assert(kBlockSize < kStartFlag >> kPlaceShift);

void MakeLinks(const uint8_t* pBlock, uint32_t nCount, const uint32_t (&counts)[kByteValues],
               uint32_t* pLinks) {
    uint32_t next[kByteValues];
    std::exclusive_scan(std::begin(counts), std::end(counts), std::begin(next), 0u);
    for (uint32_t i = 0; i < nCount; ++i) pLinks[next[pBlock[i]]++] = i << kPlaceShift | pBlock[i];
}

// One section starts at the origin, and one in each stretch of kStretch places. Where in its stretch follows
// no rule: a block that nearly repeats has many places at equal distances whose links lead to each other.
constexpr unsigned kStretchShift = 9;
constexpr uint32_t kStretch = 1u << kStretchShift;
constexpr uint32_t kMaxSections = 2 + (kBlockSize >> kStretchShift);

class SectionWalk {
public:
    SectionWalk(uint32_t nCount, uint32_t iOrigin, uint32_t nWalkBytes, BlockUnsortArrays& arrays)
        : m_nCount(nCount), m_iOrigin(iOrigin), m_nWalkBytes(nWalkBytes), m_arrays(arrays) {}

    // False: the sections are of so different lengths that a walk became too long.
    bool WalkAll() {
        MarkStarts();
        m_arrays.links[kBlockSize] = kBlockSize << kPlaceShift;
        return WalkTogether(std::make_index_sequence<kWalkers>());
    }

    // Puts the sections from the origin on together. They form a ring, which may be shorter than the block.
    void Collect(uint8_t* pBlock) const {
        uint32_t nDone = 0, iSection = 0;
        do {
            const Section& section = m_sections[iSection];
            const uint32_t nBytes = std::min(section.nBytes, m_nCount - nDone);
            std::memcpy(pBlock + nDone, section.pBytes, nBytes);
            nDone += nBytes;
            iSection = SectionAt(section.iEnd);
        } while (iSection != 0);
        while (nDone < m_nCount) {
            const uint32_t nBytes = std::min(nDone, m_nCount - nDone);
            std::memcpy(pBlock + nDone, pBlock, nBytes);
            nDone += nBytes;
        }
    }

private:
    struct Section {
        const uint8_t* pBytes;
        uint32_t nBytes;
        uint32_t iEnd;  // the place behind it, where another section starts
    };

    uint32_t SectionAt(uint32_t iStart) const {
        return iStart == m_iOrigin ? 0 : 1 + (iStart >> kStretchShift);
    }

    void MarkStarts() {
        uint32_t iRandom = 0;
        AddStart(m_iOrigin);
        for (uint32_t iStretch = 0; iStretch < m_nCount; iStretch += kStretch) {
            iRandom = iRandom * 1664525 + 1013904223;
            AddStart(std::min(iStretch + (iRandom >> (32 - kStretchShift)), m_nCount - 1));
        }
    }

    void AddStart(uint32_t iStart) {
        m_arrays.links[iStart] |= kStartFlag;
        m_starts[m_nStarts++] = iStart;
    }

    template <size_t... kWalker>
    bool WalkTogether(std::index_sequence<kWalker...>) {
        uint32_t links[kWalkers] = {StartSection(kWalker, 0)...};
        const uint32_t* const pLinks = m_arrays.links;
        uint8_t* pPassed = m_arrays.walks;
        for (uint32_t nSteps = 0; m_nWalking > 0; ++nSteps) {
            if (nSteps == m_nWalkBytes) return false;
            ((pPassed[kWalker * kWalkBytes + nSteps] = static_cast<uint8_t>(links[kWalker])), ...);
            const auto step = [&](unsigned iWalker, uint32_t& link) {
                const uint32_t iPlace = link >> kPlaceShift;
                link = pLinks[iPlace];
                if ((link & kStartFlag) != 0) [[unlikely]]
                    link = EndSection(iWalker, nSteps + 1, iPlace);
            };
            (step(kWalker, links[kWalker]), ...);
        }
        return true;
    }

    // The first link of the next section, for a walker that has made nSteps.
    uint32_t StartSection(unsigned iWalker, uint32_t nSteps) {
        m_current[iWalker] = {m_iNext, nSteps};
        if (m_iNext == m_nStarts) return m_arrays.links[kBlockSize];
        ++m_nWalking;
        return m_arrays.links[m_starts[m_iNext++]] & ~kStartFlag;
    }

    [[gnu::noinline]] uint32_t EndSection(unsigned iWalker, uint32_t nSteps, uint32_t iEnd) {
        const auto [iStart, nBefore] = m_current[iWalker];
        m_sections[SectionAt(m_starts[iStart])] = {&m_arrays.walks[iWalker * kWalkBytes + nBefore],
                                                   nSteps - nBefore, iEnd};
        --m_nWalking;
        return StartSection(iWalker, nSteps);
    }

    const uint32_t m_nCount, m_iOrigin, m_nWalkBytes;
    BlockUnsortArrays& m_arrays;
    uint32_t m_starts[kMaxSections];
    Section m_sections[kMaxSections];
    uint32_t m_nStarts = 0, m_iNext = 0, m_nWalking = 0;
    struct {
        uint32_t iStart, nBefore;
    } m_current[kWalkers];
};

}  // namespace

void UnsortBlockPlainly(uint8_t* pBlock, uint32_t nCount, uint32_t iOrigin,
                        const uint32_t (&counts)[kByteValues], BlockUnsortArrays& arrays) {
    MakeLinks(pBlock, nCount, counts, arrays.links);
    uint32_t link = iOrigin << kPlaceShift;
    for (uint32_t i = 0; i < nCount; ++i) {
        link = arrays.links[link >> kPlaceShift];
        pBlock[i] = static_cast<uint8_t>(link);
    }
}

void UnsortBlock(uint8_t* pBlock, uint32_t nCount, uint32_t iOrigin, const uint32_t (&counts)[kByteValues],
                 BlockUnsortArrays& arrays, uint32_t nWalkBytes) {
    MakeLinks(pBlock, nCount, counts, arrays.links);
    SectionWalk walk(nCount, iOrigin, nWalkBytes, arrays);
    if (walk.WalkAll())
        walk.Collect(pBlock);
    else
        UnsortBlockPlainly(pBlock, nCount, iOrigin, counts, arrays);
}

}  // namespace Kestrova
