#include "tools/kvbank/terminal/Progress.h"

#include <algorithm>
#include <cstdio>

namespace Kestrova {
namespace {

constexpr auto kBetweenDraws = std::chrono::milliseconds(100);
constexpr size_t kBarWidth = 24;
constexpr double kSecondsBeforeGuessing = 0.5;
constexpr const char* kWipeLine = "\r\033[K";
constexpr unsigned kUsualColumns = 80;

std::string BarOf(double fraction) {
    const auto nFull = static_cast<size_t>(fraction * kBarWidth);
    return " [" + std::string(nFull, '#') + std::string(kBarWidth - nFull, '.') + "]";
}

std::string FiguresOf(double fraction, uint64_t nBytes, uint64_t nTotalBytes, double secondsSoFar) {
    char percent[8];
    std::snprintf(percent, sizeof percent, " %3d%%", static_cast<int>(fraction * 100));
    std::string strFigures = std::string(percent) + "  " + ReadableSize(nBytes);
    if (nTotalBytes != 0) strFigures += " of " + ReadableSize(std::max(nTotalBytes, nBytes));
    if (fraction > 0 && secondsSoFar >= kSecondsBeforeGuessing)
        strFigures += "  " + ReadableTime(secondsSoFar / fraction - secondsSoFar) + " left";
    return strFigures;
}

// A character in the last column can make the terminal begin a new line, so that column stays free.
size_t FreeColumns(const Console& console) {
    const unsigned nColumns = console.pfnErrColumns == nullptr ? 0 : console.pfnErrColumns();
    return (nColumns == 0 ? kUsualColumns : nColumns) - 1;
}

}  // namespace

Progress::Progress(Console& console, const std::string& strTitle, uint64_t nTotalBytes)
    : m_console(console), m_strTitle(Printable(strTitle)), m_nTotalBytes(nTotalBytes) {}

Progress::~Progress() {
    if (m_bDrawn) m_console.err << kWipeLine << std::flush;
}

void Progress::Show(double fraction, uint64_t nBytes) {
    const Clock::time_point now = Clock::now();
    if (!m_console.bErrIsTerminal || m_console.bQuiet || (m_bDrawn && now - m_lastDrawn < kBetweenDraws))
        return;
    const double seconds = std::chrono::duration<double>(now - m_start).count();
    const std::string strLine =
        ProgressLine(m_strTitle, fraction, nBytes, m_nTotalBytes, seconds, FreeColumns(m_console));
    m_console.err << kWipeLine + strLine << std::flush;
    m_lastDrawn = now;
    m_bDrawn = true;
}

std::string ProgressLine(const std::string& strTitle, double fraction, uint64_t nBytes, uint64_t nTotalBytes,
                         double secondsSoFar, size_t nColumns) {
    fraction = std::clamp(fraction, 0.0, 1.0);
    const std::string strFigures = FiguresOf(fraction, nBytes, nTotalBytes, secondsSoFar);
    std::string strWhole = strTitle + BarOf(fraction) + strFigures;
    if (CutToColumns(strWhole, nColumns) == strWhole) return strWhole;
    const size_t nForTitle = nColumns - std::min(nColumns, strFigures.size());
    return CutToColumns(CutToColumns(strTitle, nForTitle) + strFigures, nColumns);
}

}  // namespace Kestrova
