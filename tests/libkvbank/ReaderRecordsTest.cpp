// The library reads records by itself. Here every one of them is compared with what the database reads.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>

#include "tests/bank/BankReader.h"
#include "tests/libkvbank/ReaderFixture.h"
#include "tests/support/TestDatabase.h"
#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

class ReaderRecordsTest : public ReaderTest {
protected:
    // All children of all parents of a type, by parent, each list in the order of the file.
    static std::vector<uint32_t> Below(CSDB& database, const std::vector<uint32_t>& parents, uint32_t nType) {
        std::vector<uint32_t> all;
        for (const uint32_t id : parents)
            for (const uint32_t idChild : ChildrenOf(database, id, nType)) all.push_back(idChild);
        return all;
    }

    template <class TSample>
    static void CompareSamples(CSDB& database, const OpenedBank& bank) {
        const std::vector<uint32_t> ids = IdsOfType(database, kSdbSample);
        ASSERT_EQ(ids.size(), bank.Bank().sample_count);
        for (uint32_t n = 0; n < ids.size(); ++n) {
            TSample record(ids[n], kSdbNoID);
            ASSERT_TRUE(database.ReadWholeNote(&record));
            Compare(record, bank, n);
        }
    }

    static void Compare(CSDBISampleBase& record, const OpenedBank& bank, uint32_t n) {
        const kvb_sample sample = bank.Sample(n);
        EXPECT_EQ(record.GetID(), sample.id);
        EXPECT_STREQ(record.m_info.szName, sample.name);
        EXPECT_EQ(record.m_info.nSampleRate, sample.rate);
        EXPECT_EQ(record.m_info.nFormat, sample.bits | (sample.is_float != 0 ? kSampleFormatFlag : 0));
        EXPECT_EQ(record.m_info.nChannels, sample.channels);
        EXPECT_EQ(record.m_info.nFrames, sample.frames);
        EXPECT_EQ(record.m_info.nRootKey, sample.root_key);
        EXPECT_EQ(record.m_info.nFineTune, sample.fine_tune);
        EXPECT_EQ(record.m_info.lWave, sample.wave_bytes);
        EXPECT_EQ(record.GetStoredBytes(), sample.stored_bytes);
        EXPECT_EQ(record.GetFrameBytes(), sample.frame_bytes);
        ASSERT_EQ(record.m_info.cLayerLoops, sample.loop_count);
        for (uint32_t i = 0; i < sample.loop_count; ++i) {
            EXPECT_EQ(record.GetLoops()[i].nCueID, bank.Loop(n, i).cue_id);
            EXPECT_EQ(record.GetLoops()[i].nStart, bank.Loop(n, i).start);
            EXPECT_EQ(record.GetLoops()[i].nEnd, bank.Loop(n, i).end);
            EXPECT_EQ(record.GetLoops()[i].nPlayCount, bank.Loop(n, i).play_count);
        }
        if (sample.encoding != KVB_WAVE_RAW) return;
        const Bytes frames = bank.Frames(n);
        ASSERT_LE(frames.size(), record.m_info.lWave);
        EXPECT_TRUE(std::equal(frames.begin(), frames.end(), record.m_info.pWave)) << n;
    }

    static void CompareTree(CSDB& database, const OpenedBank& bank) {
        const std::vector<uint32_t> programs = Below(database, IdsOfType(database, kSdbBank), kSdbProgram);
        const std::vector<uint32_t> regions = Below(database, programs, kSdbRegion);
        ASSERT_EQ(programs.size(), bank.Bank().program_count);
        for (uint32_t n = 0; n < programs.size(); ++n) {
            CSDBIProgram record(programs[n], kSdbNoID);
            ASSERT_TRUE(database.ReadWholeNote(&record));
            EXPECT_STREQ(record.m_info.szName, bank.Program(n).name);
            EXPECT_EQ(record.m_info.nFirst, bank.Program(n).number);
            EXPECT_EQ(ChildrenOf(database, programs[n], kSdbRegion).size(), bank.Program(n).region_count);
        }
        for (uint32_t n = 0; n < regions.size(); ++n) {
            CSDBIRegion record(regions[n], kSdbNoID);
            ASSERT_TRUE(database.ReadWholeNote(&record));
            const kvb_region region = bank.Region(n);
            EXPECT_STREQ(record.m_info.szName, region.name);
            EXPECT_EQ(record.m_info.nLowKey, region.low_key);
            EXPECT_EQ(record.m_info.nHighKey, region.high_key);
            EXPECT_EQ(record.m_info.nThird, region.low_velocity);
            EXPECT_EQ(record.m_info.nFourth, region.high_velocity);
            CompareLayers(database, bank, regions[n], n);
        }
    }

