#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "shared/System/kvPreferencesFile.h"
#include "tests/support/FolderNames.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

class PreferencesFileTest : public testing::Test {
protected:
    PreferencesFile File(bool bShared = false) const { return {m_strPath.c_str(), bShared}; }

    template <class T>
    bool Put(const std::string& strKey, T value, bool bShared = false) const {
        return File(bShared).Write(
            [&](PreferencesDictionary& entries) { entries[strKey].content = std::move(value); });
    }
    bool PutOne() const { return Put("one", 1); }

    PreferencesDictionary Entries() const {
        PreferencesDictionary entries;
        EXPECT_TRUE(File().Read(entries));
        return entries;
    }
    // The entry, which must be of this kind.
    template <class T>
    T Get(const std::string& strKey) const {
        PreferencesDictionary entries = Entries();
        return std::get<T>(std::move(entries.at(strKey).content));
    }

    std::string Text() const { return TextOf(m_strPath); }
    static std::string TextOf(const std::string& strPath) {
        const auto bytes = ReadFile(strPath);
        return {bytes.begin(), bytes.end()};
    }
    void WriteText(const std::string& strText) const { WriteFile(m_strPath, strText); }

    // What the copies of damaged files hold, by number.
    std::vector<std::string> DamagedTexts() const {
        std::vector<std::string> texts;
        for (const char* pszEnd : {".damaged", ".damaged.2", ".damaged.3", ".damaged.4"})
            if (fs::exists(m_strPath + pszEnd)) texts.push_back(TextOf(m_strPath + pszEnd));
        return texts;
    }

    // The names in the folder.
    std::vector<std::string> Names() const { return NamesIn(m_dir.Path()); }

    TempDir m_dir;
    std::string m_strPath = m_dir.File("domain.json");
};

using NameList = std::vector<std::string>;
using Texts = std::vector<std::string>;

unsigned PermissionsOf(const std::string& strPath) {
    return static_cast<unsigned>(fs::status(strPath).permissions());
}

std::string Nested(size_t nDepth) {
    std::string strText = R"({"deep": )";
    for (size_t i = 1; i < nDepth; ++i) strText += '[';
    for (size_t i = 1; i < nDepth; ++i) strText += ']';
    return strText + "}";
}

std::string NestedDictionaries(size_t nDepth) {
    std::string strText;
    for (size_t i = 1; i < nDepth; ++i) strText += R"({"a":)";
    return strText + "{}" + std::string(nDepth - 1, '}');
}

// Each is no object that can be read whole.
const std::string kDamaged[] = {
    "{",
    "[]",
    "7",
    "{} {}",
    " \n",
    R"({"a": 1,})",
    "{\"a\": \"\xff\"}",
    R"({"a": 1e999})",
    std::string("{\"a\": 1}\0", 9),
    Nested(PreferencesFile::kMaxDepth + 1),
    NestedDictionaries(PreferencesFile::kMaxDepth + 1),
    std::string(1000000, '['),
    R"({"a": )" + std::string(1000000, '['),
};

}  // namespace

TEST_F(PreferencesFileTest, AMissingOrEmptyFileHasNoEntriesAndReadingMakesNone) {
    EXPECT_TRUE(Entries().empty());
    EXPECT_TRUE(Names().empty());
    WriteText("");
    EXPECT_TRUE(Entries().empty());
    EXPECT_TRUE(PutOne());
    EXPECT_EQ("{\n    \"one\": 1\n}\n", Text());
}

