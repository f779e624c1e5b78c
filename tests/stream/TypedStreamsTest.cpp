#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "stream/TypedStreams.h"
#include "tests/support/FakeStreams.h"
#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

constexpr unsigned long kUnlimited = std::numeric_limits<unsigned long>::max();
constexpr unsigned long kHuge = std::numeric_limits<unsigned long>::max();

Bytes WithLength(int32_t nLength, const std::string& strCharacters) {
    std::string strBytes(reinterpret_cast<const char*>(&nLength), sizeof nLength);
    strBytes += strCharacters;
    return Bytes(strBytes.begin(), strBytes.end());
}

std::string TextOf(const String& strText) {
    return std::string(strText.c_str(), static_cast<size_t>(strText.GetLength()));
}

// ---- Writing values

struct WriteCase {
    const char* pszWhat;
    std::function<bool(OutputStream&)> write;
    const char* pszHex;
};

const WriteCase kWrites[] = {
    {"unsigned char", [](OutputStream& out) { return out.Write(static_cast<unsigned char>(0xFE)); }, "fe"},
    {"unsigned short", [](OutputStream& out) { return out.Write(static_cast<unsigned short>(0xFEDC)); },
     "dcfe"},
    {"unsigned long", [](OutputStream& out) { return out.Write(0xFEDCBA98ul); }, "98badcfe"},
    {"unsigned long long", [](OutputStream& out) { return out.Write(0xFEDCBA9876543210ull); },
     "1032547698badcfe"},
    {"float", [](OutputStream& out) { return out.Write(1.0f); }, "0000803f"},
    {"double", [](OutputStream& out) { return out.Write(1.0); }, "000000000000f03f"},
    {"signed char", [](OutputStream& out) { return out.Write(static_cast<signed char>(-2)); }, "fe"},
    {"short", [](OutputStream& out) { return out.Write(static_cast<short>(-2)); }, "feff"},
    {"long", [](OutputStream& out) { return out.Write(-2l); }, "feffffff"},
    {"long long", [](OutputStream& out) { return out.Write(-2ll); }, "feffffffffffffff"},
    {"WriteInt8", [](OutputStream& out) { return out.WriteInt8(-128); }, "80"},
    {"WriteInt16", [](OutputStream& out) { return out.WriteInt16(-32767); }, "0180"},
    {"WriteInt32", [](OutputStream& out) { return out.WriteInt32(-2147483647); }, "01000080"},
    {"WriteInt64", [](OutputStream& out) { return out.WriteInt64(-2); }, "feffffffffffffff"},
    {"WriteUInt8", [](OutputStream& out) { return out.WriteUInt8(200); }, "c8"},
    {"WriteUInt16", [](OutputStream& out) { return out.WriteUInt16(0x8001); }, "0180"},
    {"WriteUInt32", [](OutputStream& out) { return out.WriteUInt32(0x80000001); }, "01000080"},
    {"WriteUInt64", [](OutputStream& out) { return out.WriteUInt64(0x8000000000000001); },
     "0100000000000080"},
    {"WriteFloat32", [](OutputStream& out) { return out.WriteFloat32(-1.5f); }, "0000c0bf"},
    {"WriteFloat64", [](OutputStream& out) { return out.WriteFloat64(-1.5); }, "000000000000f8bf"},
    {"String", [](OutputStream& out) { return out.Write(String("abc")); }, "03000000616263"},
    {"WriteString", [](OutputStream& out) { return out.WriteString("abc"); }, "03000000616263"},
    {"empty String", [](OutputStream& out) { return out.Write(String()); }, "00000000"},
    {"String with a zero byte", [](OutputStream& out) { return out.Write(String("a\0b", 3)); },
     "03000000610062"},
};

TEST(OutputStreamTest, ValuesAreTheirBytesInMemory) {
    for (const WriteCase& c : kWrites) {
        SCOPED_TRACE(c.pszWhat);
        ShortOutput out(kUnlimited);
        EXPECT_TRUE(c.write(out));
        EXPECT_EQ(c.pszHex, ToHex(out.m_bytes));
    }
}

TEST(OutputStreamTest, AValueThatIsNotTakenWholeIsFalse) {
    for (const WriteCase& c : kWrites) {
        SCOPED_TRACE(c.pszWhat);
        for (size_t nLimit = 0; nLimit < std::strlen(c.pszHex) / 2; ++nLimit) {
            ShortOutput out(nLimit);
            EXPECT_FALSE(c.write(out)) << nLimit;
        }
    }
}

