// kvbank verify: what is found in a file by itself.
#include <csignal>
#include <functional>

#include "tests/support/TestDatabase.h"
#include "tests/support/Vectors.h"
#include "tests/tools/kvbank/CommandFixture.h"
#include "tools/kvbank/folder/PrivateFolder.h"

namespace Kestrova::Test {
namespace {

namespace fs = std::filesystem;

using Notes = std::vector<NoteFields>;
using ::testing::ElementsAre;

// In a bank built of the default source the id of each record is its place.
enum Place { kTable, kInfoAt, kPresetAt, kSampleAt, kBankAt, kProgramAt, kRegionAt, kLayerAt };

void SetWord(NoteFields& note, size_t nAt, uint32_t nWord) {
    for (size_t i = 0; i < 4; ++i) note.strBody.at(nAt + i) = static_cast<char>(nWord >> (8 * i));
}

// Makes the quick-load table what the notes are.
void MendTable(Notes& notes) {
    Bytes table;
    notes[0].strBody.resize(notes.size() * QuickLoadEntry::kBytes);
    for (const NoteFields& note : notes) {
        PutLittle(table, note.nType, 4);
        PutLittle(table, note.id, 4);
        PutLittle(table, note.idParent, 4);
        PutLittle(table, note.strBody.size(), 4);
    }
    notes[0].strBody.assign(table.begin(), table.end());
}

class VerifyCommandTest : public CommandTest {
protected:
    // The notes of a bank built at the source's own rate.
    Notes BankOf(const SourceSpec& spec, const std::string& strLayout = "plain") const {
        Source(spec);
        Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "44100", "-f", "--layout", strLayout});
        const std::string strPath = File(strLayout == "plain" ? "Src_0AC44.kvn" : "Src_0AC44.kvr");
        Notes notes = NotesOf(strPath);
        fs::remove(strPath);
        return notes;
    }
    Outcome VerifyBytes(const Bytes& bytes, const std::string& strName = "b.kvn") const {
        WriteFile(File(strName), bytes);
        return Run({"verify", "DIR/" + strName});
    }
    Outcome VerifyNotes(const Notes& notes) const {
        return VerifyBytes(DatabaseImage(notes, kSdbFormatEnriched));
    }
};

TEST_F(VerifyCommandTest, GoodFilesAreTold) {
    Source();
    Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "44100,48000"});
    Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "96000", "--layout", "per-key"});
    const Outcome outcome =
        Run({"verify", "DIR/Src.kvs", "DIR/Src_0AC44.kvn", "DIR/Src_0BB80.kvn", "DIR/Src_17700.kvr"});
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ("", outcome.strErr);
    EXPECT_EQ(
        "DIR/Src.kvs: good, 7 records, 557 bytes\n"
        "DIR/Src_0AC44.kvn: good, 8 records, 1.2 kB\n"
        "DIR/Src_0BB80.kvn: good, 8 records, 1.2 kB\n"
        "DIR/Src_17700.kvr: good, 14 records, 3.6 kB\n",
        outcome.strOut);
    EXPECT_EQ("", Run({"verify", "DIR/Src.kvs", "-q"}).strOut);
}

struct Damage {
    const char* pszWhy;
    std::function<void(Notes&)> harm;
    std::vector<const char*> problems;
    bool bMend = true;  // the quick-load table tells the truth
};

