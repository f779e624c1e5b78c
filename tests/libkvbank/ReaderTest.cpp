// What kvbank.h promises of good banks, and of wrong calls.
#include <gmock/gmock.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <set>
#include <thread>

#include "tests/libkvbank/ReaderFixture.h"
#include "tests/support/FencedBytes.h"
#include "tests/support/WaveMaker.h"

namespace Kestrova::Test {
namespace {

using ::testing::ElementsAre;

TEST_F(ReaderTest, ABuiltBankTellsItsNameRateLayoutAndCounts) {
    const OpenedBank bank(Built(TwoPrograms()));
    ASSERT_EQ(KVB_OK, bank.Error());
    const kvb_bank_info info = bank.Bank();
    EXPECT_STREQ("Test source", info.name);
    EXPECT_STREQ("PC Version", info.description);
    EXPECT_EQ(static_cast<uint32_t>(KVB_KIND_BUILT), info.kind);
    EXPECT_EQ(44100u, info.rate);
    EXPECT_EQ(0u, info.per_key);
    EXPECT_EQ(2u, info.program_count);
    EXPECT_EQ(2u, info.sample_count);
    const Bytes file = ReadFile(File("Src_0AC44.kvn"));
    EXPECT_EQ(0, std::memcmp(info.identity, file.data() + 4, sizeof info.identity));
}

TEST_F(ReaderTest, ProgramsAreFoundByTheirNumbers) {
    const OpenedBank bank(Built(TwoPrograms()));
    uint32_t nProgram = 77;
    EXPECT_EQ(KVB_OK, kvb_find_program(bank.Get(), 0, 9, &nProgram));
    EXPECT_EQ(1u, nProgram);
    EXPECT_EQ(KVB_ERROR_NOT_FOUND, kvb_find_program(bank.Get(), 1, 9, &nProgram));
    EXPECT_EQ(KVB_ERROR_NOT_FOUND, kvb_find_program(bank.Get(), 0, 8, &nProgram));
    EXPECT_EQ(1u, nProgram) << "unchanged by an error";
    const kvb_program first = bank.Program(0), second = bank.Program(1);
    EXPECT_STREQ("Program 0", first.name);
    EXPECT_EQ(5u, first.number);
    EXPECT_EQ(0u, first.split);
    EXPECT_EQ(0u, first.first_region);
    EXPECT_EQ(3u, first.region_count);
    EXPECT_STREQ("Program 1", second.name);
    EXPECT_EQ(1u, second.split);
    EXPECT_EQ(3u, second.first_region);
    EXPECT_EQ(1u, second.region_count);
}

TEST_F(ReaderTest, AllRegionsForAKeyAndAVelocityAreFoundInOrder) {
    const OpenedBank bank(Built(TwoPrograms()));
    EXPECT_THAT(bank.Regions(0, 40, 0), ElementsAre(0));
    EXPECT_THAT(bank.Regions(0, 40, 63), ElementsAre(0));
    EXPECT_THAT(bank.Regions(0, 60, 64), ElementsAre(1, 2));
    EXPECT_THAT(bank.Regions(0, 61, 127), ElementsAre(2));
    EXPECT_THAT(bank.Regions(0, 39, 100), ElementsAre());
    EXPECT_THAT(bank.Regions(0, 80, 0), ElementsAre());
    EXPECT_THAT(bank.Regions(0, 81, 1), ElementsAre());
    EXPECT_THAT(bank.Regions(1, 62, 1), ElementsAre(3));
    const kvb_region region = bank.Region(1);
    EXPECT_STREQ("Region 1", region.name);
    EXPECT_EQ(40, region.low_key);
    EXPECT_EQ(60, region.high_key);
    EXPECT_EQ(64, region.low_velocity);
    EXPECT_EQ(127, region.high_velocity);
    EXPECT_EQ(0u, region.program);
    EXPECT_EQ(2u, region.layer_count);
    EXPECT_EQ(1u, bank.Region(3).program);
}

TEST_F(ReaderTest, LayersTellTheirSamples) {
    const OpenedBank bank(Built(TwoPrograms()));
    EXPECT_EQ(0u, bank.Layer(0, 0).sample);
    EXPECT_EQ(1u, bank.Layer(1, 0).sample);
    EXPECT_EQ(0u, bank.Layer(1, 1).sample);
    EXPECT_THAT(bank.Layer(3, 0).values, ElementsAre(0, 64, 1, 0));
}

TEST_F(ReaderTest, ASampleTellsItsFormItsPitchAndItsLoops) {
    const OpenedBank bank(Built(TwoPrograms()));
    const kvb_sample first = bank.Sample(0), second = bank.Sample(1);
    EXPECT_STREQ("Sample 0", first.name);
    EXPECT_EQ(44100u, first.rate);
    EXPECT_EQ(16u, first.bits);
    EXPECT_EQ(0u, first.is_float);
    EXPECT_EQ(1u, first.channels);
    EXPECT_EQ(2u, first.frame_bytes);
    EXPECT_EQ(60u, first.root_key);
    EXPECT_EQ(-7, first.fine_tune);
    EXPECT_EQ(static_cast<uint32_t>(KVB_WAVE_RAW), first.encoding);
    EXPECT_EQ(300u, first.frames);
    EXPECT_EQ(600u, first.wave_bytes);
    EXPECT_EQ(600u, first.stored_bytes);
    EXPECT_EQ(0u, first.file_offset % 512);
    EXPECT_EQ(2u, first.loop_count);
    const kvb_loop loop = bank.Loop(0, 0);
    EXPECT_EQ(100u, loop.start);
    EXPECT_EQ(199u, loop.end);
    EXPECT_EQ(3u, loop.play_count);
    EXPECT_EQ(7u, loop.cue_id);
    EXPECT_EQ(20u, bank.Loop(0, 1).start);
    EXPECT_EQ(24u, second.bits);
    EXPECT_EQ(2u, second.channels);
    EXPECT_EQ(6u, second.frame_bytes);
    EXPECT_EQ(0u, second.loop_count);
}

TEST_F(ReaderTest, FramesAreThoseOfTheFileAndLieInTheMapping) {
    const std::string strBank = Built(TwoPrograms());
    const OpenedBank bank(strBank);
    EXPECT_EQ(MakeWave(300, 16, 1, 1), bank.Frames(0)) << "a wave at the bank's rate is copied";
    const Bytes file = ReadFile(strBank);
    const kvb_sample second = bank.Sample(1);
    const auto wave = file.begin() + static_cast<ptrdiff_t>(second.file_offset);
    EXPECT_EQ(Bytes(wave, wave + static_cast<ptrdiff_t>(second.frames * 6)), bank.Frames(1));
    const void *pFirst = nullptr, *pSecond = nullptr;
    uint64_t nFrames = 0;
    kvb_get_frames(bank.Get(), 0, &pFirst, &nFrames);
    kvb_get_frames(bank.Get(), 1, &pSecond, &nFrames);
    EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(pFirst) % 512);
    EXPECT_EQ(static_cast<ptrdiff_t>(second.file_offset - bank.Sample(0).file_offset),
              static_cast<const uint8_t*>(pSecond) - static_cast<const uint8_t*>(pFirst));
}

TEST_F(ReaderTest, ThePerKeyLayoutHasARegionAndASampleForEachKey) {
    const OpenedBank bank(Built({.samples = {{.nRootKey = 61, .nFrames = 1000}}}, true));
    EXPECT_EQ(1u, bank.Bank().per_key);
    EXPECT_EQ(3u, bank.Bank().sample_count);
    for (int nKey = 60; nKey <= 62; ++nKey) {
        const std::vector<uint32_t> regions = bank.Regions(0, nKey, 100);
        ASSERT_EQ(1u, regions.size()) << nKey;
        const kvb_sample sample = bank.Sample(bank.Layer(regions[0], 0).sample);
        EXPECT_EQ(static_cast<uint32_t>(nKey), sample.root_key);
        EXPECT_NEAR(1000 / std::exp2((nKey - 61) / 12.0), static_cast<double>(sample.frames), 2);
    }
    EXPECT_EQ(MakeWave(1000, 16, 1, 1), bank.Frames(bank.Layer(bank.Regions(0, 61, 1)[0], 0).sample));
}

TEST_F(ReaderTest, ASourceBankHasRawFramesOrTheStoredBytesOfACompressedWave) {
    // Two frames are too few to be made smaller, so they are stored raw.
    const OpenedBank bank(Source({.samples = {{.nFrames = 20000}, {.nFrames = 1}}}));
    EXPECT_EQ(static_cast<uint32_t>(KVB_KIND_SOURCE), bank.Bank().kind);
    EXPECT_EQ(0u, bank.Bank().rate);
    const void* p = nullptr;
    uint64_t n = 77;
    EXPECT_EQ(KVB_ERROR_COMPRESSED, kvb_get_frames(bank.Get(), 0, &p, &n));
    EXPECT_EQ(KVB_ERROR_COMPRESSED, kvb_prefetch(bank.Get(), 0, 0, 1));
    EXPECT_EQ(77u, n) << "unchanged by an error";
    const kvb_sample sample = bank.Sample(0);
    EXPECT_EQ(static_cast<uint32_t>(KVB_WAVE_COMPRESSED), sample.encoding);
    EXPECT_EQ(40000u, sample.wave_bytes);
    ASSERT_EQ(KVB_OK, kvb_get_stored(bank.Get(), 0, &p, &n));
    EXPECT_EQ(sample.stored_bytes, n);
    EXPECT_EQ(0, std::memcmp(p, "\x31\x41\x59\x26\x53\x59", 6)) << "a compressed stream begins so";
}

TEST_F(ReaderTest, AnExternalWaveHasNeitherFramesNorStoredBytes) {
    const OpenedBank bank(Source({.samples = {{.strExternal = "wave.wav"}}}));
    const void* p = nullptr;
    uint64_t n = 0;
    EXPECT_EQ(static_cast<uint32_t>(KVB_WAVE_EXTERNAL), bank.Sample(0).encoding);
    EXPECT_EQ(KVB_ERROR_EXTERNAL, kvb_get_frames(bank.Get(), 0, &p, &n));
    EXPECT_EQ(KVB_ERROR_EXTERNAL, kvb_get_stored(bank.Get(), 0, &p, &n));
}

TEST_F(ReaderTest, TheThreeWaysToOpenGiveTheSameFrames) {
    const std::string strBank = Built(TwoPrograms());
    const Bytes bytes = ReadFile(strBank);
    const OpenedBank mapped(strBank), copied(strBank, KVB_OPEN_COPY), inMemory(bytes);
    EXPECT_EQ(mapped.Frames(1), copied.Frames(1));
    EXPECT_EQ(mapped.Frames(1), inMemory.Frames(1));
    for (const OpenedBank* pBank : {&mapped, &copied, &inMemory})
        EXPECT_EQ(KVB_OK, kvb_prefetch(pBank->Get(), 1, 10, UINT64_MAX));
}

// What stands in the file afterwards would be a mapping's frames, or end the process.
TEST_F(ReaderTest, ACopyOutlivesACutOfItsFile) {
    const std::string strBank = Built(TwoPrograms());
    const OpenedBank bank(strBank, KVB_OPEN_COPY);
    fs::resize_file(strBank, 1);
    EXPECT_EQ(MakeWave(300, 16, 1, 1), bank.Frames(0));
}

TEST_F(ReaderTest, AMappedBankOutlivesItsRemovalAndReplacement) {
    const std::string strBank = Built(TwoPrograms());
    const OpenedBank bank(strBank);
    fs::remove(strBank);
    WriteFile(strBank, std::string("something else"));
    EXPECT_EQ(MakeWave(300, 16, 1, 1), bank.Frames(0));
}

// No byte in front of the file or behind it is touched, whatever is asked for.
TEST_F(ReaderTest, NothingOutsideTheBytesIsRead) {
    const Bytes bytes = ReadFile(Built(TwoPrograms()));
    for (const Fence fence : {Fence::Before, Fence::After}) {
        const FencedBytes fenced(bytes.size(), fence);
        std::memcpy(fenced.Data(), bytes.data(), bytes.size());
        kvb_bank* pBank = nullptr;
        ASSERT_EQ(KVB_OK, kvb_open_memory(fenced.Data(), bytes.size(), &pBank));
        kvb_program program;
        EXPECT_EQ(KVB_OK, kvb_get_program(pBank, 1, &program, sizeof program));
        kvb_close(pBank);
    }
}

TEST_F(ReaderTest, AStructureOfAnotherVersionIsFilledAsFarAsBothGo) {
    const OpenedBank bank(Built(TwoPrograms()));
    struct Larger {
        kvb_loop known;
        uint32_t nNew;
    } larger{{}, 77};
    ASSERT_EQ(KVB_OK, kvb_get_loop(bank.Get(), 0, 0, &larger.known, sizeof larger));
    EXPECT_EQ(100u, larger.known.start);
    EXPECT_EQ(0u, larger.nNew) << "not known to this library";
    kvb_loop smaller{1, 2, 3, 4};
    ASSERT_EQ(KVB_OK, kvb_get_loop(bank.Get(), 0, 0, &smaller, 8));
    EXPECT_EQ(199u, smaller.end);
    EXPECT_EQ(3u, smaller.play_count) << "beyond the size that was given";
    EXPECT_EQ(4u, smaller.cue_id);
}

TEST_F(ReaderTest, WrongArgumentsAreAnError) {
    const OpenedBank opened(Built(TwoPrograms()));
    const kvb_bank* const pBank = opened.Get();
    kvb_bank* pNew = nullptr;
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_open(nullptr, 0, &pNew));
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_open("x", 0, nullptr));
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_open("x", 2, &pNew));
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_open_memory(nullptr, 1, &pNew));
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_open_memory("x", 1, nullptr));
    kvb_program program;
    kvb_region region;
    kvb_layer layer;
    kvb_sample sample;
    kvb_loop loop;
    uint32_t n = 0;
    uint64_t nCount = 0;
    const void* p = nullptr;
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_get_bank(pBank, nullptr, 0));
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_get_program(pBank, 2, &program, sizeof program));
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_get_program(nullptr, 0, &program, sizeof program));
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_find_program(pBank, 0, 5, nullptr));
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_get_region(pBank, 4, &region, sizeof region));
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_find_region(pBank, 2, 60, 1, KVB_NONE, &n));
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_find_region(pBank, 0, 60, 1, 3, &n)) << "a region of another program";
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_find_region(pBank, 1, 60, 1, 1, &n));
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_get_layer(pBank, 0, 1, &layer, sizeof layer));
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_get_layer(pBank, 4, 0, &layer, sizeof layer));
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_get_sample(pBank, 2, &sample, sizeof sample));
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_get_sample(pBank, 0, nullptr, sizeof sample));
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_get_loop(pBank, 0, 2, &loop, sizeof loop));
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_get_frames(pBank, 2, &p, &nCount));
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_get_frames(pBank, 0, &p, nullptr));
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_get_stored(pBank, 0, nullptr, &nCount));
    EXPECT_EQ(KVB_ERROR_ARGUMENT, kvb_prefetch(pBank, 2, 0, 1));
    kvb_close(nullptr);
}