TEST(OutputStreamTest, ANumberIsOneWriteAndATextTwo) {
    ShortOutput out(kUnlimited);
    out.Write(7ul);
    out.Write(String("abcde"));
    out.Write(String());
    EXPECT_EQ((std::vector<unsigned long>{4, 4, 5, 4}), out.m_writes);
}

TEST(OutputStreamTest, NothingIsWrittenBehindALengthThatFailed) {
    ShortOutput out(3);
    EXPECT_FALSE(out.Write(String("abc")));
    EXPECT_EQ((std::vector<unsigned long>{4}), out.m_writes);
}

TEST(OutputStreamTest, NotANumberIsWrittenToo) {
    ShortOutput out(kUnlimited);
    EXPECT_TRUE(out.Write(std::nanf("")));
    EXPECT_EQ(4u, out.m_bytes.size());
}
// Q50

// Q50
TEST(OutputStreamTest, ALongThatFourBytesCannotHoldIsRefusedUnwritten) {
    ShortOutput out(kUnlimited);
    EXPECT_FALSE(out.Write(0x100000000ul));
    EXPECT_FALSE(out.Write(0x80000000l));
    EXPECT_FALSE(out.Write(-0x80000001l));
    EXPECT_TRUE(out.m_writes.empty());
    EXPECT_TRUE(out.Write(0xFFFFFFFFul));
    EXPECT_TRUE(out.Write(0x7FFFFFFFl));
    EXPECT_TRUE(out.Write(-0x80000000l));
    EXPECT_EQ("ffffffffffffff7f00000080", ToHex(out.m_bytes));
}

TEST(OutputStreamTest, WriteArrayIsOneUnswappedWrite) {
    const uint16_t kValues[] = {0x0102, 0x0304, 0x0506};
    ShortOutput out(kUnlimited);
    EXPECT_EQ(3u, out.WriteArray(kValues, 3, 2));
    EXPECT_EQ("020104030605", ToHex(out.m_bytes));
    EXPECT_EQ((std::vector<unsigned long>{6}), out.m_writes);
}

TEST(OutputStreamTest, WriteArrayCountsWholeElements) {
    const uint16_t kValues[] = {1, 2, 3};
    ShortOutput out(5);
    EXPECT_EQ(2u, out.WriteArray(kValues, 3, 2));
}

TEST(OutputStreamTest, WriteArrayOfNoSizeOrOfMoreThanMemoryIsZero) {
    ShortOutput out(kUnlimited);
    EXPECT_EQ(0u, out.WriteArray("x", 3, 0));
    EXPECT_EQ(0u, out.WriteArray("x", kHuge / 2, 4));
    EXPECT_TRUE(out.m_writes.empty());
}

// ---- Reading values

// Reads by reference and, where there is one, by the Read... operation that returns the value.
template <class TValue>
void ExpectRead(const char* pszHex, TValue expected) {
    const Bytes bytes = HexBytes(pszHex);
    TValue value{};
    EXPECT_TRUE(ShortInput(bytes).InputStream::Read(value));
    EXPECT_EQ(expected, value);
    for (size_t nLength = 0; nLength < bytes.size(); ++nLength) {
        const auto kept = static_cast<TValue>(77);
        TValue cut = kept;
        ShortInput in(Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(nLength)));
        EXPECT_FALSE(in.InputStream::Read(cut)) << nLength;
        EXPECT_EQ(kept, cut) << nLength;
    }
}

TEST(InputStreamTest, ValuesAreReadByReferenceAndKeptWhenCutShort) {
    ExpectRead<unsigned char>("fe", 0xFE);
    ExpectRead<unsigned short>("dcfe", 0xFEDC);
    ExpectRead<unsigned long>("98badcfe", 0xFEDCBA98ul);
    ExpectRead<unsigned long long>("1032547698badcfe", 0xFEDCBA9876543210ull);
    ExpectRead<float>("0000803f", 1.0f);
    ExpectRead<double>("000000000000f03f", 1.0);
    ExpectRead<signed char>("fe", -2);
    ExpectRead<short>("feff", -2);
    ExpectRead<long>("feffffff", -2l);
    ExpectRead<long long>("feffffffffffffff", -2ll);
}