TEST_F(PreferencesFileTest, TheKindsAreWrittenAsJsonHasThemAndTheOthersAreTagged) {
    EXPECT_TRUE(File().Write([](PreferencesDictionary& entries) {
        entries["bin"].content = PreferencesBinary{0, 0x7f, 0xab};
        entries["bool"].content = true;
        entries["dict"].content = std::make_unique<PreferencesDictionary>();
        entries["int"].content = -5;
        entries["raw"].content = std::string("\xe4");
        entries["text"].content = std::string("\xc3\xa4");
    }));
    EXPECT_EQ(
        "{\n"
        "    \"bin\": {\"$binary\": [\"007fab\"]},\n"
        "    \"bool\": true,\n"
        "    \"dict\": {},\n"
        "    \"int\": -5,\n"
        "    \"raw\": {\"$text\": [\"e4\"]},\n"
        "    \"text\": \"\xc3\xa4\"\n"
        "}\n",
        Text());
    EXPECT_EQ((PreferencesBinary{0, 0x7f, 0xab}), Get<PreferencesBinary>("bin"));
    EXPECT_TRUE(Get<bool>("bool"));
    EXPECT_TRUE(Get<std::unique_ptr<PreferencesDictionary>>("dict")->empty());
    EXPECT_EQ(-5, Get<int>("int"));
    EXPECT_EQ("\xe4", Get<std::string>("raw"));
    EXPECT_EQ("\xc3\xa4", Get<std::string>("text"));
}

TEST_F(PreferencesFileTest, OnlyATagWithAListOfOneTextIsABlock) {
    for (const char* pszValue :
         {R"({"$binary": "00"})", R"({"$binary": []})", R"({"$binary": ["00", "00"]})", R"({"$binary": [0]})",
          R"({"$binary": ["0"]})", R"({"$binary": ["0g"]})", R"({"$binary": ["-1"]})",
          R"({"$binary": ["00"], "a": 1})", R"({"$text": "00"})", "{}"}) {
        WriteText(R"({"a": )" + std::string(pszValue) + "}");
        EXPECT_NE(nullptr, Get<std::unique_ptr<PreferencesDictionary>>("a")) << pszValue;
    }
    WriteText(R"({"$binary": ["00"]})");
    EXPECT_EQ(R"(["00"])", Get<PreferencesOther>("$binary").strJson) << "the file itself is never a block";
    WriteText(R"({"a": {"$binary": ["00Ff"]}, "b": {"$binary": [""]}})");
    EXPECT_EQ((PreferencesBinary{0, 0xff}), Get<PreferencesBinary>("a"));
    EXPECT_TRUE(Get<PreferencesBinary>("b").empty());
}

TEST_F(PreferencesFileTest, ValuesOfNoKindOfOursAreKept) {
    const std::string strOthers =
        "{\n"
        "    \"fraction\": 0.10,\n"
        "    \"huge\": 123456789012345678901234567890,\n"
        "    \"list\": [1,-2,[],[{}],{\"a\":[true,false],\"x\\n\":null},0.50,\"\\\"text\"],\n"
        "    \"most\": 18446744073709551615,\n"
        "    \"none\": null,\n"
        "    \"one\": 1,\n"
        "    \"over\": 2147483648,\n"
        "    \"under\": -2147483649,\n"
        "    \"whole\": 1.0\n"
        "}\n";
    WriteText(strOthers);
    for (const char* pszKey : {"fraction", "huge", "list", "most", "none", "over", "under", "whole"})
        EXPECT_NE("", Get<PreferencesOther>(pszKey).strJson) << pszKey;
    EXPECT_TRUE(PutOne());
    EXPECT_EQ(strOthers, Text());
}

TEST_F(PreferencesFileTest, IntegersHave32Bits) {
    WriteText(R"({"least": -2147483648, "most": 2147483647, "zero": -0})");
    EXPECT_EQ(-2147483647 - 1, Get<int>("least"));
    EXPECT_EQ(2147483647, Get<int>("most"));
    EXPECT_EQ(0, Get<int>("zero"));
}

TEST_F(PreferencesFileTest, ADamagedFileHasNoEntries) {
    for (const std::string& strText : kDamaged) {
        WriteText(strText);
        EXPECT_TRUE(Entries().empty()) << strText.substr(0, 40);
    }
}

TEST_F(PreferencesFileTest, ContainersLieNoDeeperThanTheLimit) {
    for (std::string (*pfnNested)(size_t) : {Nested, NestedDictionaries}) {
        WriteText(pfnNested(PreferencesFile::kMaxDepth));
        EXPECT_EQ(1u, Entries().size());
        EXPECT_TRUE(PutOne());
        EXPECT_EQ(2u, Entries().size());
    }
}

