#include "tools/kvbank/terminal/RateOptions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <sstream>

#include "bank/BankRates.h"

namespace Kestrova {

std::vector<unsigned int> ParseRates(const std::string& strRates) {
    std::array<bool, kRateCount> chosen{};
    if (strRates == "all") chosen.fill(true);
    if (strRates.ends_with(',')) return {};  // the loop does not see an empty rate at the end
    std::istringstream in(strRates == "all" ? "" : strRates);
    for (std::string strRate; std::getline(in, strRate, ',');) {
        unsigned int nRate = 0;
        const char* const pEnd = strRate.data() + strRate.size();
        const auto [pStop, error] = std::from_chars(strRate.data(), pEnd, nRate);
        if (error != std::errc() || pStop != pEnd || RateIndex(nRate) < 0) return {};
        chosen[static_cast<size_t>(RateIndex(nRate))] = true;
    }
    std::vector<unsigned int> arRates;
    for (size_t i = 0; i < chosen.size(); ++i)
        if (chosen[i]) arRates.push_back(static_cast<unsigned int>(iSPS[i]));
    return arRates;
}

void AddRateOption(CLI::App& verb, std::vector<unsigned int>& arRates) {
    verb.add_option_function<std::string>(
            "-r,--rates",
            [&arRates](const std::string& strRates) {
                arRates = ParseRates(strRates);
                if (arRates.empty())
                    throw CLI::ValidationError("--rates",
                                               "'" + strRates +
                                                   "': give 'all' or some of 44100, 48000, 88200, "
                                                   "96000, 176400 and 192000, with commas between");
            },
            "the sample rates, with commas between, or 'all'")
        ->type_name("RATES")
        ->required();
}

void AddLayoutOption(CLI::App& verb, BankLayout& layout) {
    verb.add_option_function<std::string>(
            "--layout",
            [&layout](const std::string& strLayout) {
                const bool bPerKey = strLayout == LayoutName(BankLayout::PerKey);
                if (!bPerKey && strLayout != LayoutName(BankLayout::Plain))
                    throw CLI::ValidationError("--layout", "'" + strLayout + "': give 'plain' or 'per-key'");
                layout = bPerKey ? BankLayout::PerKey : BankLayout::Plain;
            },
            "plain (default): one copy of each sample; per-key: one for each key that plays it")
        ->type_name("plain|per-key");
}

const char* LayoutName(BankLayout layout) { return layout == BankLayout::Plain ? "plain" : "per-key"; }

}  // namespace Kestrova
