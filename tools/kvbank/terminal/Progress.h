// Progress.h - a job's progress on standard error: a bar, on a terminal, or lines of JSON.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "tools/kvbank/terminal/Console.h"

namespace Kestrova {

// What a job is at.
enum class ProgressPhase {
    Work,
    Sync,  // all is written, and the disk is waited for
    Sum    // its result is read once more for its sum
};

// One bar, redrawn in place at most ten times a second and wiped when the object goes. With --progress=json
// an object in a line of its own instead, once a second. A new phase shows at once.
class Progress {
public:
    // strTitle leads the line; nTotalBytes is the size expected, 0 for not known.
    Progress(Console& console, const std::string& strTitle, uint64_t nTotalBytes);
    ~Progress() { Wipe(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Show(double fraction, uint64_t nBytes, ProgressPhase phase = ProgressPhase::Work);
    // The same with a title that counts something.
    void SetTitle(const std::string& strTitle) { m_strTitle = Printable(strTitle); }
    // Takes the line away, until the next Show, so that another can be printed.
    void Wipe();

private:
    using Clock = std::chrono::steady_clock;

    Console& m_console;
    std::string m_strTitle;
    const uint64_t m_nTotalBytes;
    const Clock::time_point m_start = Clock::now();
    Clock::time_point m_lastShown;
    ProgressPhase m_phase = ProgressPhase::Work;
    bool m_bShown = false;
    bool m_bDrawn = false;  // a line stands on the terminal
};

// What a progress line tells.
struct ProgressFigures {
    double fraction = 0;       // of the bytes; it makes the time left
    uint64_t nBytes = 0;       // so far
    uint64_t nTotalBytes = 0;  // expected; 0 for not known
    double secondsSoFar = 0;
    ProgressPhase phase = ProgressPhase::Work;
};

// The line itself: "48000 Hz [#####.....]  50%  12.3 MB of 24.6 MB  0:05 left". Where it is too long for the
// columns, first the bar is left out, then the title is cut, and at last the figures. A phase other than work
// is told in place of the time left: no fraction moves then.
std::string ProgressLine(const std::string& strTitle, const ProgressFigures& figures, size_t nColumns);

// The same as an object for --progress=json.
Json ProgressEvent(const std::string& strTitle, const ProgressFigures& figures);

}  // namespace Kestrova
