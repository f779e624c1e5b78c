// SDBNewID.h - the rule by which new note ids are found.
#pragma once

#include <cstdint>

namespace Kestrova {

inline constexpr uint32_t kSdbLastID = 0xFFFFFFFE;  // the greatest id handed out; 0xFFFFFFFF means "none"

// Steps the counter, with 0 after the last id, until it has passed a candidate that is not in use: that is
// the new id. False when the counter comes round to where it started: the candidate just passed is
// deliberately not tried then. The counter keeps what it was stepped to.
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
