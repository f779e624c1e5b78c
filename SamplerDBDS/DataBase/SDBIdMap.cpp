#include "SamplerDBDS/DataBase/SDBIdMap.h"

#include <random>

namespace Kestrova {

namespace {

uint64_t RandomSeed() {
    static std::random_device device;
    return (uint64_t{device()} << 32) | device();
}

// Every bit of the key and of the seed reaches the low bits of the result (the finaliser of splitmix64).
uint64_t Mix(uint64_t n) {
    n = (n ^ (n >> 30)) * 0xBF58476D1CE4E5B9u;
    n = (n ^ (n >> 27)) * 0x94D049BB133111EBu;
    return n ^ (n >> 31);
}

}  // namespace

CSDBIdMap::CSDBIdMap() : m_nSeed(RandomSeed()) {}

// The slot with the page, or the free one where it belongs. REQUIRES: there are slots, and one of them is
// free.
size_t CSDBIdMap::SlotOf(uint32_t nKey) const {
    const size_t nMask = m_arSlots.size() - 1;
    size_t n = Mix(nKey + m_nSeed) & nMask;
    while (m_arSlots[n].nPage != kNone && m_arSlots[n].nKey != nKey) n = (n + 1) & nMask;
    return n;
}

uint32_t CSDBIdMap::Find(uint32_t key) const {
    if (m_arSlots.empty()) return kNone;
    const uint32_t nPage = m_arSlots[SlotOf(key >> kPageBits)].nPage;
    return nPage != kNone ? m_arPages[nPage][key & kPlaceMask] : kNone;
}

// Ids mostly come in order, so the page asked for last is tried first.
uint32_t& CSDBIdMap::At(uint32_t key) {
    if (key >> kPageBits != m_last.nKey || m_last.nPage == kNone) m_last = MakePage(key >> kPageBits);
    return m_arPages[m_last.nPage][key & kPlaceMask];
}

// The page's slot, with the page made when it was not there.
CSDBIdMap::Slot CSDBIdMap::MakePage(uint32_t nKey) {
    if (4 * (m_arPages.size() + 1) > 3 * m_arSlots.size()) Grow();
    Slot& slot = m_arSlots[SlotOf(nKey)];
    if (slot.nPage == kNone) {
        m_arPages.emplace_back().fill(kNone);
        slot = {nKey, static_cast<uint32_t>(m_arPages.size() - 1)};
    }
    return slot;
}

void CSDBIdMap::Grow() {
    std::vector<Slot> arOld(m_arSlots.empty() ? 16 : 2 * m_arSlots.size());
    arOld.swap(m_arSlots);
    for (const Slot& slot : arOld)
        if (slot.nPage != kNone) m_arSlots[SlotOf(slot.nKey)] = slot;
}

void CSDBIdMap::Clear() {
    m_arSlots = {};
    m_arPages = {};
    m_last = {};
}

}  // namespace Kestrova
