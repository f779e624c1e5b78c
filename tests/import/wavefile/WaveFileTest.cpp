#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <bit>
#include <cerrno>
#include <cmath>

#include "codec/ReadBudget.h"
#include "import/wavefile/WaveFile.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/SoundFileMaker.h"

namespace Kestrova::Test {
namespace {

class WaveFileTest : public ::testing::Test {
protected:
    ImportOutcome Open(const Bytes& bytes, const FilePart& part = {}) {
        WriteFile(Path(), bytes);
        return m_file.Open(Path(), part);
    }
    WaveFileFacts FactsOf(const Bytes& bytes) {
        const ImportOutcome outcome = Open(bytes);
        EXPECT_EQ("", outcome.strCause);
        return outcome.IsDone() ? m_file.GetFacts() : WaveFileFacts();
    }
    Bytes Frames(uint64_t nFirst, uint64_t nFrames) {
        const WaveFileFacts& facts = m_file.GetFacts();
        Bytes bytes(nFrames * facts.nChannels * facts.nBits / 8);
        EXPECT_EQ("", m_file.ReadFrames(nFirst, nFrames, bytes.data()).strCause);
        return bytes;
    }
    // All frames of what libsndfile writes of the numbers in that format.
    Bytes FramesOf(int nFormat, int nChannels, const std::vector<int32_t>& numbers) {
        WriteSound(Path(), nFormat, nChannels, 48000, numbers);
        const ImportOutcome outcome = m_file.Open(Path());
        EXPECT_EQ("", outcome.strCause);
        return outcome.IsDone() ? Frames(0, m_file.GetFacts().nFrames) : Bytes();
    }
    std::string Path() const { return m_dir.File("sound"); }

