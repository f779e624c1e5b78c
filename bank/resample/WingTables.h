// WingTables.h - the ready wings that conversions share.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "bank/resample/FilterWings.h"
#include "shared/System/kvMutex.h"

namespace Kestrova {

// Keeps the tables used last, and decides when one is worth its time.
// Rule: conversions without a table make two wings for each output frame. A table is made as soon as the
// frames asked for so far with the same wings, the coming ones included, take as many wings as the table has.
// So a short wave does not pay for a table, and no conversions together take more than about twice the time
// that they would have taken had the end been known.
// Threads: any. One table is made by one thread; others that need the same one wait for it.
class WingTables {
public:
    static constexpr size_t kKept = 4;  // at most 4 MB each; more live only while conversions hold them

    // The table for a conversion of nFrames output frames, or null: not worth it, or no memory for it.
    std::shared_ptr<const WingTable> Take(const FilterWings& wings, int64_t nFrames) noexcept;

private:
    struct Entry {
        explicit Entry(const FilterWings& ofTable) : wings(ofTable) {}

        const FilterWings wings;
        Mutex lock;
        std::shared_ptr<const WingTable> pTable KV_GUARDED_BY(lock);
    };
    struct Kept {
        std::shared_ptr<Entry> pEntry;
        int64_t nFrames = 0;  // asked for so far
    };

    // The entry for the wings, now first in the list, and whether a table is worth it.
    std::shared_ptr<Entry> Find(const FilterWings& wings, int64_t nFrames, bool& bWorthIt);

    Mutex m_lock;
    std::array<Kept, kKept> m_arKept KV_GUARDED_BY(m_lock);  // the one used last comes first
};

// What conversions do: by the rule above, or for tests and benchmarks always or never with a table.
enum class WingTableUse { ByFrames, Always, Never };
void ForceWingTableUse(WingTableUse use);

// The table for a conversion, from those that the whole process shares.
std::shared_ptr<const WingTable> TakeWingTable(const FilterWings& wings, int64_t nFrames) noexcept;

}  // namespace Kestrova
