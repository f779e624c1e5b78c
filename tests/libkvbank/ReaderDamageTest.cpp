// Damaged and hostile files: an error, whatever the bytes are.
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "tests/libkvbank/ReadAll.h"
#include "tests/libkvbank/ReaderFixture.h"
#include "tests/support/TestDatabase.h"
#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

class ReaderDamageTest : public ReaderTest {
protected:
    // Bodies of the records, all fields but those given being 0.
    static std::string Words(std::initializer_list<uint32_t> words) {
        Bytes bytes;
        for (const uint32_t nWord : words) PutLittle(bytes, nWord, 4);
        return {bytes.begin(), bytes.end()};
    }
    static std::string BankBody() { return std::string(1, '\0') + Words({3, 0, 0}); }
    static std::string ProgramBody() { return std::string(1, '\0') + Words({4, 0, 1, 0}); }
    static std::string RegionBody() { return std::string(1, '\0') + Words({0, 127, 0, 127, 0}); }
    static std::string LayerBody(uint32_t idSample) { return Words({0, 64, 1, 0, 0, idSample, 0}); }
    // Sixteen bits, mono, raw; nFrames are stated, the wave has four bytes.
    static std::string SampleBody(uint32_t nFormat = 16, uint32_t nChannels = 1, uint32_t nFrames = 2) {
        return std::string(2, '\0') +
               Words({44100, nFormat, nChannels, nFrames, 60, 0, 0, 0, 0, 4, 4, 0x00020001, 0});
    }
    static std::vector<NoteFields> SmallBank(uint32_t idPlayed = 5) {
        return {{0, kSdbBank, 1, kSdbNoID, BankBody()},
                {0, kSdbProgram, 2, 1, ProgramBody()},
                {0, kSdbRegion, 3, 2, RegionBody()},
                {0, kSdbLayer, 4, 3, LayerBody(idPlayed)},
                {0, kSdbSample, 5, kSdbNoID, SampleBody()}};
    }
    static int ErrorOf(const std::vector<NoteFields>& notes, uint32_t nFormat = kSdbFormatPlain) {
        return OpenedBank(DatabaseImage(notes, nFormat)).Error();
    }
    static int FramesError(const std::string& strBody) {
        const Bytes bytes = DatabaseImage({{0, kSdbSample, 5, kSdbNoID, strBody}});
        const OpenedBank bank(bytes);
        EXPECT_EQ(KVB_OK, bank.Error());
        const void* p = nullptr;
        uint64_t n = 0;
        return kvb_get_frames(bank.Get(), 0, &p, &n);
    }
};

TEST_F(ReaderDamageTest, WhatIsNoBankIsToldSo) {
    EXPECT_EQ(KVB_ERROR_NOT_A_BANK, OpenedBank(Bytes(19, 'Q')).Error());
    EXPECT_EQ(KVB_ERROR_NOT_A_BANK, OpenedBank(Bytes(100, 'Q')).Error());
    WriteFile(File("empty"), Bytes());
    EXPECT_EQ(KVB_ERROR_NOT_A_BANK, OpenedBank(File("empty")).Error());
    EXPECT_EQ(KVB_ERROR_NOT_A_BANK, OpenedBank(File("")).Error()) << "a folder";
    ASSERT_EQ(0, mkfifo(File("pipe").c_str(), 0600));
    EXPECT_EQ(KVB_ERROR_NOT_A_BANK, OpenedBank(File("pipe")).Error()) << "and nobody writes to the pipe";
    EXPECT_EQ(KVB_ERROR_SYSTEM, OpenedBank(File("missing")).Error());
    EXPECT_EQ(ENOENT, errno);
}

TEST_F(ReaderDamageTest, ABuildThatIsNotFinishedIsToldSo) {
    const NoteFields table = {kSdbStateNew, kSdbQuickLoad, 0, kSdbNoID, std::string(16, '\0')};
    EXPECT_EQ(KVB_ERROR_UNFINISHED, ErrorOf({table}, kSdbFormatEnriched));
    EXPECT_EQ(KVB_ERROR_UNFINISHED, ErrorOf({}, kSdbFormatEnriched));
    EXPECT_EQ(KVB_OK, ErrorOf({}, kSdbFormatPlain)) << "a source without records";
}

