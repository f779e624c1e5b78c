// Verbs that run out of memory: they say so, or all is done; nothing else is said or left. Each allocation of
// a kind fails in a run of its own.
#include <cerrno>
#include <functional>

#include "tests/support/PosixFaults.h"
#include "tests/support/TestDatabase.h"
#include "tests/tools/kvbank/CommandFixture.h"
#include "tools/kvbank/engine/EngineRun.h"
#include "tools/kvbank/folder/BankFolder.h"

namespace Kestrova::Test {
namespace {

using ::testing::EndsWith;
using ::testing::IsEmpty;

class WantOfMemoryTest : public CommandTest {
protected:
    // The words end with 0, and then `expectDone` holds, or with the want. Returns how many runs told the want.
    int Walk(const char* pszCall, const std::vector<std::string>& words,
             const std::function<void(const Outcome&)>& expectDone) const {
        int nTold = 0;
        bool bMet = true;
        for (int nNth = 1; bMet; ++nNth) {
            SCOPED_TRACE(testing::Message() << pszCall << " number " << nNth);
            Outcome outcome;
            {
                const PosixFault fault(pszCall, ENOMEM, nNth);
                outcome = Run(words);
                bMet = fault.Calls() >= nNth;
            }
            if (outcome.nCode == kExitDone) {
                expectDone(outcome);
                continue;
            }
            EXPECT_EQ(kExitNoMemory, outcome.nCode);
            EXPECT_THAT(outcome.strErr, EndsWith(" memory\n"));
            ++nTold;
        }
        return nTold;
    }
};

TEST_F(WantOfMemoryTest, ASourceThatCannotBeLookedAtIsNotTakenForAnotherFile) {
    Source();
    const std::string strWhole = Run({"info", "DIR/Src.kvs"}).strOut;
    int nTold = 0;
    for (const char* const pszCall : {"malloc", "calloc", "realloc", "_ZnwmRKSt9nothrow_t"})
        nTold += Walk(pszCall, {"info", "DIR/Src.kvs"},
                      [&](const Outcome& outcome) { EXPECT_EQ(strWhole, outcome.strOut); });
    EXPECT_LT(2, nTold);
}

TEST_F(WantOfMemoryTest, AWorkerThatHasNoneIsNoFaultOfTheSource) {
    Source();
    const PosixFault fault("pthread_create", ENOMEM);
    const Outcome outcome = Run({"info", "DIR/Src.kvs"});
    EXPECT_EQ(kExitNoMemory, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src.kvs: no worker thread could be started: Cannot allocate memory\n",
              outcome.strErr);
}

TEST_F(WantOfMemoryTest, ADemoHasTheSameBytesOrIsNotMade) {
    ASSERT_EQ(kExitDone, Run({"demo", "-o", "DIR/Demo.kvs"}).nCode);
    const Bytes demo = ReadFile(File("Demo.kvs"));
    int nTold = 0;
    for (const char* const pszCall : {"malloc", "realloc", "_ZnwmRKSt9nothrow_t"})
        nTold += Walk(pszCall, {"demo", "-o", "DIR/Again.kvs"}, [&](const Outcome&) {
            EXPECT_EQ(demo, ReadFile(File("Again.kvs")));
            std::filesystem::remove(File("Again.kvs"));
        });
    EXPECT_LT(10, nTold);
    EXPECT_THAT(Names(), ElementsAre("Demo.kvs"));
}

// It must not be built in the folder that the engine had before, where it would write over an older bank.
TEST_F(WantOfMemoryTest, ABankWhoseFolderCannotBeNotedIsNotBuiltInAnother) {
    Source();
    const std::filesystem::path other = File("a folder of a longer name than the first one has");
    const std::string strThird = File("a folder of a name that is longer than those of both of the others");
    std::filesystem::create_directory(File("out"));
    std::filesystem::create_directory(other);
    EngineRun engine;
    ASSERT_EQ(kBankDone, engine.Analyse(File("Src.kvs")));
    unsigned nRemoved = 0;
    ASSERT_TRUE(engine.RemoveInterrupted(File("out"), nRemoved).IsDone());
    {
        const PosixFault fault("_Znwm", ENOMEM);
        EXPECT_EQ(kBankNoMemory, engine.Start(other, 48000, BankLayout::Plain, 0));
    }
    EXPECT_THAT(Names("out"), IsEmpty());
    {
        const PosixFault fault("_Znwm", ENOMEM);
        const Ending ending = engine.RemoveInterrupted(strThird, nRemoved);
        EXPECT_EQ(kExitNoMemory, ending.code);
        EXPECT_EQ("out of memory", ending.strError);
    }
    ASSERT_EQ(kBankDone, engine.Start(other, 48000, BankLayout::Plain, 0));
    EXPECT_EQ(kBankDone, engine.Finish());
    EXPECT_TRUE(std::filesystem::exists(other / k48000));
}

TEST_F(WantOfMemoryTest, AFileThatIsNotOpenedForWantOfMemoryIsNoStrangeFile) {
    const std::filesystem::path letter = File("letter");
    WriteFile(letter.string(), std::string("a letter that is longer than a header"));
    errno = ENOMEM;
    EXPECT_THROW(LookUnopened(letter), std::bad_alloc);
    errno = EIO;
    EXPECT_EQ(BankState::Unreadable, LookUnopened(letter).state);
    errno = 0;
    EXPECT_EQ(BankState::NotABank, LookUnopened(letter).state);
}

}  // namespace
}  // namespace Kestrova::Test
