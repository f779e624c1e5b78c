// kvbank export. What it writes is read back here, and once more by libsndfile, a reader that is not ours.
#include <sndfile.h>

#include <csignal>
#include <cstring>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "SamplerDBDS/DataBase/SDBIWaveFile.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/TestDatabase.h"
#include "tests/support/WaveMaker.h"
#include "tests/tools/kvbank/CommandFixture.h"

namespace Kestrova::Test {
namespace {

// A sound file as libsndfile reads it, samples with a full scale of 2^31.
struct Sound {
    SF_INFO info{};
    std::vector<int> samples;
};

Sound ReadSound(const std::string& strPath) {
    Sound sound;
    const std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> pFile(sf_open(strPath.c_str(), SFM_READ, &sound.info),
                                                            sf_close);
    if (pFile == nullptr) throw std::runtime_error(strPath + ": " + sf_strerror(nullptr));
    sound.samples.resize(static_cast<size_t>(sound.info.frames * sound.info.channels));
    if (sf_readf_int(pFile.get(), sound.samples.data(), sound.info.frames) != sound.info.frames)
        throw std::runtime_error(strPath + ": " + sf_strerror(pFile.get()));
    return sound;
}

// The samples of a wave of 16 or 24 bits, with a full scale of 2^31.
std::vector<int> SamplesOf(const Bytes& wave, uint32_t nBits) {
    std::vector<int> samples;
    for (size_t n = 0; n < wave.size(); n += nBits / 8)
        samples.push_back(
            static_cast<int>(static_cast<uint32_t>(GetLittle(wave, n, nBits / 8)) << (32 - nBits)));
    return samples;
}

// The words of a WAV file's "smpl" chunk; none without one.
std::vector<uint32_t> SamplerChunk(const std::string& strPath) {
    const Bytes bytes = ReadFile(strPath);
    for (size_t nAt = 12; nAt + 8 <= bytes.size();) {
        const size_t nSize = GetLittle(bytes, nAt + 4, 4);
        if (GetLittle(bytes, nAt, 4) == kChunkSampler) {
            std::vector<uint32_t> words;
            for (size_t n = 0; n < nSize; n += 4)
                words.push_back(static_cast<uint32_t>(GetLittle(bytes, nAt + 8 + n, 4)));
            return words;
        }
        nAt += 8 + nSize + nSize % 2;
    }
    return {};
}

// The opcodes of each <region> of an SFZ file. The last one is the sample, whose name may have blanks.
std::vector<std::map<std::string, std::string>> RegionsOf(const std::string& strPath) {
    const std::string strHeader = "<region>", strSample = " sample=";
    std::vector<std::map<std::string, std::string>> regions;
    const Bytes bytes = ReadFile(strPath);
    std::istringstream in(std::string(bytes.begin(), bytes.end()));
    for (std::string strLine; std::getline(in, strLine);) {
        if (!strLine.starts_with(strHeader)) continue;
        auto& region = regions.emplace_back();
        const size_t nName = strLine.find(strSample);
        if (nName == std::string::npos) throw std::runtime_error(strPath + ": a region without a sample");
        region["sample"] = strLine.substr(nName + strSample.size());
        std::istringstream words(strLine.substr(strHeader.size(), nName - strHeader.size()));
        for (std::string strWord; words >> strWord;) {
            const size_t nEqual = strWord.find('=');
            region[strWord.substr(0, nEqual)] = nEqual == std::string::npos ? "" : strWord.substr(nEqual + 1);
        }
    }
    return regions;
}

class ExportCommandTest : public CommandTest {
protected:
    Outcome Export(std::vector<std::string> options = {}) const {
        std::vector<std::string> arguments = {"export", "DIR/Src.kvs", "-o", "DIR/out"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return Run(arguments);
    }
    std::string Out(const std::string& strName) const { return File("out/" + strName); }

    // A source with samples of these names, of 16 bits and 10 frames, and no programs.
    void NamedSamples(const std::vector<std::string>& names) const {
        CSDB database;
        ASSERT_TRUE(database.Create(File("Src.kvs").c_str(), kSdbFormatPlain));
        for (const std::string& strName : names) {
            CSDBISampleWave sample(kSdbNoID, kSdbNoID);
            CopyStgStr(sample.m_info.szName, strName.c_str());
            sample.m_info.nChannels = 1;
            sample.m_info.nFrames = 10;
            sample.m_info.lWave = 20;
            ASSERT_TRUE(sample.SmplMemAlloc());
            sample.CalcCompressSize();
            ASSERT_TRUE(database.AddNewNote(&sample));
        }
        ASSERT_TRUE(database.Close(true));
    }
};

TEST_F(ExportCommandTest, WavesComeOutAsTheyAre) {
    Source({.samples = {{.nFrames = 1000}, {.nRate = 48000, .nFormat = 24, .nChannels = 2, .nFrames = 777}}});
    const Outcome outcome = Export();
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ("", outcome.strErr);
    EXPECT_EQ("DIR/out: 2 waves, 6.8 kB in TIME\n", outcome.strOut);
    EXPECT_THAT(Names("out"), ElementsAre("Sample 0.wav", "Sample 1.wav"));
    const Sound first = ReadSound(Out("Sample 0.wav"));
    EXPECT_EQ(44100, first.info.samplerate);
    EXPECT_EQ(1, first.info.channels);
    EXPECT_EQ(SF_FORMAT_WAV | SF_FORMAT_PCM_16, first.info.format);
    EXPECT_EQ(SamplesOf(MakeWave(1000, 16, 1, 1), 16), first.samples);
    const Sound second = ReadSound(Out("Sample 1.wav"));
    EXPECT_EQ(48000, second.info.samplerate);
    EXPECT_EQ(2, second.info.channels);
    EXPECT_EQ(SF_FORMAT_WAV | SF_FORMAT_PCM_24, second.info.format);
    EXPECT_EQ(SamplesOf(MakeWave(777, 24, 2, 2), 24), second.samples);
}

// Q143: a source's fine tune of -7 cents is 93 above the key below.
TEST_F(ExportCommandTest, LoopsAndPitchAreInTheSamplerChunk) {
    Source({.samples = {{.nRate = 48000, .nRootKey = 60, .loops = {{5, 10, 99, 0}, {6, 20, 30, 4}}}}});
    ASSERT_EQ(0, Export().nCode);
    EXPECT_THAT(SamplerChunk(Out("Sample 0.wav")),
                ElementsAre(0, 0, 20833, 59, FractionOfFineTune(93), 0, 0, 2, 0,  //
                            5, 0, 10, 99, 0, 0, 6, 0, 20, 30, 0, 4));
}

TEST_F(ExportCommandTest, LoopsThatReachBeyondTheirWaveAreCutToIt) {
    Source({.samples = {{.loops = {{0, 10, 100, 0}}}, {.loops = {{0, 100, 120, 0}}}}});
    const Outcome outcome = Export();
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ("kvbank: warning: DIR/Src.kvs: 2 loops reached beyond the wave and were cut to it or dropped\n",
              outcome.strErr);
    EXPECT_EQ(99u, SamplerChunk(Out("Sample 0.wav")).at(12));
    EXPECT_EQ(0u, SamplerChunk(Out("Sample 1.wav")).at(7));
}

TEST_F(ExportCommandTest, SixteenBitsBecomeTwentyFourExactly) {
    Source({.samples = {{.nFrames = 1000}}});
    const Json document = Export({"--bits", "24", "--json"}).Document();
    EXPECT_EQ(24, document["samples"][0]["bits"]);
    EXPECT_EQ(0, document["samples"][0]["rounded"]);
    EXPECT_FALSE(document.contains("rounded"));
    const Sound sound = ReadSound(Out("Sample 0.wav"));
    EXPECT_EQ(SF_FORMAT_WAV | SF_FORMAT_PCM_24, sound.info.format);
    EXPECT_EQ(SamplesOf(MakeWave(1000, 16, 1, 1), 16), sound.samples);
}

TEST_F(ExportCommandTest, TwentyFourBitsBecomeSixteenByRoundingWhichIsSaid) {
    Source({.samples = {{.nFormat = 24, .nFrames = 1000}}});
    const Outcome outcome = Export({"--bits", "16"});
    EXPECT_EQ(0, outcome.nCode);
    const Sound sound = ReadSound(Out("Sample 0.wav"));
    EXPECT_EQ(SF_FORMAT_WAV | SF_FORMAT_PCM_16, sound.info.format);
    const std::vector<int> source = SamplesOf(MakeWave(1000, 24, 1, 1), 24);
    uint64_t nRounded = 0;
    for (size_t i = 0; i < source.size(); ++i) {
        EXPECT_LE(std::abs(int64_t{source[i]} - sound.samples[i]), 0x8000) << i;
        nRounded += source[i] != sound.samples[i] ? 1u : 0u;
    }
    EXPECT_GT(nRounded, 900u);
    EXPECT_THAT(outcome.strOut,
                ::testing::EndsWith("DIR/out: rounded: " + Grouped(nRounded) + " values of 1 wave\n"));
}

TEST_F(ExportCommandTest, FlacHoldsTheSameFramesAndLosesLoopsNotInSilence) {
    Source({.samples = {{.nFrames = 1000, .loops = {{0, 1, 5, 0}}},
                        {.nRate = 96000, .nFormat = 24, .nChannels = 2, .nFrames = 40000}}});
    const Outcome outcome = Export({"--format", "flac"});
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ(
        "kvbank: warning: DIR/Src.kvs: FLAC files hold no loops: those of 1 sample are lost; --sfz writes "
        "them beside the waves\n",
        outcome.strErr);
    const Sound first = ReadSound(Out("Sample 0.flac"));
    EXPECT_EQ(SF_FORMAT_FLAC | SF_FORMAT_PCM_16, first.info.format);
    EXPECT_EQ(SamplesOf(MakeWave(1000, 16, 1, 1), 16), first.samples);
    const Sound second = ReadSound(Out("Sample 1.flac"));
    EXPECT_EQ(SF_FORMAT_FLAC | SF_FORMAT_PCM_24, second.info.format);
    EXPECT_EQ(96000, second.info.samplerate);
    EXPECT_EQ(SamplesOf(MakeWave(40000, 24, 2, 2), 24), second.samples);
    EXPECT_EQ("", Export({"--format", "flac", "--sfz", "-f"}).strErr);
}

TEST_F(ExportCommandTest, WhatFlacCannotHoldIsToldAndStopsNoOther) {
    Source({.samples = {{.nRate = 4000000}, {}}});
    const Outcome outcome = Export({"--format", "flac"});
    EXPECT_EQ(kExitProblem, outcome.nCode);
    EXPECT_EQ(
        "kvbank: DIR/Src.kvs: sample 2 \"Sample 0\": its rate or number of channels does not fit a FLAC "
        "file\n",
        outcome.strErr);
    EXPECT_THAT(Names("out"), ElementsAre("Sample 1.flac"));
}

TEST_F(ExportCommandTest, AnSfzMapTellsKeysPitchAndLoops) {
    Source({.samples = {{.nRootKey = 61, .loops = {{0, 10, 99, 0}}}, {}},
            .programs = {{.regions = {{.nLow = 60, .nHigh = 62, .layers = {0, 1}},
                                      {.nLow = 63, .nHigh = 255, .layers = {1}}}}}});
    const Outcome outcome = Export({"--sfz"});
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_THAT(outcome.strOut, StartsWith("DIR/out: 2 waves, 1 SFZ map, "));
    const Bytes text = ReadFile(Out("Program 0.sfz"));
    EXPECT_EQ(
        "// Program 0\n"
        "<region> lokey=60 hikey=62 lovel=1 hivel=127 pitch_keycenter=61 tune=7 "
        "loop_mode=loop_continuous loop_start=10 loop_end=99 sample=Sample 0.wav\n"
        "<region> lokey=60 hikey=62 lovel=1 hivel=127 pitch_keycenter=60 tune=7 loop_mode=no_loop "
        "sample=Sample 1.wav\n"
        "<region> lokey=63 hikey=127 lovel=1 hivel=127 pitch_keycenter=60 tune=7 loop_mode=no_loop "
        "sample=Sample 1.wav\n",
        std::string(text.begin(), text.end()));
}

// Each key has a region and a wave of its own there, at the bank's rate.
TEST_F(ExportCommandTest, ABuiltBankOfThePerKeyLayoutIsExportedToo) {
    Source();
    ASSERT_EQ(0, Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "48000", "--layout", "per-key"}).nCode);
    ASSERT_EQ(0, Run({"export", "DIR/Src_0BB80.kvr", "-o", "DIR/out", "--sfz"}).nCode);
    EXPECT_THAT(Names("out"),
                ElementsAre("Program 0.sfz", "Sample 0-2.wav", "Sample 0-3.wav", "Sample 0.wav"));
    const auto regions = RegionsOf(Out("Program 0.sfz"));
    ASSERT_EQ(3u, regions.size());
    for (size_t i = 0; i < regions.size(); ++i) {
        const std::string strKey = std::to_string(60 + i);
        EXPECT_EQ(strKey, regions[i].at("lokey"));
        EXPECT_EQ(strKey, regions[i].at("hikey"));
        EXPECT_EQ(strKey, regions[i].at("pitch_keycenter"));
        EXPECT_EQ(48000, ReadSound(Out(regions[i].at("sample"))).info.samplerate);
    }
}

TEST_F(ExportCommandTest, SamplesAreChosenByIdOrPattern) {
    NamedSamples({"Piano C4", "Piano D4", "Flute"});
    EXPECT_EQ(0, Export({"--sample", "Piano*"}).nCode);
    EXPECT_THAT(Names("out"), ElementsAre("Piano C4.wav", "Piano D4.wav"));
    EXPECT_EQ(0, Export({"--sample", "2", "--sample", "*C4", "-f"}).nCode);
    EXPECT_THAT(Names("out"), ElementsAre("Flute.wav", "Piano C4.wav", "Piano D4.wav"));
    const Outcome outcome = Export({"--sample", "Flute", "--sample", "Drum*", "-f"});
    EXPECT_EQ(kExitUsage, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src.kvs: no sample is meant by 'Drum*'\n", outcome.strErr);
}

TEST_F(ExportCommandTest, AMapNamesOnlyWavesThatWereExported) {
    Source({.samples = {{}, {}},
            .programs = {{.regions = {{.layers = {0, 1}}}}, {.regions = {{.layers = {0}}}}}});
    const Outcome outcome = Export({"--sample", "Sample 1", "--sfz"});
    EXPECT_THAT(Names("out"), ElementsAre("Program 0.sfz", "Sample 1.wav"));
    EXPECT_EQ(1u, RegionsOf(Out("Program 0.sfz")).size());
    EXPECT_EQ(
        "kvbank: warning: DIR/Src.kvs: 1 layer is not in the SFZ maps: it plays no key from 0 to 127, or no "
        "wave that was exported\n",
        outcome.strErr);
}

TEST_F(ExportCommandTest, NoNameLeadsOutOfTheFolderOrToAnotherFile) {
    NamedSamples({"../../escape", "/tmp/abs", "a", "A", "con", "a\tb\x1B[2J", "", ".."});
    ASSERT_EQ(0, Export().nCode);
    EXPECT_THAT(Names("out"), ElementsAre("A-2.wav", "_._.._escape.wav", "_.wav", "__.wav", "_con.wav",
                                          "_tmp_abs.wav", "a.wav", "a_b_[2J.wav"));
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", "out"));
}

TEST_F(ExportCommandTest, WhatIsThereIsReplacedWhenForcedOnly) {
    Source({.samples = {{}, {}}});
    fs::create_directory(File("out"));
    WriteFile(Out("Sample 1.wav"), std::string("dear"));
    const Outcome outcome = Export();
    EXPECT_EQ(kExitUsage, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/out/Sample 1.wav: there already; -f replaces it\n", outcome.strErr);
    EXPECT_THAT(Names("out"), ElementsAre("Sample 1.wav"))
        << "nothing is written before all places are known";
    EXPECT_EQ(4u, fs::file_size(Out("Sample 1.wav")));
    EXPECT_EQ(0, Export({"-f"}).nCode);
    EXPECT_GT(fs::file_size(Out("Sample 1.wav")), 200u);
}

TEST_F(ExportCommandTest, ALinkInTheFolderIsReplacedNotFollowed) {
    Source();
    fs::create_directory(File("out"));
    WriteFile(File("other"), std::string("dear"));
    fs::create_symlink(File("other"), Out("Sample 0.wav"));
    EXPECT_EQ(kExitUsage, Export().nCode);
    EXPECT_EQ(0, Export({"-f"}).nCode);
    EXPECT_EQ(4u, fs::file_size(File("other")));
    EXPECT_FALSE(fs::is_symlink(Out("Sample 0.wav")));
}

TEST_F(ExportCommandTest, AFullDiskLeavesWholeFilesOnly) {
    Source({.samples = {{.nFrames = 3000}, {.nFrames = 3000}}});
    for (const char* pszFormat : {"wav", "flac"}) {
        int nFault = 1;
        for (;; ++nFault) {
            fs::remove_all(File("out"));
            FaultyFileEnv env;
            env.FailCallOf(FileOp::kWrite, nFault, FaultyFileEnv::Lasting::kForGood, ENOSPC);
            const Outcome outcome = Export({"--format", pszFormat, "--sfz"});
            if (!env.FaultHit()) {
                EXPECT_EQ(0, outcome.nCode);
                break;
            }
            EXPECT_EQ(kExitOutput, outcome.nCode) << nFault;
            EXPECT_THAT(outcome.strErr, ::testing::EndsWith(": No space left on device\n"));
            for (const std::string& strName : Names("out"))
                EXPECT_EQ(3000, ReadSound(Out(strName)).info.frames);
        }
        EXPECT_GT(nFault, 3);
    }
}

TEST_F(ExportCommandTest, ACancelLeavesNothing) {
    Source();
    SetCancelSignal(SIGINT);
    const Outcome outcome = Export({"--sfz"});
    EXPECT_EQ(kExitProblem, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src.kvs: cancelled\n", outcome.strErr);
    EXPECT_THAT(Names("out"), ElementsAre());
}

TEST_F(ExportCommandTest, ADamagedSampleStopsNoOther) {
    Source({.samples = {{.nFrames = 5000}, {}}});
    std::vector<NoteFields> notes = NotesOf(File("Src.kvs"));
    notes[2].strBody.resize(notes[2].strBody.size() / 2);
    WriteFile(File("Src.kvs"), DatabaseImage(notes));
    const Outcome outcome = Export({"--json"});
    EXPECT_EQ(kExitProblem, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src.kvs: sample 2: it cannot be read whole\n", outcome.strErr);
    EXPECT_EQ("it cannot be read whole", outcome.Document()["samples"][0]["cause"]);
    EXPECT_THAT(Names("out"), ElementsAre("Sample 1.wav"));
}

TEST_F(ExportCommandTest, JsonTellsEachFile) {
    Source({.samples = {{.nFrames = 1000}}});
    EXPECT_EQ(Json::parse(R"({"schema": 1, "command": "export", "exit_code": 0, "file": "DIR/Src.kvs",
        "folder": "DIR/out", "format": "wav",
        "samples": [{"id": 2, "name": "Sample 0", "file": "Sample 0.wav", "bytes": 2088, "rate": 44100,
                     "bits": 16, "channels": 1, "frames": 1000}],
        "maps": [{"program": 4, "name": "Program 0", "file": "Program 0.sfz", "bytes": 122, "regions": 1,
                  "left_out": 0}],
        "bytes": 2210, "seconds": "TIME"})"),
              Export({"--sfz", "--json"}).Document());
}

TEST_F(ExportCommandTest, WrongUseAndBadInputWriteNothing) {
    Source();
    WriteFile(File("x.kvs"), std::string("a letter that is longer than a header"));
    EXPECT_EQ(
        "kvbank: --format: 'mp3': give 'wav' or 'flac'\nRun 'kvbank export --help' to see how it is used.\n",
        Export({"--format", "mp3"}).strErr);
    EXPECT_EQ(kExitUsage, Export({"--bits", "20"}).nCode);
    EXPECT_EQ("kvbank: DIR/x.kvs: not a bank\n", Run({"export", "DIR/x.kvs", "-o", "DIR/out"}).strErr);
    EXPECT_EQ(kExitBadInput, Run({"export", "DIR/none.kvs", "-o", "DIR/out"}).nCode);
    EXPECT_EQ("kvbank: DIR/x.kvs/out: Not a directory\n",
              Run({"export", "DIR/Src.kvs", "-o", "DIR/x.kvs/out"}).strErr);
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", "x.kvs"));
}

TEST_F(ExportCommandTest, TheSameBankGivesTheSameBytes) {
    Source({.samples = {{.nFrames = 4000}, {.nFormat = 24, .nChannels = 2, .nFrames = 900}}});
    for (const char* pszFolder : {"DIR/a", "DIR/b"})
        for (const char* pszFormat : {"wav", "flac"})
            ASSERT_EQ(
                0,
                Run({"export", "DIR/Src.kvs", "-o", pszFolder, "--sfz", "-f", "--format", pszFormat}).nCode);
    EXPECT_EQ(5u, Names("a").size());
    for (const std::string& strName : Names("a"))
        EXPECT_EQ(ReadFile(File("a/" + strName)), ReadFile(File("b/" + strName))) << strName;
}

}  // namespace
}  // namespace Kestrova::Test