TEST_F(ReaderDamageTest, ABuiltBankWithoutAnInformationRecordIsDamaged) {
    EXPECT_EQ(KVB_ERROR_DAMAGED, ErrorOf({{0, kSdbBank, 1, kSdbNoID, BankBody()}}, kSdbFormatEnriched));
}

TEST_F(ReaderDamageTest, ATableOrANoteThatLeavesTheFileIsDamage) {
    EXPECT_EQ(KVB_OK, ErrorOf(SmallBank()));
    EXPECT_EQ(KVB_ERROR_DAMAGED, OpenedBank(WithoutLast(DatabaseImage(SmallBank()), 1)).Error());
    Bytes table = DatabaseImage({{0, kSdbQuickLoad, 0, kSdbNoID, std::string(32, '\0')}});
    EXPECT_EQ(KVB_ERROR_DAMAGED, OpenedBank(WithoutLast(table, 1)).Error());
    table[20 + 14 + 12] = 32;        // its own note's size
    table[20 + 14 + 16 + 12] = 200;  // a second note, which is not there
    EXPECT_EQ(KVB_ERROR_DAMAGED, OpenedBank(table).Error());
}

TEST_F(ReaderDamageTest, NotesThatWereDeletedAreNotThere) {
    std::vector<NoteFields> notes = SmallBank();
    notes.insert(notes.begin() + 1, {kSdbStateDeleted, kSdbProgram, 9, 1, "no program at all"});
    const Bytes bytes = DatabaseImage(notes);
    EXPECT_EQ(1u, OpenedBank(bytes).Bank().program_count);
}

TEST_F(ReaderDamageTest, ALayerOfASampleThatIsNotThereIsDamageAndOneOfNoneIsNot) {
    EXPECT_EQ(KVB_ERROR_DAMAGED, ErrorOf(SmallBank(6)));
    const Bytes bytes = DatabaseImage(SmallBank(kSdbNoID));
    const OpenedBank bank(bytes);
    ASSERT_EQ(KVB_OK, bank.Error());
    EXPECT_EQ(KVB_NONE, bank.Layer(0, 0).sample);
}

TEST_F(ReaderDamageTest, ChildrenOfNobodyOrOfTheWrongTypeAreLeftOut) {
    std::vector<NoteFields> notes = SmallBank();
    notes.push_back({0, kSdbProgram, 10, 10, "its own parent"});
    notes.push_back({0, kSdbRegion, 11, 1, "below a bank"});
    notes.push_back({0, kSdbLayer, 12, 99, "below nothing"});
    const Bytes bytes = DatabaseImage(notes);
    const OpenedBank bank(bytes);
    ASSERT_EQ(KVB_OK, bank.Error());
    EXPECT_EQ(1u, bank.Bank().program_count);
    EXPECT_EQ(1u, bank.Program(0).region_count);
}

// Children may stand anywhere, and parents have several.
TEST_F(ReaderDamageTest, TheOrderOfTheNotesDoesNotMatter) {
    std::vector<NoteFields> notes = SmallBank();
    notes.push_back({0, kSdbProgram, 20, 1, ProgramBody()});
    notes.push_back({0, kSdbRegion, 21, 20, RegionBody()});
    notes.push_back({0, kSdbRegion, 22, 2, RegionBody()});
    notes.push_back({0, kSdbLayer, 23, 21, LayerBody(kSdbNoID)});
    std::reverse(notes.begin(), notes.end());
    const Bytes bytes = DatabaseImage(notes);
    const OpenedBank bank(bytes);
    ASSERT_EQ(KVB_OK, bank.Error());
    ASSERT_EQ(2u, bank.Bank().program_count);
    EXPECT_EQ(1u, bank.Program(0).region_count);
    EXPECT_EQ(2u, bank.Program(1).region_count);
    EXPECT_EQ(KVB_NONE, bank.Layer(bank.Program(0).first_region, 0).sample);
    EXPECT_EQ(0u, bank.Layer(bank.Program(1).first_region + 1, 0).sample);
    EXPECT_EQ(0u, bank.Region(bank.Program(1).first_region).layer_count);
}

