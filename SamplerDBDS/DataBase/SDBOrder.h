// SDBOrder.h - the orders of records, told key by key. Internal to the record sources.
#pragma once

#include <initializer_list>

#include "SamplerDBDS/DataBase/SDBRecord.h"
#include "shared/System/kvAssert.h"
#include "shared/System/kvCompare.h"

namespace Kestrova {

template <class TValue>
int Order(TValue a, TValue b) {
    return a < b ? -1 : int{b < a};
}

// The case-insensitive order of texts, held to -1, 0 and 1.
inline int OrderTexts(const char* pszA, const char* pszB) { return Order(CompareString(pszA, pszB), 0); }

// The first order that tells two records apart; 0 when none does.
inline int FirstDifference(std::initializer_list<int> orders) {
    for (const int nOrder : orders)
        if (nOrder != 0) return nOrder;
    return 0;
}

// The other record as the class it must be of; records of two classes have no order.
template <class TRecord>
const TRecord& SameClass(const CSDBInterpreter& other) {
    static constexpr char kSourceUnit[] = "SamplerDBDS/DataBase/SDBInterpreter";
    const TRecord* pOther = dynamic_cast<const TRecord*>(&other);
    KV_ASSERT(pOther != nullptr);
    return *pOther;
}

}  // namespace Kestrova
