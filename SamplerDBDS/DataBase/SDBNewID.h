// SDBNewID.h - the rule by which new note ids are found.
#pragma once

#include <cstdint>

namespace Kestrova {

inline constexpr uint32_t kSdbLastID = 0xFFFFFFFE;  // the greatest id handed out; 0xFFFFFFFF means "none"

// Counts up, with 0 after the last id, until it has passed a candidate that is not in use: that is the new
// id. False when the counter is back where it started; the candidate that it passed last is then deliberately
// not tried. The counter keeps its new value in any case. Deliberate (Q66).
//   isInUse: bool(uint32_t)
template <class TIsInUse>
bool StepToFreeID(uint32_t& nCounter, uint32_t& id, TIsInUse isInUse, uint32_t nLast = kSdbLastID) {
    const uint32_t nStart = nCounter;
    for (;;) {
        const uint32_t nCandidate = nCounter;
        nCounter = nCandidate >= nLast ? 0 : nCandidate + 1;
        if (nCounter == nStart) return false;
        if (nCandidate > nLast || isInUse(nCandidate)) continue;
        id = nCandidate;
        return true;
    }
}

}  // namespace Kestrova