template <class TValue>
void ExpectReturned(const char* pszHex, TValue (InputStream::*read)(), TValue expected) {
    const Bytes bytes = HexBytes(pszHex);
    ShortInput whole(bytes);
    EXPECT_EQ(expected, (whole.*read)());
    ShortInput cut(Bytes(bytes.begin(), bytes.end() - 1));
    EXPECT_EQ(TValue{}, (cut.*read)());
}

TEST(InputStreamTest, ValuesAreReturnedAndZeroWhenCutShort) {
    ExpectReturned<int8_t>("80", &InputStream::ReadInt8, -128);
    ExpectReturned<int16_t>("0180", &InputStream::ReadInt16, -32767);
    ExpectReturned<int32_t>("01000080", &InputStream::ReadInt32, -2147483647);
    ExpectReturned<int64_t>("feffffffffffffff", &InputStream::ReadInt64, -2);
    ExpectReturned<uint8_t>("c8", &InputStream::ReadUInt8, 200);
    ExpectReturned<uint16_t>("0180", &InputStream::ReadUInt16, 0x8001);
    ExpectReturned<uint32_t>("01000080", &InputStream::ReadUInt32, 0x80000001);
    ExpectReturned<uint64_t>("0100000000000080", &InputStream::ReadUInt64, 0x8000000000000001);
    ExpectReturned<float>("0000c0bf", &InputStream::ReadFloat32, -1.5f);
    ExpectReturned<double>("000000000000f8bf", &InputStream::ReadFloat64, -1.5);
}

TEST(InputStreamTest, IsNeverAtItsEndUnlessTheTransportSaysSo) {
    ShortInput in{Bytes()};
    in.ReadInt8();
    EXPECT_FALSE(in.IsEOF());
}

TEST(InputStreamTest, ReadArrayIsOneUnswappedReadThatCountsWholeElements) {
    uint16_t values[3] = {};
    ShortInput in(HexBytes("0201040306"));
    EXPECT_EQ(2u, in.ReadArray(values, 3, 2));
    EXPECT_EQ(0x0102, values[0]);
    EXPECT_EQ(0x0304, values[1]);
    EXPECT_EQ(1, in.m_nReads);
}

TEST(InputStreamTest, ReadArrayOfNoSizeOrOfMoreThanMemoryIsZero) {
    ShortInput in(HexBytes("01020304"));
    char ch = 0;
    EXPECT_EQ(0u, in.ReadArray(&ch, 3, 0));
    EXPECT_EQ(0u, in.ReadArray(&ch, kHuge / 2, 4));
    EXPECT_EQ(0, in.m_nReads);
}

// ---- Reading texts

struct TextCase {
    const char* pszWhy;
    Bytes bytes;
    bool bRead;
    std::string strText;  // "kept" is the text before
};

const TextCase kTexts[] = {
    {"plain", WithLength(3, "abc"), true, "abc"},
    {"empty", WithLength(0, ""), true, ""},
    {"bytes behind the text are not read", WithLength(2, "abc"), true, "ab"},
    {"a zero byte ends the text", WithLength(5, std::string("ab\0cd", 5)), true, "ab"},
    {"a leading zero byte makes it empty", WithLength(2, std::string("\0a", 2)), true, ""},
    {"no length at all counts as 0", Bytes(), true, ""},
    {"half a length counts as 0", Bytes{3, 0, 0}, true, ""},
    {"characters cut short", WithLength(4, "abc"), false, "kept"},
    {"no characters", WithLength(1, ""), false, "kept"},
    {"a hostile length", WithLength(0x7FFFFFF0, "abc"), false, "kept"},
    {"a length no text can have", WithLength(0x7FFFFFFF, "abc"), false, "kept"},
};
// Q44

// Q44
TEST(InputStreamTest, TextsAreAssignedOnlyWhenTheyCameWhole) {
    for (const TextCase& c : kTexts) {
        SCOPED_TRACE(c.pszWhy);
        String strText("kept");
        EXPECT_EQ(c.bRead, ShortInput(c.bytes).InputStream::Read(strText));
        EXPECT_EQ(c.strText, TextOf(strText));
    }
}

