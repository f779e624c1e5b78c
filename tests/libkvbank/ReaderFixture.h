// ReaderFixture.h - banks opened by the reader library, for its tests.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "include/kvbank.h"
#include "tests/bank/EngineDriver.h"
#include "tests/support/SourceMaker.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {

// An open bank, or the error that opening it gave.
class OpenedBank {
public:
    explicit OpenedBank(const std::string& strPath, unsigned nFlags = KVB_OPEN_MAP)
        : m_nError(kvb_open(strPath.c_str(), nFlags, &m_pBank)) {}
    explicit OpenedBank(const Bytes& bytes)
        : m_nError(kvb_open_memory(bytes.data(), bytes.size(), &m_pBank)) {}
    ~OpenedBank() { kvb_close(m_pBank); }
    OpenedBank(const OpenedBank&) = delete;
    OpenedBank& operator=(const OpenedBank&) = delete;

    int Error() const { return m_nError; }
    const kvb_bank* Get() const { return m_pBank; }

    // What one of the kvb_get functions fills in; empty, and a failure of the test, on an error.
    kvb_bank_info Bank() const {
        return Filled<kvb_bank_info>([&](auto* p, size_t n) { return kvb_get_bank(m_pBank, p, n); });
    }
    kvb_program Program(uint32_t nProgram) const {
        return Filled<kvb_program>(
            [&](auto* p, size_t n) { return kvb_get_program(m_pBank, nProgram, p, n); });
    }
    kvb_region Region(uint32_t nRegion) const {
        return Filled<kvb_region>([&](auto* p, size_t n) { return kvb_get_region(m_pBank, nRegion, p, n); });
    }
    kvb_layer Layer(uint32_t nRegion, uint32_t nLayer) const {
        return Filled<kvb_layer>(
            [&](auto* p, size_t n) { return kvb_get_layer(m_pBank, nRegion, nLayer, p, n); });
    }
    kvb_sample Sample(uint32_t nSample) const {
        return Filled<kvb_sample>([&](auto* p, size_t n) { return kvb_get_sample(m_pBank, nSample, p, n); });
    }
    kvb_loop Loop(uint32_t nSample, uint32_t nLoop) const {
        return Filled<kvb_loop>(
            [&](auto* p, size_t n) { return kvb_get_loop(m_pBank, nSample, nLoop, p, n); });
    }

    Bytes Frames(uint32_t nSample) const {
        const void* pFrames = nullptr;
        uint64_t nFrames = 0;
        EXPECT_EQ(KVB_OK, kvb_get_frames(m_pBank, nSample, &pFrames, &nFrames));
        const auto* const p = static_cast<const uint8_t*>(pFrames);
        return Bytes(p, p + nFrames * Sample(nSample).frame_bytes);
    }

    std::vector<uint32_t> Regions(uint32_t nProgram, int nKey, int nVelocity) const {
        std::vector<uint32_t> found;
        uint32_t nRegion = KVB_NONE;
        while (kvb_find_region(m_pBank, nProgram, nKey, nVelocity, nRegion, &nRegion) == KVB_OK)
            found.push_back(nRegion);
        return found;
    }

private:
    template <class TInfo, class TGet>
    static TInfo Filled(const TGet& get) {
        TInfo info{};
        EXPECT_EQ(KVB_OK, get(&info, sizeof info));
        return info;
    }

    kvb_bank* m_pBank = nullptr;
    int m_nError;
};

class ReaderTest : public ::testing::Test {
protected:
    std::string File(const std::string& strName) const { return m_dir.File(strName); }

    std::string Source(const SourceSpec& spec) const {
        MakeSource(File("Src.kvs"), spec);
        return File("Src.kvs");
    }
    // The bank that the engine builds of it at 44100 Hz.
    std::string Built(const SourceSpec& spec, bool bPerKey = false) const {
        EngineDriver driver;
        EXPECT_EQ(kBankDone, driver.Engine().SetDstDir((m_dir.Path().string() + "/").c_str()));
        EXPECT_EQ(kBankDone, driver.Analyse(Source(spec)));
        EXPECT_EQ(kBankDone, driver.Build(44100, bPerKey ? 1 : 0));
        return File(bPerKey ? "Src_0AC44.kvr" : "Src_0AC44.kvn");
    }

    // Two samples of different forms, two programs, regions for velocities and one that overlaps them.
    static SourceSpec TwoPrograms() {
        return {
            .samples = {{.nFrames = 300, .loops = {{7, 100, 199, 3}, {8, 20, 30, 0}}},
                        {.nRate = 48000, .nFormat = 24, .nChannels = 2, .nRootKey = 62, .nFrames = 200}},
            .programs = {{.bSplit = false,
                          .regions = {{40, 60, {0}, 0, 63}, {40, 60, {1, 0}, 64, 127}, {50, 80, {1}, 1, 127}},
                          .nNumber = 5},
                         {.regions = {{60, 62, {0}, 1, 127}}, .nNumber = 9}}};
    }

private:
    TempDir m_dir;
};

}  // namespace Kestrova::Test
