// WaveNumbers.h - the integers of a wave as numbers, and numbers as the integers of a wave.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <span>

namespace Kestrova {

// Little-endian integers of 16 or 24 bits as numbers in steps of the last bit; exact.
void TakeNumbers(const uint8_t* pBytes, unsigned nBits, std::span<double> numbers);

// Writes numbers as such integers, one behind the other: rounded to the nearest, held to the full scale.
class NumberWriter {
public:
    // nDither: when given, noise is added before the rounding: the difference of two even numbers from 0 to
    // below 1, so from -1 to 1 step of the last bit with a triangular density. This seeds it.
    NumberWriter(uint8_t* pBytes, unsigned nBits, std::optional<uint64_t> nDither);

    void Write(std::span<const double> numbers);

private:
    double Noise();

    uint8_t* m_pNext;
    const unsigned m_nBytes;
    const double m_highest;
    const bool m_bDither;
    std::mt19937_64 m_random;  // the standard fixes its numbers
};

}  // namespace Kestrova
