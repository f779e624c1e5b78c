#include "codec/ImpulseFilter.h"

#include <cstdint>
#include <cstring>

namespace Kestrova {
namespace {

// The differences between the widths: the integer that wraps, and how many of them a sample has side by side.
template <class TLane, size_t kLaneCount>
struct SampleWidth {
    using Lane = TLane;
    static constexpr size_t kLanes = kLaneCount;
    static constexpr size_t kBytes = sizeof(TLane) * kLaneCount;
};
using Width16 = SampleWidth<uint16_t, 1>;
// Deliberate (Q52): no carry passes between the bytes of a 24-bit sample; stored waves depend on it.
using Width24 = SampleWidth<uint8_t, 3>;
using Width32 = SampleWidth<uint32_t, 1>;

template <class TLane>
TLane Load(const uint8_t* p) {
    TLane value;
    std::memcpy(&value, p, sizeof(value));
    return value;
}

template <class TLane>
void Store(uint8_t* p, TLane value) {
    std::memcpy(p, &value, sizeof(value));
}

// A direction takes the value in memory and the original one of the sample before, stores the new value and
// keeps the original one.
struct Difference {
    template <class TLane>
    static void Step(uint8_t* p, TLane& before) {
        const TLane sample = Load<TLane>(p);
        Store(p, static_cast<TLane>(sample - before));
        before = sample;
    }
};
struct RunningSum {
    template <class TLane>
    static void Step(uint8_t* p, TLane& before) {
        before = static_cast<TLane>(before + Load<TLane>(p));
        Store(p, before);
    }
};

template <class TDirection, class TWidth>
bool Filter(uint8_t* p, size_t n) {
    typename TWidth::Lane before[TWidth::kLanes] = {};
    // Deliberate (Q53): bytes behind the last whole sample stay unfiltered.
    for (size_t nLeft = n / TWidth::kBytes; nLeft > 0; --nLeft)
        for (auto& lane : before) {
            TDirection::Step(p, lane);
            p += sizeof(lane);
        }
    return true;
}

template <class TDirection>
bool FilterWidth(unsigned bits, void* pSamples, size_t n) {
    auto* p = static_cast<uint8_t*>(pSamples);
    if (p == nullptr) return false;
    switch (SampleBits(bits)) {
        case 16: return Filter<TDirection, Width16>(p, n);
        case 24: return Filter<TDirection, Width24>(p, n);
        case 32: return Filter<TDirection, Width32>(p, n);
        default: return false;
    }
}

}  // namespace

bool ApplyImpulse(unsigned bits, void* pSamples, size_t n) {
    return FilterWidth<Difference>(bits, pSamples, n);
}

bool UndoImpulse(unsigned bits, void* pSamples, size_t n) {
    return FilterWidth<RunningSum>(bits, pSamples, n);
}

}  // namespace Kestrova
