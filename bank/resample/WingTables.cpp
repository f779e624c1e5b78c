#include "bank/resample/WingTables.h"

#include <algorithm>
#include <atomic>
#include <new>

#include "bank/resample/ResampleLoops.h"

namespace Kestrova {

namespace {

std::atomic<WingTableUse>& Use() {
    static std::atomic<WingTableUse> use{WingTableUse::ByFrames};
    return use;
}

}  // namespace

std::shared_ptr<WingTables::Entry> WingTables::Find(const FilterWings& wings, int64_t nFrames,
                                                    bool& bWorthIt) {
    const MutexGuard guard(m_lock);
    auto pFound = std::find_if(m_arKept.begin(), m_arKept.end(), [&wings](const Kept& kept) {
        return kept.pEntry && IsSameRows(kept.pEntry->wings, wings);
    });
    if (pFound == m_arKept.end()) *--pFound = {std::make_shared<Entry>(wings), 0};
    std::rotate(m_arKept.begin(), pFound, pFound + 1);
    Kept& kept = m_arKept.front();
    kept.nFrames = std::min(kept.nFrames + nFrames, kMostFrames);
    bWorthIt = 2 * kept.nFrames > wings.nTableStep;
    return kept.pEntry;
}

std::shared_ptr<const WingTable> WingTables::Take(const FilterWings& wings, int64_t nFrames) noexcept {
    try {
        bool bWorthIt = false;
        const std::shared_ptr<Entry> pEntry = Find(wings, nFrames, bWorthIt);
        if (!bWorthIt) return nullptr;
        const MutexGuard guard(pEntry->lock);
        if (!pEntry->pTable) pEntry->pTable = WingTable::Make(wings);
        return pEntry->pTable;
    } catch (const std::bad_alloc&) {
        return nullptr;  // the conversion makes its wings one by one
    }
}

void ForceWingTableUse(WingTableUse use) { Use().store(use, std::memory_order_relaxed); }

std::shared_ptr<const WingTable> TakeWingTable(const FilterWings& wings, int64_t nFrames) noexcept {
    static WingTables s_tables;
    const WingTableUse use = Use().load(std::memory_order_relaxed);
    if (use == WingTableUse::Never) return nullptr;
    return s_tables.Take(wings, use == WingTableUse::Always ? kMostFrames : nFrames);
}

}  // namespace Kestrova