TEST_F(VerifyCommandTest, EveryKindOfDamageIsFound) {
    const Notes good = BankOf({});
    constexpr size_t kRate = 9, kFormat = 13, kChannels = 17, kFrames = 21, kLoops = 41;  // in the sample
    const std::vector<Damage> kDamages = {
        {"none", [](Notes&) {}, {}},
        {"the quick-load table tells another type",
         [](Notes& notes) { SetWord(notes[kTable], 16 * kBankAt, kSdbPreset); },
         {"bank 4 \"Bank 0\": the quick-load table lists it with another type, id, parent or size"},
         false},
        {"another id",
         [](Notes& notes) { SetWord(notes[kTable], 16 * kLayerAt + 4, 70); },
         {"layer 7: the quick-load table lists it with another type, id, parent or size"},
         false},
        {"another parent",
         [](Notes& notes) { SetWord(notes[kTable], 16 * kLayerAt + 8, 5); },
         {"layer 7: the quick-load table lists it with another type, id, parent or size"},
         false},
        {"another size",
         [](Notes& notes) { SetWord(notes[kTable], 16 * kSampleAt + 12, 1); },
         {"sample 3 \"Sample 0\": the quick-load table lists it with another type, id, parent or size"},
         false},
        {"upper bytes of a type mean nothing",
         [](Notes& notes) { SetWord(notes[kTable], 16 * kBankAt, 0xABCDEF00 + kSdbBank); },
         {},
         false},
        {"an entry too few",
         [](Notes& notes) {
             notes[kTable].strBody.resize(16 * 7);
             SetWord(notes[kTable], 12, 16 * 7);
             SetWord(notes[kTable], 12, 16 * 7);
         },
         {"quick-load table 0: it lists 7 records, the file has 8",
          "sample 3 \"Sample 0\": its wave is misaligned: there is something else than silence around it"},
         false},
        {"no multiple of an entry",
         [](Notes& notes) { notes[kTable].strBody += std::string(512 + 1, '\0'); },
         {"quick-load table 0: its size is no multiple of an entry's",
          "sample 3 \"Sample 0\": its wave is misaligned: there is something else than silence around it"},
         false},
        {"an empty table",
         [](Notes& notes) { notes[kTable].strBody.clear(); },
         {"quick-load table 0: it is empty, which hides every record",
          "sample 3 \"Sample 0\": its wave is misaligned: there is something else than silence around it"},
         false},
        {"a second table",
         [](Notes& notes) {
             notes.push_back({0, kSdbQuickLoad, 8, kSdbNoID, ""});
         },
         {"sample 3 \"Sample 0\": its wave is misaligned: there is something else than silence around it",
          "quick-load table 8: only a file's first record can be one"}},
        {"an id twice",
         [](Notes& notes) { notes[kPresetAt].id = kInfoAt; },
         {"preset 1 \"Preset 0\": another record has its id"}},
        {"an id that is none",
         [](Notes& notes) { notes[kPresetAt].id = kSdbNoID; },
         {"preset 4294967295 \"Preset 0\": no record can have this id"}},
        {"a type that is none",
         [](Notes& notes) { notes[kPresetAt].nType = kSdbAny; },
         {"source 2: no record can have this type"}},
        {"a type of a later time", [](Notes& notes) { notes[kPresetAt].nType = 99; }, {}},
        {"a missing parent",
         [](Notes& notes) { notes[kLayerAt].idParent = 99; },
         {"region 6 \"Region 0\": it has no layers", "layer 7: its parent, record 99, is missing"}},
        {"parents of the wrong kind",
         [](Notes& notes) {
             notes[kProgramAt].idParent = kPresetAt;
             notes[kRegionAt].idParent = kBankAt;
             notes[kLayerAt].idParent = kProgramAt;
         },
         {"program 5 \"Program 0\": its parent is not a bank",
          "region 6 \"Region 0\": its parent is not a program", "layer 7: its parent is not a region"}},
        {"no parents",
         [](Notes& notes) { notes[kProgramAt].idParent = notes[kRegionAt].idParent = kSdbNoID; },
         {"program 5 \"Program 0\": it has no parent", "region 6 \"Region 0\": it has no parent"}},
        {"its own parent",
         [](Notes& notes) { notes[kBankAt].idParent = kBankAt; },
         {"bank 4 \"Bank 0\": it is its own ancestor"}},
        {"a circle of parents",
         [](Notes& notes) {
             notes[kPresetAt].idParent = kBankAt;
             notes[kBankAt].idParent = kPresetAt;
         },
         {"preset 2 \"Preset 0\": it is its own ancestor"}},
        {"never committed",
         [](Notes& notes) { notes[kLayerAt].nState = kSdbStateNew; },
         {"layer 7: it was never committed"}},
        {"a deletion never committed",
         [](Notes& notes) { notes[kLayerAt].nState = kSdbStateDeleted; },
         {"region 6 \"Region 0\": it has no layers", "layer 7: its deletion was never committed"}},
        {"an interrupted build",
         [](Notes& notes) {
             for (NoteFields& note : notes) note.nState = kSdbStateNew;
         },
         {"its build was interrupted"}},
        {"no information",
         [](Notes& notes) { notes[kInfoAt].nType = 99; },
         {"there is no information record"}},
        {"bodies that end too soon",
         [](Notes& notes) {
             for (const size_t n : {kInfoAt, kPresetAt, kBankAt, kProgramAt, kRegionAt, kLayerAt})
                 notes[n].strBody.resize(3);
             notes.resize(notes.size());
         },
         {"information record 1: it cannot be read whole", "preset 2: it cannot be read whole",
          "sample 3 \"Sample 0\": its wave is misaligned: there is something else than silence around it",
          "bank 4: it cannot be read whole", "program 5: it cannot be read whole",
          "region 6: it cannot be read whole", "layer 7: it cannot be read whole"}},
        {"a region of keys that no keyboard has",
         [](Notes& notes) { SetWord(notes[kRegionAt], 13, 256); },
         {"region 6 \"Region 0\": its keys are outside 0 to 255"}},
        {"negative keys",
         [](Notes& notes) { SetWord(notes[kRegionAt], 9, 0xFFFFFFFF); },
         {"region 6 \"Region 0\": its keys are outside 0 to 255"}},
        {"a layer that plays nothing",
         [](Notes& notes) { SetWord(notes[kLayerAt], 20, kSdbNoID); },
         {"layer 7: it plays no sample"}},
        {"a layer that plays what is missing",
         [](Notes& notes) { SetWord(notes[kLayerAt], 20, 99); },
         {"layer 7: its sample, record 99, is missing"}},
        {"a layer that plays a bank",
         [](Notes& notes) { SetWord(notes[kLayerAt], 20, kBankAt); },
         {"layer 7: its sample, record 4, is missing"}},
        {"a sample rate of 0",
         [](Notes& notes) { SetWord(notes[kSampleAt], kRate, 0); },
         {"sample 3 \"Sample 0\": its sample rate is 0"}},
        {"no bits",
         [](Notes& notes) { SetWord(notes[kSampleAt], kFormat, 0); },
         {"sample 3 \"Sample 0\": its frames have no bytes"}},
        {"no channels",
         [](Notes& notes) { SetWord(notes[kSampleAt], kChannels, 0); },
         {"sample 3 \"Sample 0\": its frames have no bytes"}},
        {"more frames than there are",
         [](Notes& notes) { SetWord(notes[kSampleAt], kFrames, 101); },
         {"sample 3 \"Sample 0\": its header states more frames than its wave has"}},
        {"a loop count beyond the record",
         [](Notes& notes) { SetWord(notes[kSampleAt], kLoops, 0xFFFFFF); },
         {"sample 3 \"Sample 0\": it cannot be read whole"}},
        {"a record moved by three bytes",
         [](Notes& notes) {
             SetWord(notes[kPresetAt], notes[kPresetAt].strBody.size() - 4, 3);
             notes[kPresetAt].strBody += "abc";
         },
         {"sample 3 \"Sample 0\": its wave is misaligned: there is something else than silence around it"}},
        {"bytes behind a sample's end",
         [](Notes& notes) { notes[kSampleAt].strBody += "abc"; },
         {"sample 3 \"Sample 0\": 3 bytes behind its end belong to nothing"}},
    };
    for (const Damage& damage : kDamages) {
        SCOPED_TRACE(damage.pszWhy);
        Notes notes = good;
        damage.harm(notes);
        if (damage.bMend) MendTable(notes);
        std::string strExpected;
        for (const char* pszProblem : damage.problems)
            strExpected += std::string("kvbank: DIR/b.kvn: ") + pszProblem + "\n";
        const Outcome outcome = VerifyNotes(notes);
        EXPECT_EQ(strExpected, outcome.strErr);
        EXPECT_EQ(damage.problems.empty() ? 0 : kExitProblem, outcome.nCode);
        EXPECT_EQ(damage.problems.empty(), !outcome.strOut.empty());
    }
}

