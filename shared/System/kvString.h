// kvString.h - the system's one text type: single-byte, zero-terminated, shared until it is written to.
#pragma once

#include <atomic>
#include <compare>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "shared/System/kvAssert.h"

namespace Kestrova {

// Header of a character block; the characters follow it directly, nAllocLength + 1 bytes of which byte
// nDataLength is always 0.
// Owner:   the Strings that point behind it, counted in nRefs; the last one to leave calls Destroy.
// Threads: the count is atomic. Lengths and characters are written only while nRefs <= 1.
class StringData final {
public:
    // The virtual operations keep this slot order.
    virtual void Destroy();         // frees the block; never called on Nil_()
    virtual bool IsNotNil() const;  // false for Nil_() and, deliberately, for every locked block too

    // A block of nLength characters, unset but for the terminator, with nRefs 1. Null when memory is out.
    static StringData* New(int nLength);
    // The one empty block, in static storage, shared by all empty Strings and never written to.
    static StringData* Nil_();

    char* Data() { return reinterpret_cast<char*>(this) + sizeof(StringData); }
    static StringData* FromData(char* pchData) {
        return reinterpret_cast<StringData*>(pchData - sizeof(StringData));
    }

    std::atomic<int32_t> nRefs;  // 1 or more: the sharers; -1: empty representation or locked buffer
    int32_t nDataLength;         // characters in use, without the terminator
    int32_t nAllocLength;        // characters the block can hold, without the terminator

private:
    StringData(int32_t nStartRefs, int32_t nLength)
        : nRefs(nStartRefs), nDataLength(nLength), nAllocLength(nLength) {}
    ~StringData() = default;

    static constexpr char kSourceUnit[] = "shared/System/kvString";
};

// The checks for the assertions on arguments: a text is valid when it is not null, a range of memory when it
// is not null and its length is not negative. bWritable says what the caller wants and changes nothing here.
inline bool gIsValidString(const char* lpsz) { return lpsz != nullptr; }
inline bool gIsValidAddress(const void* lp, int nBytes, [[maybe_unused]] bool bWritable) {
    return lp != nullptr && nBytes >= 0;
}

// A text of bytes, never null, counted in int. Copies share one block; a write first makes it private.
// A block is allocated for the exact length wanted: there is no growth slack.
// Threads: copies that share a block may be used, copied and destroyed on any threads; one String object is
//          not to be changed by one thread while another uses it.
// Errors:  a broken precondition ends the process with an assertion that names shared/System/kvString; so
//          does running out of memory ("m_pchData != 0"), where the program may have an end of its own
//          (AllocationFailed). Nothing throws.
// Texts passed in may lie in this String's own block unless a function says otherwise.
class String {
public:
    String() : m_pchData(StringData::Nil_()->Data()) {}
    String(const char* lpsz);               // null gives the empty text
    String(const char* lpch, int nLength);  // exactly nLength bytes, zero bytes included
    String(char ch, int nRepeat);           // empty when nRepeat < 1
    String(const String& stringSrc);        // shares the block; copies the characters of a locked one
    String(String&& stringSrc) noexcept;  // takes the block and leaves the source empty; copies a locked one
    ~String() { Release(); }

    // A new text made by FormatV.
    [[gnu::format(printf, 1, 2)]] static String NewWithFormat(const char* lpszFormat, ...);

    String& operator=(const String& stringSrc);
    String& operator=(String&& stringSrc) noexcept;
    String& operator=(const char* lpsz);  // null gives the empty text
    String& operator=(char ch);

    String& operator+=(const String& stringSrc);
    String& operator+=(const char* lpsz);  // null appends nothing
    String& operator+=(char ch);
    friend String operator+(const String& string1, const String& string2);
    friend String operator+(const String& string1, const char* lpsz);
    friend String operator+(const char* lpsz, const String& string2);
    friend String operator+(const String& string1, char ch);
    friend String operator+(char ch, const String& string2);

    int GetLength() const { return GetData()->nDataLength; }
    int GetAllocLength() const { return GetData()->nAllocLength; }
    bool IsEmpty() const { return GetLength() == 0; }
    // The zero-terminated characters, good until this String changes or goes. Never null. c_str() is for the
    // places that cannot convert, such as the variable arguments of Format.
    operator const char*() const { return m_pchData; }
    const char* c_str() const { return m_pchData; }
    explicit operator bool() const = delete;  // the pointer is never null: ask IsEmpty
    // The header of the block this text lies in, for callers that need to know how it is shared.
    StringData* GetData() const;

    void Empty();  // gives the block up; a locked one is kept and only its text emptied

    char GetAt(int nIndex) const;
    char operator[](int nIndex) const;
    void SetAt(int nIndex, char ch);

    // strcmp and strcasecmp of the C library: both stop at the first zero byte.
    int Compare(const char* lpsz) const;
    int CompareNoCase(const char* lpsz) const;
    friend bool operator==(const String& string1, const String& string2) {
        return string1.Compare(string2) == 0;
    }
    friend bool operator==(const String& string1, const char* lpsz) { return string1.Compare(lpsz) == 0; }
    friend std::strong_ordering operator<=>(const String& string1, const String& string2) {
        return string1.Compare(string2) <=> 0;
    }
    friend std::strong_ordering operator<=>(const String& string1, const char* lpsz) {
        return string1.Compare(lpsz) <=> 0;
    }

