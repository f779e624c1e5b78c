// Damaged and hostile sources: a result for each, never a crash, and the source stays as it is.
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <random>

#include "codec/ReadBudget.h"
#include "tests/bank/BankReader.h"
#include "tests/bank/EngineDriver.h"
#include "tests/support/RecordBytes.h"
#include "tests/support/SourceMaker.h"

namespace Kestrova::Test {
namespace {

class EngineHostileTest : public testing::Test {
protected:
    TempDir m_dir;
    EngineDriver m_driver;
    fs::path m_banks = m_dir.Path() / "banks";
    std::string m_strSource = m_dir.File("Test_1.kvs");

    void SetUp() override { ASSERT_EQ(kBankDone, m_driver.Engine().SetDstDir(m_banks.c_str())); }

    // Analyses the file and builds both layouts; a failure must leave no file, the source stays as it is.
    BankResult RunAll() {
        const Bytes before = ReadFile(m_strSource);
        BankResult worst = m_driver.Analyse(m_strSource);
        for (const int nPerKey : {0, 1}) {
            if (worst != kBankDone) break;
            worst = m_driver.Build(48000, nPerKey);
            EXPECT_TRUE(worst == kBankDone || fs::is_empty(m_banks));
            fs::remove_all(m_banks);
        }
        EXPECT_EQ(before, ReadFile(m_strSource));
        return worst;
    }
    BankResult RunNotes(const std::vector<NoteFields>& notes, uint32_t nKind = kSdbFormatPlain) {
        WriteFile(m_strSource, DatabaseImage(notes, nKind));
        return RunAll();
    }