TEST_F(VerifyCommandTest, LoopsMustLieInsideTheirWaves) {
    static constexpr struct {
        uint32_t nStart, nEnd;
        bool bGood;
    } kRows[] = {{0, 0, true},    {0, 99, true},   {10, 100, true},   {99, 99, true},
                 {0, 101, false}, {50, 49, false}, {101, 101, false}, {0, 0xFFFFFFFF, false}};
    for (const auto& row : kRows) {
        Source({.samples = {{.loops = {{1, 2, 3, 4}, {1, row.nStart, row.nEnd, 0}}}}});
        EXPECT_EQ(row.bGood
                      ? ""
                      : "kvbank: DIR/Src.kvs: sample 2 \"Sample 0\": loop 1 (" + std::to_string(row.nStart) +
                            " to " + std::to_string(row.nEnd) + ") is not inside its 100 frames\n",
                  Run({"verify", "DIR/Src.kvs"}).strErr);
    }
}

TEST_F(VerifyCommandTest, FilesCutShortAreFoundAtEveryLength) {
    const Bytes good = DatabaseImage(BankOf({}), kSdbFormatEnriched);
    for (size_t nLength = 20; nLength < good.size(); nLength += 3) {
        const Outcome outcome =
            VerifyBytes(Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(nLength)));
        ASSERT_EQ(kExitProblem, outcome.nCode) << nLength;
        ASSERT_NE("", outcome.strErr);
    }
    EXPECT_EQ("kvbank: DIR/b.kvn: layer 7: it is cut short by the end of the file\n",
              VerifyBytes(WithoutLast(good, 1)).strErr);
    EXPECT_EQ(
        "kvbank: DIR/b.kvn: 13 bytes at its end belong to no record\n"
        "kvbank: DIR/b.kvn: quick-load table 0: it lists 8 records, the file has 7\n"
        "kvbank: DIR/b.kvn: region 6 \"Region 0\": it has no layers\n",
        VerifyBytes(WithoutLast(good, 29)).strErr);
    EXPECT_EQ(
        "kvbank: DIR/b.kvn: there are no samples\n"
        "kvbank: DIR/b.kvn: quick-load table 0: it is cut short, so that the file cannot be opened\n"
        "kvbank: DIR/b.kvn: there is no information record\n"
        "kvbank: DIR/b.kvn: quick-load table 0: it is cut short by the end of the file\n",
        VerifyBytes(Bytes(good.begin(), good.begin() + 100)).strErr);
    EXPECT_EQ("kvbank: DIR/b.kvn: its build was interrupted\n",
              VerifyBytes(Bytes(good.begin(), good.begin() + 20)).strErr);
}

