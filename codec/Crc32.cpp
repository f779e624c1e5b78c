#include "codec/Crc32.h"

#include <array>

namespace Kestrova {
namespace {

constexpr uint32_t kPolynomial = 0x04C11DB7;
constexpr size_t kSlices = 8;
using CrcTable = std::array<uint32_t, 256>;

constexpr uint32_t StepOneByte(uint32_t crc) {
    for (int nBit = 0; nBit < 8; ++nBit) crc = (crc << 1) ^ ((crc >> 31) != 0 ? kPolynomial : 0);
    return crc;
}

// Table k is what a byte contributes once k more bytes have followed it, so that eight bytes are folded with
// eight independent lookups.
constexpr std::array<CrcTable, kSlices> MakeTables() {
    std::array<CrcTable, kSlices> tables{};
    for (uint32_t ch = 0; ch < 256; ++ch) {
        uint32_t crc = ch << 24;
        for (CrcTable& table : tables) table[ch] = crc = StepOneByte(crc);
    }
    return tables;
}

constexpr std::array<CrcTable, kSlices> kTables = MakeTables();
constexpr const CrcTable& crc32Table = kTables[0];

constexpr uint32_t Byte(uint32_t n, unsigned nShift) { return (n >> nShift) & 0xFF; }

uint32_t FoldEight(uint32_t crc, const uint8_t* p) {
    return kTables[7][Byte(crc, 24) ^ p[0]] ^ kTables[6][Byte(crc, 16) ^ p[1]] ^
           kTables[5][Byte(crc, 8) ^ p[2]] ^ kTables[4][Byte(crc, 0) ^ p[3]] ^ kTables[3][p[4]] ^
           kTables[2][p[5]] ^ kTables[1][p[6]] ^ kTables[0][p[7]];
}

}  // namespace

uint32_t UpdateCrc(uint32_t crc, const uint8_t* p, size_t n) {
    for (; n >= kSlices; p += kSlices, n -= kSlices) crc = FoldEight(crc, p);
    for (; n > 0; ++p, --n) crc = (crc << 8) ^ crc32Table[(crc >> 24) ^ *p];
    return crc;
}

}  // namespace Kestrova
