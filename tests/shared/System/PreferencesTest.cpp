#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "shared/System/kvLogFile.h"
#include "shared/System/kvPreferences.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/PrivateHome.h"

namespace Kestrova::Test {

using testing::ElementsAre;
using testing::EndsWith;
using testing::StartsWith;

namespace {

constexpr char kDomain[] = "com.kestrova.Test.1.0";
constexpr const char* kNoKey = nullptr;

class PreferencesTest : public PrivateHomeTest {
protected:
    int SetInt(const char* pszEntry, int nValue, const char* pszKey = kNoKey) {
        return m_store.SetProfileInt(pszEntry, pszKey, &nValue);
    }
    int SetBool(const char* pszEntry, bool bValue) {
        return m_store.SetProfileBool(pszEntry, kNoKey, &bValue);
    }
    int SetText(const char* pszEntry, const char* pszValue) {
        return m_store.SetProfileString(pszEntry, kNoKey, pszValue);
    }
    int SetBlock(const char* pszEntry, const std::string& strBytes) {
        return m_store.SetProfileBinary(pszEntry, kNoKey, strBytes.data(), static_cast<int>(strBytes.size()));
    }

    // Defaults that no test stores.
    int Int(const char* pszEntry, const char* pszKey = kNoKey) const {
        return m_store.GetProfileInt(pszEntry, pszKey, 99);
    }
    std::string Text(const char* pszEntry) const {
        const String str = m_store.GetProfileString(pszEntry, kNoKey, "default");
        return {str.c_str(), static_cast<size_t>(str.GetLength())};
    }
    // The kinds that have a value at the entry.
    std::string KindsOf(const char* pszEntry) const {
        std::string strKinds;
        if (m_store.GetProfileInt(pszEntry, kNoKey, 1) == m_store.GetProfileInt(pszEntry, kNoKey, 2))
            strKinds += "int ";
        if (m_store.GetProfileBool(pszEntry, kNoKey, false) == m_store.GetProfileBool(pszEntry, kNoKey, true))
            strKinds += "bool ";
        if (Text(pszEntry) != "default") strKinds += "string ";
        std::array<char, 64> buffer;
        int nSize = static_cast<int>(buffer.size());
        if (m_store.GetProfileBinary(pszEntry, kNoKey, buffer.data(), nSize) != 0) strKinds += "binary ";
        return strKinds;
    }

    std::string DomainFile() const { return m_dir.File(std::string("config/") + kDomain + ".json"); }
    void WriteDomain(const std::string& strText) const {
        fs::create_directories(m_dir.File("config"));
        WriteFile(DomainFile(), strText);
    }

    Preferences m_store{kDomain};
};

// The lines of a log that is open while this lives; addresses are written as "@".
class Log {
public:
    explicit Log(const std::string& strFile) : m_strFile(strFile) {
        IOLogOpen(nullptr, 0, kLogNewFile, m_strFile.c_str());
        m_nStart = fs::file_size(m_strFile);
    }
    ~Log() { IOLogClose(); }
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    std::string TextSoFar() const {
        const auto bytes = ReadFile(m_strFile);
        return {bytes.begin() + static_cast<std::ptrdiff_t>(m_nStart), bytes.end()};
    }
    std::vector<std::string> Lines() const {
        std::vector<std::string> lines;
        std::string strText = TextSoFar();
        for (size_t nEnd; (nEnd = strText.find('\n')) != std::string::npos; strText.erase(0, nEnd + 1))
            lines.push_back(WithoutAddress(strText.substr(0, nEnd)));
        return lines;
    }

private:
    static std::string WithoutAddress(std::string strLine) {
        const size_t nStart = strLine.find("0x");
        if (nStart == std::string::npos) return strLine;
        const size_t nEnd = strLine.find_first_not_of("0123456789abcdefx", nStart);
        return strLine.replace(nStart, nEnd == std::string::npos ? nEnd : nEnd - nStart, "@");
    }

