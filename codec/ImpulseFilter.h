// ImpulseFilter.h - the delta filter that stands between sample bytes and the block coder.
// 16 and 32 bits: each sample becomes its difference from the one before, modulo the sample's range, in host
// byte order. 24 bits: the three bytes of a sample are three lanes of their own, each modulo 256. The first
// sample and the bytes after the last whole sample stay as they are.
#pragma once

#include <cstddef>

namespace Kestrova {

// The sample width that `bits` asks for: only its low 31 bits count. Deliberate (Q54).
constexpr unsigned SampleBits(unsigned bits) { return bits & 0x7FFFFFFF; }

// Both work in place on n bytes of any alignment. False, with nothing
// changed, for any other width or a null pointer.
bool ApplyImpulse(unsigned bits, void* pSamples, size_t n);
bool UndoImpulse(unsigned bits, void* pSamples, size_t n);

}  // namespace Kestrova
