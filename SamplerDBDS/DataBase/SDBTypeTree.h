// SDBTypeTree.h - finds the next live note of a type in a long row of notes, half a byte a note.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "SamplerDBDS/DataBase/SDBFormat.h"
#include "SamplerDBDS/DataBase/SDBRecord.h"

namespace Kestrova {

inline bool IsAnyType(uint32_t nType) { return nType > kSdbQuickLoad; }

// True for a live note of the type; a type above 254 is any.
inline bool IsLiveOfType(const SDBNOTE& note, uint32_t nType) {
    return note.IsLive() && (IsAnyType(nType) || note.nType == nType);
}

// A row of notes, by place: 0, 1, 2 ... The notes belong to the caller, who tells where one lies by
//     noteAt: const SDBNOTE&(size_t nPlace)
// The tree keeps which types of live notes there are among each 64 notes in a row, among each 64 of those,
// and so on. So a search looks at most at 128 notes and some hundred sets, however many notes are deleted or
// of other types.
// Threads: FirstFrom from any while none changes the tree. Errors: Reserve throws std::bad_alloc.
class CSDBTypeTree {
public:
    static constexpr uint32_t kNone = 0xFFFFFFFF;

    void Clear() { m_arLevels = {}; }

    // Room for one more note behind the `nCount` there are. When it throws, nothing has changed.
    void Reserve(size_t nCount);
    // A live note. REQUIRES: Reserve made room for the place.
    void Add(size_t nPlace, uint8_t nType);
    // The note there is not live any more.
    template <class TNoteAt>
    void Remove(size_t nPlace, size_t nCount, TNoteAt noteAt);

    // The place of the first live note of the type at or behind `nPlace`, of `nCount` notes; kNone: there is
    // none. A type above 254 is any.
    template <class TNoteAt>
    uint32_t FirstFrom(size_t nPlace, uint32_t nType, size_t nCount, TNoteAt noteAt) const;

private:
    static constexpr unsigned kShift = 6;
    static constexpr size_t kGroup = size_t{1} << kShift;

    // A set of types.
    struct TypeSet {
        std::array<uint64_t, 4> bits{};

        bool Has(uint32_t nType) const {
            if (IsAnyType(nType)) return (bits[0] | bits[1] | bits[2] | bits[3]) != 0;
            return (bits[nType >> 6] >> (nType & 63) & 1) != 0;
        }
        void Insert(uint8_t nType) { bits[nType >> 6] |= uint64_t{1} << (nType & 63); }
        void Erase(uint8_t nType) { bits[nType >> 6] &= ~(uint64_t{1} << (nType & 63)); }
        bool HasExactly(uint8_t nType) const { return (bits[nType >> 6] >> (nType & 63) & 1) != 0; }
    };

    using Level = std::vector<TypeSet>;

    // Where the group of a place or of a set ends, in a row of `nCount`.
    static size_t EndOfGroup(size_t n, size_t nCount) { return std::min((n | (kGroup - 1)) + 1, nCount); }
    static size_t GroupsOf(size_t n) { return (n + kGroup - 1) >> kShift; }

    void EraseType(size_t nSet, uint8_t nType);
    size_t SetFrom(size_t nSet, uint32_t nType) const;

    // Level 0 has a set for each 64 notes, each further level one for each 64 sets of the level before.
    std::array<Level, 4> m_arLevels;
};

template <class TNoteAt>
void CSDBTypeTree::Remove(size_t nPlace, size_t nCount, TNoteAt noteAt) {
    const uint8_t nType = noteAt(nPlace).nType;
    const size_t nFirst = nPlace & ~(kGroup - 1);
    for (size_t n = nFirst; n < EndOfGroup(nFirst, nCount); ++n)
        if (n != nPlace && noteAt(n).IsLive() && noteAt(n).nType == nType) return;
    EraseType(nPlace >> kShift, nType);
}

template <class TNoteAt>
uint32_t CSDBTypeTree::FirstFrom(size_t nPlace, uint32_t nType, size_t nCount, TNoteAt noteAt) const {
    while (nPlace < nCount) {
        for (const size_t nEnd = EndOfGroup(nPlace, nCount); nPlace < nEnd; ++nPlace)
            if (IsLiveOfType(noteAt(nPlace), nType)) return static_cast<uint32_t>(nPlace);
        if (nPlace == nCount) break;
        nPlace = SetFrom(nPlace >> kShift, nType) << kShift;
    }
    return kNone;
}

}  // namespace Kestrova
