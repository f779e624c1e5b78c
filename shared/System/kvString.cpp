#include "shared/System/kvString.h"

#include <strings.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <functional>
#include <new>
#include <utility>

namespace Kestrova {

namespace {

using Traits = std::char_traits<char>;

int ToIndex(size_t nPosition) {
    return nPosition == std::string_view::npos ? -1 : static_cast<int>(nPosition);
}

}  // namespace

// The block

void StringData::Destroy() { delete[] reinterpret_cast<char*>(this); }

bool StringData::IsNotNil() const { return nRefs != -1; }

StringData* StringData::New(int nLength) {
    const size_t nTextBytes = static_cast<size_t>(nLength) + 1;
    char* const pchBlock = new (std::nothrow) char[sizeof(StringData) + nTextBytes];
    if (pchBlock == nullptr) return nullptr;
    auto* const pData = new (pchBlock) StringData(1, nLength);
    pData->Data()[nLength] = '\0';
    return pData;
}

StringData* StringData::Nil_() {
    alignas(StringData) static char s_chBlock[sizeof(StringData) + 1];
    static StringData* const nil_ = new (s_chBlock) StringData(-1, 0);
    KV_ASSERT(nil_ != 0);
    return nil_;
}

// Construction

String::String(const char* lpsz) : String() { AssignCopy(TextOf(lpsz)); }

String::String(const char* lpch, int nLength) : String() {
    if (nLength == 0) return;
    KV_ASSERT(gIsValidAddress(lpch, nLength, false));
    AssignCopy({lpch, static_cast<size_t>(nLength)});
}

String::String(char ch, int nRepeat) : String() {
    if (nRepeat < 1) return;
    AllocBuffer(nRepeat);
    Traits::assign(m_pchData, static_cast<size_t>(nRepeat), ch);
}

String::String(const String& stringSrc) : String() {
    KV_ASSERT(stringSrc.GetData()->nRefs != 0);
    if (stringSrc.GetData()->nRefs < 0)
        AssignCopy(stringSrc.View());
    else
        Share(stringSrc);
}

String::String(String&& stringSrc) noexcept : String() { *this = std::move(stringSrc); }

// Assignment and concatenation

// Deliberately (Q2) no word about a locked block of ours: Release leaves it alone, so it is forgotten.
String& String::operator=(const String& stringSrc) {
    if (this == &stringSrc || m_pchData == stringSrc.m_pchData) return *this;
    if (stringSrc.GetData()->nRefs < 0) {
        AssignCopy(stringSrc.View());
    } else {
        Release();
        Share(stringSrc);
    }
    return *this;
}

String& String::operator=(String&& stringSrc) noexcept {
    if (this == &stringSrc || m_pchData == stringSrc.m_pchData) return *this;
    if (stringSrc.GetData()->nRefs < 0) {
        AssignCopy(stringSrc.View());
    } else {
        Release();
        m_pchData = std::exchange(stringSrc.m_pchData, StringData::Nil_()->Data());
    }
    return *this;
}

String& String::operator=(const char* lpsz) {
    AssignCopy(TextOf(lpsz));
    return *this;
}

String& String::operator=(char ch) {
    AssignCopy({&ch, 1});
    return *this;
}

String& String::operator+=(const String& stringSrc) {
    ConcatInPlace(stringSrc.View());
    return *this;
}

String& String::operator+=(const char* lpsz) {
    ConcatInPlace(TextOf(lpsz));
    return *this;
}

String& String::operator+=(char ch) {
    ConcatInPlace({&ch, 1});
    return *this;
}

String operator+(const String& string1, const String& string2) {
    return String::Concat(string1.View(), string2.View());
}

String operator+(const String& string1, const char* lpsz) {
    return String::Concat(string1.View(), String::TextOf(lpsz));
}

String operator+(const char* lpsz, const String& string2) {
    return String::Concat(String::TextOf(lpsz), string2.View());
}

String operator+(const String& string1, char ch) { return String::Concat(string1.View(), {&ch, 1}); }

String operator+(char ch, const String& string2) { return String::Concat({&ch, 1}, string2.View()); }

// A locked block that is too short is deliberately (Q3) forgotten: Release leaves it alone.
void String::AssignCopy(std::string_view src) {
    StringData* const pOldData = AllocBeforeWrite(static_cast<int64_t>(src.size()));
    Traits::move(m_pchData, src.data(), src.size());
    SetLength(static_cast<int>(src.size()));
    Release(pOldData);
}

String String::Concat(std::string_view first, std::string_view second) {
    String string;
    string.ConcatCopy(first, second);
    return string;
}

// Leaves the old block to the caller, who may be reading one of the texts from it.
// Exactly what is needed, deliberately (Q12): callers count on the room they asked for and no more.
void String::ConcatCopy(std::string_view first, std::string_view second) {
    AllocBuffer(static_cast<int64_t>(first.size() + second.size()));
    Traits::copy(m_pchData, first.data(), first.size());
    Traits::copy(m_pchData + first.size(), second.data(), second.size());
}

void String::ConcatInPlace(std::string_view src) {
    if (src.empty()) return;
    const int64_t nNewLength = GetLength() + static_cast<int64_t>(src.size());
    if (GetData()->nRefs < 2 && nNewLength <= GetAllocLength()) {
        Traits::move(m_pchData + GetLength(), src.data(), src.size());
        SetLength(static_cast<int>(nNewLength));
        KV_ASSERT(GetData()->nDataLength <= GetData()->nAllocLength);
    } else {
        StringData* const pOldData = GetData();
        ConcatCopy(View(), src);
        KV_ASSERT(pOldData != 0);
        Release(pOldData);
    }
}

// Sharing

StringData* String::GetData() const {
    KV_ASSERT(m_pchData != 0);
    return StringData::FromData(m_pchData);
}

std::string_view String::View() const { return {m_pchData, static_cast<size_t>(GetLength())}; }

// Whether a text passed in lies among our characters, so that an edit would change it while it is read. An
// empty text at our terminator does not count: all empty texts share the empty representation.
bool String::Owns(const char* pch) const {
    return !std::less<>()(pch, m_pchData) && std::less<>()(pch, m_pchData + GetLength());
}

// Makes this String point to a new block of nLen characters; the caller must release the old block.
void String::AllocBuffer(int64_t nLen) {
    KV_ASSERT(nLen <= INT_MAX - 1);
    StringData* const pData = nLen == 0 ? StringData::Nil_() : StringData::New(static_cast<int>(nLen));
    KV_ASSERT_ALLOCATED(pData, "m_pchData != 0");  // nothing retries
    m_pchData = pData->Data();
}

// Moves the text, as it is, into a private block of exactly nNewAllocLength >= length characters.
void String::Reallocate(int64_t nNewAllocLength) {
    StringData* const pOldData = GetData();
    AllocBuffer(nNewAllocLength);
    Traits::copy(m_pchData, pOldData->Data(), static_cast<size_t>(pOldData->nDataLength));
    SetLength(pOldData->nDataLength);
    Release(pOldData);
}

// Makes the block private and large enough, keeping the text.
void String::Reserve(int64_t nMinLength) {
    if (GetData()->nRefs > 1 || GetAllocLength() < nMinLength)
        Reallocate(std::max<int64_t>(nMinLength, GetLength()));
}

void String::CopyBeforeWrite() {
    Reserve(0);
    KV_ASSERT(GetData()->nRefs <= 1);
}

// Makes the block private and large enough for a text that replaces the old one. Returns the block to release
// once the new text, which may lie in it, is copied; the empty representation when the block was kept.
StringData* String::AllocBeforeWrite(int64_t nLen) {
    StringData* pOldData = StringData::Nil_();
    if (GetData()->nRefs > 1 || nLen > GetAllocLength()) {
        pOldData = GetData();
        AllocBuffer(nLen);
    }
    KV_ASSERT(GetData()->nRefs <= 1);
    return pOldData;
}

void String::Share(const String& stringSrc) {
    KV_ASSERT(stringSrc.GetData()->IsNotNil());
    stringSrc.GetData()->nRefs.fetch_add(1, std::memory_order_relaxed);
    m_pchData = stringSrc.m_pchData;
}

// Deliberately (Q1) leaves a locked block alone: IsNotNil takes it for the empty representation.
void String::Release() {
    if (!GetData()->IsNotNil()) return;
    KV_ASSERT(GetData()->nRefs != 0);
    Release(GetData());
    m_pchData = StringData::Nil_()->Data();
}

void String::Release(StringData* pData) {
    if (!pData->IsNotNil()) return;
    KV_ASSERT(pData->nRefs != 0);
    if (pData->nRefs.fetch_sub(1, std::memory_order_acq_rel) <= 1) pData->Destroy();
}

// Sets the length of a private block and terminates it. A block without room can only be the empty
// representation, which is right already and not to be written to: other threads are reading it.
void String::SetLength(int nNewLength) {
    if (GetAllocLength() == 0) return;
    GetData()->nDataLength = nNewLength;
    m_pchData[nNewLength] = '\0';
}

void String::Empty() {
    if (IsEmpty()) return;
    if (GetData()->nRefs < 0)
        AssignCopy("");
    else
        Release();
    KV_ASSERT(GetData()->nDataLength == 0);
    KV_ASSERT(GetData()->nRefs < 0 || GetData()->nAllocLength == 0);
}

// Buffer access

char* String::GetBuffer(int nMinBufLength) {
    KV_ASSERT(nMinBufLength >= 0);
    Reserve(nMinBufLength);
    KV_ASSERT(GetData()->nRefs <= 1);
    return m_pchData;
}

void String::ReleaseBuffer(int nNewLength) {
    CopyBeforeWrite();
    if (nNewLength == -1)  // an overwritten terminator is not searched for outside the block
        nNewLength = static_cast<int>(strnlen(m_pchData, static_cast<size_t>(GetAllocLength()) + 1));
    KV_ASSERT_TEXT(nNewLength >= 0 && nNewLength <= GetAllocLength(),
                   "nNewLength <= (int)(GetData()->nAllocLength)");
    SetLength(nNewLength);
}

char* String::GetBufferSetLength(int nNewLength) {
    KV_ASSERT(nNewLength >= 0);
    GetBuffer(nNewLength);
    SetLength(nNewLength);
    return m_pchData;
}

void String::FreeExtra() {
    KV_ASSERT(GetData()->nDataLength <= GetData()->nAllocLength);
    if (GetAllocLength() > GetLength()) {
        Reallocate(GetLength());
        KV_ASSERT(m_pchData[GetData()->nDataLength] == '\0');
    }
    KV_ASSERT(GetData() != 0);
}

char* String::LockBuffer() {
    char* const pchBuffer = GetBuffer(0);
    GetData()->nRefs = -1;
    return pchBuffer;
}

void String::UnlockBuffer() {
    KV_ASSERT(GetData()->nRefs == -1);
    // Deliberately (Q4) never true: a locked block is judged to be the empty representation and stays locked.
    if (GetData()->IsNotNil()) GetData()->nRefs = 1;
}

// Characters, comparison and search

char String::GetAt(int nIndex) const {
    KV_ASSERT(nIndex >= 0);
    KV_ASSERT_TEXT(nIndex < GetLength(), "nIndex < (int)(GetData()->nDataLength)");
    return m_pchData[nIndex];
}

char String::operator[](int nIndex) const {
    KV_ASSERT(nIndex >= 0);
    KV_ASSERT_TEXT(nIndex < GetLength(), "nIndex < (int)(GetData()->nDataLength)");
    return m_pchData[nIndex];
}

int String::Compare(const char* lpsz) const {
    KV_ASSERT(gIsValidString(lpsz));
    return std::strcmp(m_pchData, lpsz);
}

int String::CompareNoCase(const char* lpsz) const {
    KV_ASSERT(gIsValidString(lpsz));
    return strcasecmp(m_pchData, lpsz);
}

int String::Find(char ch, int nStart) const {
    return ToIndex(View().find(ch, static_cast<size_t>(std::max(nStart, 0))));
}

int String::Find(const char* lpszSub, int nStart) const {
    KV_ASSERT(gIsValidString(lpszSub));
    return ToIndex(View().find(lpszSub, static_cast<size_t>(std::max(nStart, 0))));
}

int String::ReverseFind(char ch) const { return ToIndex(View().rfind(ch)); }

int String::FindOneOf(const char* lpszCharSet) const {
    KV_ASSERT(gIsValidString(lpszCharSet));
    return ToIndex(View().find_first_of(lpszCharSet));
}

// Parts

String String::Mid(int nFirst, int nCount) const {
    nFirst = std::clamp(nFirst, 0, GetLength());
    nCount = std::clamp(nCount, 0, GetLength() - nFirst);
    KV_ASSERT(nFirst >= 0);
    KV_ASSERT_TEXT(nFirst + nCount <= GetLength(), "nFirst + nCount <= (int)(GetData()->nDataLength)");
    if (nCount == GetLength()) return *this;
    return String(m_pchData + nFirst, nCount);
}

String String::Mid(int nFirst) const { return Mid(nFirst, GetLength()); }

String String::Left(int nCount) const { return Mid(0, nCount); }

String String::Right(int nCount) const {
    return Mid(GetLength() - std::clamp(nCount, 0, GetLength()), GetLength());
}

// The length of a leading run: up to the place that a search has found, or all of the text without one.
int String::RunEnd(size_t nFound) const { return static_cast<int>(std::min(nFound, View().size())); }

String String::SpanIncluding(const char* lpszCharSet) const {
    KV_ASSERT(gIsValidString(lpszCharSet));
    return Left(RunEnd(View().find_first_not_of(lpszCharSet)));
}

String String::SpanExcluding(const char* lpszCharSet) const {
    KV_ASSERT(gIsValidString(lpszCharSet));
    return Left(RunEnd(View().find_first_of(lpszCharSet)));
}

}  // namespace Kestrova