    static void CompareLayers(CSDB& database, const OpenedBank& bank, uint32_t idRegion, uint32_t nRegion) {
        const std::vector<uint32_t> layers = ChildrenOf(database, idRegion, kSdbLayer);
        ASSERT_EQ(layers.size(), bank.Region(nRegion).layer_count);
        for (uint32_t n = 0; n < layers.size(); ++n) {
            CSDBILayer record(layers[n], kSdbNoID);
            ASSERT_TRUE(database.ReadWholeNote(&record));
            const kvb_layer layer = bank.Layer(nRegion, n);
            if (layer.sample == KVB_NONE)  // an unsplit program's, whose sample a split one shares
                EXPECT_EQ(kSdbNoID, record.m_info.nSampleID);
            else
                EXPECT_EQ(record.m_info.nSampleID, bank.Sample(layer.sample).id);
            EXPECT_THAT(layer.values, ::testing::ElementsAre(record.m_info.nFirst, record.m_info.nSecond,
                                                             record.m_info.nThird, record.m_info.nFourth));
        }
    }
};

TEST_F(ReaderRecordsTest, ABuiltBankReadsAsTheDatabaseReadsIt) {
    for (const bool bPerKey : {false, true}) {
        const std::string strBank = Built(TwoPrograms(), bPerKey);
        const OpenedBank bank(strBank);
        ASSERT_EQ(KVB_OK, bank.Error());
        BankReader reader(strBank);
        CompareTree(reader.Database(), bank);
        CompareSamples<CSDBISampleEUWave>(reader.Database(), bank);
    }
}

TEST_F(ReaderRecordsTest, ASourceBankReadsAsTheDatabaseReadsIt) {
    SourceSpec spec = TwoPrograms();
    spec.samples.push_back({.nFormat = 32 | kSampleFormatFlag, .nFrames = 1});
    const std::string strSource = Source(spec);
    const OpenedBank bank(strSource);
    ASSERT_EQ(KVB_OK, bank.Error());
    CSDB database;
    ASSERT_TRUE(database.Open(strSource.c_str(), kSdbFormatPlain, false));
    CompareTree(database, bank);
    CompareSamples<CSDBISampleWave>(database, bank);
}

// Blocks, tails and names of every length that the worked cases have.
TEST_F(ReaderRecordsTest, TheSourcesOfTheWorkedCasesReadAsTheDatabaseReadsThem) {
    int nRead = 0;
    for (const auto& entry : fs::directory_iterator(VectorPath("builds"))) {
        if (entry.path().extension() != ".kvn") continue;
        SCOPED_TRACE(entry.path());
        const OpenedBank bank(entry.path().string());
        ASSERT_EQ(KVB_OK, bank.Error());
        const bool bEnriched = bank.Bank().kind == KVB_KIND_BUILT;
        CSDB database;
        ASSERT_TRUE(
            database.Open(entry.path().c_str(), bEnriched ? kSdbFormatEnriched : kSdbFormatPlain, false));
        CompareTree(database, bank);
        if (bEnriched)
            CompareSamples<CSDBISampleEUWave>(database, bank);
        else
            CompareSamples<CSDBISampleWave>(database, bank);
        ++nRead;
    }
    EXPECT_EQ(4, nRead);
}

}  // namespace
}  // namespace Kestrova::Test
