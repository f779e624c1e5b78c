// What a bank's file tells about its own state, without its source.
#include "tests/support/TestDatabase.h"
#include "tests/tools/kvbank/CommandFixture.h"
#include "tools/kvbank/folder/BankCheck.h"
#include "tools/kvbank/folder/BankFolder.h"

namespace Kestrova::Test {
namespace {

using Notes = std::vector<NoteFields>;

class BankCheckTest : public CommandTest {
protected:
    BankCheckTest() {
        Source();
        Run({"build", "DIR/Src.kvs", "-d", "DIR/made", "-r", "44100"});
        m_good = ReadFile(File("made/Src_0AC44.kvn"));
    }

    // The state of a bank of these bytes, with the cause.
    std::string StateOf(const Bytes& bytes, const char* pszName = k44100) const {
        fs::create_directory(File("x"));
        WriteFile(File(std::string("x/") + pszName), bytes);
        std::error_code error;
        const std::vector<BankFile> banks = ListBanks(File("x"), "Src", error);
        fs::remove_all(File("x"));
        if (banks.size() != 1) return "not found";
        const std::string strCause = banks[0].strCause;
        return StateName(banks[0].state) + (strCause.empty() ? "" : ": " + strCause);
    }
    std::string StateOf(const Notes& notes) const {
        return StateOf(DatabaseImage(notes, kSdbFormatEnriched));
    }
    Bytes First(size_t nBytes) const {
        return Bytes(m_good.begin(), m_good.begin() + static_cast<std::ptrdiff_t>(nBytes));
    }

    Bytes m_good;
};

// Eight notes: the table takes 14 + 128 bytes behind the 20 of the header. What has the format code, but no
// whole note, cannot be told from what an interrupted build leaves.
TEST_F(BankCheckTest, ABankCutShortAtAnyByteIsNeverComplete) {
    ASSERT_EQ(1187u, m_good.size());
    EXPECT_EQ("complete", StateOf(m_good));
    for (size_t nBytes = 0; nBytes < m_good.size(); ++nBytes) {
        std::string strExpected =
            "damaged: it is cut short, " + std::to_string(nBytes) + " of 1187 bytes are there";
        if (nBytes < 162) strExpected = "damaged: its quick-load table is cut short";
        if (nBytes < 34) strExpected = "interrupted";
        if (nBytes > 0 && nBytes < 4) strExpected = "damaged: its header is cut short";
        ASSERT_EQ(strExpected, StateOf(First(nBytes))) << nBytes;
    }
}

TEST_F(BankCheckTest, StrayBytesAtTheEndAreDamage) {
    Bytes bytes = m_good;
    bytes.insert(bytes.end(), 3, 0);
    EXPECT_EQ("damaged: 3 bytes at its end belong to no record", StateOf(bytes));
}

TEST_F(BankCheckTest, ATableThatIsEmptyOrWasNeverFilledIsDamage) {
    Notes notes = NotesOf(m_good);
    std::fill(notes[0].strBody.begin(), notes[0].strBody.end(), '\0');
    EXPECT_THAT(StateOf(notes), ::testing::EndsWith("bytes at its end belong to no record"));
    notes[0].strBody.clear();
    EXPECT_THAT(StateOf(notes), ::testing::EndsWith("bytes at its end belong to no record"));
}

TEST_F(BankCheckTest, TheNameMustNotBelieTheBank) {
    EXPECT_EQ("damaged: its name gives another sample rate than its information record, 44100 Hz",
              StateOf(m_good, k48000));
    EXPECT_EQ("damaged: its name gives another layout than its information record",
              StateOf(m_good, k44100PerKey));
    EXPECT_EQ("damaged: its name gives another sample rate than its information record, 44100 Hz",
              StateOf(m_good, k48000PerKey));
}

TEST_F(BankCheckTest, ABankNeedsAnInformationRecordThatCanBeRead) {
    Notes notes = NotesOf(m_good);
    notes.erase(notes.begin());
    EXPECT_EQ("complete", StateOf(notes)) << "without a table its notes are counted";
    notes[0].strBody.resize(3);
    EXPECT_EQ("damaged: its information record cannot be read whole", StateOf(notes));
    notes.erase(notes.begin());
    EXPECT_EQ("damaged: there is no information record", StateOf(notes));
}

// A source bank may bear a bank's name; what a source's information says of rates is its own affair.
TEST_F(BankCheckTest, ADatabaseOfTheOtherKindIsJudgedByItsSizesAlone) {
    const Bytes source = ReadFile(File("Src.kvs"));
    EXPECT_EQ("complete", StateOf(source, k48000PerKey));
    EXPECT_EQ("damaged: it is cut short, 556 of 557 bytes are there", StateOf(WithoutLast(source, 1)));
    EXPECT_EQ("not a bank: not a bank", StateOf(Bytes(source.begin(), source.begin() + 19)));
}

TEST_F(BankCheckTest, WhatDoesNotBeginAsABankIsNone) {
    EXPECT_EQ("not a bank: not a bank", StateOf(Bytes{'Q', 'X', 'E', 'V'}));
    EXPECT_EQ("not a bank: not a bank", StateOf(Bytes(1000, 'x')));
    EXPECT_EQ("damaged: its header is cut short", StateOf(Bytes{'Q', 'X', 'E'}));
}

// A table that claims more than the file can hold takes no memory for it.
TEST_F(BankCheckTest, HostileSizesAreBounded) {
    Bytes bytes = m_good;
    for (size_t i = 0; i < 4; ++i) bytes[20 + 10 + i] = i == 0 ? 0xF0 : 0xFF;  // the table's size
    EXPECT_EQ("damaged: its quick-load table is cut short", StateOf(bytes));
    bytes = m_good;
    for (size_t i = 0; i < 4; ++i) bytes[34 + 16 + 12 + i] = 0xFF;  // the second entry's body size
    EXPECT_THAT(StateOf(bytes), ::testing::StartsWith("damaged: it is cut short, 1187 of 4294968"));
}

}  // namespace
}  // namespace Kestrova::Test
