// FuzzInput.h - an input taken apart number by number, and the checks of the fuzz targets.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/TempDir.h"

namespace Kestrova::Test {

// The bytes of one input, from the first on. Behind its end are zeros.
class FuzzInput {
public:
    FuzzInput(const uint8_t* p, size_t n) : m_p(p), m_nLeft(n) {}

    bool IsEmpty() const { return m_nLeft == 0; }

    // Little-endian, of nBytes bytes.
    uint64_t Number(size_t nBytes) {
        uint64_t nNumber = 0;
        for (size_t i = 0; i < nBytes; ++i) nNumber |= uint64_t{Byte()} << (8 * i);
        return nNumber;
    }
    uint8_t Byte() {
        if (m_nLeft == 0) return 0;
        --m_nLeft;
        return *m_p++;
    }
    // Below nLimit, from one byte.
    size_t Below(size_t nLimit) { return Byte() % nLimit; }

    // The next n bytes, or what is left.
    Bytes Take(size_t n) {
        const size_t nTaken = std::min(n, m_nLeft);
        Bytes bytes(m_p, m_p + nTaken);
        m_p += nTaken;
        m_nLeft -= nTaken;
        return bytes;
    }
    Bytes Rest() { return Take(m_nLeft); }

    // The bytes up to a zero byte or the end.
    std::string Text() {
        std::string strText;
        while (m_nLeft > 0)
            if (const uint8_t ch = Byte(); ch != 0)
                strText += static_cast<char>(ch);
            else
                break;
        return strText;
    }

private:
    const uint8_t* m_p;
    size_t m_nLeft;
};

// The text as the name of a file inside a folder, or the other name where it is none.
inline std::string FileName(std::string strText, const char* pszOther) {
    constexpr size_t kLongestName = 200;
    std::replace(strText.begin(), strText.end(), '/', '_');
    strText.resize(std::min(strText.size(), kLongestName));
    return strText.empty() || strText == "." || strText == ".." ? pszOther : strText;
}

}  // namespace Kestrova::Test

// Ends the program when what a target promises does not hold; the fuzzer keeps the input then.
#define KV_FUZZ_CHECK(condition)                                                                \
    do {                                                                                        \
        if (!(condition)) {                                                                     \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                       \
        }                                                                                       \
    } while (false)
