// KernelDispatch.h - which instruction set the filter kernels use.
#pragma once

#include "bank/resample/FilterBlock.h"

namespace Kestrova {

enum class Isa { Scalar, Sse2, Avx2, Avx512, Neon };
inline constexpr Isa kAllIsas[] = {Isa::Scalar, Isa::Sse2, Isa::Avx2, Isa::Avx512, Isa::Neon};

// "scalar", "sse2", "avx2", "avx512" or "neon".
const char* NameOf(Isa isa);

// Whether this program has the variant and this processor runs it; the scalar one always.
bool IsSupported(Isa isa);

// The variant in use. Decided at the first call: the one that the environment variable KV_KERNELS names, if
// it is supported, else the best supported. All variants give the same bytes. Any thread.
Isa ActiveKernels();

// Changes the variant for conversions that start from now on and returns the one in use afterwards: an
// unsupported one changes nothing. For tests and benchmarks.
Isa ForceKernels(Isa isa);

// The variant's block function; null for the scalar variant, whose kernels are called sample by sample.
FilterBlockFunction FilterBlockOf(Isa isa);

}  // namespace Kestrova
