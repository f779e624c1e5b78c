// DBUID.h - the identity of a database file: four 32-bit words at byte 4 of the file, in host order.
#pragma once

#include <array>
#include <cstdint>

#include "SamplerDBDS/BaseClasses/XFile.h"

namespace Kestrova {

// Compared and copied, never interpreted. A fresh object, and one whose GetDBUID failed, is all zero.
struct DBUID {
    static constexpr unsigned long long kFilePosition = 4;

    std::array<uint32_t, 4> m_words{};

    // Makes a new identity of four non-zero words from the time, the text (null counts as empty) and random
    // numbers. Any thread.
    void CreateDBUID(const char* pszSeedText);

    // The part of the text in the last word: 1 plus each byte, as a signed number, times 3, 4, 5 and so on.
    static uint32_t TextWord(const char* pszSeedText);

    // Reads the identity of the database at the path; false, and all zero, when it cannot be opened or is
    // shorter than 20 bytes.
    bool GetDBUID(const char* pszPath);
    // The same of a file that is open; its position stays. False for a null or closed file, too.
    bool ReadFromDB(CXFile* pfile);

    // Writes the identity into the open file, whose position is then 20. False for a null or closed file.
    bool WriteToDB(CXFile* pfile) const;

    friend bool operator==(const DBUID&, const DBUID&) = default;
    friend auto operator<=>(const DBUID&, const DBUID&) = default;
};

static_assert(sizeof(DBUID) == 16, "the words are all there is");

}  // namespace Kestrova
