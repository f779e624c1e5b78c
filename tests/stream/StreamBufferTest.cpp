#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "stream/StreamBuffer.h"
#include "tests/support/FaultyAllocator.h"

namespace Kestrova::Test {
namespace {

constexpr unsigned long kHuge = std::numeric_limits<unsigned long>::max();

std::string TextOf(const StreamBuffer& buffer) {
    return std::string(static_cast<const char*>(buffer.GetBuffer()), buffer.GetSize());
}

// The id thrown by an action, or nothing.
template <class TAction>
std::optional<int> ThrownBy(TAction action) {
    try {
        action();
    } catch (const StreamBufferException& e) {
        return e.GetId();
    }
    return std::nullopt;
}

// A buffer of the text, at its start.
class Filled : public StreamBuffer {
public:
    explicit Filled(const std::string& strText) {
        Write(strText.data(), strText.size());
        Seek(0, 0);
    }
    using StreamBuffer::Grow;
};

// ---- Construction and lifetime

TEST(StreamBufferTest, StartsEmptyAndGrowable) {
    StreamBuffer buffer;
    EXPECT_EQ(nullptr, buffer.GetBuffer());
    EXPECT_EQ(0u, buffer.GetSize());
    EXPECT_EQ(0u, buffer.Seek(0, 1));
    EXPECT_EQ(3u, buffer.Write("abc", 3));
    EXPECT_EQ("abc", TextOf(buffer));
}

TEST(StreamBufferTest, WrapsForeignMemoryInPlace) {
    char szText[] = "0123456789";
    StreamBuffer buffer(szText, 10);
    EXPECT_EQ(szText, buffer.GetBuffer());
    EXPECT_EQ(10u, buffer.GetSize());
    EXPECT_EQ(2u, buffer.Write("ab", 2));
    EXPECT_STREQ("ab23456789", szText);
}

TEST(StreamBufferTest, WrappingNothingTakesNoSize) {
    StreamBuffer buffer(nullptr, 10);
    EXPECT_EQ(nullptr, buffer.GetBuffer());
    EXPECT_EQ(0u, buffer.GetSize());
}

TEST(StreamBufferTest, LastReleaseDeletes) {
    static bool s_bDeleted;
    struct Watched : StreamBuffer {
        ~Watched() override { s_bDeleted = true; }
    };
    s_bDeleted = false;
    IStreamBuffer* pBuffer = new Watched;
    EXPECT_EQ(2u, pBuffer->AddRef());
    EXPECT_EQ(1u, pBuffer->Release());
    EXPECT_FALSE(s_bDeleted);
    EXPECT_EQ(0u, pBuffer->Release());
    EXPECT_TRUE(s_bDeleted);
}

TEST(StreamBufferTest, ReferencesMayBeHeldByManyThreads) {
    auto* pBuffer = new StreamBuffer;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        pBuffer->AddRef();
        threads.emplace_back([pBuffer] {
            for (int n = 0; n < 10000; ++n) {
                pBuffer->AddRef();
                pBuffer->Release();
            }
            pBuffer->Release();
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(0u, pBuffer->Release());
}

TEST(StreamBufferTest, FreesItsBlockAndLetsGoOfItsAllocator) {
    FaultyAllocator allocator;
    {
        StreamBuffer buffer(allocator);
        EXPECT_EQ(2u, allocator.m_nRefs);
        buffer.Write("abc", 3);
    }
    EXPECT_EQ(1, allocator.m_nFrees);
    EXPECT_EQ(1u, allocator.m_nRefs);
}

TEST(StreamBufferTest, AnEmptyBufferHasNothingToFree) {
    FaultyAllocator allocator;
    { StreamBuffer buffer(allocator); }
    EXPECT_EQ(0, allocator.m_nFrees);
    EXPECT_EQ(1u, allocator.m_nRefs);
}

// ---- Write
// Q47

// Q47
TEST(StreamBufferTest, EveryWritePastTheEndReallocatesToExactlyTheNewEnd) {
    FaultyAllocator allocator;
    StreamBuffer buffer(allocator);
    buffer.Write("abc", 3);
    buffer.Write("d", 1);
    buffer.Seek(2, 0);
    buffer.Write("CD", 2);  // to the end, not past it
    buffer.Seek(3, 0);
    buffer.Write("xyz", 3);
    EXPECT_EQ((std::vector<unsigned long>{3, 4, 6}), allocator.m_sizes);
    EXPECT_EQ("abCxyz", TextOf(buffer));
    EXPECT_EQ(6u, buffer.Seek(0, 1));
}

TEST(StreamBufferTest, WritingNothingOrFromNowhereIsZeroAndChangesNothing) {
    Filled buffer("abc");
    EXPECT_EQ(0u, buffer.Write("x", 0));
    EXPECT_EQ(0u, buffer.Write(nullptr, 5));
    EXPECT_EQ("abc", TextOf(buffer));
    EXPECT_EQ(0u, buffer.Seek(0, 1));
}

TEST(StreamBufferTest, WritingPastTheEndOfForeignMemoryThrowsIdZeroAndChangesNothing) {
    char szText[] = "0123456789";
    StreamBuffer buffer(szText, 10);
    buffer.Seek(8, 0);
    EXPECT_EQ(0, ThrownBy([&] { buffer.Write("abc", 3); }));
    EXPECT_STREQ("0123456789", szText);
    EXPECT_EQ(10u, buffer.GetSize());
    EXPECT_EQ(8u, buffer.Seek(0, 1));
    EXPECT_EQ(2u, buffer.Write("ab", 2));
    EXPECT_STREQ("01234567ab", szText);
}

TEST(StreamBufferTest, WritingWhenMemoryIsOutThrowsIdOneAndChangesNothing) {
    FaultyAllocator allocator;
    StreamBuffer buffer(allocator);
    buffer.Write("abc", 3);
    buffer.Seek(1, 0);
    allocator.m_bOut = true;
    EXPECT_EQ(1, ThrownBy([&] { buffer.Write("defg", 4); }));
    EXPECT_EQ("abc", TextOf(buffer));
    EXPECT_EQ(1u, buffer.Seek(0, 1));
    EXPECT_EQ(2u, buffer.Write("yz", 2));
    EXPECT_EQ("ayz", TextOf(buffer));
}

TEST(StreamBufferTest, AnEndBeyondEveryAddressIsRefusedNotWrapped) {
    Filled owned("abc");
    owned.Seek(2, 0);
    EXPECT_EQ(1, ThrownBy([&] { owned.Write("x", kHuge); }));
    EXPECT_EQ("abc", TextOf(owned));
    EXPECT_EQ(2u, owned.Seek(0, 1));

    char szText[] = "abc";
    StreamBuffer foreign(szText, 3);
    foreign.Seek(2, 0);
    EXPECT_EQ(0, ThrownBy([&] { foreign.Write("x", kHuge); }));
    EXPECT_STREQ("abc", szText);
}

// ---- Read

TEST(StreamBufferTest, ReadingExactlyTheRestSucceedsAndOneMoreThrowsIdTwo) {
    Filled buffer("abcde");
    char szRead[6] = {};
    EXPECT_EQ(2u, buffer.Read(szRead, 2));
    EXPECT_EQ(3u, buffer.Read(szRead + 2, 3));
    EXPECT_STREQ("abcde", szRead);
    EXPECT_EQ(2, ThrownBy([&] { buffer.Read(szRead, 1); }));
    EXPECT_EQ(5u, buffer.Seek(0, 1));
}

TEST(StreamBufferTest, AReadThatThrowsCopiesNothingAndStaysWhereItIs) {
    Filled buffer("abcde");
    buffer.Seek(3, 0);
    char szRead[4] = "---";
    EXPECT_EQ(2, ThrownBy([&] { buffer.Read(szRead, 3); }));
    EXPECT_EQ(2, ThrownBy([&] { buffer.Read(szRead, kHuge); }));
    EXPECT_STREQ("---", szRead);
    EXPECT_EQ(3u, buffer.Seek(0, 1));
}

TEST(StreamBufferTest, ReadingNothingOrToNowhereIsZeroEvenPastTheEnd) {
    Filled buffer("abc");
    char ch = '-';
    EXPECT_EQ(0u, buffer.Read(&ch, 0));
    EXPECT_EQ(0u, buffer.Read(nullptr, 100));
    EXPECT_EQ('-', ch);
    EXPECT_EQ(0u, buffer.Seek(0, 1));
}

// ---- Seek

struct SeekCase {
    const char* pszWhy;
    unsigned long nFrom;
    unsigned long nOffset;
    int nOrigin;
    unsigned long nPositionOfForeign;
    unsigned long nPositionOfOwned;
    unsigned long nSizeOfOwned;
};

constexpr SeekCase kSeeks[] = {
    {"from the start", 4, 7, 0, 7, 7, 10},
    {"from the position", 4, 3, 1, 7, 7, 10},
    {"from the end", 4, 0, 2, 10, 10, 10},
    {"any other origin is the start", 4, 7, 3, 7, 7, 10},
    {"a negative origin too", 4, 7, -1, 7, 7, 10},
    {"to the end exactly", 0, 10, 0, 10, 10, 10},
    {"beyond the end from the start", 0, 100, 0, 10, 100, 100},
    {"beyond the end from the position", 4, 7, 1, 10, 11, 11},
    {"beyond the end from the end", 4, 5, 2, 10, 15, 15},
};

TEST(StreamBufferTest, SeekGrowsAnOwnedBufferAndStopsAtTheEndOfAForeignOne) {
    for (const SeekCase& c : kSeeks) {
        SCOPED_TRACE(c.pszWhy);
        StreamBuffer foreign("0123456789", 10);
        foreign.Seek(c.nFrom, 0);
        EXPECT_EQ(c.nPositionOfForeign, foreign.Seek(c.nOffset, c.nOrigin));
        EXPECT_EQ(c.nPositionOfForeign, foreign.Seek(0, 1));
        EXPECT_EQ(10u, foreign.GetSize());

        Filled owned("0123456789");
        owned.Seek(c.nFrom, 0);
        EXPECT_EQ(c.nPositionOfOwned, owned.Seek(c.nOffset, c.nOrigin));
        EXPECT_EQ(c.nPositionOfOwned, owned.Seek(0, 1));
        EXPECT_EQ(c.nSizeOfOwned, owned.GetSize());
    }
}

TEST(StreamBufferTest, BytesGainedBySeekingAreZero) {
    Filled buffer("abc");
    buffer.Seek(2000, 0);
    EXPECT_EQ(std::string("abc") + std::string(1997, '\0'), TextOf(buffer));
}

TEST(StreamBufferTest, SeekingWhenMemoryIsOutThrowsIdOneAndChangesNothing) {
    FaultyAllocator allocator;
    StreamBuffer buffer(allocator);
    buffer.Write("abc", 3);
    allocator.m_bOut = true;
    EXPECT_EQ(1, ThrownBy([&] { buffer.Seek(4, 0); }));
    EXPECT_EQ("abc", TextOf(buffer));
    EXPECT_EQ(3u, buffer.Seek(0, 1));
}

TEST(StreamBufferTest, SeekingBeyondEveryAddressNeverWraps) {
    Filled owned("0123456789");
    owned.Seek(5, 0);
    EXPECT_EQ(1, ThrownBy([&] { owned.Seek(kHuge - 1, 1); }));
    EXPECT_EQ(5u, owned.Seek(0, 1));
    StreamBuffer foreign("0123456789", 10);
    foreign.Seek(5, 0);
    EXPECT_EQ(10u, foreign.Seek(kHuge - 1, 1));
}

// ---- EndAtPos and Grow

TEST(StreamBufferTest, EndAtPosCutsAnOwnedBufferOffAtThePosition) {
    FaultyAllocator allocator;
    StreamBuffer buffer(allocator);
    buffer.Write("abcdef", 6);
    buffer.Seek(2, 0);
    EXPECT_EQ(2u, buffer.EndAtPos());
    EXPECT_EQ("ab", TextOf(buffer));
    EXPECT_EQ((std::vector<unsigned long>{6, 2}), allocator.m_sizes);
    EXPECT_EQ(2u, buffer.Seek(0, 1));
}

TEST(StreamBufferTest, EndAtPosAtTheStartEmptiesAndTheBufferGrowsAgain) {
    Filled buffer("abcdef");
    EXPECT_EQ(0u, buffer.EndAtPos());
    EXPECT_EQ(nullptr, buffer.GetBuffer());
    EXPECT_EQ(0u, buffer.GetSize());
    EXPECT_EQ(2u, buffer.Write("xy", 2));
    EXPECT_EQ("xy", TextOf(buffer));
}

TEST(StreamBufferTest, EndAtPosLeavesForeignMemoryAndTellsItsSize) {
    StreamBuffer buffer("abcdef", 6);
    buffer.Seek(2, 0);
    EXPECT_EQ(6u, buffer.EndAtPos());
    EXPECT_EQ(6u, buffer.GetSize());
}

TEST(StreamBufferTest, ABlockThatFailsToShrinkServesAsItIs) {
    FaultyAllocator allocator;
    StreamBuffer buffer(allocator);
    buffer.Write("abcdef", 6);
    buffer.Seek(2, 0);
    allocator.m_bOut = true;
    EXPECT_EQ(2u, buffer.EndAtPos());
    EXPECT_EQ("ab", TextOf(buffer));
}

TEST(StreamBufferTest, GrowReturnsTheBufferAndBringsThePositionAlong) {
    Filled buffer("abcdef");
    buffer.Seek(5, 0);
    EXPECT_EQ(buffer.GetBuffer(), buffer.Grow(6));
    void* pShrunk = buffer.Grow(4);
    EXPECT_EQ(buffer.GetBuffer(), pShrunk);
    EXPECT_EQ("abcd", TextOf(buffer));
    EXPECT_EQ(4u, buffer.Seek(0, 1));
}

TEST(StreamBufferTest, GrowIsWhatEveryChangeOfSizeGoesThrough) {
    struct Watched : StreamBuffer {
        void* Grow(unsigned long n) override {
            m_sizes.push_back(n);
            return StreamBuffer::Grow(n);
        }
        std::vector<unsigned long> m_sizes;
    } buffer;
    buffer.Write("abc", 3);
    buffer.Seek(10, 0);
    buffer.Seek(1, 0);
    buffer.EndAtPos();
    EXPECT_EQ((std::vector<unsigned long>{3, 10, 1}), buffer.m_sizes);
}

// ---- Detach

TEST(StreamBufferTest, DetachHandsOverTheBlockItselfToBeFreed) {
    Filled buffer("abc");
    void* const pBefore = buffer.GetBuffer();
    void* p = nullptr;
    unsigned long n = 0;
    buffer.Detach(p, n);
    EXPECT_EQ(pBefore, p);
    ASSERT_EQ(3u, n);
    EXPECT_EQ(0, std::memcmp(p, "abc", 3));
    std::free(p);
}

TEST(StreamBufferTest, ADetachedBufferIsEmptyAndHasNoAllocator) {
    FaultyAllocator allocator;
    StreamBuffer buffer(allocator);
    buffer.Write("abc", 3);
    void* p = nullptr;
    unsigned long n = 0;
    buffer.Detach(p, n);
    std::free(p);
    EXPECT_EQ(1u, allocator.m_nRefs);
    EXPECT_EQ(nullptr, buffer.GetBuffer());
    EXPECT_EQ(0u, buffer.GetSize());
    EXPECT_EQ(0u, buffer.Seek(5, 0));
    EXPECT_EQ(0, ThrownBy([&] { buffer.Write("x", 1); }));
    buffer.Detach(p, n);
    EXPECT_EQ(nullptr, p);
    EXPECT_EQ(0u, n);
}

TEST(StreamBufferTest, DetachOfForeignMemoryHandsOverACopyThatMayBeFreed) {
    const char szText[] = "abc";
    StreamBuffer buffer(szText, 3);
    void* p = nullptr;
    unsigned long n = 0;
    buffer.Detach(p, n);
    ASSERT_EQ(3u, n);
    EXPECT_NE(static_cast<const void*>(szText), p);
    EXPECT_EQ(0, std::memcmp(p, "abc", 3));
    EXPECT_EQ(0u, buffer.GetSize());
    std::free(p);
}

// ---- Exceptions

TEST(ExceptionTest, NamesItself) { EXPECT_STREQ("Kestrova::Exception", Exception().GetText()); }

TEST(StreamBufferExceptionTest, TellsIdAndBufferAndNamesTheId) {
    StreamBuffer buffer;
    const char* const kTexts[] = {"Kestrova::StreamBufferException<0>", "Kestrova::StreamBufferException<1>",
                                  "Kestrova::StreamBufferException<2>"};
    for (int id = 0; id < 3; ++id) {
        const StreamBufferException e(&buffer, static_cast<StreamBufferException::ExceptId>(id));
        EXPECT_EQ(id, e.GetId());
        EXPECT_EQ(&buffer, e.GetStreamBuffer());
        EXPECT_STREQ(kTexts[id], e.GetText());
    }
}

TEST(StreamBufferExceptionTest, ItsTextStaysWhereItIs) {
    const StreamBufferException e(nullptr, StreamBufferException::kOutOfMemory);
    const char* const pszFirst = e.GetText();
    EXPECT_EQ(pszFirst, e.GetText());
}

TEST(StreamBufferExceptionTest, IsCaughtAsTheGeneralException) {
    StreamBuffer buffer;
    char ch = 0;
    try {
        buffer.Read(&ch, 1);
        FAIL() << "nothing to read";
    } catch (const Exception& e) {
        EXPECT_STREQ("Kestrova::StreamBufferException<2>", e.GetText());
    }
}

TEST(StreamBufferExceptionTest, NamesTheBufferThatThrew) {
    StreamBuffer buffer;
    char ch = 0;
    try {
        buffer.Read(&ch, 1);
        FAIL() << "nothing to read";
    } catch (const StreamBufferException& e) {
        EXPECT_EQ(&buffer, e.GetStreamBuffer());
    }
}

}  // namespace
}  // namespace Kestrova::Test
