// ReportPage.h - a bank as one page of HTML: it needs no network, and shows all it has without scripts.
#pragma once

#include <string>
#include <vector>

#include "tools/kvbank/contents/BankContents.h"
#include "tools/kvbank/report/SampleTable.h"
#include "tools/kvbank/terminal/PredictedSizes.h"

namespace Kestrova {

// What keeps the page of the largest bank within some 20 MB. Each limit that is met is stated on the page.
struct ReportLimits {
    static constexpr size_t kRows = 5000;           // samples listed
    static constexpr size_t kWaves = 2000;          // samples with a waveform
    static constexpr size_t kMaps = 256;            // programs shown
    static constexpr size_t kParts = 20000;         // coloured parts of all key maps
    static constexpr size_t kSpectra = 64;          // samples with spectra
    static constexpr size_t kSoundBytes = 4500000;  // of all excerpts
    static constexpr size_t kLongSound = 96000;     // bytes of one excerpt, where there is room
    static constexpr size_t kShortSound = 12000;    // where there is little; the others then have none
};

// The bytes of each excerpt when nSamples samples share the room.
size_t ExcerptBytes(size_t nSamples);

struct ReportFacts {
    std::string strFile;  // the name without its folder
    uint64_t nBytes = 0;
    bool bEnriched = false;
    uint64_t nRegions = 0;
    std::string strSource;                 // the name of the source compared with; empty for none
    std::vector<PredictedSize> predicted;  // empty when the bank cannot be analysed
    std::string strWhyNotPredicted;        // then
};

// views: of the first samples; those behind them have none. The same bank gives the same bytes.
std::string MakeReportPage(const ReportFacts& facts, const BankContents& contents,
                           const std::vector<SampleView>& views);

}  // namespace Kestrova