TEST_F(ReaderDamageTest, RecordsThatEndTooEarlyAreDamage) {
    const std::vector<NoteFields> whole = SmallBank();
    for (size_t nNote = 0; nNote < 4; ++nNote)
        for (size_t nKept = 0; nKept < whole[nNote].strBody.size(); ++nKept) {
            std::vector<NoteFields> notes = whole;
            notes[nNote].strBody.resize(nKept);
            EXPECT_EQ(KVB_ERROR_DAMAGED, ErrorOf(notes)) << nNote << " " << nKept;
        }
}

TEST_F(ReaderDamageTest, ASampleThatEndsTooEarlyIsFoundWhenItIsAskedFor) {
    const std::string strWhole = SampleBody();
    for (size_t nKept = 0; nKept < strWhole.size(); ++nKept)
        EXPECT_EQ(KVB_ERROR_DAMAGED, FramesError(strWhole.substr(0, nKept))) << nKept;
    EXPECT_EQ(KVB_OK, FramesError(strWhole));
}

TEST_F(ReaderDamageTest, MoreFramesThanTheWaveHasAreDamage) {
    EXPECT_EQ(KVB_ERROR_DAMAGED, FramesError(SampleBody(16, 1, 3)));
    EXPECT_EQ(KVB_ERROR_DAMAGED, FramesError(SampleBody(16, 0, 1))) << "no channels";
    EXPECT_EQ(KVB_ERROR_DAMAGED, FramesError(SampleBody(7, 1, 1))) << "no bytes";
    EXPECT_EQ(KVB_ERROR_DAMAGED, FramesError(SampleBody(0x7FFFFFF8, 0xFFFFFFFF, 0xFFFFFFFF)));
    EXPECT_EQ(KVB_OK, FramesError(SampleBody(16, 2, 1)));
}

TEST_F(ReaderDamageTest, AFrameTooLargeForItsFieldIsDamage) {
    const Bytes bytes = DatabaseImage({{0, kSdbSample, 5, kSdbNoID, SampleBody(0x7FFFFFF8, 17)}});
    kvb_sample sample;
    EXPECT_EQ(KVB_ERROR_DAMAGED, kvb_get_sample(OpenedBank(bytes).Get(), 0, &sample, sizeof sample));
}

// Whatever is cut off: an error or a bank that can be read, never a crash. AddressSanitizer watches.
TEST_F(ReaderDamageTest, ABankCutAnywhereIsRefusedOrCanBeRead) {
    const Bytes whole = ReadFile(Built(TwoPrograms()));
    for (size_t nBytes = 0; nBytes < whole.size(); nBytes += nBytes < 1000 ? 1 : 37) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(nBytes));
        kvb_bank* pBank = nullptr;
        EXPECT_NE(KVB_OK, kvb_open_memory(cut.data(), cut.size(), &pBank)) << nBytes;
    }
    EXPECT_GT(ReadAll(OpenedBank(whole).Get()), 0u);
}

TEST_F(ReaderDamageTest, ABankWithAnyByteChangedIsRefusedOrCanBeRead) {
    for (const Bytes& whole : {ReadFile(Built(TwoPrograms())), ReadFile(File("Src.kvs"))}) {
        const OpenedBank good(whole);
        const uint64_t nWave = good.Sample(0).file_offset;
        for (size_t nAt = 0; nAt < whole.size(); ++nAt) {
            if (nAt > nWave && nAt < nWave + 500) continue;  // a wave's own bytes mean nothing here
            for (const int nByte : {0x00, 0x7F, 0xFF}) {
                Bytes changed = whole;
                changed[nAt] = static_cast<uint8_t>(nByte);
                const OpenedBank bank(changed);
                if (bank.Error() == KVB_OK) ReadAll(bank.Get());
            }
        }
    }
}

TEST_F(ReaderDamageTest, TheBadFilesOfTheWorkedCasesAreRefusedOrCanBeRead) {
    int nFiles = 0;
    for (const char* pszFolder : {"bad", "containers", "builds"})
        for (const auto& entry : fs::recursive_directory_iterator(VectorPath(pszFolder))) {
            if (!entry.is_regular_file()) continue;
            const OpenedBank bank(entry.path().string());
            if (bank.Error() == KVB_OK) ReadAll(bank.Get());
            ++nFiles;
        }
    EXPECT_GT(nFiles, 20);
}

}  // namespace
}  // namespace Kestrova::Test
