// The sentences of the status line.
#include <gtest/gtest.h>

#include <cerrno>

#include "app/StatusText.h"

namespace Kestrova::Test {
namespace {

using std::chrono::seconds;

TEST(StatusTextTest, TheFileIsNamedWithoutItsFolder) {
    EXPECT_STREQ("b.kvs", FilePart("/a/b.kvs"));
    EXPECT_STREQ("b.kvs", FilePart("b.kvs"));
}

TEST(StatusTextTest, BanksThatAreReadyAreListed) {
    EXPECT_STREQ("", ReadyText({}));
    EXPECT_STREQ("The bank for 48000 is ready.", ReadyText({48000}));
    EXPECT_STREQ("Banks for 48000 and 96000 are ready.", ReadyText({48000, 96000}));
    EXPECT_STREQ("Banks for 44100, 48000 and 96000 are ready.", ReadyText({44100, 48000, 96000}));
}

struct FaultCase {
    BankOutcome outcome;
    const char* pszText;
};

TEST(StatusTextTest, AFailureNamesTheBankAndTheCause) {
    const FaultCase cases[] = {
        {TargetFault(kBankWriteFailed, kSdbAny, kSdbNoID, "", ENOSPC),
         "The bank for 48000 could not be written: No space left on device."},
        {TargetFault(kBankTargetNotCreated, kSdbAny, kSdbNoID, "", EACCES),
         "The bank for 48000 could not be written: Permission denied."},
        {SourceFault(kBankReadFailed, kSdbAny, 7, "the wave is cut short"),
         "The bank for 48000 could not be made: the wave is cut short."},
        {SourceFault(kBankReadFailed, kSdbAny, 7, "the wave is cut short", EIO),
         "The bank for 48000 could not be made: Input/output error."},
        {{.result = kBankNoMemory}, "The bank for 48000 could not be made: there is not enough memory."},
        {{.result = kBankNoWorker}, "The bank for 48000 could not be made: no thread could be started."},
        {{.result = kBankSourceInconsistent}, "The bank for 48000 could not be made: the source is damaged."},
        {{.result = kBankConversionFailed},
         "The bank for 48000 could not be made: a sample cannot be converted."},
        {{.result = kBankWriteFailed}, "The bank for 48000 could not be written: the system gave no reason."},
        {{.result = kBankCancelled}, "The bank for 48000 was cancelled."},
        {{.result = kBankBusy}, "The bank for 48000 is being built by another program."},
    };
    for (const FaultCase& row : cases) EXPECT_STREQ(row.pszText, FailedBankText(48000, row.outcome));
}

TEST(StatusTextTest, ASourceThatCannotBeUsedIsNamed) {
    EXPECT_STREQ("a.kvs cannot be used: this is no source bank.",
                 FailedSourceText("a.kvs", {.result = kBankSourceNotOpened}));
    EXPECT_STREQ("a.kvs cannot be used: Permission denied.",
                 FailedSourceText("a.kvs", {.result = kBankSourceNotOpened, .nError = EACCES}));
}

TEST(StatusTextTest, SpaceIsTold) {
    EXPECT_STREQ("307 M are needed, 100 M are free.", LackOfSpaceText(307, 100));
    EXPECT_STREQ("3 G are needed, 2 G are free.", LackOfSpaceText(3000, 2100));
}

TEST(StatusTextTest, AnImportThatFailsIsToldWithItsCause) {
    EXPECT_STREQ("a.sf2 was not imported: there is no sample.",
                 FailedImportText("a.sf2", Refused("there is no sample")));
    EXPECT_STREQ("a.sf2 was not imported: No space left on device.",
                 FailedImportText("a.sf2", NotWritten(ENOSPC, "")));
    EXPECT_STREQ("The import of a.sf2 was cancelled.", FailedImportText("a.sf2", Cancelled()));
}

TEST(StatusTextTest, ARunIsToldInBanksBytesAndTime) {
    EXPECT_STREQ("Bank 1 of 2, 37 %", RunText(1, 2, 0.379, std::nullopt));
    EXPECT_STREQ("Bank 2 of 2, 90 %, about 59 s left", RunText(2, 2, 0.9, seconds(59)));
    EXPECT_STREQ("Bank 2 of 2, 90 %, about 2 min left", RunText(2, 2, 0.9, seconds(95)));
    EXPECT_STREQ("Bank 2 of 2, 90 %, about 1 h 1 min left", RunText(2, 2, 0.9, seconds(3661)));
}

}  // namespace
}  // namespace Kestrova::Test