TEST(InputStreamTest, ReadStringIsEmptyWhereReadFails) {
    for (const TextCase& c : kTexts) {
        SCOPED_TRACE(c.pszWhy);
        EXPECT_EQ(c.bRead ? c.strText : "", TextOf(ShortInput(c.bytes).ReadString()));
    }
}

TEST(InputStreamTest, AHostileLengthTakesNoMemoryBeforeTheBytesCame) {
    ShortInput in(WithLength(0x7FFFFFF0, std::string(100000, 'x')));
    String strText;
    EXPECT_FALSE(in.InputStream::Read(strText));
    EXPECT_EQ(0x10000u, in.m_nLargestRequest);
}

TEST(InputStreamTest, ALengthNoTextCanHaveIsRefusedBeforeItsCharacters) {
    ShortInput in(WithLength(0x7FFFFFFF, "abc"));
    String strText;
    EXPECT_FALSE(in.InputStream::Read(strText));
    EXPECT_EQ(1, in.m_nReads);
}

TEST(InputStreamTest, ALongTextArrivesWholeInGrowingPieces) {
    std::string strLong(1000001, '?');
    for (size_t i = 0; i < strLong.size(); ++i) strLong[i] = static_cast<char>('a' + i % 23);
    ShortInput in(WithLength(1000001, strLong));
    EXPECT_EQ(strLong, TextOf(in.ReadString()));
    EXPECT_EQ(6, in.m_nReads);  // the length; 64, 64, 128, 256 KiB and the rest
}
// Q46

// Q46
TEST(InputStreamDeathTest, ANegativeLengthIsFatal) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const int32_t nLength : {-1, std::numeric_limits<int32_t>::min()}) {
        ShortInput in(WithLength(nLength, "abc"));
        EXPECT_DEATH(in.ReadString(), "shared/System/kvString.*nNewLength >= 0");
    }
}

// ---- Random access

class MovingPosition final : public RandomAccess {
public:
    unsigned long Seek(unsigned long nOffset, int nOrigin) override {
        m_seeks.emplace_back(nOffset, nOrigin);
        if (nOrigin == 1) m_nPosition = std::min(m_nPosition + nOffset, 10ul);
        return m_nPosition;
    }
    unsigned long EndAtPos() override { return m_nPosition; }

    std::vector<std::pair<unsigned long, int>> m_seeks;
    unsigned long m_nPosition = 4;
};

TEST(RandomAccessTest, TellSeeksNowhereFromThePosition) {
    MovingPosition stream;
    EXPECT_EQ(4u, stream.Tell());
    EXPECT_EQ((std::vector<std::pair<unsigned long, int>>{{0, 1}}), stream.m_seeks);
}

TEST(RandomAccessTest, SkipIsTrueOnlyWhenThePositionMovedByExactlyThat) {
    MovingPosition stream;
    EXPECT_TRUE(stream.Skip(5));
    EXPECT_EQ(9u, stream.m_nPosition);
    EXPECT_TRUE(stream.Skip(0));
    EXPECT_FALSE(stream.Skip(2));
    EXPECT_EQ(10u, stream.m_nPosition);
}

// ---- Arrays of the other byte order

struct SwapCase {
    unsigned long nSize;
    const char* pszHost;
    const char* pszStream;
};

constexpr SwapCase kSwaps[] = {
    {1, "0102030405", "0102030405"},
    {2, "010203040506", "020104030605"},
    {3, "010203040506", "030201060504"},
    {4, "0102030405060708", "0403020108070605"},
    {5, "0102030405060708090a", "05040302010a09080706"},
    {8, "0102030405060708", "0807060504030201"},
};

TEST(SwappedArrayTest, EveryElementIsByteReversedOnItsWay) {
    for (const SwapCase& c : kSwaps) {
        SCOPED_TRACE(c.nSize);
        const Bytes host = HexBytes(c.pszHost);
        const unsigned long nCount = host.size() / c.nSize;
        ShortOutput out(kUnlimited);
        EXPECT_EQ(nCount, writeArray(out, host.data(), nCount, c.nSize));
        EXPECT_EQ(c.pszStream, ToHex(out.m_bytes));
        ShortInput in(HexBytes(c.pszStream));
        Bytes read(host.size());
        EXPECT_EQ(nCount, readArray(in, read.data(), nCount, c.nSize));
        EXPECT_EQ(c.pszHost, ToHex(read));
    }
}

