// CopyIds.h - the ids that the copies of the source's samples got in the bank that is being built.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "bank/SourceAnalysis.h"

namespace Kestrova {

// Threads: one. Samples are named by their index in the sample table. The constructor may throw
// std::bad_alloc.
class CopyIds {
public:
    CopyIds(size_t nSamples, bool bPerKey)
        : m_arSingle(nSamples, kSdbNoID), m_arByKey(bPerKey ? nSamples : 0, NoCopies()) {}

    // The id of the single copy (kEveryKey), or of the one made for a key.
    void Set(size_t nSample, int nKey, uint32_t id) {
        (nKey == kEveryKey ? m_arSingle[nSample] : m_arByKey[nSample][static_cast<size_t>(nKey)]) = id;
    }

    // The copy that a layer plays at a key; kSdbNoID when there is none. When the key has no copy of its own,
    // it is that of the nearest lower key, else that of the nearest higher one.
    // Deliberate (Q100): in the per-key layout a sample that split programs play has no single copy. A layer
    // of a program that is not split then gets kSdbNoID and plays nothing.
    uint32_t Find(size_t nSample, int nKey) const {
        return nKey == kEveryKey ? m_arSingle[nSample] : Nearest(m_arByKey[nSample], nKey);
    }

private:
    using ByKey = std::array<uint32_t, kKeyCount>;

    static ByKey NoCopies() {
        ByKey ids;
        ids.fill(kSdbNoID);
        return ids;
    }

    static uint32_t Nearest(const ByKey& ids, int nKey) {
        for (int nLower = nKey; nLower >= 0; --nLower)
            if (ids[static_cast<size_t>(nLower)] != kSdbNoID) return ids[static_cast<size_t>(nLower)];
        for (int nHigher = nKey + 1; nHigher < kKeyCount; ++nHigher)
            if (ids[static_cast<size_t>(nHigher)] != kSdbNoID) return ids[static_cast<size_t>(nHigher)];
        return kSdbNoID;
    }

    std::vector<uint32_t> m_arSingle;
    std::vector<ByKey> m_arByKey;  // of the per-key layout
};

}  // namespace Kestrova
