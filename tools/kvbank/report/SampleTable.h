// SampleTable.h - the samples of a bank as rows of a page.
#pragma once

#include <string>
#include <vector>

#include "tools/kvbank/contents/BankContents.h"
#include "tools/kvbank/report/Spectrum.h"

namespace Kestrova {

// What was made of a sample's wave for the page.
struct SampleView {
    std::string strFault = {};  // why there is no picture; empty when there is one, or none was asked for
    std::string strWave = {};   // SVG
    std::vector<uint8_t> excerpt = {};  // a WAV file; empty for none
    std::string strSpectra = {};        // SVG; empty without a source
};

struct SampleViewWish {
    size_t nExcerptBytes = 0;                  // 0: no excerpt
    const CSDBISampleBase* pSource = nullptr;  // with its wave, for the spectra; null for none
};

// The views of one record, which has its wave. Threads: any.
SampleView MakeView(const CSDBISampleBase& sample, const SampleViewWish& wish);

// One row. nPlace: of the sample in the bank, which gives its colour.
std::string SampleRow(const SampleFacts& sample, size_t nPlace, const SampleView& view);

}  // namespace Kestrova