TEST_F(ReaderTest, ThePitchRatioCountsKeysAndCents) {
    kvb_sample sample{};
    sample.root_key = 60;
    EXPECT_DOUBLE_EQ(2.0, kvb_pitch_ratio(&sample, 72));
    EXPECT_DOUBLE_EQ(0.5, kvb_pitch_ratio(&sample, 48));
    sample.fine_tune = 50;
    EXPECT_DOUBLE_EQ(std::exp2(-0.5 / 12), kvb_pitch_ratio(&sample, 60));
}

TEST(LibraryTest, ItsVersionIsThatOfTheHeader) {
    EXPECT_EQ(std::to_string(KVB_VERSION_MAJOR) + "." + std::to_string(KVB_VERSION_MINOR) + "." +
                  std::to_string(KVB_VERSION_PATCH),
              kvb_version());
}

TEST(LibraryTest, EveryErrorHasATextOfItsOwn) {
    std::set<std::string> texts;
    for (int nError = KVB_OK; nError <= KVB_ERROR_EXTERNAL; ++nError) texts.insert(kvb_error_text(nError));
    EXPECT_EQ(static_cast<size_t>(KVB_ERROR_EXTERNAL) + 1, texts.size());
    EXPECT_STREQ("the file is not a bank", kvb_error_text(KVB_ERROR_NOT_A_BANK));
    EXPECT_STREQ("an error of a later version of the library", kvb_error_text(-1));
    EXPECT_STREQ("an error of a later version of the library", kvb_error_text(KVB_ERROR_EXTERNAL + 1));
}

// ThreadSanitizer watches.
TEST_F(ReaderTest, ManyThreadsReadOneBank) {
    const OpenedBank bank(Built(TwoPrograms()));
    const Bytes expected = bank.Frames(1);
    std::vector<std::thread> threads;
    std::atomic<int> nSame = 0;
    for (int n = 0; n < 4; ++n)
        threads.emplace_back([&] {
            for (int i = 0; i < 50; ++i)
                if (bank.Frames(bank.Layer(bank.Regions(0, 60, 64)[1], 0).sample) == expected) ++nSame;
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(200, nSame);
}

}  // namespace
}  // namespace Kestrova::Test
