#include "bench/compare/Comparison.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <regex>
#include <utility>

namespace Kestrova::Bench {
namespace {

constexpr double kShortestTurn = 0.2;  // seconds

double ProcessorSeconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

struct Options {
    ComparisonSize size;
    int nRounds = 5;
    std::string strRows;  // a regular expression; empty: all
    bool bList = false;
};

std::optional<Options> ReadOptions(int argc, char** argv) {
    Options options;
    for (int n = 1; n < argc; ++n) {
        const std::string strOption = argv[n];
        const char* const pszValue = n + 1 < argc ? argv[n + 1] : nullptr;
        if (strOption == "--quick") {
            options.size.bQuick = true;
        } else if (strOption == "--list") {
            options.bList = true;
        } else if (strOption == "--rounds" && pszValue != nullptr && std::atoi(pszValue) > 0) {
            options.nRounds = std::atoi(pszValue);
            ++n;
        } else if (strOption == "--rows" && pszValue != nullptr) {
            options.strRows = pszValue;
            ++n;
        } else {
            return {};
        }
    }
    return options;
}

bool TakeTurn(const ComparisonRow& row, const Contender& contender, bool bCounted) {
    const std::optional<double> figure = contender.turn();
    if (!figure) {
        std::fprintf(stderr, "%s: %s has failed\n", row.strName.c_str(), contender.strName.c_str());
        return false;
    }
    if (bCounted)
        std::printf("%s\t%s\t%s\t%.6g\n", row.strName.c_str(), row.strUnit.c_str(), contender.strName.c_str(),
                    *figure);
    std::fflush(stdout);
    return true;
}

bool Measure(const ComparisonRow& row, int nRounds) {
    const std::vector<Contender> contenders = row.make();
    bool bDone = !contenders.empty();
    for (int nRound = 0; nRound <= nRounds; ++nRound)
        for (const Contender& contender : contenders) bDone = bDone && TakeTurn(row, contender, nRound > 0);
    return bDone;
}

}  // namespace

Turn RateTurn(ComparisonSize size, double amount, std::function<bool()> work) {
    return [=]() -> std::optional<double> {
        const double began = ProcessorSeconds();
        double took = 0;
        int nCalls = 0;
        do {
            if (!work()) return {};
            ++nCalls;
            took = ProcessorSeconds() - began;
        } while (took < kShortestTurn && !size.bQuick);
        return amount * nCalls / took;
    };
}

Turn MillisecondsTurn(std::function<bool()> prepare, std::function<bool()> work) {
    return [prepare = std::move(prepare), work = std::move(work)]() -> std::optional<double> {
        if (!prepare()) return {};
        const double began = ProcessorSeconds();
        if (!work()) return {};
        return (ProcessorSeconds() - began) * 1e3;
    };
}

int RunComparison(int argc, char** argv,
                  const std::function<std::vector<ComparisonRow>(ComparisonSize)>& rowsOf) {
    const std::optional<Options> options = ReadOptions(argc, argv);
    if (!options) {
        std::fprintf(stderr, "usage: %s [--quick] [--rounds N] [--rows REGEX] [--list]\n", argv[0]);
        return 2;
    }
    const std::regex wanted(options->strRows);
    bool bDone = true;
    for (const ComparisonRow& row : rowsOf(options->size)) {
        if (!std::regex_search(row.strName, wanted)) continue;
        if (options->bList)
            std::puts(row.strName.c_str());
        else
            bDone = Measure(row, options->nRounds) && bDone;
    }
    return bDone ? 0 : 1;
}

}  // namespace Kestrova::Bench
