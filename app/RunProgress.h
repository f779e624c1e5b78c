// RunProgress.h - how far a run over several banks is, weighed by their bytes, and how long the rest will
// take.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

namespace Kestrova {

// The described bar goes one step for each record, whatever the record's size. A run's time goes with its
// bytes: this measures the bytes of the file that is being written against the size predicted for it.
// Threads: one at a time.
class RunProgress {
public:
    using Clock = std::chrono::steady_clock;

    // nSizes: the bytes predicted for each bank, in the order in which they are built.
    RunProgress(std::vector<uint64_t> sizes, Clock::time_point start);

    // Another bank is written now, or more of the same. nBank counts from 0.
    void Reached(size_t nBank, uint64_t nBytesOfBank);

    size_t GetBank() const { return m_nBank; }  // from 0
    size_t GetBanks() const { return m_sizes.size(); }
    // Of the bytes of all banks; it never goes back, and is below 1 until the run is over.
    double GetFraction() const { return m_fraction; }
    // None in the first seconds, and while nothing is written: a time told then would be a guess.
    std::optional<std::chrono::seconds> GetTimeLeft(Clock::time_point now) const;

private:
    std::vector<uint64_t> m_sizes;
    Clock::time_point m_start;
    size_t m_nBank = 0;
    double m_fraction = 0;
};

}  // namespace Kestrova