TEST_F(PreferencesFileTest, AFileOverTheLimitIsDamaged) {
    std::string strText = R"({"a": 1})";
    strText.resize(PreferencesFile::kMaxBytes, ' ');
    WriteText(strText);
    EXPECT_EQ(1u, Entries().size());
    WriteText(strText + ' ');
    EXPECT_TRUE(Entries().empty());
    // One that is far larger is not read through.
    fs::resize_file(m_strPath, PreferencesFile::kMaxBytes * 64);
    EXPECT_TRUE(Entries().empty());
}

TEST_F(PreferencesFileTest, AWriteKeepsADamagedFileAside) {
    for (const std::string& strText : kDamaged) {
        WriteText(strText);
        EXPECT_TRUE(PutOne());
        EXPECT_EQ(strText, TextOf(m_strPath + ".damaged"));
        EXPECT_EQ(1u, Entries().size());
        fs::remove(m_strPath + ".damaged");
    }
}

TEST_F(PreferencesFileTest, TheLastThreeDamagedFilesAreKept) {
    const auto damage = [this](const std::string& strText) {
        WriteText(strText);
        EXPECT_TRUE(PutOne()) << strText;
        EXPECT_EQ("{\n    \"one\": 1\n}\n", Text()) << strText;
    };
    damage("first");
    EXPECT_EQ((NameList{"domain.json", "domain.json.damaged", "domain.json.lock"}), Names());
    damage("second");
    EXPECT_EQ((Texts{"first", "second"}), DamagedTexts());
    damage("third");
    EXPECT_EQ((Texts{"first", "second", "third"}), DamagedTexts());
    damage("fourth");
    EXPECT_EQ((Texts{"second", "third", "fourth"}), DamagedTexts());
    damage("fifth");
    EXPECT_EQ((Texts{"third", "fourth", "fifth"}), DamagedTexts());
    EXPECT_EQ(5u, Names().size()) << "the file, its lock and three copies";
}

// The order of the numbers stays that of the damages, whatever somebody or a killed process took away.
TEST_F(PreferencesFileTest, AGapAmongTheDamagedFilesIsClosed) {
    WriteFile(m_strPath + ".damaged.3", "old");
    WriteText("new");
    EXPECT_TRUE(PutOne());
    EXPECT_EQ((Texts{"old", "new"}), DamagedTexts());
    EXPECT_FALSE(fs::exists(m_strPath + ".damaged.3"));
}

TEST_F(PreferencesFileTest, AKeptFileThatCannotMoveUpKeepsTheDamagedOneInItsPlace) {
    WriteFile(m_strPath + ".damaged.2", "old");
    WriteText("new");
    const PosixFault fault("rename", EACCES);
    EXPECT_FALSE(PutOne());
    EXPECT_EQ("new", Text());
    EXPECT_EQ("old", TextOf(m_strPath + ".damaged.2"));
}

TEST_F(PreferencesFileTest, WhatIsNoFileOrCannotBeReadIsRefusedAndLeftAlone) {
    fs::create_directory(m_strPath);
    PreferencesDictionary entries;
    EXPECT_FALSE(File().Read(entries));
    EXPECT_FALSE(PutOne());
    fs::remove(m_strPath);
    ASSERT_EQ(0, mkfifo(m_strPath.c_str(), 0600));
    EXPECT_FALSE(File().Read(entries)) << "without waiting for a writer";
    EXPECT_FALSE(PutOne());
    EXPECT_TRUE(fs::is_fifo(m_strPath));
}

TEST_F(PreferencesFileTest, AFileBelowAFileIsRefused) {
    WriteText("");
    const PreferencesFile file((m_strPath + "/domain.json").c_str(), false);
    PreferencesDictionary entries;
    EXPECT_FALSE(file.Read(entries));
    EXPECT_FALSE(file.Write([](PreferencesDictionary&) {}));
}