    TempDir m_dir;
    WaveFile m_file;
};

TEST_F(WaveFileTest, AWavFileTellsItsFacts) {
    WaveFileFacts expected;
    expected.nRate = 22050;
    expected.nChannels = 2;
    expected.nFrames = 3;
    expected.nBits = 24;
    EXPECT_EQ(expected, FactsOf(MakeWav({1, 2, 22050, 24, Bytes(18)})));
}

TEST_F(WaveFileTest, WavesOf16BitsAreReadToTheByteFromAnyFrame) {
    ASSERT_EQ("", Open(MakeRampWav(30000)).strCause);
    EXPECT_EQ(RampFrames(0, 30000), Frames(0, 30000));
    EXPECT_EQ(30000u, m_file.GetPosition());
    EXPECT_EQ(RampFrames(17, 100), Frames(17, 100));
    EXPECT_EQ(RampFrames(117, 1), Frames(117, 1));
    EXPECT_EQ(RampFrames(3, 1), Frames(3, 1));
    EXPECT_EQ(Bytes(), Frames(30000, 0));
}

TEST_F(WaveFileTest, WavesOf24BitsAreReadToTheByte) {
    const Bytes data = {0x01, 0x02, 0x03, 0xff, 0xff, 0x7f, 0x00, 0x00, 0x80, 0xff, 0xff, 0xff};
    ASSERT_EQ("", Open(MakeWav({1, 2, 44100, 24, data})).strCause);
    EXPECT_EQ(data, Frames(0, 2));
}

TEST_F(WaveFileTest, WavesOf8BitsFillTheUpperByte) {
    ASSERT_EQ("", Open(MakeWav({1, 1, 44100, 8, {0x00, 0x80, 0xff}})).strCause);
    EXPECT_EQ(16u, m_file.GetFacts().nBits);
    EXPECT_EQ((Bytes{0x00, 0x80, 0x00, 0x00, 0x00, 0x7f}), Frames(0, 3));
}

TEST_F(WaveFileTest, WavesOf20BitsInTheirThreeBytesAreReadToTheByte) {
    const Bytes data = {0x10, 0x02, 0x03, 0xf0, 0xff, 0x7f};
    Bytes bytes = MakeWav({1, 1, 44100, 24, data});
    bytes[34] = 20;  // the bits that count; a frame has three bytes still
    ASSERT_EQ("", Open(bytes).strCause);
    EXPECT_EQ("", m_file.GetFacts().strRounded);
    EXPECT_EQ(data, Frames(0, 2));
}

TEST_F(WaveFileTest, FloatingPointIsRoundedTo24BitsAndSaysSo) {
    Bytes data;
    for (const float number : {std::ldexp(3.0F, -23), std::ldexp(2.5F, -23), 2.0F, -1.0F})
        for (size_t i = 0; i < 4; ++i)
            data.push_back(static_cast<uint8_t>(std::bit_cast<uint32_t>(number) >> (8 * i)));
    ASSERT_EQ("", Open(MakeWav({3, 1, 44100, 32, data})).strCause);
    EXPECT_EQ("32-bit floating point rounded to 24 bits", m_file.GetFacts().strRounded);
    EXPECT_EQ((Bytes{3, 0, 0, 3, 0, 0, 0xff, 0xff, 0x7f, 0, 0, 0x80}), Frames(0, 4));
}

TEST_F(WaveFileTest, NumbersOf32BitsAreRoundedTo24AndSaySo) {
    EXPECT_EQ((Bytes{2, 0, 0, 1, 0, 0}), FramesOf(SF_FORMAT_WAV | SF_FORMAT_PCM_32, 1, {0x180, 0x17f}));
    EXPECT_EQ("32-bit numbers rounded to 24 bits", m_file.GetFacts().strRounded);
}

TEST_F(WaveFileTest, LosslessFormatsGiveTheirBytes) {
    std::vector<int32_t> numbers;
    Bytes of16, of24;
    for (uint32_t n = 0; n < 6000; ++n) {
        const auto nNumber = static_cast<int32_t>(n * 0x9e3779b9);
        numbers.push_back(nNumber & ~0xff);
        for (const int nShift : {16, 24}) of16.push_back(static_cast<uint8_t>(nNumber >> nShift));
        for (const int nShift : {8, 16, 24}) of24.push_back(static_cast<uint8_t>(nNumber >> nShift));
    }
    EXPECT_EQ(of24, FramesOf(SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 2, numbers));
    EXPECT_EQ(of24, FramesOf(SF_FORMAT_AIFF | SF_FORMAT_PCM_24, 1, numbers));
    EXPECT_EQ(of24, FramesOf(SF_FORMAT_CAF | SF_FORMAT_ALAC_24, 1, numbers));
    EXPECT_EQ(of24, FramesOf(SF_FORMAT_RF64 | SF_FORMAT_PCM_24, 1, numbers));
    for (int32_t& nNumber : numbers) nNumber &= ~0xffff;
    EXPECT_EQ(of16, FramesOf(SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 1, numbers));
    EXPECT_EQ(of16, FramesOf(SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 2, numbers));
}

// The number of frames is a field of 36 bits behind the first 21 bytes; the sound is as it was.
TEST_F(WaveFileTest, ASoundAboveTheBudgetIsRefusedBeforeItIsLookedAt) {
    FramesOf(SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 1, std::vector<int32_t>(5000));
    Bytes flac = ReadFile(Path());
    flac[22] = 0x40;  // 2^30 and 5000 frames
    EXPECT_EQ("its sound ends before the 1073746824 frames that it declares", Open(flac).strCause);
    const ReadBudget budget;
    EXPECT_EQ(kOverReadBudget, Open(flac).strCause);
    flac[22] = 0x02;  // 2^25 and 5000: 64 MiB and 10000 bytes
    EXPECT_EQ(kOverReadBudget, Open(flac).strCause);
    flac[22] = 0;
    EXPECT_EQ("", Open(flac).strCause);
}

TEST_F(WaveFileTest, AFlacFileIsReadFromAnyFrame) {
    std::vector<int32_t> numbers;
    for (int32_t n = 0; n < 20000; ++n) numbers.push_back((n * 131 % 0x8000) << 16);
    const Bytes all = FramesOf(SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 1, numbers);
    for (const size_t nFirst : {19999u, 0u, 4095u, 4096u, 12345u})
        EXPECT_EQ((Bytes{all[2 * nFirst], all[2 * nFirst + 1]}), Frames(nFirst, 1)) << nFirst;
}

TEST_F(WaveFileTest, VorbisBecomes16BitsWhateverPieceIsReadFirst) {
    std::vector<int32_t> numbers;
    for (int n = 0; n < 30000; ++n)
        numbers.push_back(static_cast<int32_t>(std::lrint(std::sin(n * 0.05) * 0x3fffffff)));
    const Bytes all = FramesOf(SF_FORMAT_OGG | SF_FORMAT_VORBIS, 1, numbers);
    EXPECT_EQ("Vorbis decoded to 16 bits", m_file.GetFacts().strRounded);
    EXPECT_EQ(16u, m_file.GetFacts().nBits);
    ASSERT_EQ(60000u, all.size());
    int nFarthest = 0;
    for (size_t i = 0; i < numbers.size(); ++i) {
        const auto nFrame = static_cast<int16_t>(all[2 * i] | all[2 * i + 1] << 8);
        nFarthest = std::max(nFarthest, std::abs(nFrame - (numbers[i] >> 16)));
    }
    EXPECT_LT(nFarthest, 1000) << "the wave comes back, at its place and at its size";
    const auto tail = all.begin() + std::ptrdiff_t{2} * 23456;
    EXPECT_EQ(Bytes(tail, tail + 2000), Frames(23456, 1000));
}

TEST_F(WaveFileTest, ASoundInsideAnotherFileIsReadFromItsPart) {
    Bytes bytes(1000, 0x55);
    const Bytes sound = MakeRampWav(50);
    bytes.insert(bytes.begin() + 321, sound.begin(), sound.end());
    ASSERT_EQ("", Open(bytes, {321, sound.size()}).strCause);
    EXPECT_EQ(RampFrames(0, 50), Frames(0, 50));
    EXPECT_EQ("it is no sound file of a known kind", Open(bytes, {320, sound.size()}).strCause);
    EXPECT_EQ("it is no sound file of a known kind", Open(bytes, {100000, 5}).strCause);
}

TEST_F(WaveFileTest, TheSmplChunksLoopEndsWithTheLastFramePlayed) {
    const WaveFileFacts facts =
        FactsOf(MakeRampWav(100, {{"smpl", SmplChunk(61, 0, {{0, 10, 19}, {1, 0, 99}, {2, 5, 5}})}}));
    EXPECT_EQ(6100, facts.nRootCents);
    EXPECT_EQ((std::vector<WaveFileLoop>{{WaveLoopKind::Forward, 10, 19},
                                         {WaveLoopKind::Alternating, 0, 99},
                                         {WaveLoopKind::Backward, 5, 5}}),
              facts.loops);
}

TEST_F(WaveFileTest, TheSmplChunksFractionRaisesTheWavesOwnPitch) {
    EXPECT_EQ(6125, FactsOf(MakeRampWav(1, {{"smpl", SmplChunk(61, 0x40000000, {})}})).nRootCents);
    for (uint32_t nCents = 0; nCents < 100; ++nCents) {
        const auto nFraction = static_cast<uint32_t>((uint64_t{nCents} << 32) / 100 + 1);
        EXPECT_EQ(static_cast<int>(nCents),
                  FactsOf(MakeRampWav(1, {{"smpl", SmplChunk(0, nFraction, {})}})).nRootCents)
            << nCents;
    }
}

TEST_F(WaveFileTest, ASmplChunksKeyAbove127IsNone) {
    EXPECT_EQ(12700, FactsOf(MakeRampWav(1, {{"smpl", SmplChunk(127, 0, {})}})).nRootCents);
    EXPECT_EQ(std::nullopt, FactsOf(MakeRampWav(1, {{"smpl", SmplChunk(128, 0, {})}})).nRootCents);
}

TEST_F(WaveFileTest, LoopsAreGivenAsTheyAreStated) {
    const WaveFileFacts facts =
        FactsOf(MakeRampWav(5, {{"smpl", SmplChunk(60, 0, {{0, 90, 7}, {0, 0, UINT32_MAX}})}}));
    EXPECT_EQ(
        (std::vector<WaveFileLoop>{{WaveLoopKind::Forward, 90, 7}, {WaveLoopKind::Forward, 0, UINT32_MAX}}),
        facts.loops);
    EXPECT_EQ(16u,
              FactsOf(MakeRampWav(5, {{"smpl", SmplChunk(60, 0, std::vector<SmplLoop>(20))}})).loops.size());
}

TEST_F(WaveFileTest, AnAiffFilesLoopEndsInFrontOfItsMarker) {
    const WaveFileFacts facts =
        FactsOf(MakeAiff({.nKey = 61, .nLoopMode = 1, .nLoopStart = 10, .nLoopEnd = 20}));
    EXPECT_EQ(6100, facts.nRootCents);
    EXPECT_EQ((std::vector<WaveFileLoop>{{WaveLoopKind::Forward, 10, 19}}), facts.loops);
    EXPECT_EQ(std::vector<WaveFileLoop>(), FactsOf(MakeAiff({.nLoopMode = 0})).loops);
}

TEST_F(WaveFileTest, AnAiffFilesDetuneIsTheOppositeOfAFraction) {
    EXPECT_EQ(5995, FactsOf(MakeAiff({.nDetune = 5})).nRootCents);
    EXPECT_EQ(6050, FactsOf(MakeAiff({.nDetune = -50})).nRootCents);
}

TEST_F(WaveFileTest, AFileWithoutFramesIsOpened) { EXPECT_EQ(0u, FactsOf(MakeWav({})).nFrames); }

TEST_F(WaveFileTest, WhatABankCannotTakeIsRefusedWithItsReason) {
    EXPECT_EQ("it has 3 channels, and a bank takes one or two",
              Open(MakeWav({1, 3, 44100, 16, Bytes(60)})).strCause);
    EXPECT_EQ("it is no sound file of a known kind", Open(Bytes(1000, 'x')).strCause);
    EXPECT_EQ(ImportEnd::Refused, Open({}).end);
}

TEST_F(WaveFileTest, AnEncodingThatIsNotKnownIsRefused) {
    WriteSound(Path(), SF_FORMAT_WAV | SF_FORMAT_NMS_ADPCM_16, 1, 8000, std::vector<int32_t>(4000));
    EXPECT_EQ("its encoding is not known", m_file.Open(Path()).strCause);
}

// Byte 21 to 25 of a FLAC file are the number of frames, in the last 36 bits.
TEST_F(WaveFileTest, AFileThatDeclaresFramesItDoesNotHaveIsRefused) {
    WriteSound(Path(), SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 1, 44100, std::vector<int32_t>(5000));
    Bytes bytes = ReadFile(Path());
    bytes[22] = 1;
    EXPECT_EQ("its sound ends before the 16782216 frames that it declares", Open(bytes).strCause);
    bytes[21] |= 3;
    EXPECT_EQ("it is longer than a record can hold, or does not tell its length", Open(bytes).strCause);
}

TEST_F(WaveFileTest, AMissingFileIsUnreadableForTheSystemsReason) {
    const ImportOutcome outcome = m_file.Open(m_dir.File("none.wav"));
    EXPECT_EQ(ImportEnd::Unreadable, outcome.end);
    EXPECT_EQ("No such file or directory", outcome.strCause);
    EXPECT_EQ(ENOENT, outcome.nError);
}

TEST_F(WaveFileTest, AFolderIsUnreadable) {
    EXPECT_EQ("Is a directory", m_file.Open(m_dir.Path().string()).strCause);
}

TEST_F(WaveFileTest, EveryFailureOfTheSystemIsTheReason) {
    WriteFile(Path(), MakeRampWav(60000));
    Bytes bytes(120000);
    int nFault = 1;
    for (;; ++nFault) {
        FaultyFileEnv env;
        WaveFile file;
        env.FailCallOf(FileOp::kRead, nFault);
        ImportOutcome outcome = file.Open(Path());
        if (outcome.IsDone()) outcome = file.ReadFrames(0, 60000, bytes.data());
        if (!env.FaultHit()) break;
        EXPECT_EQ(ImportEnd::Unreadable, outcome.end) << nFault;
        EXPECT_EQ(EIO, outcome.nError) << nFault;
    }
    EXPECT_GT(nFault, 2);
}

TEST_F(WaveFileTest, AFileThatBecomesShorterIsToldFromAFailure) {
    ASSERT_EQ("", Open(MakeRampWav(200000)).strCause);
    fs::resize_file(Path(), 1000);
    Bytes bytes(400000);
    EXPECT_EQ("it is cut short", m_file.ReadFrames(0, 200000, bytes.data()).strCause);
}

TEST_F(WaveFileTest, AFileThatHasFewerFramesThanItStatesSaysSo) {
    for (const Bytes& whole : {MakeRampWav(40, {}), MakeAiff({})}) {
        EXPECT_FALSE(FactsOf(whole).bCut);
        const WaveFileFacts cut = FactsOf(Bytes(whole.begin(), whole.end() - 20));
        EXPECT_TRUE(cut.bCut);
        EXPECT_GT(cut.nFrames, 0u);
    }
}

TEST_F(WaveFileTest, AFileCutAnywhereIsReadOrRefused) {
    WriteSound(Path(), SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 1, 44100, std::vector<int32_t>(5000, 0x12340000));
    const Bytes flac = ReadFile(Path());
    for (const Bytes& whole :
         {MakeRampWav(40, {{"smpl", SmplChunk(60, 0, {{}})}}), MakeAiff({.nLoopMode = 1}), flac}) {
        for (size_t nLeft = 0; nLeft < whole.size(); ++nLeft) {
            const ImportOutcome outcome =
                Open(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(nLeft)));
            if (outcome.IsDone())
                Frames(0, m_file.GetFacts().nFrames);
            else
                EXPECT_FALSE(outcome.strCause.empty());
        }
    }
}

}  // namespace
}  // namespace Kestrova::Test
