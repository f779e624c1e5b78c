// Format: the output, and the room estimated for it, which shows as the block's length.
#include <cmath>
#include <cstring>
#include <cwchar>
#include <functional>
#include <limits>
#include <memory>

#include "tests/shared/System/StringTestSupport.h"

namespace Kestrova::Test {
namespace {

// FormatV without the compiler's check of format and arguments.
void FormatUnchecked(String& str, const char* lpszFormat, ...) {
    void (String::*const pfnFormatV)(const char*, va_list) = &String::FormatV;
    va_list argList;
    va_start(argList, lpszFormat);
    (str.*pfnFormatV)(lpszFormat, argList);
    va_end(argList);
}

struct FormatCase {
    const char* pszName;
    std::function<void(String&)> format;
    const char* pszExpected;
    int nRoom;
};

void ExpectTextsAndRooms(std::initializer_list<FormatCase> cases) {
    for (const FormatCase& c : cases) {
        SCOPED_TRACE(c.pszName);
        String str;
        c.format(str);
        EXPECT_STREQ(c.pszExpected, str);
        EXPECT_EQ(std::strlen(c.pszExpected), static_cast<size_t>(str.GetLength()));
        EXPECT_EQ(c.nRoom, str.GetAllocLength());
    }
}
// Q9

// Q9
TEST(StringFormatTest, EachLiteralCharacterReservesTheWholeRestOfTheFormat) {
    ExpectTextsAndRooms({
        {"one", [](String& s) { s.Format("a"); }, "a", 1},
        {"three", [](String& s) { s.Format("abc"); }, "abc", 3 + 2 + 1},
        {"percent", [](String& s) { s.Format("%%"); }, "%", 1},
        {"percent between", [](String& s) { s.Format("a%%bc"); }, "a%bc", 5 + 3 + 2 + 1},
        {"two percents", [](String& s) { s.Format("%%%%"); }, "%%", 3 + 1},
        {"around a conversion", [](String& s) { s.Format("ab%dc", 7); }, "ab7c", 5 + 4 + 32 + 1},
        {"a path", [](String& s) { s.Format("%s/%s", "a", "b"); }, "a/b", 1 + 3 + 1},
    });
}

TEST(StringFormatTest, AFormatOfManyLiteralCharactersReservesFarMoreThanItNeeds) {
    const std::string strLiteral(1000, 'x');
    String str;
    FormatUnchecked(str, strLiteral.c_str());
    EXPECT_EQ(strLiteral, Bytes(str));
    EXPECT_EQ(1000 * 1001 / 2, str.GetAllocLength());
}

TEST(StringFormatTest, AnEmptyFormatEmpties) {
    String str;
    FormatUnchecked(str, "");
    EXPECT_EQ(StringData::Nil_(), str.GetData());
    String strOld("old");
    FormatUnchecked(strOld, "");
    EXPECT_STREQ("", strOld);
    EXPECT_EQ(3, strOld.GetAllocLength());
}

TEST(StringFormatTest, CharactersReserveTwo) {
    ExpectTextsAndRooms({
        {"c", [](String& s) { s.Format("%c", 'x'); }, "x", 2},
        {"hc", [](String& s) { FormatUnchecked(s, "%hc", 'x'); }, "x", 2},
        {"lc", [](String& s) { s.Format("%lc", wint_t{'x'}); }, "x", 2},
        {"C", [](String& s) { FormatUnchecked(s, "%C", wint_t{'x'}); }, "x", 2},
        {"lC", [](String& s) { FormatUnchecked(s, "%lC", wint_t{'x'}); }, "x", 2},
        {"width raises", [](String& s) { s.Format("%5c", 'x'); }, "    x", 5},
        {"width below", [](String& s) { s.Format("%1c", 'x'); }, "x", 2},
        {"left", [](String& s) { s.Format("%-3c", 'x'); }, "x  ", 3},
        {"precision caps", [](String& s) { FormatUnchecked(s, "%.1c", 'x'); }, "x", 1},
    });
}

TEST(StringFormatTest, TextsReserveTheirLength) {
    const char* const pszNull = nullptr;
    ExpectTextsAndRooms({
        {"s", [](String& s) { s.Format("%s", "hello"); }, "hello", 5},
        {"hs", [](String& s) { FormatUnchecked(s, "%hs", "hello"); }, "hello", 5},
        {"at least one", [](String& s) { s.Format("%s", ""); }, "", 1},
        {"null", [=](String& s) { FormatUnchecked(s, "%s", pszNull); }, "(null)", 6},
        {"null capped", [=](String& s) { FormatUnchecked(s, "%.3s", pszNull); }, "", 3},
        {"precision caps", [](String& s) { s.Format("%.3s", "hello"); }, "hel", 3},
        {"precision above", [](String& s) { s.Format("%.9s", "hello"); }, "hello", 5},
        {"precision zero caps nothing", [](String& s) { s.Format("%.0s", "hello"); }, "", 5},
        {"precision without number", [](String& s) { s.Format("%.s", "hello"); }, "", 5},
        {"width raises", [](String& s) { s.Format("%8s", "hello"); }, "   hello", 8},
        {"width below", [](String& s) { s.Format("%2s", "hello"); }, "hello", 5},
        {"both", [](String& s) { s.Format("%8.3s", "hello"); }, "     hel", 8},
        {"left", [](String& s) { s.Format("%-8s", "hello"); }, "hello   ", 8},
        {"width argument", [](String& s) { s.Format("%*s", 8, "hello"); }, "   hello", 8},
        {"left width argument", [](String& s) { s.Format("%-*s", 8, "hello"); }, "hello   ", 8},
        {"precision argument", [](String& s) { s.Format("%.*s", 3, "hello"); }, "hel", 3},
        {"both arguments", [](String& s) { s.Format("%*.*s", 7, 2, "hello"); }, "     he", 7},
    });
}

TEST(StringFormatTest, WideTextsReserveTheirCharacters) {
    const wchar_t* const pwszNull = nullptr;
    ExpectTextsAndRooms({
        {"ls", [](String& s) { s.Format("%ls", L"hello"); }, "hello", 5},
        {"S", [](String& s) { FormatUnchecked(s, "%S", L"hello"); }, "hello", 5},
        {"lS", [](String& s) { FormatUnchecked(s, "%lS", L"hello"); }, "hello", 5},
        {"hS", [](String& s) { FormatUnchecked(s, "%hS", L"hello"); }, "hello", 5},
        {"at least one", [](String& s) { s.Format("%ls", L""); }, "", 1},
        {"precision caps", [](String& s) { s.Format("%.3ls", L"hello"); }, "hel", 3},
        {"null", [=](String& s) { FormatUnchecked(s, "%ls", pwszNull); }, "(null)", 6},
    });
}

TEST(StringFormatTest, ATextIsReadNoFartherThanItsPrecision) {
    const std::unique_ptr<char[]> narrow(new char[3]{'a', 'b', 'c'});  // no terminator behind it
    const std::unique_ptr<wchar_t[]> wide(new wchar_t[3]{L'a', L'b', L'c'});
    String str;
    str.Format("%.3s", narrow.get());
    EXPECT_STREQ("abc", str);
    str.Format("%.3ls", wide.get());
    EXPECT_STREQ("abc", str);
}

TEST(StringFormatTest, IntegersReserveThirtyTwoOrWidthPlusPrecision) {
    ExpectTextsAndRooms({
        {"d", [](String& s) { s.Format("%d", -42); }, "-42", 32},
        {"i", [](String& s) { s.Format("%i", -42); }, "-42", 32},
        {"o", [](String& s) { s.Format("%o", 8u); }, "10", 32},
        {"u", [](String& s) { s.Format("%u", 4000000000u); }, "4000000000", 32},
        {"x", [](String& s) { s.Format("%x", 0xabcu); }, "abc", 32},
        {"X", [](String& s) { s.Format("%X", 0xabcu); }, "ABC", 32},
        {"p", [](String& s) { FormatUnchecked(s, "%p", reinterpret_cast<void*>(0xabc)); }, "0xabc", 32},
        {"hd", [](String& s) { s.Format("%hd", short{-3}); }, "-3", 32},
        {"hu", [](String& s) { FormatUnchecked(s, "%hu", 65537); }, "1", 32},
        {"ld", [](String& s) { s.Format("%ld", -9000000000L); }, "-9000000000", 32},
        {"lu", [](String& s) { s.Format("%lu", 18446744073709551615UL); }, "18446744073709551615", 32},
        {"lx", [](String& s) { s.Format("%lx", 0xabcdef0123UL); }, "abcdef0123", 32},
        {"Ld", [](String& s) { FormatUnchecked(s, "%Ld", 9000000000LL); }, "9000000000", 32},
        {"lo", [](String& s) { s.Format("%lo", 18446744073709551615UL); }, "1777777777777777777777", 32},
        {"zeros", [](String& s) { s.Format("%05X", 0xAC44u); }, "0AC44", 32},
        {"flags", [](String& s) { s.Format("%+d% d%-3d|", 1, 2, 3); }, "+1 23  |", 32 * 3 + 1},
        {"alternate form adds two", [](String& s) { s.Format("%#x", 0xabcu); }, "0xabc", 34},
        {"each of them", [](String& s) { FormatUnchecked(s, "%##x", 0xabcu); }, "0xabc", 36},
        {"width and precision below", [](String& s) { s.Format("%6.4d", 42); }, "  0042", 32},
        {"width", [](String& s) { s.Format("%33d", 1); }, "                                1", 33},
        {"sum", [](String& s) { s.Format("%-20.15d|", 1); }, "000000000000001     |", 35 + 1},
        {"arguments", [](String& s) { s.Format("%-*.*d|", 20, 15, 1); }, "000000000000001     |", 35 + 1},
    });
}

TEST(StringFormatTest, FloatsReserveAHundredAndTwentyEightOrWidthPlusPrecision) {
    ExpectTextsAndRooms({
        {"e", [](String& s) { s.Format("%e", 1.5); }, "1.500000e+00", 128},
        {"g", [](String& s) { s.Format("%g", 0.1); }, "0.1", 128},
        {"G", [](String& s) { s.Format("%G", 1e-10); }, "1E-10", 128},
        {"le", [](String& s) { s.Format("%le", 1.5); }, "1.500000e+00", 128},
        {"Lg", [](String& s) { s.Format("%Lg", 0.25L); }, "0.25", 128},
        {"width and precision below", [](String& s) { s.Format("%10.2e", 1.5); }, "  1.50e+00", 128},
        {"alternate form", [](String& s) { s.Format("%#g", 1.0); }, "1.00000", 130},
    });
    String str;
    str.Format("%120.60e", 1.5);
    EXPECT_EQ(120, str.GetLength());
    EXPECT_EQ(180, str.GetAllocLength());
}

TEST(StringFormatTest, FixedPointReservesThePrintedNumberWithSixMoreDigits) {
    ExpectTextsAndRooms({
        {"f", [](String& s) { s.Format("%f", 1.5); }, "1.500000", 8},
        {"negative", [](String& s) { s.Format("%f", -1.5); }, "-1.500000", 9},
        {"precision", [](String& s) { s.Format("%.2f", 1.25); }, "1.25", 10},
        {"precision zero", [](String& s) { s.Format("%.0f", 7.0); }, "7", 8},
        {"width", [](String& s) { s.Format("%12.1f", 2.5); }, "         2.5", 12},
        {"arguments", [](String& s) { s.Format("%*.*f", 12, 1, 2.5); }, "         2.5", 12},
        {"lf", [](String& s) { s.Format("%lf", 1.5); }, "1.500000", 8},
        {"Lf", [](String& s) { s.Format("%.1Lf", 1.5L); }, "1.5", 9},
        {"infinite", [](String& s) { s.Format("%f", HUGE_VAL); }, "inf", 3},
    });
}

TEST(StringFormatTest, TheLargestNumbersAreHeldWhole) {
    String str;
    str.Format("%f", -std::numeric_limits<double>::max());
    EXPECT_EQ(1 + 309 + 7, str.GetLength());
    EXPECT_EQ(317, str.GetAllocLength());
    String strPrecise;
    strPrecise.Format("%.400f", std::numeric_limits<double>::max());
    EXPECT_EQ(309 + 401, strPrecise.GetLength());
    EXPECT_EQ(309 + 407, strPrecise.GetAllocLength());
    String strWide;
    strWide.Format("%324f", 1.0);  // as wide as the longest number with its terminator
    EXPECT_EQ(324, strWide.GetLength());
    EXPECT_EQ(324, strWide.GetAllocLength());
    String strLong;
    strLong.Format("%Lf", std::numeric_limits<long double>::max());
    EXPECT_EQ(strLong.GetAllocLength(), strLong.GetLength());
}

TEST(StringFormatTest, TheCountOfCharactersReservesNothing) {
    String str;
    int nWritten = -1;
    str.Format("%n", &nWritten);
    EXPECT_EQ(0, nWritten);
    EXPECT_EQ(StringData::Nil_(), str.GetData());
    str.Format("ab%nc", &nWritten);
    EXPECT_EQ(2, nWritten);
    EXPECT_STREQ("abc", str);
    EXPECT_EQ(5 + 4 + 1, str.GetAllocLength());
}

TEST(StringFormatTest, PrefixesWithoutEffectAreSkippedByTheEstimate) {
    String str;
    FormatUnchecked(str, "%Nd", 1);  // the result is that of the C library, and not compared
    EXPECT_EQ(32, str.GetAllocLength());
}

TEST(StringFormatTest, TheEstimateStaysInStepWithTheArguments) {
    // Integers, floats, long doubles and texts, more of each than any platform passes in registers.
    String str;
    str.Format("%s %d %f %c %ld %s %g %Lf %u %s %e %*d %.*f %lu %s %hd %f %f %f %f %f %f %f %s %Lg %s", "a",
               1, 0.5, 'b', 3L, "c", 1.5, 2.5L, 4u, "d", 10.0, 3, 5, 1, 6.25, 7UL, "e", short{8}, 1.0, 2.0,
               3.0, 4.0, 5.0, 6.0, 7.0, "f", 8.5L, "g");
    EXPECT_STREQ(
        "a 1 0.500000 b 3 c 1.5 2.500000 4 d 1.000000e+01   5 6.2 7 e 8 1.000000 2.000000 3.000000 4.000000 "
        "5.000000 6.000000 7.000000 f 8.5 g",
        str);
}

TEST(StringFormatTest, TheEstimateTakesLongDoublesWhole) {
    String str;  // the integers fill the registers, so that the texts lie behind the long doubles
    str.Format("%d%d%d%d%Lg%Lf%s%s", 1, 2, 3, 4, 5.5L, 6.5L, "first", "second");
    EXPECT_STREQ("12345.56.500000firstsecond", str);
    EXPECT_EQ(4 * 32 + 128 + 8 + 5 + 6, str.GetAllocLength());
}

TEST(StringFormatTest, ALargerPrivateBlockIsKept) {
    String str;
    str.GetBuffer(1000);
    const char* const pchBlock = str;
    str.Format("%d", 5);
    EXPECT_STREQ("5", str);
    EXPECT_EQ(pchBlock, str.c_str());
    EXPECT_EQ(1000, str.GetAllocLength());
}

TEST(StringFormatTest, ASharerGetsABlockOfItsOwnNoShorterThanTheOldText) {
    const String strOther('x', 50);
    String str(strOther);
    str.Format("%d", 5);
    EXPECT_STREQ("5", str);
    EXPECT_EQ(50, str.GetAllocLength());
    EXPECT_EQ(1, Refs(strOther));
    EXPECT_EQ(50, strOther.GetLength());
}
// Q11

// Q11
TEST(StringFormatTest, TheOutputIsCutAtItsFirstZeroByte) {
    String str;
    str.Format("a%cb", '\0');
    EXPECT_STREQ("a", str);
    EXPECT_EQ(1, str.GetLength());
}

TEST(StringFormatTest, AnOutputTheCLibraryRefusesGivesTheEmptyText) {
    String str("old");
    str.Format("ab%ls", L"\u20AC");  // no such character in the default locale
    EXPECT_STREQ("", str);
    EXPECT_EQ(0, str.GetLength());
}

TEST(StringFormatTest, NewWithFormatGivesANewString) {
    const String str = String::NewWithFormat("%s_%05X.kv%c", "Calde4", 48000u, 'n');
    EXPECT_STREQ("Calde4_0BB80.kvn", str);
    EXPECT_EQ(1, Refs(str));
}

struct DeathCase {
    const char* pszName;
    std::function<void(String&)> format;
    const char* pszExpression;
};
// Q10

// Q10
TEST(StringFormatDeathTest, FormatsOutsideTheRulesEndTheProcess) {
    const char* const pszNull = nullptr;
    const DeathCase cases[] = {
        {"null format", [=](String& s) { FormatUnchecked(s, pszNull); }, "gIsValidString(lpszFormat)"},
        {"E", [](String& s) { s.Format("%E", 1.5); }, "false"},
        {"F", [](String& s) { s.Format("%F", 1.5); }, "false"},
        {"a", [](String& s) { s.Format("%a", 1.5); }, "false"},
        {"I64", [](String& s) { FormatUnchecked(s, "%I64d", 1LL); }, "false"},
        {"I64 behind a width", [](String& s) { FormatUnchecked(s, "%5.3I64d", 1LL); }, "false"},
        {"I", [](String& s) { FormatUnchecked(s, "%Id", 1); }, "false"},
        {"two size prefixes", [](String& s) { s.Format("%lld", 1LL); }, "false"},
        {"z", [](String& s) { s.Format("%zu", size_t{1}); }, "false"},
        {"y", [](String& s) { FormatUnchecked(s, "%y", 1); }, "false"},
        {"percent behind a width", [](String& s) { FormatUnchecked(s, "%5%"); }, "false"},
        {"nothing behind percent", [](String& s) { FormatUnchecked(s, "%"); }, "false"},
        {"nothing behind the flags", [](String& s) { FormatUnchecked(s, "%-"); }, "false"},
        {"nothing behind the prefix", [](String& s) { FormatUnchecked(s, "%l"); }, "false"},
        {"width twice", [](String& s) { FormatUnchecked(s, "%*3d", 5, 1); }, "false"},
        {"negative width", [](String& s) { s.Format("%*d", -5, 1); }, "nWidth >= 0"},
        {"negative precision", [](String& s) { s.Format("%.*d", -5, 1); }, "nPrecision >= 0"},
        {"output above the estimate", [](String& s) { s.Format("%.40d", -1); }, "r <= GetAllocLength()"},
        {"sign of infinity", [](String& s) { s.Format("%+f", HUGE_VAL); }, "r <= GetAllocLength()"},
        {"estimate above any block", [](String& s) { s.Format("%2147483647d", 1); }, "nLen <= INT_MAX - 1"},
        {"width above any number", [](String& s) { FormatUnchecked(s, "%99999999999999999999d", 1); },
         "nLen <= INT_MAX - 1"},
    };
    for (const DeathCase& c : cases) {
        SCOPED_TRACE(c.pszName);
        String str;
        EXPECT_DEATH(c.format(str), ReportOf("", c.pszExpression));
    }
}

TEST(StringFormatDeathTest, FormatItselfRefusesNull) {
    const char* const pszNull = nullptr;
    void (String::*const pfnFormat)(const char*, ...) = &String::Format;
    String str;
    EXPECT_DEATH((str.*pfnFormat)(pszNull), ReportOf("Format", "gIsValidString(lpszFormat)"));
    EXPECT_DEATH(FormatUnchecked(str, pszNull), ReportOf("FormatV", "gIsValidString(lpszFormat)"));
}

}  // namespace
}  // namespace Kestrova::Test
