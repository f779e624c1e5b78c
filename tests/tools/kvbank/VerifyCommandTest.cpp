// kvbank verify: what is found in a file by itself.
#include <csignal>
#include <functional>

#include "bank/place/PrivateFolder.h"
#include "tests/support/TestDatabase.h"
#include "tests/support/Vectors.h"
#include "tests/tools/kvbank/CommandFixture.h"

namespace Kestrova::Test {
namespace {

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

// One change of a bank's notes.
using Harm = std::function<void(Notes&)>;

Harm Word(Place note, size_t nAt, uint32_t nWord) {
    return [=](Notes& notes) { SetWord(notes[note], nAt, nWord); };
}
Harm Body(Place note, const std::function<void(std::string&)>& change) {
    return [=](Notes& notes) { change(notes[note].strBody); };
}
Harm Size(Place note, size_t nBytes) {
    return Body(note, [=](std::string& strBody) { strBody.resize(nBytes); });
}
Harm Id(Place note, uint32_t id) {
    return [=](Notes& notes) { notes[note].id = id; };
}
Harm Type(Place note, uint8_t nType) {
    return [=](Notes& notes) { notes[note].nType = nType; };
}
Harm Parent(Place note, uint32_t idParent) {
    return [=](Notes& notes) { notes[note].idParent = idParent; };
}
Harm State(Place note, uint8_t nState) {
    return [=](Notes& notes) { notes[note].nState = nState; };
}

// A bank that is damaged, and the problems that verify reports.
struct Damage {
    const char* pszWhy;
    std::vector<Harm> harms;
    std::vector<const char*> problems;
};

// Whether the quick-load table is corrected after the damage.
enum class Table { kMended, kLeft };

// A wave lies at a multiple of 512 bytes, so a note in front of it must keep its size.
constexpr const char* kMisaligned =
    "sample 3 \"Sample 0\": its wave is misaligned: the padding around it is not silent";

class VerifyDamageTest : public VerifyCommandTest {
protected:
    void ExpectFound(const std::vector<Damage>& damages, Table table = Table::kMended) const {
        const Notes good = BankOf({});
        for (const Damage& damage : damages) {
            SCOPED_TRACE(damage.pszWhy);
            Notes notes = good;
            for (const Harm& harm : damage.harms) harm(notes);
            if (table == Table::kMended) MendTable(notes);
            std::string strExpected;
            for (const char* pszProblem : damage.problems)
                strExpected += std::string("kvbank: DIR/b.kvn: ") + pszProblem + "\n";
            const Outcome outcome = VerifyNotes(notes);
            EXPECT_EQ(strExpected, outcome.strErr);
            EXPECT_EQ(damage.problems.empty() ? 0 : kExitProblem, outcome.nCode);
            EXPECT_EQ(damage.problems.empty(), !outcome.strOut.empty());
        }
    }
};
// Q109

// Q109
TEST_F(VerifyDamageTest, AQuickLoadTableThatDisagreesIsFound) {
    constexpr size_t kEntry = QuickLoadEntry::kBytes;
    ExpectFound(
        {{"no damage", {}, {}},
         {"another type",
          {Word(kTable, kEntry * kBankAt, kSdbPreset)},
          {"bank 4 \"Bank 0\": the quick-load table lists it with another type, id, parent or size"}},
         {"the upper bytes of a type mean nothing",
          {Word(kTable, kEntry * kBankAt, 0xABCDEF00 + kSdbBank)},
          {}},
         {"another id",
          {Word(kTable, kEntry * kLayerAt + 4, 70)},
          {"layer 7: the quick-load table lists it with another type, id, parent or size"}},
         {"another parent",
          {Word(kTable, kEntry * kLayerAt + 8, 5)},
          {"layer 7: the quick-load table lists it with another type, id, parent or size"}},
         {"another size",
          {Word(kTable, kEntry * kSampleAt + 12, 1)},
          {"sample 3 \"Sample 0\": the quick-load table lists it with another type, id, parent or size"}},
         {"an entry too few, which its own entry tells",
          {Size(kTable, kEntry * 7), Word(kTable, 12, kEntry * 7)},
          {"quick-load table 0: it lists 7 records, the file has 8", kMisaligned}},
         {"no multiple of an entry",
          {Size(kTable, kEntry * 8 + 512 + 1)},
          {"quick-load table 0: its size is no multiple of an entry's", kMisaligned}},
         {"an empty table",
          {Size(kTable, 0)},
          {"quick-load table 0: it is empty, so no record can be found by it", kMisaligned}}},
        Table::kLeft);
}
// Q109

// Q109
TEST_F(VerifyDamageTest, ImpossibleIdsAndTypesAreFound) {
    ExpectFound({
        {"an id twice", {Id(kPresetAt, kInfoAt)}, {"preset 1 \"Preset 0\": another record has its id"}},
        {"an id that is none",
         {Id(kPresetAt, kSdbNoID)},
         {"preset 4294967295 \"Preset 0\": no record can have this id"}},
        {"a type that is none", {Type(kPresetAt, kSdbAny)}, {"source 2: no record can have this type"}},
        {"a type of a later time", {Type(kPresetAt, 99)}, {}},
        {"no information record", {Type(kInfoAt, 99)}, {"there is no information record"}},
        {"a second quick-load table",
         {[](Notes& notes) {
             notes.push_back({0, kSdbQuickLoad, 8, kSdbNoID, ""});
         }},
         {kMisaligned, "quick-load table 8: only the first record of a file can be a quick-load table"}},
    });
}

TEST_F(VerifyDamageTest, ImpossibleParentsAreFound) {
    ExpectFound({
        {"a missing one",
         {Parent(kLayerAt, 99)},
         {"region 6 \"Region 0\": it has no layers", "layer 7: its parent, record 99, is missing"}},
        {"ones of the wrong kind",
         {Parent(kProgramAt, kPresetAt), Parent(kRegionAt, kBankAt), Parent(kLayerAt, kProgramAt)},
         {"program 5 \"Program 0\": its parent is not a bank",
          "region 6 \"Region 0\": its parent is not a program", "layer 7: its parent is not a region"}},
        {"none",
         {Parent(kProgramAt, kSdbNoID), Parent(kRegionAt, kSdbNoID)},
         {"program 5 \"Program 0\": it has no parent", "region 6 \"Region 0\": it has no parent"}},
        {"itself", {Parent(kBankAt, kBankAt)}, {"bank 4 \"Bank 0\": it is its own ancestor"}},
        {"a circle",
         {Parent(kPresetAt, kBankAt), Parent(kBankAt, kPresetAt)},
         {"preset 2 \"Preset 0\": it is its own ancestor"}},
    });
}

TEST_F(VerifyDamageTest, WhatWasNeverCommittedIsFound) {
    ExpectFound({
        {"a record", {State(kLayerAt, kSdbStateNew)}, {"layer 7: it was never committed"}},
        {"a deletion",
         {State(kLayerAt, kSdbStateDeleted)},
         {"region 6 \"Region 0\": it has no layers", "layer 7: its deletion was never committed"}},
        {"the whole build",
         {[](Notes& notes) {
             for (NoteFields& note : notes) note.nState = kSdbStateNew;
         }},
         {"its build was interrupted"}},
    });
}

TEST_F(VerifyDamageTest, ImpossibleFieldsAreFound) {
    constexpr size_t kLowKey = 9, kHighKey = 13;                                            // of a region
    constexpr size_t kPlayed = 20;                                                          // of a layer
    constexpr size_t kRate = 9, kBits = 13, kChannels = 17, kFrames = 21, kLoopCount = 41;  // of a sample
    ExpectFound({
        {"a key that no keyboard has",
         {Word(kRegionAt, kHighKey, 256)},
         {"region 6 \"Region 0\": its keys are outside 0 to 255"}},
        {"a negative key",
         {Word(kRegionAt, kLowKey, 0xFFFFFFFF)},
         {"region 6 \"Region 0\": its keys are outside 0 to 255"}},
        {"a layer of no sample", {Word(kLayerAt, kPlayed, kSdbNoID)}, {"layer 7: it plays no sample"}},
        {"a layer of a missing sample",
         {Word(kLayerAt, kPlayed, 99)},
         {"layer 7: its sample, record 99, is missing"}},
        {"a layer of a bank",
         {Word(kLayerAt, kPlayed, kBankAt)},
         {"layer 7: its sample, record 4, is missing"}},
        {"a sample rate of 0", {Word(kSampleAt, kRate, 0)}, {"sample 3 \"Sample 0\": its sample rate is 0"}},
        {"no bits", {Word(kSampleAt, kBits, 0)}, {"sample 3 \"Sample 0\": its frames have no bytes"}},
        {"no channels", {Word(kSampleAt, kChannels, 0)}, {"sample 3 \"Sample 0\": its frames have no bytes"}},
        {"more frames than there are",
         {Word(kSampleAt, kFrames, 101)},
         {"sample 3 \"Sample 0\": its header states more frames than its wave has"}},
        {"more loops than there are",
         {Word(kSampleAt, kLoopCount, 0xFFFFFF)},
         {"sample 3 \"Sample 0\": it cannot be read whole"}},
    });
}

TEST_F(VerifyDamageTest, BodiesOfTheWrongLengthAreFound) {
    ExpectFound({
        {"ones that end too soon",
         {Size(kInfoAt, 3), Size(kPresetAt, 3), Size(kBankAt, 3), Size(kProgramAt, 3), Size(kRegionAt, 3),
          Size(kLayerAt, 3)},
         {"information record 1: it cannot be read whole", "preset 2: it cannot be read whole", kMisaligned,
          "bank 4: it cannot be read whole", "program 5: it cannot be read whole",
          "region 6: it cannot be read whole", "layer 7: it cannot be read whole"}},
        {"three bytes more in front of a wave",
         {Body(kPresetAt,
               [](std::string& strBody) {
                   // The last word is the length of the text that ends the record.
                   strBody.replace(strBody.size() - 4, 4, std::string("\3\0\0\0abc", 7));
               })},
         {kMisaligned}},
        {"three bytes behind a wave",
         {Body(kSampleAt, [](std::string& strBody) { strBody += "abc"; })},
         {"sample 3 \"Sample 0\": 3 bytes behind its end are not used"}},
    });
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
// Q107

// Q107
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

// Whatever the file is, the command does not crash or hang; it answers that the file is good, wrong or no
// bank.
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
