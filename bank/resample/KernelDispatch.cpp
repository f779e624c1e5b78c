#include "bank/resample/KernelDispatch.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace Kestrova {

namespace {

struct Variant {
    const char* pszName;
    FilterBlockFunction pFilterBlock;
    bool (*pIsSupported)();
};

bool Always() { return true; }

#if defined(__x86_64__)
bool HasAvx2() { return __builtin_cpu_supports("avx2") != 0; }
bool HasAvx512() {
    return __builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("avx512vl") != 0 &&
           __builtin_cpu_supports("avx512vnni") != 0;
}
#endif

// By Isa; a variant that this program does not have is null.
constexpr Variant kVariants[] = {
    {"scalar", nullptr, Always},
#if defined(__x86_64__)
    {"sse2", FilterBlockSse2, Always},
    {"avx2", FilterBlockAvx2, HasAvx2},
    {"avx512", FilterBlockAvx512, HasAvx512},
#else
    {"sse2", nullptr, nullptr},  {"avx2", nullptr, nullptr}, {"avx512", nullptr, nullptr},
#endif
#if defined(__aarch64__)
    {"neon", FilterBlockNeon, Always},
#else
    {"neon", nullptr, nullptr},
#endif
};

const Variant& VariantOf(Isa isa) { return kVariants[static_cast<size_t>(isa)]; }

Isa BestSupported() {
    Isa best = Isa::Scalar;
    for (const Isa isa : kAllIsas)
        if (IsSupported(isa)) best = isa;
    return best;
}

Isa FirstChoice() {
    const char* const pszWanted = std::getenv("KV_KERNELS");
    for (const Isa isa : kAllIsas)
        if (pszWanted != nullptr && std::strcmp(pszWanted, NameOf(isa)) == 0 && IsSupported(isa)) return isa;
    return BestSupported();
}

std::atomic<Isa>& Choice() {
    static std::atomic<Isa> choice{FirstChoice()};
    return choice;
}

}  // namespace

const char* NameOf(Isa isa) { return VariantOf(isa).pszName; }

bool IsSupported(Isa isa) { return VariantOf(isa).pIsSupported != nullptr && VariantOf(isa).pIsSupported(); }

Isa ActiveKernels() { return Choice().load(std::memory_order_relaxed); }

Isa ForceKernels(Isa isa) {
    if (IsSupported(isa)) Choice().store(isa, std::memory_order_relaxed);
    return ActiveKernels();
}

FilterBlockFunction FilterBlockOf(Isa isa) { return VariantOf(isa).pFilterBlock; }

}  // namespace Kestrova
