#include "tools/kvbank/Progress.h"

#include <algorithm>
#include <cstdio>

namespace Kestrova {
namespace {

constexpr auto kBetweenDraws = std::chrono::milliseconds(100);
constexpr size_t kBarWidth = 24;
constexpr double kSecondsBeforeGuessing = 0.5;
constexpr const char* kWipeLine = "\r\033[K";

}  // namespace

Progress::Progress(Console& console, std::string strTitle, uint64_t nTotalBytes)
    : m_console(console), m_strTitle(std::move(strTitle)), m_nTotalBytes(nTotalBytes) {}

Progress::~Progress() {
    if (m_bDrawn) m_console.err << kWipeLine << std::flush;
}

void Progress::Show(double fraction, uint64_t nBytes) {
    const Clock::time_point now = Clock::now();
    if (!m_console.bErrIsTerminal || m_console.bQuiet || (m_bDrawn && now - m_lastDrawn < kBetweenDraws))
        return;
    const double seconds = std::chrono::duration<double>(now - m_start).count();
    m_console.err << kWipeLine << ProgressLine(m_strTitle, fraction, nBytes, m_nTotalBytes, seconds)
                  << std::flush;
    m_lastDrawn = now;
    m_bDrawn = true;
}

std::string ProgressLine(const std::string& strTitle, double fraction, uint64_t nBytes, uint64_t nTotalBytes,
                         double secondsSoFar) {
    fraction = std::clamp(fraction, 0.0, 1.0);
    const auto nFull = static_cast<size_t>(fraction * kBarWidth);
    char percent[8];
    std::snprintf(percent, sizeof percent, "%3d%%", static_cast<int>(fraction * 100));
    std::string strLine = strTitle + " [" + std::string(nFull, '#') + std::string(kBarWidth - nFull, '.') +
                          "] " + percent + "  " + ReadableSize(nBytes);
    if (nTotalBytes != 0) strLine += " of " + ReadableSize(std::max(nTotalBytes, nBytes));
    if (fraction > 0 && secondsSoFar >= kSecondsBeforeGuessing)
        strLine += "  " + ReadableTime(secondsSoFar / fraction - secondsSoFar) + " left";
    return strLine;
}

}  // namespace Kestrova
