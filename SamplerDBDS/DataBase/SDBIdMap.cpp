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

// The slot with the key, or the free one where it belongs. REQUIRES: there are slots, and one of them is
// free.
size_t CSDBIdMap::SlotOf(uint32_t key) const {
    const size_t nMask = m_arSlots.size() - 1;
    size_t n = Mix(key + m_nSeed) & nMask;
    while (m_arSlots[n].value != kNone && m_arSlots[n].key != key) n = (n + 1) & nMask;
    return n;
}

uint32_t CSDBIdMap::Find(uint32_t key) const {
    return m_arSlots.empty() ? kNone : m_arSlots[SlotOf(key)].value;
}

uint32_t& CSDBIdMap::At(uint32_t key) {
    if (4 * (m_nUsed + 1) > 3 * m_arSlots.size()) Grow();
    Slot& slot = m_arSlots[SlotOf(key)];
    if (slot.value == kNone) {
        slot.key = key;
        ++m_nUsed;
    }
    return slot.value;
}

void CSDBIdMap::Grow() {
    std::vector<Slot> arOld(m_arSlots.empty() ? 16 : 2 * m_arSlots.size());
    arOld.swap(m_arSlots);
    m_nUsed = 0;
    for (const Slot& slot : arOld) {
        if (slot.value == kNone) continue;
        m_arSlots[SlotOf(slot.key)] = slot;
        ++m_nUsed;
    }
}

void CSDBIdMap::Clear() {
    m_arSlots = {};
    m_nUsed = 0;
}

}  // namespace Kestrova
