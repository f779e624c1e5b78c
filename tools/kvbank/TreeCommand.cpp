#include "tools/kvbank/TreeCommand.h"

#include <array>
#include <charconv>

namespace Kestrova {
namespace {

constexpr uint32_t kMostLevels = 64;  // a sound bank has four; more would only indent

struct TypeWord {
    const char* pszWord;
    uint8_t nType;
};
constexpr std::array kTypeWords = {
    TypeWord{"info", kSdbInfo},       TypeWord{"preset", kSdbPreset}, TypeWord{"bank", kSdbBank},
    TypeWord{"program", kSdbProgram}, TypeWord{"region", kSdbRegion}, TypeWord{"layer", kSdbLayer},
    TypeWord{"sample", kSdbSample},
};

std::optional<uint8_t> ParseType(const std::string& strType) {
    for (const TypeWord& word : kTypeWords)
        if (strType == word.pszWord) return word.nType;
    uint8_t nType = 0;
    const char* const pEnd = strType.data() + strType.size();
    const auto [pStop, error] = std::from_chars(strType.data(), pEnd, nType);
    return error == std::errc() && pStop == pEnd ? std::optional(nType) : std::nullopt;
}

}  // namespace

void TreeCommand::Describe(CLI::App& verb) {
    verb.add_option("FILE", m_strFile, "a bank or source bank")->required();
    verb.add_option("--depth", m_options.nDepth, "how many levels to show (default 64)")
        ->check(CLI::Range(1u, kMostLevels))
        ->type_name("1..64");
    verb.add_option_function<std::string>(
            "--type",
            [this](const std::string& strType) {
                m_options.nType = ParseType(strType);
                if (!m_options.nType)
                    throw CLI::ValidationError("--type", "'" + strType +
                                                             "': give info, preset, bank, program, region, "
                                                             "layer, sample or a number from 0 to 255");
            },
            "only records of this type")
        ->type_name("TYPE");
}

int TreeCommand::Run(Console& console) {
    TreeReporter reporter(console, m_strFile, m_options);
    return reporter.Finish(Tell(reporter));
}

Ending TreeCommand::Tell(TreeReporter& reporter) const {
    NoteScan scan;
    if (Ending opened = OpenScan(scan, m_strFile); !opened.IsDone()) return opened;
    const uint64_t nFaults = reporter.Tell(scan, MakeTree(scan));
    if (nFaults == 0) return {};
    return {kExitProblem, nFaults == 1 ? "1 record has no place in the tree"
                                       : std::to_string(nFaults) + " records have no place in the tree"};
}

}  // namespace Kestrova