TEST(SwappedArrayTest, PiecesAreWholeElementsInAtMost1024Bytes) {
    const Bytes host(3000);
    ShortOutput out(kUnlimited);
    EXPECT_EQ(1000u, writeArray(out, host.data(), 1000, 3));
    EXPECT_EQ((std::vector<unsigned long>{1023, 1023, 954}), out.m_writes);
    ShortInput in(host);
    Bytes read(3000);
    EXPECT_EQ(1000u, readArray(in, read.data(), 1000, 3));
    EXPECT_EQ(1023u, in.m_nLargestRequest);
    EXPECT_EQ(3, in.m_nReads);
}

TEST(SwappedArrayTest, ManyPiecesKeepTheOrderOfTheElements) {
    std::vector<uint32_t> values(5000);
    for (size_t i = 0; i < values.size(); ++i) values[i] = static_cast<uint32_t>(i * 2654435761u);
    ShortOutput out(kUnlimited);
    ASSERT_EQ(values.size(), writeArray(out, values.data(), values.size(), 4));
    for (size_t i = 0; i < values.size(); ++i) {
        uint32_t nStored = 0;
        std::memcpy(&nStored, out.m_bytes.data() + 4 * i, 4);
        ASSERT_EQ(values[i], __builtin_bswap32(nStored)) << i;
    }
    ShortInput in(out.m_bytes);
    std::vector<uint32_t> read(5000);
    ASSERT_EQ(read.size(), readArray(in, read.data(), read.size(), 4));
    EXPECT_EQ(values, read);
}

TEST(SwappedArrayTest, AnElementThatFillsTheScratchAreaIsTransferredAndALargerOneRefused) {
    Bytes host(2050);
    for (size_t i = 0; i < host.size(); ++i) host[i] = static_cast<uint8_t>(i % 251);
    ShortOutput out(kUnlimited);
    EXPECT_EQ(2u, writeArray(out, host.data(), 2, 1024));
    EXPECT_EQ(host[1023], out.m_bytes[0]);
    EXPECT_EQ(host[1024], out.m_bytes[2047]);
    EXPECT_EQ(0u, writeArray(out, host.data(), 2, 1025));
    EXPECT_EQ(2048u, out.m_bytes.size());
    ShortInput in(host);
    Bytes read(2050);
    EXPECT_EQ(0u, readArray(in, read.data(), 2, 1025));
    EXPECT_EQ(0, in.m_nReads);
    EXPECT_EQ(2u, readArray(in, read.data(), 2, 1024));
    EXPECT_EQ(host[0], read[1023]);
}

TEST(SwappedArrayTest, AShortWriteEndsTheTransferAndWholeElementsCount) {
    const Bytes host(4000);
    for (const unsigned long nLimit : {0ul, 3ul, 1023ul, 1024ul, 1027ul, 3999ul}) {
        SCOPED_TRACE(nLimit);
        ShortOutput out(nLimit);
        EXPECT_EQ(nLimit / 4, writeArray(out, host.data(), 1000, 4));
        EXPECT_EQ(nLimit / 1024 + 1, out.m_writes.size());
    }
}

TEST(SwappedArrayTest, AShortReadEndsTheTransferAndWholeElementsAreCopiedOut) {
    ShortInput in(HexBytes("0102030405060708090a"));
    Bytes read(12, 0xEE);
    EXPECT_EQ(2u, readArray(in, read.data(), 3, 4));
    EXPECT_EQ("0403020108070605eeeeeeee", ToHex(read));
    EXPECT_EQ(1, in.m_nReads);
}

TEST(SwappedArrayTest, NoPointerNoCountOrNoSizeIsZero) {
    ShortOutput out(kUnlimited);
    EXPECT_EQ(0u, writeArray(out, nullptr, 1, 1));
    EXPECT_EQ(0u, writeArray(out, "x", 0, 1));
    EXPECT_EQ(0u, writeArray(out, "x", 1, 0));
    EXPECT_TRUE(out.m_writes.empty());
    ShortInput in(Bytes(10));
    char ch = 0;
    EXPECT_EQ(0u, readArray(in, nullptr, 1, 1));
    EXPECT_EQ(0u, readArray(in, &ch, 0, 1));
    EXPECT_EQ(0u, readArray(in, &ch, 1, 0));
    EXPECT_EQ(0, in.m_nReads);
}

}  // namespace
}  // namespace Kestrova::Test
