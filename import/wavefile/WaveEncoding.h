// WaveEncoding.h - what the encodings of sound files become: little-endian frames of 16 or 24 bits.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Kestrova {

// One encoding, as libsndfile's SF_FORMAT_... of the second kind names it. Up to 24 bits every number is kept
// as it is. A longer one is rounded to 24. Sound that was compressed with loss has no bits of its own: it
// becomes 16, for the noise of the compression lies above the last of these.
struct WaveEncoding {
    int nSubtype;
    uint32_t nBits;          // of a number in the bank: 16 or 24
    bool bFloating;          // the file's numbers are fractions, from -1 to 1
    const char* pszRounded;  // what is not kept to the bit, in words; null: everything is
};

// Null for an encoding that is not known.
const WaveEncoding* FindWaveEncoding(int nFormat);

// Writes n numbers of nBits each. Integers fill 32 bits from the top. A number between two is rounded, a half
// upwards; one beyond the limits is held to them, and what is no number becomes 0.
void PackNumbers(const int32_t* pNumbers, size_t n, uint32_t nBits, uint8_t* pOut);
// Fractions: 1 is 2 to the power of nBits - 1, so that integers stored as fractions come back exactly.
void PackNumbers(const double* pNumbers, size_t n, uint32_t nBits, uint8_t* pOut);

}  // namespace Kestrova
