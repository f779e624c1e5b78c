#include "tools/kvbank/build/SpaceReporter.h"

#include <array>
#include <cstdio>
#include <cstring>

#include "tools/kvbank/terminal/RateOptions.h"

namespace Kestrova {
namespace {

const char* ActionText(BuildAction action) {
    switch (action) {
        case BuildAction::Build: return "would be built";
        case BuildAction::SkipExisting: return "there already";
        case BuildAction::SkipSource: return "is the source";
        case BuildAction::Stale: return "stale";
        case BuildAction::Busy: return "busy";
        case BuildAction::InTheWay: return "in the way";
    }
    return "";
}

std::string RowText(const std::string& strRate, uint64_t nNeeded, uint64_t nFreed, const char* pszEnd) {
    std::array<char, 80> text{};
    std::snprintf(text.data(), text.size(), "%9s  %10s  %10s%s%s", strRate.c_str(),
                  ReadableSize(nNeeded).c_str(), ReadableSize(nFreed).c_str(), *pszEnd == '\0' ? "" : "  ",
                  pszEnd);
    return text.data();
}

}  // namespace

SpaceReporter::SpaceReporter(Console& console, const BuildOptions& options)
    : m_console(console), m_options(options) {
    m_document["source"] = options.strSource;
    m_document["folder"] = options.strFolder;
    m_document["layout"] = LayoutName(options.layout);
    TellConversion(options.conversion, m_document);
}

ExitCode SpaceReporter::Tell(const BuildSpace& space) {
    if (space.nError != 0) {
        m_console.Error(m_options.strFolder + ": " + std::strerror(space.nError));
        return kExitOutput;
    }
    m_document["banks"] = Json::array();
    m_console.Say("     RATE      NEEDED       FREED");
    for (const RateSpace& rate : space.rates) {
        const char* const pszAction = ActionText(rate.plan.finding.action);
        m_console.Say(RowText(std::to_string(rate.plan.nRate) + " Hz", rate.nNeeded, rate.nFreed, pszAction));
        m_document["banks"].push_back({{"rate", rate.plan.nRate},
                                       {"file", rate.plan.strName},
                                       {"action", pszAction},
                                       {"bytes_needed", rate.nNeeded},
                                       {"bytes_freed", rate.nFreed}});
    }
    m_console.Say(RowText("all", space.nNeeded, space.nFreed, ""));
    m_console.Say(m_options.strFolder + ": " + ReadableSize(space.nFree) + " are free");
    m_document["bytes_needed"] = space.nNeeded;
    m_document["bytes_freed"] = space.nFreed;
    m_document["bytes_free"] = space.nFree;
    if (!space.strUnread.empty()) m_console.Error(space.strUnread);
    if (space.Fits()) return space.strUnread.empty() ? kExitDone : kExitProblem;
    m_console.Error(m_options.strFolder + ": " + Counted(space.nNeeded - space.nFree, "byte") +
                    " are missing: " + ReadableSize(space.nNeeded) + " are needed, " +
                    ReadableSize(space.nFree) + " are free");
    return kExitNoSpace;
}

}  // namespace Kestrova
