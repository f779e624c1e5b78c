// RotationSort.h - the sorted order of all rotations of a text, in a time that depends only on its length.
#pragma once

#include <cstdint>
#include <span>

namespace Kestrova {

// Sorts the rotations of a text that is closed to a circle. Only the rotations that are smaller than
// both of their neighbours are sorted directly, as the rotations of a text at most half as long; two
// scans then find the places of all others.
//   text:    1 symbol or more
//   order:   receives the starts of the rotations in sorted order, as many as symbols; equal rotations stand
//            side by side, in any order
//   scratch: working storage of as many words as symbols, and at least two for each value of TSymbol
// Returns how many rotations are equal to each one, itself included: 1 unless the text repeats exactly.
// Source: Nong, Zhang and Chan, "Linear Suffix Array Construction by Almost Pure Induced-Sorting" (2009),
// here on a circle, which needs no end mark. TSymbol is uint8_t or uint16_t.
template <class TSymbol>
uint32_t SortRotations(std::span<const TSymbol> text, uint32_t* order, uint32_t* scratch);

}  // namespace Kestrova
