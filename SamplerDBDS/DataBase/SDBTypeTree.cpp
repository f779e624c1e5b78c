#include "SamplerDBDS/DataBase/SDBTypeTree.h"

namespace Kestrova {

// A set too many, after a failure, is empty and does no harm.
void CSDBTypeTree::Reserve(size_t nCount) {
    size_t n = nCount;
    for (Level& level : m_arLevels) {
        n >>= kShift;
        if (n >= level.size()) level.emplace_back();
    }
}

void CSDBTypeTree::Add(size_t nPlace, uint8_t nType) {
    size_t n = nPlace;
    for (Level& level : m_arLevels) {
        n >>= kShift;
        level[n].Insert(nType);
    }
}

// A level keeps the type for as long as a set of the level below has it.
void CSDBTypeTree::EraseType(size_t nSet, uint8_t nType) {
    for (size_t nLevel = 0; nLevel < m_arLevels.size(); ++nLevel, nSet >>= kShift) {
        const Level& level = m_arLevels[nLevel];
        m_arLevels[nLevel][nSet].Erase(nType);
        const size_t nFirst = nSet & ~(kGroup - 1);
        for (size_t n = nFirst; n < EndOfGroup(nFirst, level.size()); ++n)
            if (level[n].HasExactly(nType)) return;
    }
}

// The first set of level 0 at or behind nSet that has the type; a number behind all sets when there is none.
// Goes up a level at the end of each group, and down again where the type is found.
size_t CSDBTypeTree::SetFrom(size_t nSet, uint32_t nType) const {
    const size_t nNone = m_arLevels[0].size();
    size_t nLevel = 0;
    while (nLevel < m_arLevels.size()) {
        const Level& level = m_arLevels[nLevel];
        const bool bTop = nLevel + 1 == m_arLevels.size();
        const size_t nEnd = bTop ? level.size() : EndOfGroup(nSet, level.size());
        while (nSet < nEnd && !level[nSet].Has(nType)) ++nSet;
        if (nSet >= nEnd) {
            nSet = GroupsOf(nSet);
            ++nLevel;
        } else if (nLevel == 0) {
            return nSet;
        } else {
            nSet <<= kShift;
            --nLevel;
        }
    }
    return nNone;
}

}  // namespace Kestrova
