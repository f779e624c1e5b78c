// Format, and the estimate of the room its output takes.
#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <optional>
#include <string_view>

#include "shared/System/kvString.h"

namespace Kestrova {

namespace {

constexpr char kSourceUnit[] = "shared/System/kvString";

constexpr int64_t kAlternateFormLength = 2;  // "0x"
constexpr int64_t kCharacterLength = 2;
constexpr int64_t kNullTextLength = 6;  // the C library prints "(null)"
constexpr int64_t kIntegerLength = 32;
constexpr int64_t kFloatLength = 128;
constexpr int kMorePrecision = 6;  // covers the precision the C library takes when none is given

bool IsOneOf(char ch, std::string_view set) { return set.find(ch) != set.npos; }

// One conversion of a format, "%" and flags aside.
struct Conversion {
    int nWidth;
    int nPrecision;  // 0 when none is given
    char chSize;     // the size prefix, or 0
    char chKind;

    bool IsWideText() const { return chSize == 'l' || chKind == 'S'; }
    int64_t LimitText(int64_t nLength) const {
        const int64_t nPrinted = nPrecision != 0 ? std::min<int64_t>(nLength, nPrecision) : nLength;
        return std::max<int64_t>(nPrinted, nWidth);
    }
    int64_t LimitNumber(int64_t nLeast) const { return std::max(nLeast, int64_t{nWidth} + nPrecision); }
};

// One pass over a format that adds up how long the output can get. Each argument is taken in the very size in
// which the C library will take it, so that the two stay in step.
class LengthEstimate {
public:
    LengthEstimate(const char* lpszFormat, va_list* pArguments)
        : m_lpsz(lpszFormat), m_lpszEnd(lpszFormat + std::strlen(lpszFormat)), m_pArguments(pArguments) {}

    int64_t Total() {
        while (*m_lpsz != '\0') {
            if (*m_lpsz == '%' && *++m_lpsz != '%')
                AddConversion();
            else  // deliberately the whole rest of the format, not 1, for each character printed as it is
                m_nTotal += m_lpszEnd - m_lpsz++;  // deliberate (Q9)
        }
        return m_nTotal;
    }

private:
    void AddConversion() {
        const int nWidth = ReadFlagsAndWidth();
        KV_ASSERT(nWidth >= 0);
        const int nPrecision = ReadPrecision();
        KV_ASSERT(nPrecision >= 0);
        KV_ASSERT_TEXT(std::strncmp(m_lpsz, "I64", 3) != 0, "false");
        const char chSize = IsOneOf(*m_lpsz, "FLNhl") ? *m_lpsz++ : '\0';
        m_nTotal += ItemLength({nWidth, nPrecision, chSize, *m_lpsz++});
    }

    int ReadFlagsAndWidth() {
        std::optional<int> width;
        for (; IsOneOf(*m_lpsz, "#*-+0 "); ++m_lpsz) {
            if (*m_lpsz == '#') m_nTotal += kAlternateFormLength;
            if (*m_lpsz == '*') width = Take<int>();
        }
        return width.has_value() ? *width : ReadNumber();
    }

    int ReadPrecision() {
        if (*m_lpsz != '.') return 0;
        if (*++m_lpsz != '*') return ReadNumber();
        ++m_lpsz;
        return Take<int>();
    }

    int ReadNumber() {
        int64_t nNumber = 0;
        for (; IsOneOf(*m_lpsz, "0123456789"); ++m_lpsz)
            nNumber = std::min<int64_t>(nNumber * 10 + (*m_lpsz - '0'), INT_MAX);
        return static_cast<int>(nNumber);
    }

