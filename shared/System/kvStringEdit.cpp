// Deliberately (Q8) also an edit that then finds nothing to do.
// The edits in place. Each makes the block private before it writes.
#include <algorithm>
#include <cctype>
#include <string_view>

#include "shared/System/kvString.h"

namespace Kestrova {

namespace {

using Traits = std::char_traits<char>;

bool IsNotSpace(char ch) { return std::isspace(static_cast<unsigned char>(ch)) == 0; }

// Maps the bytes before the first zero byte through a function of the C library.
void MapCharacters(char* pch, int (*pfnMap)(int)) {
    for (; *pch != '\0'; ++pch) *pch = static_cast<char>(pfnMap(static_cast<unsigned char>(*pch)));
}

int CountOccurrences(std::string_view text, std::string_view sub) {
    int nCount = 0;
    for (size_t n = text.find(sub); n != text.npos; n = text.find(sub, n + sub.size())) ++nCount;
    return nCount;
}

// Writes text to pchTo with every strOld replaced by strNew and returns the end. The two may overlap as long
// as the write position never passes the read position.
char* WriteReplaced(char* pchTo, std::string_view text, std::string_view strOld, std::string_view strNew) {
    for (size_t n = text.find(strOld); n != text.npos; n = text.find(strOld)) {
        Traits::move(pchTo, text.data(), n);
        Traits::copy(pchTo + n, strNew.data(), strNew.size());
        pchTo += n + strNew.size();
        text.remove_prefix(n + strOld.size());
    }
    Traits::move(pchTo, text.data(), text.size());
    return pchTo + text.size();
}

}  // namespace

void String::SetAt(int nIndex, char ch) {
    KV_ASSERT(nIndex >= 0);
    KV_ASSERT_TEXT(nIndex < GetLength(), "nIndex < (int)(GetData()->nDataLength)");
    CopyBeforeWrite();
    m_pchData[nIndex] = ch;
}

void String::MakeUpper() {
    CopyBeforeWrite();
    MapCharacters(m_pchData, std::toupper);
}

void String::MakeLower() {
    CopyBeforeWrite();
    MapCharacters(m_pchData, std::tolower);
}

int String::Replace(char chOld, char chNew) {
    if (chOld == chNew) return 0;
    CopyBeforeWrite();
    int nCount = 0;
    for (char* pch = m_pchData; pch != m_pchData + GetLength(); ++pch) {
        if (*pch != chOld) continue;
        *pch = chNew;
        ++nCount;
    }
    return nCount;
}

int String::Replace(const char* lpszOld, const char* lpszNew) {
    if (Owns(lpszOld) || Owns(lpszNew)) return Replace(String(lpszOld).c_str(), String(lpszNew).c_str());
    const std::string_view strOld = TextOf(lpszOld);
    const std::string_view strNew = TextOf(lpszNew);
    const int nCount = strOld.empty() ? 0 : CountOccurrences(View(), strOld);
    if (nCount == 0) return 0;

    const int64_t nGrowth = static_cast<int64_t>(strNew.size()) - static_cast<int64_t>(strOld.size());
    const int64_t nNewLength = GetLength() + nCount * nGrowth;
    std::string_view text = View();
    StringData* const pOldData = AllocBeforeWrite(nNewLength);
    if (text.data() == m_pchData && nGrowth > 0) {  // in place: moved, so that writing never passes reading
        Traits::move(m_pchData + nCount * nGrowth, text.data(), text.size());
        text = {m_pchData + nCount * nGrowth, text.size()};
    }
    const char* const pchEnd = WriteReplaced(m_pchData, text, strOld, strNew);
    SetLength(static_cast<int>(pchEnd - m_pchData));
    KV_ASSERT(m_pchData[nNewLength] == '\0');
    Release(pOldData);
    return nCount;
}

int String::Remove(char ch) {
    CopyBeforeWrite();
    const char* const pchEnd = std::remove(m_pchData, m_pchData + GetLength(), ch);
    const int nRemoved = static_cast<int>(m_pchData + GetLength() - pchEnd);
    SetLength(GetLength() - nRemoved);
    return nRemoved;
}

int String::Insert(int nIndex, char ch) { return InsertText(nIndex, {&ch, 1}); }

int String::Insert(int nIndex, const char* lpsz) {
    if (Owns(lpsz)) return InsertText(nIndex, String(lpsz).View());
    return InsertText(nIndex, TextOf(lpsz));
}

int String::InsertText(int nIndex, std::string_view text) {
    if (text.empty()) return GetLength();
    nIndex = std::clamp(nIndex, 0, GetLength());
    const int64_t nNewLength = GetLength() + static_cast<int64_t>(text.size());
    Reserve(nNewLength);
    char* const pchAt = m_pchData + nIndex;
    Traits::move(pchAt + text.size(), pchAt, static_cast<size_t>(GetLength() - nIndex));
    Traits::copy(pchAt, text.data(), text.size());
    SetLength(static_cast<int>(nNewLength));
    return GetLength();
}

int String::Delete(int nIndex, int nCount) {
    const int nOldLength = GetLength();
    nIndex = std::max(nIndex, 0);
    if (nIndex >= nOldLength || nCount < 1) return nOldLength;
    // Deliberately (Q7) not clamped: a count beyond the end is a mistake of the caller.
    KV_ASSERT_TEXT(nCount <= nOldLength - nIndex, "nIndex + nCount <= (int)(GetData()->nDataLength)");
    CutOut(nIndex, nCount);
    return nOldLength;
}

void String::CutOut(int nIndex, int nCount) {
    CopyBeforeWrite();
    char* const pchAt = m_pchData + nIndex;
    const int nTail = GetLength() - nIndex - nCount;
    Traits::move(pchAt, pchAt + nCount, static_cast<size_t>(nTail));
    SetLength(nIndex + nTail);
}

// The trims. The part to remove is measured before the block is made private,
// because the set may lie in the old block.

void String::TrimRight() {
    const std::string_view text = View();
    const auto itEnd = std::find_if(text.rbegin(), text.rend(), IsNotSpace);
    KeepLeft(static_cast<size_t>(text.rend() - itEnd));
}

// The position of the last character to stay, plus one; "none" plus one is 0.
void String::TrimRight(char ch) { KeepLeft(View().find_last_not_of(ch) + 1); }

void String::TrimRight(const char* lpszCharSet) {
    KeepLeft(View().find_last_not_of(TextOf(lpszCharSet)) + 1);
}

void String::KeepLeft(size_t nNewLength) {
    CopyBeforeWrite();
    SetLength(static_cast<int>(nNewLength));
}

void String::TrimLeft() {
    const std::string_view text = View();
    const auto itFirst = std::find_if(text.begin(), text.end(), IsNotSpace);
    CutOut(0, static_cast<int>(itFirst - text.begin()));
}

void String::TrimLeft(char ch) { CutOut(0, RunEnd(View().find_first_not_of(ch))); }

void String::TrimLeft(const char* lpszCharSet) {
    if (TextOf(lpszCharSet).empty()) return;
    CutOut(0, RunEnd(View().find_first_not_of(lpszCharSet)));
}

}  // namespace Kestrova
