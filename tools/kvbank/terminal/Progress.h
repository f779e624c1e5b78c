// Progress.h - a job's progress on standard error: a bar on a terminal, nothing elsewhere.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "tools/kvbank/terminal/Console.h"

namespace Kestrova {

// One bar, redrawn in place at most ten times a second and wiped when the object goes.
class Progress {
public:
    // strTitle leads the line; nTotalBytes is the size expected, 0 for not known.
    Progress(Console& console, const std::string& strTitle, uint64_t nTotalBytes);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Show(double fraction, uint64_t nBytes);

private:
    using Clock = std::chrono::steady_clock;

    Console& m_console;
    const std::string m_strTitle;
    const uint64_t m_nTotalBytes;
    const Clock::time_point m_start = Clock::now();
    Clock::time_point m_lastDrawn;
    bool m_bDrawn = false;
};

// The line itself: "48000 Hz [#####.....]  50%  12.3 MB of 24.6 MB  0:05 left". Where it is too long for the
// columns, first the bar is left out, then the title is cut, and at last the figures.
std::string ProgressLine(const std::string& strTitle, double fraction, uint64_t nBytes, uint64_t nTotalBytes,
                         double secondsSoFar, size_t nColumns);

}  // namespace Kestrova
