#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "shared/System/kvCompare.h"
#include "tests/support/PosixFaults.h"

namespace Kestrova::Test {
namespace {

using Text = std::unique_ptr<char, decltype(&std::free)>;

int Sign(int n) { return (n > 0) - (n < 0); }

}  // namespace

TEST(CompareTest, NullAndEmptyAreEqualAndComeFirst) {
    for (const auto pfnCompare : {&CompareString, &CompareStringCase}) {
        EXPECT_EQ(0, pfnCompare(nullptr, nullptr));
        EXPECT_EQ(0, pfnCompare(nullptr, ""));
        EXPECT_EQ(0, pfnCompare("", nullptr));
        EXPECT_EQ(0, pfnCompare("", ""));
        EXPECT_EQ(-1, pfnCompare("", "x"));
        EXPECT_EQ(-1, pfnCompare(nullptr, "x"));
        EXPECT_EQ(1, pfnCompare("x", ""));
        EXPECT_EQ(1, pfnCompare("x", nullptr));
    }
}

TEST(CompareTest, OnlyOneOfTheTwoSeesTheLetterCase) {
    struct {
        const char *pszA, *pszB;
        int nNoCase, nCase;
    } const kRows[] = {
        {"A", "a", 0, -1},      {"a", "A", 0, 1},    {"a", "B", -1, 1},       {"B", "a", 1, -1},
        {"ab", "abc", -1, -1},  {"abc", "ab", 1, 1}, {".KVN", ".kvn", 0, -1}, {"same", "same", 0, 0},
        {"\xe4", "\xc4", 1, 1},  // bytes beyond ASCII have no case
        {"\x80", "a", 1, 1},     // and compare as unsigned
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.pszA);
        EXPECT_EQ(row.nNoCase, Sign(CompareString(row.pszA, row.pszB)));
        EXPECT_EQ(row.nCase, Sign(CompareStringCase(row.pszA, row.pszB)));
    }
}

TEST(CreateStringTest, CopiesTheText) {
    const char szText[] = "banks";
    const Text pszCopy(CreateString(szText), &std::free);
    ASSERT_NE(nullptr, pszCopy);
    EXPECT_STREQ("banks", pszCopy.get());
    EXPECT_NE(szText, pszCopy.get());
}

TEST(CreateStringTest, ANullOrEmptyTextGivesNull) {
    EXPECT_EQ(nullptr, CreateString(nullptr));
    EXPECT_EQ(nullptr, CreateString(""));
}

TEST(CreateStringTest, WithoutMemoryGivesNull) {
    const PosixFault fault("strdup", ENOMEM);
    EXPECT_EQ(nullptr, CreateString("x"));
}

TEST(CreateMemTest, CopiesTheBytes) {
    const char pchSource[] = {'a', '\0', 'c'};
    void* p = nullptr;
    unsigned long nSize = 0;
    EXPECT_TRUE(CreateMem(pchSource, 3, &p, &nSize));
    EXPECT_EQ(3u, nSize);
    EXPECT_NE(pchSource, p);
    EXPECT_EQ(0, std::memcmp(pchSource, p, 3));
    std::free(p);
}

TEST(CreateMemTest, NothingToCopySucceedsWithNull) {
    for (const bool bNull : {false, true}) {
        char chByte = 'x';
        void* p = &chByte;
        unsigned long nSize = 9;
        EXPECT_TRUE(CreateMem(bNull ? nullptr : &chByte, bNull ? 5 : 0, &p, &nSize));
        EXPECT_EQ(nullptr, p);
        EXPECT_EQ(0u, nSize);
    }
}

TEST(CreateMemTest, WithoutMemoryItFails) {
    char chByte = 'x';
    void* p = &chByte;
    unsigned long nSize = 9;
    const PosixFault fault("malloc", ENOMEM);
    EXPECT_FALSE(CreateMem(&chByte, 1, &p, &nSize));
    EXPECT_EQ(nullptr, p);
    EXPECT_EQ(0u, nSize);
}

}  // namespace Kestrova::Test
