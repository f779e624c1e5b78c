#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "SamplerDBDS/BaseClasses/DBUID.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

const DBUID kSomeId{{0x04030201, 0x08070605, 0x0C0B0A09, 0x100F0E0D}};
const DBUID kNoId{};

Bytes FileWithIdentity() {
    Bytes image{'Q', 'X', 'D', 'B'};
    for (uint8_t i = 1; i <= 16; ++i) image.push_back(i);
    return image;
}

struct TextWordCase {
    const char* pszText;
    uint32_t nWord;
};

constexpr TextWordCase kTextWords[] = {
    {nullptr, 1},
    {"", 1},
    {"a", 1 + 97 * 3},
    {"ab", 1 + 97 * 3 + 98 * 4},
    {"ba", 1 + 98 * 3 + 97 * 4},
    {"/bank", 1 + 47 * 3 + 98 * 4 + 97 * 5 + 110 * 6 + 107 * 7},
    {"\xFF", 1U - 3U},  // bytes are signed
    {"\x80\x01", 1U - 128U * 3U + 4U},
};
// Q43

// Q43
TEST(DBUIDTest, TheTextWordWeighsSignedBytesByTheirPlace) {
    for (const TextWordCase& c : kTextWords)
        EXPECT_EQ(c.nWord, DBUID::TextWord(c.pszText)) << (c.pszText != nullptr ? c.pszText : "null");
}

TEST(DBUIDTest, NewIdentitiesHaveNoZeroWordAndAreAllDifferent) {
    std::set<DBUID> setIds;
    constexpr size_t kCount = 2000;
    for (size_t i = 0; i < kCount; ++i) {
        DBUID id = kSomeId;
        id.CreateDBUID(i % 2 == 0 ? "same path" : nullptr);
        EXPECT_EQ(0, std::count(id.m_words.begin(), id.m_words.end(), 0U));
        setIds.insert(id);
    }
    EXPECT_EQ(kCount, setIds.size());
}

TEST(DBUIDTest, EveryWordIsRandom) {
    DBUID first, second;
    first.CreateDBUID("path");
    second.CreateDBUID("path");
    for (size_t i = 0; i < 4; ++i) EXPECT_NE(first.m_words[i], second.m_words[i]) << "word " << i;
}

TEST(DBUIDTest, ThreadsNeverGetTheSameIdentity) {
    constexpr size_t kThreads = 4, kEach = 500;
    std::vector<std::vector<DBUID>> arIds(kThreads, std::vector<DBUID>(kEach));
    std::vector<std::thread> arThreads;
    for (std::vector<DBUID>& ids : arIds)
        arThreads.emplace_back([&ids] {
            for (DBUID& id : ids) id.CreateDBUID("path");
        });
    for (std::thread& thread : arThreads) thread.join();
    std::set<DBUID> setIds;
    for (const std::vector<DBUID>& ids : arIds) setIds.insert(ids.begin(), ids.end());
    EXPECT_EQ(kThreads * kEach, setIds.size());
}

TEST(DBUIDTest, IdentitiesCompareByAllFourWords) {
    EXPECT_EQ(kNoId, DBUID());
    for (size_t i = 0; i < 4; ++i) {
        DBUID other = kSomeId;
        EXPECT_EQ(kSomeId, other);
        ++other.m_words[i];
        EXPECT_NE(kSomeId, other);
        EXPECT_LT(kSomeId, other);
    }
}

TEST(DBUIDTest, GetReadsTheFourWordsAtByteFour) {
    TempDir dir;
    WriteFile(dir.File("db"), FileWithIdentity());
    DBUID id;
    EXPECT_TRUE(id.GetDBUID(dir.File("db").c_str()));
    EXPECT_EQ(kSomeId, id);
}

TEST(DBUIDTest, GetOfAShortOrMissingFileFailsAndZeroes) {
    TempDir dir;
    for (const size_t nBytes : {0U, 4U, 5U, 19U}) {
        Bytes image = FileWithIdentity();
        image.resize(nBytes);
        WriteFile(dir.File("short"), image);
        DBUID id = kSomeId;
        EXPECT_FALSE(id.GetDBUID(dir.File("short").c_str())) << nBytes;
        EXPECT_EQ(kNoId, id);
    }
    for (const char* pszPath : {"/no/such/file", "", static_cast<const char*>(nullptr)}) {
        DBUID id = kSomeId;
        EXPECT_FALSE(id.GetDBUID(pszPath));
        EXPECT_EQ(kNoId, id);
    }
}

TEST(DBUIDTest, GetFailsAndZeroesWhenTheSystemRefuses) {
    TempDir dir;
    WriteFile(dir.File("db"), FileWithIdentity());
    for (const FileOp op : {FileOp::kOpen, FileOp::kPosition, FileOp::kRead}) {
        FaultyFileEnv env;
        env.FailCallOf(op, 1);
        DBUID id = kSomeId;
        EXPECT_FALSE(id.GetDBUID(dir.File("db").c_str()));
        EXPECT_EQ(kNoId, id);
    }
}

TEST(DBUIDTest, WritePutsTheFourWordsAtByteFour) {
    TempDir dir;
    WriteFile(dir.File("db"), Bytes{'Q', 'X', 'D', 'B'});
    CXFile file;
    ASSERT_TRUE(file.Open(dir.File("db").c_str(), 1));
    EXPECT_TRUE(kSomeId.WriteToDB(&file));
    unsigned long long pos = 0;
    EXPECT_TRUE(file.GetCurrentPos(pos));
    EXPECT_EQ(20U, pos);
    file.Close();
    EXPECT_EQ(FileWithIdentity(), ReadFile(dir.File("db")));
}

TEST(DBUIDTest, WriteFailsWithoutAFileToWriteTo) {
    TempDir dir;
    WriteFile(dir.File("db"), FileWithIdentity());
    CXFile file;
    EXPECT_FALSE(kNoId.WriteToDB(nullptr));
    EXPECT_FALSE(kNoId.WriteToDB(&file));
    ASSERT_TRUE(file.Open(dir.File("db").c_str(), 0));
    EXPECT_FALSE(kNoId.WriteToDB(&file));
    file.Close();
    FaultyFileEnv env;
    ASSERT_TRUE(file.Open(dir.File("db").c_str(), 1));
    env.FailCallOf(FileOp::kPosition, 1);
    EXPECT_FALSE(kNoId.WriteToDB(&file));
    file.Close();
    EXPECT_EQ(FileWithIdentity(), ReadFile(dir.File("db")));
}

}  // namespace
}  // namespace Kestrova::Test
