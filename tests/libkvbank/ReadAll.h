// ReadAll.h - asks the reader library for everything that a bank has.
#pragma once

#include <cstdint>
#include <cstdlib>

#include "include/kvbank.h"

namespace Kestrova::Test {

// Reads each byte of a part of the bank, so that one outside of it is found.
inline uint64_t SumOf(const void* p, uint64_t nBytes) {
    uint64_t nSum = 0;
    for (uint64_t i = 0; i < nBytes; ++i) nSum += static_cast<const uint8_t*>(p)[i];
    return nSum;
}

// A sample and all its loops, and the bytes of its wave. The sum keeps the reading from being left out.
inline uint64_t ReadSampleWhole(const kvb_bank* pBank, uint32_t nSample) {
    kvb_sample sample;
    if (kvb_get_sample(pBank, nSample, &sample, sizeof sample) != KVB_OK) return 0;
    uint64_t nSum = static_cast<uint8_t>(sample.name[0]);
    for (uint32_t i = 0; i < sample.loop_count; ++i) {
        kvb_loop loop;
        if (kvb_get_loop(pBank, nSample, i, &loop, sizeof loop) != KVB_OK) std::abort();
        nSum += loop.start;
    }
    const void* p = nullptr;
    uint64_t n = 0;
    if (kvb_get_frames(pBank, nSample, &p, &n) == KVB_OK) nSum += SumOf(p, n * sample.frame_bytes);
    if (kvb_get_stored(pBank, nSample, &p, &n) == KVB_OK) nSum += SumOf(p, n);
    kvb_prefetch(pBank, nSample, 0, sample.frames);
    return nSum;
}

inline uint64_t ReadRegionWhole(const kvb_bank* pBank, uint32_t nRegion) {
    kvb_region region;
    if (kvb_get_region(pBank, nRegion, &region, sizeof region) != KVB_OK) std::abort();
    kvb_layer layer;
    for (uint32_t i = 0; i < region.layer_count; ++i)
        if (kvb_get_layer(pBank, nRegion, i, &layer, sizeof layer) != KVB_OK) std::abort();
    return region.layer_count;
}

// What an open bank has checked must be there: else the program ends.
inline uint64_t ReadAll(const kvb_bank* pBank) {
    kvb_bank_info info;
    if (kvb_get_bank(pBank, &info, sizeof info) != KVB_OK) std::abort();
    uint64_t nSum = 0;
    for (uint32_t n = 0; n < info.program_count; ++n) {
        kvb_program program;
        if (kvb_get_program(pBank, n, &program, sizeof program) != KVB_OK) std::abort();
        for (uint32_t i = 0; i < program.region_count; ++i)
            nSum += ReadRegionWhole(pBank, program.first_region + i);
        uint32_t nRegion = KVB_NONE;
        while (kvb_find_region(pBank, n, 60, 100, nRegion, &nRegion) == KVB_OK) ++nSum;
    }
    for (uint32_t n = 0; n < info.sample_count; ++n) nSum += ReadSampleWhole(pBank, n);
    return nSum;
}

}  // namespace Kestrova::Test
