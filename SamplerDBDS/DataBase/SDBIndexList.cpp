#include "SamplerDBDS/DataBase/SDBIndexList.h"

#include <algorithm>

namespace Kestrova {

CSDBIndexList::CSDBIndexList(const CSDBIndexList& other) : m_nOnly(other.m_nOnly) {
    if (other.m_pChunks != nullptr) m_pChunks = std::make_unique<std::vector<Chunk>>(*other.m_pChunks);
}

// The chunk that has the smallest number >= n, or the end. REQUIRES: there are chunks.
std::vector<CSDBIndexList::Chunk>::iterator CSDBIndexList::ChunkOf(uint32_t n) const {
    return std::lower_bound(m_pChunks->begin(), m_pChunks->end(), n,
                            [](const Chunk& chunk, uint32_t nWanted) { return chunk.back() < nWanted; });
}

void CSDBIndexList::Append(uint32_t n) {
    if (m_pChunks == nullptr && m_nOnly == kNone) {
        m_nOnly = n;
        return;
    }
    if (m_pChunks == nullptr) {
        m_pChunks = std::make_unique<std::vector<Chunk>>(1, Chunk{m_nOnly});
        m_nOnly = kNone;
    }
    if (m_pChunks->empty() || m_pChunks->back().size() == kChunkNumbers)
        m_pChunks->push_back(Chunk{n});
    else
        m_pChunks->back().push_back(n);
}

void CSDBIndexList::Erase(uint32_t n) {
    if (m_pChunks == nullptr) {
        if (m_nOnly == n) m_nOnly = kNone;
        return;
    }
    const auto itChunk = ChunkOf(n);
    if (itChunk == m_pChunks->end()) return;
    const auto it = std::lower_bound(itChunk->begin(), itChunk->end(), n);
    if (*it == n) itChunk->erase(it);
    if (itChunk->empty()) m_pChunks->erase(itChunk);
}

uint32_t CSDBIndexList::FirstFrom(uint32_t n) const {
    if (m_pChunks == nullptr) return m_nOnly >= n ? m_nOnly : kNone;
    const auto itChunk = ChunkOf(n);
    if (itChunk == m_pChunks->end()) return kNone;
    return *std::lower_bound(itChunk->begin(), itChunk->end(), n);
}

}  // namespace Kestrova
