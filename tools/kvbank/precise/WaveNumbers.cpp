#include "tools/kvbank/precise/WaveNumbers.h"

#include <algorithm>
#include <cmath>

namespace Kestrova {

void TakeNumbers(const uint8_t* pBytes, unsigned nBits, std::span<double> numbers) {
    const unsigned nBytes = nBits / 8;
    for (double& number : numbers) {
        uint32_t nWord = 0;
        for (unsigned i = 0; i < nBytes; ++i) nWord |= uint32_t{pBytes[i]} << (32 - nBits + 8 * i);
        number = static_cast<int32_t>(nWord) >> (32 - nBits);
        pBytes += nBytes;
    }
}

NumberWriter::NumberWriter(uint8_t* pBytes, unsigned nBits, std::optional<uint64_t> nDither)
    : m_pNext(pBytes),
      m_nBytes(nBits / 8),
      m_highest(std::ldexp(1.0, static_cast<int>(nBits) - 1) - 1),
      m_bDither(nDither.has_value()),
      m_random(nDither.value_or(0)) {}

double NumberWriter::Noise() {
    const auto draw = [this] { return std::ldexp(static_cast<double>(m_random() >> 11), -53); };
    const double first = draw();  // the order of the two draws is part of the bytes
    return first - draw();
}

void NumberWriter::Write(std::span<const double> numbers) {
    for (double number : numbers) {
        if (m_bDither) number += Noise();
        const auto nValue = static_cast<int32_t>(std::lrint(std::clamp(number, -m_highest - 1, m_highest)));
        for (unsigned i = 0; i < m_nBytes; ++i)
            *m_pNext++ = static_cast<uint8_t>(static_cast<uint32_t>(nValue) >> (8 * i));
    }
}

}  // namespace Kestrova