    std::string m_strFile;
    uintmax_t m_nStart;
};

// Runs the work with one allocation failing, after so many that do not. Whether the work came to it.
template <class TWork>
bool WithoutMemory(int nBefore, const TWork& work) {
    const PosixFault fault("_Znwm", ENOMEM, nBefore + 1);
    work();
    return fault.Calls() > nBefore;
}

}  // namespace

TEST_F(PreferencesTest, EachKindComesBackAsItWent) {
    for (const int n : {0, 1, -1, INT_MAX, INT_MIN}) {
        EXPECT_NE(0, SetInt("int", n));
        EXPECT_EQ(n, Int("int"));
    }
    for (const bool b : {false, true}) {
        EXPECT_NE(0, SetBool("bool", b));
        EXPECT_EQ(b, m_store.GetProfileBool("bool", kNoKey, !b));
    }
    for (const char* psz : {"", "text", "\xc3\xa4 \"quoted\" \\ / \n", "\xe4 not UTF-8 \xff\x80", "$text"}) {
        EXPECT_NE(0, SetText("text", psz));
        EXPECT_EQ(psz, Text("text"));
    }
    const std::string strBytes("\x00\x01\xff\x7f{", 5);
    EXPECT_NE(0, SetBlock("bin", strBytes));
    std::array<char, 8> buffer{};
    int nSize = 8;
    EXPECT_NE(0, m_store.GetProfileBinary("bin", kNoKey, buffer.data(), nSize));
    EXPECT_EQ(strBytes, std::string(buffer.data(), static_cast<size_t>(nSize)));
}

TEST_F(PreferencesTest, AnEmptyBlockIsABlock) {
    EXPECT_NE(0, SetBlock("bin", ""));
    char ch = 'x';
    int nSize = 0;
    EXPECT_NE(0, m_store.GetProfileBinary("bin", kNoKey, &ch, nSize));
    EXPECT_EQ(0, nSize);
    EXPECT_EQ('x', ch);
}

TEST_F(PreferencesTest, AMissingValueGivesTheDefault) {
    EXPECT_EQ("", KindsOf("none"));
    EXPECT_EQ("", KindsOf("none/below/it"));
    EXPECT_EQ("", std::string(m_store.GetProfileString("none", kNoKey, nullptr)));
    EXPECT_FALSE(fs::exists(m_dir.File("config"))) << "reading makes nothing";
}

TEST_F(PreferencesTest, KindsStayDistinct) {
    SetInt("value", 1);
    EXPECT_EQ("int ", KindsOf("value"));
    SetBool("value", true);
    EXPECT_EQ("bool ", KindsOf("value"));
    SetText("value", "1");
    EXPECT_EQ("string ", KindsOf("value"));
    SetText("value", "\xff");
    EXPECT_EQ("string ", KindsOf("value"));
    SetBlock("value", "1");
    EXPECT_EQ("binary ", KindsOf("value"));
    SetInt("value/below", 1);
    EXPECT_EQ("", KindsOf("value"));
}

TEST_F(PreferencesTest, ValuesOfOtherKindsInTheFileAreNone) {
    WriteDomain(R"({"fraction": 1.0, "large": 2147483648, "list": [1], "none": null, "wide": -1e300})");
    for (const char* pszEntry : {"fraction", "large", "list", "none", "wide"})
        EXPECT_EQ("", KindsOf(pszEntry));
}

TEST_F(PreferencesTest, APathGroupsEntriesInDictionaries) {
    EXPECT_NE(0, SetInt("a/b/c", 1));
    EXPECT_NE(0, SetInt("a/b/d", 2));
    EXPECT_NE(0, SetInt("a/e", 3));
    EXPECT_NE(0, SetInt("f", 4));
    EXPECT_EQ(1, Int("a/b/c"));
    EXPECT_EQ(2, Int("a/b/d"));
    EXPECT_EQ(3, Int("a/e"));
    EXPECT_EQ(4, Int("f"));
    const auto bytes = ReadFile(DomainFile());
    EXPECT_EQ(
        "{\n    \"a\": {\n        \"b\": {\n            \"c\": 1,\n            \"d\": 2\n        },\n"
        "        \"e\": 3\n    },\n    \"f\": 4\n}\n",
        std::string(bytes.begin(), bytes.end()));
}

TEST_F(PreferencesTest, AKeyIsTheDictionaryTheEntryBeginsIn) {
    EXPECT_NE(0, SetInt("b/c", 1, "a"));
    EXPECT_NE(0, SetInt("b/c", 2, "other"));
    EXPECT_NE(0, SetInt("b/c", 3, ""));
    EXPECT_EQ(1, Int("a/b/c"));
    EXPECT_EQ(1, Int("c", "a/b"));
    EXPECT_EQ(2, Int("b/c", "other"));
    EXPECT_EQ(3, Int("b/c"));
}
// Q29

// Q29
TEST_F(PreferencesTest, EmptyPartsAreKeysLikeAnyOther) {
    const char* const kPaths[] = {"/", "a/", "/a", "a//b", "a/b"};
    for (int i = 0; i < 4; ++i) {
        EXPECT_NE(0, SetInt(kPaths[i], i));
        EXPECT_EQ(i, Int(kPaths[i])) << kPaths[i];
    }
    EXPECT_EQ(99, Int("a/b"));
}
// Q27

// Q27
TEST_F(PreferencesTest, WhatIsNoDictionaryIsReplacedByOneThatAPathLeadsThrough) {
    SetInt("a", 1);
    SetInt("b/c", 2);
    EXPECT_NE(0, SetInt("a/x", 3));
    EXPECT_NE(0, SetInt("b/c/y", 4));
    EXPECT_EQ(99, Int("a"));
    EXPECT_EQ(3, Int("a/x"));
    EXPECT_EQ(4, Int("b/c/y"));
    SetBlock("d", "bytes");
    EXPECT_NE(0, SetInt("d/z", 5));
    EXPECT_EQ("", KindsOf("d"));
    EXPECT_EQ(5, Int("d/z"));
}

TEST_F(PreferencesTest, AValueReplacesADictionary) {
    SetInt("a/b", 1);
    EXPECT_NE(0, SetInt("a", 2));
    EXPECT_EQ(2, Int("a"));
    EXPECT_EQ(99, Int("a/b"));
}

TEST_F(PreferencesTest, ADictionaryWithTheKeyOfATagIsNoBlock) {
    for (const char* pszTag : {"$binary", "$text"}) {
        const std::string strEntry = std::string("a/") + pszTag;
        SetInt("a", 0);
        EXPECT_NE(0, SetText(strEntry.c_str(), "00"));
        EXPECT_EQ("", KindsOf("a"));
        EXPECT_EQ("00", Text(strEntry.c_str()));
        EXPECT_NE(0, SetBlock(strEntry.c_str(), "bytes"));
        EXPECT_EQ("", KindsOf("a"));
        EXPECT_EQ("binary ", KindsOf(strEntry.c_str()));
    }
    SetBlock("b", "bytes");
    EXPECT_EQ("", KindsOf("b/$binary")) << "a block is no dictionary";
}

TEST_F(PreferencesTest, ABlockThatDoesNotFitIsNotCopied) {
    SetBlock("bin", "four");
    std::array<char, 4> buffer{'w', 'x', 'y', 'z'};
    const Log log(m_dir.File("log"));
    m_store.SetTrace(false);
    for (int nRoom : {3, 0, -1, INT_MIN}) {
        const int nBefore = nRoom;
        EXPECT_EQ(0, m_store.GetProfileBinary("bin", kNoKey, buffer.data(), nRoom));
        EXPECT_EQ(nBefore, nRoom);
    }
    int nRoom = 4;
    EXPECT_EQ(0, m_store.GetProfileBinary("bin", kNoKey, nullptr, nRoom));
    EXPECT_EQ("wxyz", std::string(buffer.data(), 4));
    EXPECT_THAT(log.Lines(), ElementsAre("GetBinary: buffer null or overflow (4 > 3)",
                                         "GetBinary: buffer null or overflow (4 > 0)",
                                         "GetBinary: buffer null or overflow (4 > -1)",
                                         "GetBinary: buffer null or overflow (4 > -2147483648)",
                                         "GetBinary: buffer null or overflow (4 > 4)"));
}

TEST_F(PreferencesTest, MissingValuesAndEntriesAreRefused) {
    EXPECT_EQ(0, m_store.SetProfileInt("a", kNoKey, nullptr));
    EXPECT_EQ(0, m_store.SetProfileBool("a", kNoKey, nullptr));
    EXPECT_EQ(0, m_store.SetProfileString("a", kNoKey, nullptr));
    EXPECT_EQ(0, m_store.SetProfileBinary("a", kNoKey, nullptr, 0));
    EXPECT_EQ(0, m_store.SetProfileBinary("a", kNoKey, "a", -1));
    for (const char* pszEntry : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(0, SetInt(pszEntry, 1));
        EXPECT_EQ(0, SetInt(pszEntry, 1, "key"));
        EXPECT_EQ("", KindsOf(pszEntry));
    }
    EXPECT_FALSE(fs::exists(m_dir.File("config")));
}

TEST_F(PreferencesTest, APathHasNoMorePartsThanTheLimit) {
    std::string strPath = "a";
    for (int i = 1; i < Preferences::kMaxParts; ++i) strPath += "/a";
    EXPECT_NE(0, SetBlock(strPath.c_str(), "bytes"));
    EXPECT_EQ("binary ", KindsOf(strPath.c_str()));
    strPath += "/a";
    EXPECT_EQ(0, SetInt(strPath.c_str(), 1));
    EXPECT_EQ("", KindsOf(std::string(1000000, '/').c_str()));
    EXPECT_EQ(0, SetInt(std::string(1000000, '/').c_str(), 1));
}

TEST_F(PreferencesTest, AKeyThatIsNotUtf8IsRefused) {
    EXPECT_EQ(0, SetInt("\xe4", 1));
    EXPECT_NE(0, SetInt("\xc3\xa4", 1));
    EXPECT_EQ(1, Int("\xc3\xa4"));
}

TEST_F(PreferencesTest, OnlyAStoreWithAUsableDomainIsInitialized) {
    Preferences store;
    EXPECT_EQ(0, store.SetProfileString("a", kNoKey, "text"));
    EXPECT_EQ(7, store.GetProfileInt("a", kNoKey, 7));
    for (const char* pszDomain : {static_cast<const char*>(nullptr), "", "../a", "/etc/a"})
        EXPECT_FALSE(store.Initialize(pszDomain, false));
    EXPECT_TRUE(store.Initialize("a", false));
    EXPECT_NE(0, store.SetProfileString("a", kNoKey, "text"));
    EXPECT_FALSE(store.Initialize("", false)) << "and the domain before is left";
    EXPECT_EQ("default", std::string(store.GetProfileString("a", kNoKey, "default")));
}

TEST_F(PreferencesTest, ADomainThatCannotBeReadIsNotInitialized) {
    fs::create_directories(DomainFile());
    EXPECT_FALSE(Preferences().Initialize(kDomain, false));
    m_folders.home.Set(nullptr);
    m_folders.configHome.Set(nullptr);
    const PosixFault fault("getpwuid_r", EIO);
    EXPECT_FALSE(Preferences().Initialize(kDomain, false)) << "without a home";
}

TEST_F(PreferencesTest, AllUsersHaveADomainOfTheirOwn) {
    SetInt("a", 1);
    EXPECT_EQ(99, Preferences(kDomain, true).GetProfileInt("a", kNoKey, 99));
}

TEST_F(PreferencesTest, ADamagedFileGivesDefaultsAndIsKeptAsideByAWrite) {
    WriteDomain("{\"a\": 1, ");
    EXPECT_TRUE(m_store.Initialize(kDomain, false));
    EXPECT_EQ("", KindsOf("a"));
    EXPECT_NE(0, SetInt("b", 2));
    EXPECT_EQ(2, Int("b"));
    EXPECT_TRUE(fs::exists(DomainFile() + ".damaged"));
}

TEST_F(PreferencesTest, ThePartsOfAPath) {
    EXPECT_EQ("a", std::string(Preferences::GetEntryFirstPartString("a/b/c")));
    EXPECT_STREQ("b/c", Preferences::GetEntryNextPartString("a/b/c"));
    EXPECT_EQ("a", std::string(Preferences::GetEntryFirstPartString("a")));
    EXPECT_EQ(nullptr, Preferences::GetEntryNextPartString("a"));
    EXPECT_EQ("", std::string(Preferences::GetEntryFirstPartString("/a")));
    EXPECT_STREQ("", Preferences::GetEntryNextPartString("a/"));
    EXPECT_EQ(nullptr, Preferences::GetEntryNextPartString(nullptr));
    const Log log(m_dir.File("log"));
    EXPECT_EQ("", std::string(Preferences::GetEntryFirstPartString(nullptr)));
    EXPECT_EQ("GetEntryString: CFString NULL\n", log.TextSoFar());
}

TEST_F(PreferencesTest, EachStepIsTraced) {
    const Log log(m_dir.File("log"));
    Preferences store(kDomain);
    const int nValue = 5;
    const bool bValue = true;
    store.SetProfileInt("a/b", kNoKey, &nValue);
    store.SetProfileBool("c", kNoKey, &bValue);
    store.GetProfileInt("a/b", kNoKey, 0);
    store.GetProfileBool("c", kNoKey, false);
    store.GetProfileBool("none", kNoKey, false);
    store.GetProfileInt("c/d", kNoKey, 0);
    EXPECT_THAT(
        log.Lines(),
        ElementsAre("Initialize: App 'com.kestrova.Test.1.0'", "Initialize: Synchronizing 1",
                    // the writes
                    "PutObject: Setting Entry 'a/b'", "SetSynchronizeProperty: Synchronizing 1",
                    "PutObject: Setting Entry 'c'", "SetSynchronizeProperty: Synchronizing 1",
                    // the integer
                    "GetObjectOfType: Getting Entry 'a/b'", "GetDictEntryValue: Entering Dictionary @",
                    "GetDictEntryValue: Found CFType @ ID 5", "GetDictEntryValue: Entering Dictionary @",
                    "GetDictEntryValue: Found CFType @ ID 1", "GetObjectOfType: Found CFType @ ID 1",
                    // the boolean and a missing one
                    "GetObjectOfType: Getting Entry 'c'", "GetDictEntryValue: Entering Dictionary @",
                    "GetDictEntryValue: Found CFType @ ID 2", "GetObjectOfType: Found CFType @ ID 2",
                    "GetBool: result 'Yes'",  //
                    "GetObjectOfType: Getting Entry 'none'", "GetDictEntryValue: Entering Dictionary @",
                    "GetObjectOfType: Returning NULL CFType", "GetBool: result 'No'",
                    // a path through what is no dictionary
                    "GetObjectOfType: Getting Entry 'c/d'", "GetDictEntryValue: Entering Dictionary @",
                    "GetDictEntryValue: Found CFType @ ID 2", "GetDictEntryValue: NULL Dictionary given.",
                    "GetObjectOfType: Returning NULL CFType"));
}

TEST_F(PreferencesTest, WithoutTraceOnlyErrorsAreLogged) {
    const Log log(m_dir.File("log"));
    m_store.SetTrace(false);
    SetInt("a/b", 1);
    Int("a/b");
    Int("none");
    m_store.GetProfileBool("none", kNoKey, true);
    m_store.Initialize(kDomain, false);
    EXPECT_EQ("", log.TextSoFar());
    SetInt("", 1);
    Int("");
    EXPECT_THAT(log.Lines(),
                ElementsAre(StartsWith("PutObject: Not initialized or invalid Entry (@)."),
                            StartsWith("GetObjectOfType: Not initialized or invalid Entry (@).")));
    SetInt(nullptr, 1);
    EXPECT_THAT(log.TextSoFar(), EndsWith("PutObject: Not initialized or invalid Entry ((nil)).\n"));
}

TEST_F(PreferencesTest, AFailedWriteIsTraced) {
    const Log log(m_dir.File("log"));
    const PosixFault fault("rename", EIO);
    EXPECT_EQ(0, SetInt("a", 1));
    EXPECT_THAT(log.Lines(),
                ElementsAre("PutObject: Setting Entry 'a'", "SetSynchronizeProperty: Synchronizing 0"));
}

TEST_F(PreferencesTest, RunningOutOfMemoryInAReadIsLoggedAndGivesTheDefault) {
    SetText("a/b", "text");
    m_store.SetTrace(false);
    int nFaults = 0;
    for (bool bHit = true; bHit; ++nFaults) {
        const Log log(m_dir.File("log"));
        String str;
        bHit = WithoutMemory(nFaults, [&] { str = m_store.GetProfileString("a/b", kNoKey, "default"); });
        EXPECT_EQ(bHit ? "default" : "text", std::string(str)) << nFaults;
        EXPECT_EQ(bHit ? "GetObjectOfType: Out of memory." : "", log.TextSoFar()) << nFaults;
    }
    EXPECT_GT(nFaults, 3);
}
// Q28

// Q28
TEST_F(PreferencesTest, RunningOutOfMemoryInAWriteIsLoggedAndChangesNothing) {
    SetText("a/b", "text");
    m_store.SetTrace(false);
    int nFaults = 0;
    for (bool bHit = true; bHit; ++nFaults) {
        const Log log(m_dir.File("log"));
        int nResult = -1;
        bHit = WithoutMemory(nFaults, [&] { nResult = SetText("a/c", "more"); });
        EXPECT_EQ(bHit, nResult == 0) << nFaults;
        EXPECT_EQ(bHit ? "PutObject: Out of memory." : "", log.TextSoFar()) << nFaults;
        EXPECT_EQ(bHit ? "default" : "more", Text("a/c"));
    }
    EXPECT_GT(nFaults, 3);
    EXPECT_EQ("text", Text("a/b"));
}

TEST_F(PreferencesTest, RunningOutOfMemoryAtTheStartIsLoggedAndLeavesTheStoreUninitialized) {
    SetText("a", "text");
    m_store.SetTrace(false);
    const Log log(m_dir.File("log"));
    EXPECT_TRUE(WithoutMemory(0, [this] { m_store.Initialize(kDomain, false); }));
    EXPECT_EQ("Initialize: Out of memory.", log.TextSoFar());
    EXPECT_EQ("default", Text("a"));
}

TEST_F(PreferencesTest, TwoProcessesWritingAtOnceLoseNothing) {
    constexpr int kWrites = 40;
    const auto fnWriteAll = [](const char* pszKey) {
        Preferences store(kDomain);
        bool bAll = true;
        for (int i = 0; i < kWrites; ++i)
            bAll = store.SetProfileInt(std::to_string(i).c_str(), pszKey, &i) != 0 && bAll;
        return bAll;
    };
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) _exit(fnWriteAll("child") ? 0 : 1);
    EXPECT_TRUE(fnWriteAll("parent"));
    int nStatus = -1;
    ASSERT_EQ(child, waitpid(child, &nStatus, 0));
    EXPECT_EQ(0, nStatus);
    for (int i = 0; i < kWrites; ++i) {
        EXPECT_EQ(i, Int(std::to_string(i).c_str(), "child"));
        EXPECT_EQ(i, Int(std::to_string(i).c_str(), "parent"));
    }
}

TEST_F(PreferencesTest, TwoThreadsWithAStoreEachLoseNothing) {
    constexpr int kWrites = 40;
    const auto fnWriteAll = [](const char* pszKey) {
        Preferences store(kDomain);
        for (int i = 0; i < kWrites; ++i)
            EXPECT_NE(0, store.SetProfileInt(std::to_string(i).c_str(), pszKey, &i));
    };
    std::thread other(fnWriteAll, "other");
    fnWriteAll("this");
    other.join();
    for (int i = 0; i < kWrites; ++i) {
        EXPECT_EQ(i, Int(std::to_string(i).c_str(), "other"));
        EXPECT_EQ(i, Int(std::to_string(i).c_str(), "this"));
    }
}

}  // namespace Kestrova::Test