    int64_t ItemLength(const Conversion& conversion) {
        switch (conversion.chKind) {
            case 'c':
            case 'C': Take<int>(); return conversion.LimitText(kCharacterLength);
            case 's':
            case 'S': return conversion.LimitText(TakeTextLength(conversion));
            case 'd':
            case 'i':
            case 'o':
            case 'u':
            case 'x':
            case 'X': TakeInteger(conversion); return conversion.LimitNumber(kIntegerLength);
            case 'p': Take<void*>(); return conversion.LimitNumber(kIntegerLength);
            case 'e':
            case 'g':
            case 'G': TakeFloat(conversion); return conversion.LimitNumber(kFloatLength);
            case 'f': return TakeFixedLength(conversion);
            case 'n': Take<void*>(); return 0;
            default: KV_ASSERT(false); return 0;  // also "E", deliberately (Q10)
        }
    }

    template <class T>
    T Take() {
        return va_arg(*m_pArguments, T);
    }

    void TakeInteger(const Conversion& conversion) {
        if (IsOneOf(conversion.chSize, "lL"))
            Take<long>();
        else
            Take<int>();
    }

    void TakeFloat(const Conversion& conversion) {
        if (conversion.chSize == 'L')
            Take<long double>();
        else
            Take<double>();
    }

    // A text is read only up to its precision: behind that there may be no terminator.
    int64_t TakeTextLength(const Conversion& conversion) {
        const size_t nMost =
            static_cast<size_t>(conversion.nPrecision != 0 ? conversion.nPrecision : INT_MAX);
        return conversion.IsWideText() ? TextLength(Take<const wchar_t*>(), nMost, wcsnlen)
                                       : TextLength(Take<const char*>(), nMost, strnlen);
    }

    template <class TChar>
    static int64_t TextLength(const TChar* lpsz, size_t nMost, size_t (*pfnLength)(const TChar*, size_t)) {
        if (lpsz == nullptr) return kNullTextLength;
        return std::max<int64_t>(1, static_cast<int64_t>(pfnLength(lpsz, nMost)));
    }

    // The length of the number as printed with six more digits than asked for; 0 if it cannot be printed.
    int64_t TakeFixedLength(const Conversion& conversion) {
        const int nWidth = conversion.nWidth;
        const int nPrecision = std::min(conversion.nPrecision, INT_MAX - kMorePrecision) + kMorePrecision;
        const int nPrinted =
            conversion.chSize == 'L'
                ? std::snprintf(nullptr, 0, "%*.*Lf", nWidth, nPrecision, Take<long double>())
                : std::snprintf(nullptr, 0, "%*.*f", nWidth, nPrecision, Take<double>());
        return std::max(nPrinted, 0);
    }

    const char* m_lpsz;  // the next character
    const char* const m_lpszEnd;
    va_list* const m_pArguments;
    int64_t m_nTotal = 0;
};

}  // namespace

String String::NewWithFormat(const char* lpszFormat, ...) {
    String string;
    va_list argList;
    va_start(argList, lpszFormat);
    string.FormatV(lpszFormat, argList);
    va_end(argList);
    return string;
}

void String::Format(const char* lpszFormat, ...) {
    KV_ASSERT(gIsValidString(lpszFormat));
    va_list argList;
    va_start(argList, lpszFormat);
    FormatV(lpszFormat, argList);
    va_end(argList);
}

void String::FormatV(const char* lpszFormat, va_list argList) {
    KV_ASSERT(gIsValidString(lpszFormat));
    va_list argListToMeasure;
    va_copy(argListToMeasure, argList);
    Reserve(LengthEstimate(lpszFormat, &argListToMeasure).Total());
    va_end(argListToMeasure);

    // The estimate can be too low, so the output is limited to the room before the result is checked. The
    // empty representation has no room at all: its terminator must not be written to.
    const size_t nRoom = GetAllocLength() == 0 ? 0 : static_cast<size_t>(GetAllocLength()) + 1;
    const int r = std::vsnprintf(m_pchData, nRoom, lpszFormat, argList);
    KV_ASSERT(r <= GetAllocLength());
    ReleaseBuffer(r < 0 ? 0 : -1);  // deliberate (Q11): formatted text is cut at its first zero byte
}

}  // namespace Kestrova
