// kvbank on a file system that has no locks, as some network and cluster file systems: all of it works, a
// build says once what protection is missing, and nothing is removed that may be in use.
#include <cerrno>
#include <cstring>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/SoundFontMaker.h"
#include "tests/tools/kvbank/CommandFixture.h"

namespace Kestrova::Test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

// The parameter is what the system answers to every request for a lock.
class NoLocksTest : public CommandTest, public ::testing::WithParamInterface<int> {
protected:
    NoLocksTest() { Source(); }

    Outcome Build() const { return Run({"build", "DIR/Src.kvs", "-d", "DIR/banks", "-r", "44100,48000"}); }
    Bytes BytesBehindIdentity(const std::string& strName) const {
        const Bytes bytes = ReadFile(File("banks/" + strName));
        return Bytes(bytes.begin() + FileHeader::kBytes, bytes.end());
    }
    // A private folder, a part file and an interrupted bank.
    void MakeLeftovers() const {
        fs::create_directories(File("banks/.kvbank-dEaD00"));
        WriteFile(File("banks/.kvbank-dEaD00/Src_0BB80.kvn"), std::string("part of a bank"));
        WriteFile(File("banks/.kvbank-part-000000"), std::string("part of a bank"));
        WriteFile(File("banks/Src_17700.kvn"), std::string());
    }
};

TEST_P(NoLocksTest, ABuildMakesTheSameBanksAndWarnsOnce) {
    ASSERT_EQ(0, Build().nCode);
    const Bytes at44100 = BytesBehindIdentity(k44100), at48000 = BytesBehindIdentity(k48000);
    fs::remove_all(File("banks"));
    const PosixFault fault("flock", GetParam(), PosixFault::kEveryCall);
    const Outcome outcome = Build();
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ(std::string("kvbank: warning: DIR/banks: the file system has no locks (") +
                  std::strerror(GetParam()) +
                  "), so nothing keeps other builds away from this one's banks; run one build at a time in "
                  "this folder\n",
              outcome.strErr);
    EXPECT_EQ(at44100, BytesBehindIdentity(k44100));
    EXPECT_EQ(at48000, BytesBehindIdentity(k48000));
    EXPECT_THAT(Names("banks"), ElementsAre(k44100, k48000));
}

TEST_P(NoLocksTest, ReadingVerbsSayNothingOfIt) {
    ASSERT_EQ(0, Build().nCode);
    const std::vector<std::vector<std::string>> kReading = {
        {"list", "DIR/banks"},
        {"list", "DIR/banks", "--source", "DIR/Src.kvs"},
        {"info", "DIR/banks/Src_0AC44.kvn"},
        {"verify", "DIR/banks/Src_0AC44.kvn", "--source", "DIR/Src.kvs"},
    };
    for (const std::vector<std::string>& arguments : kReading) {
        SCOPED_TRACE(arguments[0]);
        const Outcome locked = Run(arguments);
        const PosixFault fault("flock", GetParam(), PosixFault::kEveryCall);
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(0, outcome.nCode);
        EXPECT_EQ("", outcome.strErr);
        EXPECT_EQ(locked.strOut, outcome.strOut);
    }
}

TEST_P(NoLocksTest, WhatMayBeInUseIsListedAndNotRemoved) {
    MakeLeftovers();
    const PosixFault fault("flock", GetParam(), PosixFault::kEveryCall);
    const Outcome listed = Run({"list", "DIR/banks"});
    EXPECT_EQ(0, listed.nCode);
    EXPECT_EQ("", listed.strErr);
    const std::string strNotTold = "the file system does not tell whether a run is at work on it";
    const std::string strLast = "DIR/banks/.kvbank-dEaD00 (private folder): " + strNotTold +
                                "\nDIR/banks/.kvbank-part-000000 (part file): " + strNotTold + "\n";
    EXPECT_THAT(listed.strOut, ::testing::EndsWith(strLast));
    EXPECT_THAT(listed.strOut, ::testing::ContainsRegex(" unfinished +DIR/banks/Src_17700.kvn\n"));
    const std::string strStays =
        ": left as it is, because " + strNotTold + "; delete it yourself when none is\n";
    const Outcome removed = Run({"remove", "DIR/banks", "--leftovers"});
    EXPECT_EQ(0, removed.nCode);
    EXPECT_EQ("", removed.strErr);
    EXPECT_EQ("DIR/banks/.kvbank-dEaD00" + strStays + "DIR/banks/.kvbank-part-000000" + strStays +
                  "DIR/banks/Src_17700.kvn" + strStays,
              removed.strOut);
    const Json document = Run({"remove", "DIR/banks", "--leftovers", "--json"}).Document();
    for (const Json& row : document["leftovers"])
        EXPECT_TRUE(row["may_be_in_use"] == true && row["removed"] == false) << row;
    EXPECT_THAT(Names("banks"), ElementsAre(".kvbank-dEaD00", ".kvbank-part-000000", "Src_17700.kvn"));
}

// What a build there finds of others it neither takes for a bank nor removes.
TEST_P(NoLocksTest, ABuildPassesByWhatMayBeInUse) {
    MakeLeftovers();
    const PosixFault fault("flock", GetParam(), PosixFault::kEveryCall);
    EXPECT_EQ(0, Build().nCode);
    EXPECT_THAT(Names("banks"), UnorderedElementsAre(".kvbank-dEaD00", ".kvbank-part-000000", k44100, k48000,
                                                     "Src_17700.kvn"));
}

// With unnamed temporary files and without them.
TEST_P(NoLocksTest, AnImportWorksWithoutAWarning) {
    WriteFile(File("a.sf2"), MakeFont(SimpleFont()));
    const PosixFault fault("flock", GetParam(), PosixFault::kEveryCall);
    for (const int nOpen : {1, 1000000}) {
        SCOPED_TRACE(nOpen);
        const PosixFault unnamed("access", ENOENT, nOpen);
        const Outcome outcome = Run({"import", "DIR/a.sf2", "-o", "DIR/a.kvs", "-f"});
        EXPECT_EQ(0, outcome.nCode);
        EXPECT_EQ("", outcome.strErr);
        EXPECT_EQ(0, Run({"verify", "DIR/a.kvs"}).nCode);
        EXPECT_THAT(Names(), ElementsAre("Src.kvs", "a.kvs", "a.sf2"));
    }
}

INSTANTIATE_TEST_SUITE_P(Errors, NoLocksTest, ::testing::Values(ENOLCK, EOPNOTSUPP, ENOSYS));

}  // namespace
}  // namespace Kestrova::Test
