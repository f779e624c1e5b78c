// ReadBudget.h - how much memory a file may claim for one of its waves.
#pragma once

#include <cstdint>

namespace Kestrova {

// A compressed wave takes memory for what it expands to, and 32 bytes of a stream can stand for 46 MB. While
// a budget is in force, such a wave may have at most 64 MiB, or 1000 times the size of the file that it lies
// in where that is more. Measured against the whole file, long silence in a real instrument is far below;
// against the wave's own stored bytes it would not be.
// A wave that is stored as it is takes no more than the file has, and is not counted; nor is what a
// conversion makes of a wave, which the predicted space tells before it begins.
inline constexpr uint64_t kReadBudgetFloor = uint64_t{64} << 20;
inline constexpr uint64_t kReadBudgetFactor = 1000;

// What a refusal by the budget says of the wave: why, and what to do.
inline constexpr const char* kOverReadBudget =
    "the wave would expand to more than 64 MB and more than 1000 times the size of its file, as in files "
    "that are made to fill the memory; if you trust the file, use kvbank with --trust";

// In force for the whole process while it lives. Without one there is no limit: a library does what its
// caller asks. Several that overlap are one budget.
// Threads: any; REQUIRES that no wave is being read when one begins or ends.
class ReadBudget {
public:
    ReadBudget();
    ~ReadBudget();
    ReadBudget(const ReadBudget&) = delete;
    ReadBudget& operator=(const ReadBudget&) = delete;

    // The most bytes that a wave of a file of nFileBytes may expand to; UINT64_MAX when none is in force.
    static uint64_t MostFor(uint64_t nFileBytes);
};

}  // namespace Kestrova