    // The index of the character or text looked for, or -1. A negative nStart counts as 0.
    // Deliberately (Q5) unlike each other: at nStart == length the character form finds nothing, the text
    // form searches the empty tail and finds an empty text there.
    int Find(char ch, int nStart = 0) const;
    int Find(const char* lpszSub, int nStart = 0) const;
    int ReverseFind(char ch) const;                // the last occurrence
    int FindOneOf(const char* lpszCharSet) const;  // the first character that is in the set

    // Parts of the text; indices and counts are clamped to it. The whole text comes back sharing this block.
    String Mid(int nFirst, int nCount) const;
    String Mid(int nFirst) const;
    String Left(int nCount) const;
    String Right(int nCount) const;
    String SpanIncluding(const char* lpszCharSet) const;  // the leading run of characters in the set
    String SpanExcluding(const char* lpszCharSet) const;  // the leading run of characters not in it

    // Edits in place: the block is made private first, even when the edit then finds nothing to do, unless
    // the function says otherwise.
    void MakeUpper();  // toupper of the C library, byte by byte up to the first zero byte
    void MakeLower();
    int Replace(char chOld, char chNew);  // the number replaced; equal characters: 0, nothing is copied
    // Replaces the occurrences found from left to right, none overlapping, and returns their number. A null
    // or empty old text and an old text that does not occur give 0, nothing is copied. lpszNew may be null.
    int Replace(const char* lpszOld, const char* lpszNew);
    int Remove(char ch);  // the number removed
    // Inserts before nIndex, clamped to the text, and returns the new
    // length. An empty or null text copies nothing.
    int Insert(int nIndex, char ch);
    int Insert(int nIndex, const char* lpsz);
    // Removes nCount characters from nIndex (negative counts as 0); does nothing, copying nothing, when
    // nIndex >= length or nCount < 1. Deliberately (Q6) returns the length before the deletion.
    // REQUIRES: nCount <= length - nIndex. The count is deliberately
    // not clamped; a larger one ends the process.
    int Delete(int nIndex, int nCount = 1);
    void TrimRight();  // isspace of the C library
    void TrimLeft();
    void TrimRight(char ch);
    void TrimLeft(char ch);
    void TrimRight(const char* lpszCharSet);  // null counts as an empty set
    void TrimLeft(const char* lpszCharSet);   // a null or empty set copies nothing

    // Makes the text the output of the C library's vsprintf for this format. Known conversions: c C s S d i o
    // u x X p e g G f n, each after flags, width, precision and at most one size prefix (h, l, L, F, N); any
    // other letter asserts "false" ("%E", "%lld" and "I64" among them). The output is cut at its first zero
    // byte; an output the C library refuses gives the empty text.
    // The room is estimated beforehand, mostly far too large. An output that outgrows even that ("%.40d" of a
    // negative number, "%+f" and "% f" without a precision, a wide text of more than a byte a character) ends
    // the process with "r <= GetAllocLength()". REQUIRES: no argument points into this String's text.
    [[gnu::format(printf, 2, 3)]] void Format(const char* lpszFormat, ...);
    [[gnu::format(printf, 2, 0)]] void FormatV(const char* lpszFormat, va_list argList);

    // Direct access. GetBuffer gives a private block for at least nMinBufLength characters, holding the text;
    // write there, then ReleaseBuffer with the length written (-1: up to the first zero byte).
    char* GetBuffer(int nMinBufLength);
    void ReleaseBuffer(int nNewLength = -1);
    char* GetBufferSetLength(int nNewLength);
    void FreeExtra();  // moves the text into a block of exactly its length
    // Locks the block: copies of this String copy the characters, they do not share. Deliberately a locked
    // block counts as the empty representation: nothing ever frees it, not even an assignment that needs
    // another block, and UnlockBuffer does not unlock it.
    char* LockBuffer();
    void UnlockBuffer();

private:
    static constexpr char kSourceUnit[] = "shared/System/kvString";

    static std::string_view TextOf(const char* lpsz) { return lpsz != nullptr ? lpsz : ""; }
    std::string_view View() const;
    int RunEnd(size_t nFound) const;
    bool Owns(const char* pch) const;

    void AllocBuffer(int64_t nLen);
    void Reallocate(int64_t nNewAllocLength);
    void Reserve(int64_t nMinLength);
    void CopyBeforeWrite();
    [[nodiscard]] StringData* AllocBeforeWrite(int64_t nLen);
    void Share(const String& stringSrc);
    void Release();
    static void Release(StringData* pData);
    void SetLength(int nNewLength);

    void AssignCopy(std::string_view src);
    static String Concat(std::string_view first, std::string_view second);
    void ConcatCopy(std::string_view first, std::string_view second);
    void ConcatInPlace(std::string_view src);
    int InsertText(int nIndex, std::string_view text);
    void KeepLeft(size_t nNewLength);
    void CutOut(int nIndex, int nCount);

    char* m_pchData;  // the first character of the block
};

static_assert(sizeof(String) == sizeof(char*), "a String is the address of its characters and nothing else");

}  // namespace Kestrova