    // Bodies as files hold them.
    static std::string Text(const BodyBuilder& body) { return {body.Get().begin(), body.Get().end()}; }
    static std::string InfoBody() {
        return Text(BodyBuilder().Text("i").Text("").Word(0).Word(0).Word(0).Word(0).Word(0));
    }
    static std::string BankBody() { return Text(BodyBuilder().Text("b").Word(0).Word(0).Word(0)); }
    static std::string ProgramBody() { return Text(BodyBuilder().Text("p").Word(0).Word(0).Word(1).Word(0)); }
    static std::string RegionBody(uint32_t nLow, uint32_t nHigh) {
        return Text(BodyBuilder().Text("r").Word(nLow).Word(nHigh).Word(1).Word(127).Word(0));
    }
    static std::string LayerBody(uint32_t idSample) {
        return Text(BodyBuilder().Word(0).Word(64).Word(1).Word(0).Word(0).Word(idSample).Word(0));
    }
    // A plain sample with a raw wave of nWave bytes, of which it states nStored and nExpanded.
    static std::string PlainBody(uint32_t nFrames, uint32_t nStored, uint32_t nExpanded, size_t nWave) {
        return Text(BodyBuilder()
                        .Text("s")
                        .Text("")
                        .Word(44100)
                        .Word(16)
                        .Word(1)
                        .Word(nFrames)
                        .Word(60)
                        .Word(0)
                        .Word(0)
                        .Word(0)
                        .Word(0)
                        .Word(nStored)
                        .Word(nExpanded)
                        .Raw(Counting(nWave))
                        .Word(0));
    }
    // The fields of an enriched sample up to its wave's length.
    static BodyBuilder EnrichedHead(uint32_t nParams, uint32_t nLoops) {
        BodyBuilder body;
        body.Text("s").Word(44100).Word(16).Word(1).Word(10).Word(60).Word(0).Word(0).Word(nParams).Word(
            nLoops);
        return body;
    }
    static std::vector<NoteFields> WithSample(const std::string& strSample) {
        return {{0, kSdbInfo, 0, kSdbNoID, InfoBody()},    {0, kSdbSample, 1, kSdbNoID, strSample},
                {0, kSdbBank, 2, kSdbNoID, BankBody()},    {0, kSdbProgram, 3, 2, ProgramBody()},
                {0, kSdbRegion, 4, 3, RegionBody(60, 61)}, {0, kSdbLayer, 5, 4, LayerBody(1)}};
    }
};

TEST_F(EngineHostileTest, TheHandMadeSourceIsSound) {
    EXPECT_EQ(kBankDone, RunNotes(WithSample(PlainBody(10, 20, 20, 20))));
}

struct PlainCase {
    const char* pszWhy;
    uint32_t nFrames, nStored, nExpanded;
    size_t nWave;
    BankResult result;
};

TEST_F(EngineHostileTest, PlainSamplesThatDoNotHoldWhatTheyState) {
    for (const PlainCase& row :
         {PlainCase{"a wave longer than the record", 10, 2000, 2000, 20, kBankReadFailed},
          {"a stored size of 4 GiB", 10, 0xFFFFFFFF, 0xFFFFFFFF, 20, kBankReadFailed},
          {"an expanded size of 4 GiB", 10, 20, 0xFFFFFFFF, 20, kBankReadFailed},
          {"no wave and no file", 10, 0, 20, 0, kBankReadFailed},
          {"an expanded size of 0", 10, 20, 0, 20, kBankReadFailed},
          {"more frames than the wave has", 11, 20, 20, 20, kBankSourceInconsistent},
          {"4 G frames", 0xFFFFFFFF, 20, 20, 20, kBankSourceInconsistent}}) {
        SCOPED_TRACE(row.pszWhy);
        EXPECT_EQ(row.result,
                  RunNotes(WithSample(PlainBody(row.nFrames, row.nStored, row.nExpanded, row.nWave))));
    }
}

TEST_F(EngineHostileTest, AWaveAboveTheReadBudgetCannotBeReadAndTheCauseSaysWhy) {
    const auto notes = WithSample(PlainBody(10, 20, uint32_t{kReadBudgetFloor} + 1, 20));
    for (const bool bInForce : {false, true}) {
        std::optional<ReadBudget> budget;
        if (bInForce) budget.emplace();
        EXPECT_EQ(kBankReadFailed, RunNotes(notes));
        EXPECT_STREQ(bInForce ? kOverReadBudget : "the wave cannot be read whole",
                     m_driver.Engine().GetFault().pszCause);
    }
}

TEST_F(EngineHostileTest, EnrichedSamplesThatLeaveTheirNote) {
    const std::string strSound = Text(EnrichedHead(0, 0).Word(20).Zeros(512).Raw(Counting(20)).Word(0));
    EXPECT_EQ(kBankDone, RunNotes(WithSample(strSound), kSdbFormatEnriched));
    struct Row {
        const char* pszWhy;
        std::string strBody;
    };
    for (const Row& row :
         {Row{"a block beyond the note", Text(EnrichedHead(5000, 0).Word(20).Zeros(532).Word(0))},
          {"a loop count of 1000000", Text(EnrichedHead(0, 1000000).Word(20).Zeros(532).Word(0))},
          {"a loop count of 4 G", Text(EnrichedHead(0, 0xFFFFFFFF).Word(20).Zeros(532).Word(0))},
          {"999999 loops that are not there", Text(EnrichedHead(0, 999999).Word(20).Zeros(532).Word(0))},
          {"a wave length of 0", Text(EnrichedHead(0, 0).Word(0).Zeros(512).Word(0))},
          {"a wave of 4 GiB", Text(EnrichedHead(0, 0).Word(0xFFFFFFFF).Zeros(532).Word(0))},
          {"a tail beyond the note", Text(EnrichedHead(0, 0).Word(20).Zeros(532).Word(1))},
          {"no body at all", ""}}) {
        SCOPED_TRACE(row.pszWhy);
        EXPECT_EQ(kBankReadFailed, RunNotes(WithSample(row.strBody), kSdbFormatEnriched));
    }
}

TEST_F(EngineHostileTest, AnyRecordCutShortIsAReadFailure) {
    const std::vector<NoteFields> sound = WithSample(PlainBody(10, 20, 20, 20));
    for (size_t i = 0; i < sound.size(); ++i) {
        SCOPED_TRACE(i);
        std::vector<NoteFields> cut = sound;
        cut[i].strBody.pop_back();
        EXPECT_EQ(kBankReadFailed, RunNotes(cut));
        cut[i].strBody.clear();
        EXPECT_EQ(kBankReadFailed, RunNotes(cut));
    }
}

// When a source is cut between two records, or inside the header of one, what is left may be a correct
// source.
TEST_F(EngineHostileTest, AFileCutInsideARecordIsRefused) {
    MakeSource(m_strSource, {});
    const Bytes whole = ReadFile(m_strSource);
    size_t nBoundary = 20;
    for (const NoteFields& note : NotesOf(whole)) {
        const size_t nEnd = nBoundary + 14 + note.strBody.size();
        for (size_t nBytes = nBoundary + 14; nBytes<nEnd; nBytes += nEnd - nBytes> 40 ? 9 : 1) {
            WriteFile(m_strSource, Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(nBytes)));
            EXPECT_NE(kBankDone, RunAll()) << nBytes;
        }
        nBoundary = nEnd;
    }
    EXPECT_EQ(whole.size(), nBoundary);
}

TEST_F(EngineHostileTest, AFileChangedAnywhereGivesAResult) {
    for (const bool bEnriched : {false, true}) {
        SourceSpec spec;
        spec.bEnriched = bEnriched;
        spec.samples = {{.nFrames = 40, .loops = {{1, 2, 3, 4}}},
                        {.nFormat = 24, .nChannels = 2, .nFrames = 20}};
        MakeSource(m_strSource, spec);
        const Bytes whole = ReadFile(m_strSource);
        std::mt19937 random(20 + bEnriched);
        for (int i = 0; i < 120; ++i) {
            Bytes changed = whole;
            for (int nChanges = 1 + static_cast<int>(random() % 3); nChanges > 0; --nChanges)
                changed[20 + random() % (changed.size() - 20)] = static_cast<uint8_t>(random());
            WriteFile(m_strSource, changed);
            const BankResult result = RunAll();
            EXPECT_LE(result, kBankConversionFailed);
        }
    }
}

TEST_F(EngineHostileTest, CirclesAndSelfParentsEnd) {
    std::vector<NoteFields> notes = WithSample(PlainBody(10, 20, 20, 20));
    notes[2].idParent = 2;                                     // a bank under itself
    notes[3].idParent = 3;                                     // a program under itself: no bank's child
    notes.push_back({0, kSdbRegion, 6, 7, RegionBody(1, 2)});  // a circle of two
    notes.push_back({0, kSdbRegion, 7, 6, RegionBody(1, 2)});
    EXPECT_EQ(kBankConversionFailed, RunNotes(notes)) << "fewer records are written than were counted";
}

// Records that keep the source's parent. Each lies under the bank, which is written after them, or has
// another id in the target.
TEST_F(EngineHostileTest, ARecordUnderAParentThatTheBankHasNotCannotBeWritten) {
    const std::vector<NoteFields> sound = WithSample(PlainBody(10, 20, 20, 20));
    struct Row {
        uint8_t nType;
        std::string strBody;
        uint32_t id;
    };
    for (const Row& row :
         {Row{kSdbInfo, InfoBody(), 50}, {kSdbPreset, BankBody(), 51}, {kSdbBank, BankBody(), 52}}) {
        SCOPED_TRACE(int{row.nType});
        std::vector<NoteFields> notes = sound;
        notes.push_back({0, kSdbProgram, 500, kSdbNoID, ProgramBody()});
        notes.insert(notes.begin(), {0, row.nType, row.id, 500, row.strBody});
        EXPECT_EQ(kBankWriteFailed, RunNotes(notes));
        const BankOutcome& fault = m_driver.Engine().GetFault();
        EXPECT_EQ(BankSide::Source, fault.side);
        EXPECT_EQ(row.nType, fault.nType);
        EXPECT_EQ(row.id, fault.id);
        EXPECT_STREQ("its parent record is not in the bank", fault.pszCause);
        EXPECT_EQ(0, fault.nError);
    }
}

TEST_F(EngineHostileTest, AMillionDeepChainEnds) {
    std::vector<NoteFields> notes = WithSample(PlainBody(10, 20, 20, 20));
    notes.reserve(1000010);
    for (uint32_t id = 10; id < 1000000; ++id) notes.push_back({0, kSdbRegion, id, id - 1, RegionBody(1, 1)});
    WriteFile(m_strSource, DatabaseImage(notes));
    EXPECT_EQ(kBankDone, m_driver.Analyse(m_strSource));
    EXPECT_EQ(kBankConversionFailed, m_driver.Build(48000, 0));
}

TEST_F(EngineHostileTest, IdsUsedManyTimesDoNotMultiplyTheWork) {
    std::vector<NoteFields> notes = WithSample(PlainBody(10, 20, 20, 20));
    for (int i = 0; i < 3000; ++i) notes.push_back({0, kSdbProgram, 3, 2, ProgramBody()});
    for (uint32_t i = 0; i < 3000; ++i) notes.push_back({0, kSdbRegion, 100 + i, 3, RegionBody(5, 4)});
    for (uint32_t i = 0; i < 3000; ++i) notes.push_back({0, kSdbLayer, 4000 + i, 100 + i, LayerBody(1)});
    EXPECT_EQ(kBankSourceInconsistent, RunNotes(notes)) << "nine million regions would be read";
    EXPECT_STREQ("ids are used more than once", m_driver.Engine().GetFault().pszCause);
}

TEST_F(EngineHostileTest, AQuickLoadTableCutShortDoesNotOpen) {
    std::vector<NoteFields> notes = {{0, kSdbQuickLoad, 0, kSdbNoID, std::string(64, '\0')}};
    Bytes image = DatabaseImage(notes);
    image.pop_back();
    WriteFile(m_strSource, image);
    EXPECT_EQ(kBankSourceNotOpened, m_driver.Analyse(m_strSource));
}

TEST_F(EngineHostileTest, ATableThatListsNotesBeyondTheFileIsAReadFailure) {
    std::vector<NoteFields> notes = WithSample(PlainBody(10, 20, 20, 20));
    BodyBuilder table;
    table.Word(kSdbQuickLoad).Word(900).Word(kSdbNoID).Word(48);
    table.Word(kSdbInfo).Word(0).Word(kSdbNoID).Word(0xFFFFFFF0);
    table.Word(kSdbSample).Word(1).Word(kSdbNoID).Word(0xFFFFFFF0);
    notes.insert(notes.begin(), {0, kSdbQuickLoad, 900, kSdbNoID, Text(table)});
    EXPECT_EQ(kBankReadFailed, RunNotes(notes));
    EXPECT_EQ(kBankReadFailed, RunNotes(notes, kSdbFormatEnriched));
}

TEST_F(EngineHostileTest, LoopsTheBankCannotHoldAreRefusedBeforeABankIsMadeOfThem) {
    BodyBuilder body;
    body.Text("s").Text("").Word(44100).Word(16).Word(1).Word(10).Word(60).Word(0).Word(0).Word(0).Word(
        1000000);
    body.Zeros(16000000).Word(20).Word(20).Raw(Counting(20)).Word(0);
    EXPECT_EQ(kBankWriteFailed, RunNotes(WithSample(Text(body))));
    EXPECT_STREQ("it has more loops than a bank's sample can hold", m_driver.Engine().GetFault().pszCause);
}

// 2^20 layers at each of 256 keys.
TEST_F(EngineHostileTest, MoreRecordsThanABankListsAreRefusedBeforeAnyIsWritten) {
    SourceSpec spec;
    spec.programs = {{true, {{0, 255, std::vector<uint32_t>(size_t{1} << 20, 0)}}}};
    MakeSource(m_strSource, spec);
    ASSERT_EQ(kBankDone, m_driver.Analyse(m_strSource));
    EXPECT_EQ(kBankWriteFailed, m_driver.Build(44100, 1));
    EXPECT_STREQ(
        "a bank lists at most 268,435,454 records; choose the plain layout, or make two sources of this one",
        m_driver.Engine().GetFault().pszCause);
    EXPECT_EQ(BankSide::Source, m_driver.Engine().GetFault().side);
    EXPECT_TRUE(fs::is_empty(m_banks));
}

}  // namespace
}  // namespace Kestrova::Test
