#include "tools/kvbank/terminal/PredictedSizes.h"

#include <cstdio>

namespace Kestrova {

Json TellPredicted(Console& console, const std::vector<PredictedSize>& sizes) {
    Json rows = Json::array();
    console.Say("Banks      predicted size: plain, per-key");
    for (const PredictedSize& size : sizes) {
        rows.push_back({{"rate", size.nRate}, {"plain_mib", size.nPlain}, {"per_key_mib", size.nPerKey}});
        char columns[64];
        std::snprintf(columns, sizeof columns, "  %6u Hz %10s %10s", size.nRate,
                      ReadableSize(size.nPlain * kBytesPerMegabyte).c_str(),
                      ReadableSize(size.nPerKey * kBytesPerMegabyte).c_str());
        console.Say(columns);
    }
    return rows;
}

}  // namespace Kestrova