TEST_F(PreferencesFileTest, EveryFailureLeavesTheFileAndNothingElse) {
    ASSERT_TRUE(PutOne());
    const std::string strBefore = Text();
    // Calls in a write: open lock, file, new file, folder; fsync new file, folder.
    for (const auto& [pszCall, nNth] : {std::pair{"open", 1},
                                        {"flock", 1},
                                        {"open", 2},
                                        {"fstat", 1},
                                        {"read", 1},
                                        {"fchmod", 1},
                                        {"write", 1},
                                        {"fsync", 1},
                                        {"linkat", 1},
                                        {"rename", 1}}) {
        const PosixFault fault(pszCall, EIO, nNth);
        EXPECT_FALSE(Put("two", 2)) << pszCall << " " << nNth;
        EXPECT_EQ(nNth, fault.Calls()) << pszCall;
        EXPECT_EQ(strBefore, Text()) << pszCall << " " << nNth;
        EXPECT_EQ((NameList{"domain.json", "domain.json.lock"}), Names()) << pszCall << " " << nNth;
    }
}

TEST_F(PreferencesFileTest, ADamagedFileThatCannotBeKeptIsNotReplaced) {
    WriteText("damaged");
    const PosixFault fault("link", EPERM);
    EXPECT_FALSE(PutOne());
    EXPECT_EQ("damaged", Text());
}

TEST_F(PreferencesFileTest, AFolderThatDoesNotReachTheDiskFailsTheWrite) {
    for (const auto& [pszCall, nNth] : {std::pair{"open", 4}, {"fsync", 2}}) {
        const PosixFault fault(pszCall, EIO, nNth);
        EXPECT_FALSE(PutOne()) << pszCall;
        EXPECT_EQ(nNth, fault.Calls());
    }
    EXPECT_TRUE(PutOne());
}

TEST_F(PreferencesFileTest, InterruptedCallsAreRepeatedAndShortWritesContinued) {
    ASSERT_TRUE(PutOne());
    for (const auto& [pszCall, nError] :
         {std::pair{"flock", EINTR}, {"read", EINTR}, {"write", EINTR}, {"write", -3}}) {
        fs::remove(m_strPath);
        WriteText(R"({"zero": 0})");
        const PosixFault fault(pszCall, nError);
        EXPECT_TRUE(PutOne()) << pszCall;
        EXPECT_GT(fault.Calls(), 1) << pszCall;
        EXPECT_EQ("{\n    \"one\": 1,\n    \"zero\": 0\n}\n", Text()) << pszCall;
    }
}

TEST_F(PreferencesFileTest, AReaderThatCannotOpenTheLockReadsWithout) {
    ASSERT_TRUE(PutOne());
    const PosixFault fault("open", EACCES);
    EXPECT_EQ(1, Get<int>("one"));
}

TEST_F(PreferencesFileTest, AReaderDoesNotWaitForAPipeInTheLocksPlace) {
    ASSERT_TRUE(PutOne());
    fs::remove(m_strPath + ".lock");
    ASSERT_EQ(0, mkfifo((m_strPath + ".lock").c_str(), 0600));
    EXPECT_EQ(1, Get<int>("one"));
}

TEST_F(PreferencesFileTest, ANewFileIsForItsOwnerOrForAll) {
    m_strPath = m_dir.File("a/b/domain.json");
    const mode_t nBefore = umask(0);
    EXPECT_TRUE(PutOne());
    const std::string strPrivate = m_strPath;
    m_strPath = m_dir.File("c/domain.json");
    EXPECT_TRUE(Put("one", 1, true));
    umask(nBefore);
    EXPECT_EQ(0700u, PermissionsOf(m_dir.File("a")));
    EXPECT_EQ(0700u, PermissionsOf(m_dir.File("a/b")));
    EXPECT_EQ(0600u, PermissionsOf(strPrivate));
    EXPECT_EQ(0755u, PermissionsOf(m_dir.File("c")));
    EXPECT_EQ(0644u, PermissionsOf(m_strPath));
    EXPECT_EQ(0600u, PermissionsOf(m_strPath + ".lock")) << "others could keep it";
}

TEST_F(PreferencesFileTest, PermissionsAndOwnerAreKept) {
    ASSERT_TRUE(PutOne());
    fs::permissions(m_strPath, fs::perms(0640));
    EXPECT_TRUE(PutOne());
    EXPECT_EQ(0640u, PermissionsOf(m_strPath));
    const PosixFault fault("fchown", EPERM);
    EXPECT_TRUE(PutOne()) << "only root gives files away";
    EXPECT_EQ(2, fault.Calls()) << "the group at least";
}

