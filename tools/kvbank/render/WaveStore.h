// WaveStore.h - the frames of a bank's samples, expanded where the bank holds them compressed.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>

#include "include/kvbank.h"
#include "tools/kvbank/terminal/Ending.h"

namespace Kestrova {

class StreamBuffer;

// The frames of one sample as they lie in memory: little-endian, packed.
struct WaveFrames {
    std::span<const uint8_t> bytes;
    uint64_t nFrames = 0;
};

// Expands a wave once and keeps it as long as the store lives. Raw waves are used where the file has them.
// Threads: one. May throw std::bad_alloc.
class WaveStore {
public:
    // Both must outlive the store. strFile: for messages.
    WaveStore(const kvb_bank* pBank, const std::string& strFile);
    ~WaveStore();

    // sample: what kvb_get_sample tells of nSample. The frames are good as long as the store.
    Ending Get(uint32_t nSample, const kvb_sample& sample, WaveFrames& frames);

private:
    Ending Expand(uint32_t nSample, const kvb_sample& sample, WaveFrames& frames);
    std::string NameOf(const kvb_sample& sample) const;

    const kvb_bank* const m_pBank;
    const std::string m_strFile;
    std::map<uint32_t, std::unique_ptr<StreamBuffer>> m_expanded;  // by sample
};

}  // namespace Kestrova
