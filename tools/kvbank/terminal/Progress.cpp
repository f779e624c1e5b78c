#include "tools/kvbank/terminal/Progress.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>

namespace Kestrova {
namespace {

constexpr auto kBetweenDraws = std::chrono::milliseconds(100);
constexpr auto kBetweenEvents = std::chrono::seconds(1);
constexpr size_t kBarWidth = 24;
constexpr double kSecondsBeforeGuessing = 0.5;
constexpr const char* kWipeLine = "\r\033[K";
constexpr unsigned kUsualColumns = 80;

struct PhaseRow {
    const char* pszName;  // in JSON
    const char* pszText;
};

// By ProgressPhase.
constexpr std::array<PhaseRow, 3> kPhases = {{
    {"work", ""},
    {"sync", "writing to the disk ..."},
    {"sum", "taking the sum ..."},
}};

const PhaseRow& RowOf(ProgressPhase phase) { return kPhases.at(static_cast<size_t>(phase)); }

std::string BarOf(double fraction) {
    const auto nFull = static_cast<size_t>(fraction * kBarWidth);
    return " [" + std::string(nFull, '#') + std::string(kBarWidth - nFull, '.') + "]";
}

std::optional<double> SecondsLeft(const ProgressFigures& figures) {
    if (figures.fraction <= 0 || figures.secondsSoFar < kSecondsBeforeGuessing) return std::nullopt;
    return figures.secondsSoFar / figures.fraction - figures.secondsSoFar;
}

std::string WhatIsLeft(const ProgressFigures& figures) {
    if (figures.phase != ProgressPhase::Work) return std::string("  ") + RowOf(figures.phase).pszText;
    const std::optional<double> seconds = SecondsLeft(figures);
    return seconds ? "  " + ReadableTime(*seconds) + " left" : "";
}

std::string TextOf(const ProgressFigures& figures) {
    char percent[8];
    std::snprintf(percent, sizeof percent, " %3d%%", static_cast<int>(figures.fraction * 100));
    std::string strText = std::string(percent) + "  " + ReadableSize(figures.nBytes);
    if (figures.nTotalBytes != 0)
        strText += " of " + ReadableSize(std::max(figures.nTotalBytes, figures.nBytes));
    return strText + WhatIsLeft(figures);
}

// Of the fraction; a job may come to more than was expected.
ProgressFigures Clamped(ProgressFigures figures) {
    figures.fraction = std::clamp(figures.fraction, 0.0, 1.0);
    return figures;
}

// A character in the last column can make the terminal begin a new line, so that column stays free.
size_t FreeColumns(const Console& console) {
    const unsigned nColumns = console.pfnErrColumns == nullptr ? 0 : console.pfnErrColumns();
    return (nColumns == 0 ? kUsualColumns : nColumns) - 1;
}

}  // namespace

Progress::Progress(Console& console, const std::string& strTitle, uint64_t nTotalBytes)
    : m_console(console), m_strTitle(Printable(strTitle)), m_nTotalBytes(nTotalBytes) {}

void Progress::Wipe() {
    if (m_bDrawn) m_console.err << kWipeLine << std::flush;
    m_bDrawn = false;
}

void Progress::Show(double fraction, uint64_t nBytes, ProgressPhase phase) {
    const bool bJson = m_console.progress == Console::ProgressStyle::Lines;
    if (!bJson && !m_console.DrawsProgress()) return;
    const Clock::time_point now = Clock::now();
    const Clock::duration between = bJson ? Clock::duration(kBetweenEvents) : kBetweenDraws;
    if (m_bShown && phase == m_phase && now - m_lastShown < between) return;
    const double seconds = std::chrono::duration<double>(now - m_start).count();
    const ProgressFigures figures{fraction, nBytes, m_nTotalBytes, seconds, phase};
    m_lastShown = now;
    m_phase = phase;
    m_bShown = true;
    if (bJson) return m_console.Event(ProgressEvent(m_strTitle, figures));
    m_console.err << kWipeLine + ProgressLine(m_strTitle, figures, FreeColumns(m_console)) << std::flush;
    m_bDrawn = true;
}

std::string ProgressLine(const std::string& strTitle, const ProgressFigures& figures, size_t nColumns) {
    const ProgressFigures clamped = Clamped(figures);
    const std::string strFigures = TextOf(clamped);
    std::string strWhole = strTitle + BarOf(clamped.fraction) + strFigures;
    if (CutToColumns(strWhole, nColumns) == strWhole) return strWhole;
    const size_t nForTitle = nColumns - std::min(nColumns, strFigures.size());
    return CutToColumns(CutToColumns(strTitle, nForTitle) + strFigures, nColumns);
}

Json ProgressEvent(const std::string& strTitle, const ProgressFigures& figures) {
    const ProgressFigures clamped = Clamped(figures);
    Json event = {{"event", "progress"},
                  {"title", strTitle},
                  {"phase", RowOf(clamped.phase).pszName},
                  {"fraction", clamped.fraction},
                  {"bytes", clamped.nBytes}};
    if (clamped.nTotalBytes != 0) event["total_bytes"] = std::max(clamped.nTotalBytes, clamped.nBytes);
    const std::optional<double> seconds = SecondsLeft(clamped);
    if (seconds && clamped.phase == ProgressPhase::Work) event["seconds_left"] = *seconds;
    return event;
}

}  // namespace Kestrova