TEST_F(PreferencesFileTest, TheFileIsReplacedWhole) {
    ASSERT_TRUE(PutOne());
    fs::create_hard_link(m_strPath, m_dir.File("before"));
    const std::string strBefore = Text();
    EXPECT_TRUE(Put("two", 2));
    EXPECT_EQ(strBefore, TextOf(m_dir.File("before")));
}

TEST_F(PreferencesFileTest, ALinkStaysAndTheFileItLeadsToIsReplaced) {
    fs::create_directory(m_dir.File("kept"));
    const std::string strTarget = m_dir.File("kept/file");
    fs::create_symlink(strTarget, m_strPath);
    WriteFile(strTarget, R"({"zero": 0})");
    EXPECT_TRUE(PutOne());
    EXPECT_TRUE(fs::is_symlink(m_strPath));
    EXPECT_EQ("{\n    \"one\": 1,\n    \"zero\": 0\n}\n", TextOf(strTarget));
    WriteFile(strTarget, "damaged");
    EXPECT_TRUE(PutOne());
    EXPECT_EQ("damaged", TextOf(strTarget + ".damaged"));
}

TEST_F(PreferencesFileTest, ALinkToNowhereIsReplaced) {
    fs::create_symlink(m_dir.File("nowhere"), m_strPath);
    EXPECT_TRUE(PutOne());
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(m_strPath)));
}

TEST_F(PreferencesFileTest, AKeyThatIsNotUtf8OrEntriesThatAreTooManyAreRefused) {
    ASSERT_TRUE(PutOne());
    const std::string strBefore = Text();
    EXPECT_FALSE(Put("\xe4", 1));
    EXPECT_FALSE(Put("large", std::string(PreferencesFile::kMaxBytes, 'x')));
    EXPECT_EQ(strBefore, Text());
}

TEST_F(PreferencesFileTest, RunningOutOfMemoryAnywhereLeavesTheFile) {
    WriteText(R"({"a": {"b": [1, {"$binary": ["00"]}, 2.5]}, "c": {"$binary": ["0102"]}, "d": "text"})");
    const std::string strBefore = Text();
    bool bDone = false;
    for (int nNth = 1; !bDone; ++nNth) {
        const PosixFault fault("_Znwm", ENOMEM, nNth);
        try {
            bDone = PutOne();
            EXPECT_TRUE(bDone) << nNth;
        } catch (const std::bad_alloc&) {
            EXPECT_EQ(strBefore, Text()) << nNth;
        }
        ASSERT_LT(nNth, 10000);
    }
    EXPECT_EQ(4u, Entries().size());
}

TEST_F(PreferencesFileTest, AWriterWaitsForTheLock) {
    ASSERT_TRUE(PutOne());
    const int nLock = open((m_strPath + ".lock").c_str(), O_RDWR);
    ASSERT_EQ(0, flock(nLock, LOCK_EX));
    std::atomic<bool> bDone = false;
    std::thread writer([&] {
        EXPECT_TRUE(Put("one", 2));
        bDone = true;
    });
    // What is in the file is read past the lock, as a reader that cannot wait would: it is still the old one.
    EXPECT_EQ("{\n    \"one\": 1\n}\n", Text());
    EXPECT_FALSE(bDone);
    close(nLock);
    writer.join();
    EXPECT_EQ(2, Get<int>("one"));
}

TEST_F(PreferencesFileTest, WritersAtOnceLoseNothing) {
    constexpr int kThreads = 4, kWrites = 25;
    std::vector<std::thread> threads;
    for (int iThread = 0; iThread < kThreads; ++iThread)
        threads.emplace_back([this, iThread] {
            for (int i = 0; i < kWrites; ++i)
                EXPECT_TRUE(Put(std::to_string(iThread) + "/" + std::to_string(i), i));
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(size_t{kThreads * kWrites}, Entries().size());
}

}  // namespace Kestrova::Test