TEST_F(VerifyCommandTest, WhatIsNoBankIsBadInput) {
    EXPECT_EQ("kvbank: DIR/b.kvn: not a bank\n", VerifyBytes({}).strErr);
    EXPECT_EQ(kExitBadInput, VerifyBytes({'Q', 'X', 'E', 'U'}).nCode);
    EXPECT_EQ(kExitBadInput, VerifyBytes(Bytes(1000, 'x')).nCode);
    EXPECT_EQ(kExitBadInput, Run({"verify", "DIR/none.kvn"}).nCode);
    EXPECT_EQ("kvbank: DIR/none.kvn: No such file or directory\n", Run({"verify", "DIR/none.kvn"}).strErr);
    EXPECT_EQ("kvbank: DIR: Is a directory\n", Run({"verify", "DIR"}).strErr);
}

TEST_F(VerifyCommandTest, OneBadFileDoesNotSaveTheOthersFromBeingChecked) {
    Source();
    const Outcome outcome = Run({"verify", "DIR/none.kvn", "DIR/Src.kvs"});
    EXPECT_EQ(kExitBadInput, outcome.nCode);
    EXPECT_EQ("DIR/Src.kvs: good, 7 records, 557 bytes\n", outcome.strOut);
}

TEST_F(VerifyCommandTest, ABankBeingBuiltIsBusy) {
    CSDB held;
    ASSERT_TRUE(held.Create(File("b.kvn").c_str(), kSdbFormatEnriched));
    const Outcome outcome = Run({"verify", "DIR/b.kvn"});
    EXPECT_EQ(kExitBusy, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/b.kvn: another process is building it\n", outcome.strErr);
}

TEST_F(VerifyCommandTest, TwentyProblemsAreToldAndTheRestCounted) {
    Source({.nPresets = 25});
    Notes notes = NotesOf(File("Src.kvs"));
    for (NoteFields& note : notes)
        if (note.nType == kSdbPreset) note.idParent = 99;
    WriteFile(File("Src.kvs"), DatabaseImage(notes));
    const Outcome outcome = Run({"verify", "DIR/Src.kvs"});
    EXPECT_EQ(21, std::count(outcome.strErr.begin(), outcome.strErr.end(), '\n'));
    EXPECT_THAT(outcome.strErr,
                ::testing::EndsWith("kvbank: DIR/Src.kvs: preset 20 \"Preset 19\": its parent, record "
                                    "99, is missing\n"
                                    "kvbank: DIR/Src.kvs: and 5 more problems\n"));
    const Json row = Run({"verify", "DIR/Src.kvs", "--json"}).Document()["files"][0];
    EXPECT_EQ(25, row["problem_count"]);
    EXPECT_EQ(20u, row["problems"].size());
}

TEST_F(VerifyCommandTest, ANameMustNotBelieTheBank) {
    const Bytes good = DatabaseImage(BankOf({}), kSdbFormatEnriched);
    EXPECT_EQ("", VerifyBytes(good, "x_0AC44.kvn").strErr);
    EXPECT_EQ(
        "kvbank: DIR/x_0BB80.kvr: its name gives another sample rate than its information record, 44100 Hz\n"
        "kvbank: DIR/x_0BB80.kvr: its name gives another layout than its information record\n",
        VerifyBytes(good, "x_0BB80.kvr").strErr);
}

TEST_F(VerifyCommandTest, InThePerKeyLayoutOnlyLayersOfOtherProgramsMayPlayNothing) {
    SourceSpec spec;
    spec.programs = {{}, {.bSplit = false}};
    Notes notes = BankOf(spec, "per-key");
    MendTable(notes);
    EXPECT_EQ("", VerifyNotes(notes).strErr) << "as it was built";
    ASSERT_EQ(kSdbLayer, notes.back().nType);
    EXPECT_EQ(kSdbNoID, GetLittle(Bytes(notes.back().strBody.begin(), notes.back().strBody.end()), 20, 4));
    for (NoteFields& note : notes)
        if (note.nType == kSdbLayer) SetWord(note, 20, kSdbNoID);
    const Outcome outcome = VerifyNotes(notes);
    EXPECT_EQ(3, std::count(outcome.strErr.begin(), outcome.strErr.end(), '\n'));
}

TEST_F(VerifyCommandTest, DamagedWavesOfSourcesAreFound) {
    Source({.samples = {{.nFrames = 5000}}});
    Notes notes = NotesOf(File("Src.kvs"));
    notes[2].strBody[200] = static_cast<char>(notes[2].strBody[200] ^ 1);
    EXPECT_EQ("kvbank: DIR/b.kvs: sample 2 \"Sample 0\": its wave cannot be decoded\n",
              VerifyBytes(DatabaseImage(notes), "b.kvs").strErr);
    notes[2].strBody.resize(40);
    EXPECT_EQ("kvbank: DIR/b.kvs: sample 2 \"Sample 0\": it cannot be read whole\n",
              VerifyBytes(DatabaseImage(notes), "b.kvs").strErr);
    Source({.samples = {{.strExternal = "away\x1B.wav"}}});
    EXPECT_EQ("kvbank: DIR/Src.kvs: sample 2 \"Sample 0\": its wave file away?.wav cannot be read\n",
              Run({"verify", "DIR/Src.kvs"}).strErr);
}

TEST_F(VerifyCommandTest, ASourceWithoutSamplesCannotBeBuilt) {
    Source({.samples = {}, .programs = {}});
    EXPECT_EQ("kvbank: DIR/Src.kvs: there are no samples\n", Run({"verify", "DIR/Src.kvs"}).strErr);
}

TEST_F(VerifyCommandTest, ACancelIsSaid) {
    Source();
    SetCancelSignal(SIGINT);
    const Outcome outcome = Run({"verify", "DIR/Src.kvs", "DIR/Src.kvs"});
    EXPECT_EQ(kExitProblem, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src.kvs: cancelled\n", outcome.strErr);
}

TEST_F(VerifyCommandTest, ATerminalSeesProgress) {
    Source();
    const Outcome outcome = Run({"verify", "DIR/Src.kvs"}, "", false, true);
    EXPECT_THAT(outcome.strErr, ::testing::StartsWith("\r\033[KSrc.kvs ["));
    EXPECT_THAT(outcome.strErr, ::testing::EndsWith(" of 557 bytes\r\033[K"));
}

// No file makes a command crash, hang or answer something else than that it is good, wrong or no bank.
TEST_F(VerifyCommandTest, HostileFilesAreJudgedLikeAnyOther) {
    for (const char* pszFolder : {"bad", "containers", "builds"}) {
        for (const auto& entry : fs::recursive_directory_iterator(VectorPath(pszFolder))) {
            if (!entry.is_regular_file()) continue;
            const std::string strPath = entry.path().string();
            SCOPED_TRACE(strPath);
            for (const char* pszVerb : {"verify", "info"}) {
                const int nCode = Run({pszVerb, strPath}).nCode;
                EXPECT_TRUE(nCode == 0 || nCode == kExitProblem || nCode == kExitBadInput) << nCode;
            }
        }
    }
    Bytes good = DatabaseImage(BankOf({.samples = {{.loops = {{1, 2, 3, 4}}}}}), kSdbFormatEnriched);
    for (size_t nAt = 20; nAt < good.size(); ++nAt) {
        const uint8_t nWas = good[nAt];
        good[nAt] = static_cast<uint8_t>(~nWas);
        const int nCode = VerifyBytes(good).nCode;
        ASSERT_TRUE(nCode == 0 || nCode == kExitProblem) << nAt << ": " << nCode;
        good[nAt] = nWas;
    }
}

}  // namespace
}  // namespace Kestrova::Test
