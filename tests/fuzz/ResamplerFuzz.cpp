// ResamplerFuzz.cpp - conversions of any wave by any ratio: nothing outside wave and destination is touched,
// and every variant of the kernels gives the bytes of the scalar one. Input: format, quality, room, ratio,
// then the wave.
#include <cmath>

#include "bank/resample/WingTables.h"
#include "tests/bank/Conversion.h"
#include "tests/fuzz/FuzzInput.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Test;

constexpr int kFormats[] = {2, 4, 3, 6};  // bytes in a frame
constexpr long kMostFrames = 3000;        // of the wave and of the destination

Outcome ConvertWith(Isa isa, WingTableUse tables, const GuardedWave& wave, double ratio, int nQuality,
                    long nRoom) {
    ForceKernels(isa);
    ForceWingTableUse(tables);
    return Convert(wave, ratio, nQuality, nRoom);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    FuzzInput input(p, n);
    const int nFrameBytes = kFormats[input.Below(std::size(kFormats))];
    const int nQuality = static_cast<int>(input.Below(8));
    const auto nRoomWanted = static_cast<long>(input.Number(2)) % kMostFrames;
    const bool bExact = input.Byte() % 2 == 0;
    // Sixteenths of a bit of the step, so that ratios outside the range are met too.
    const double ratio = static_cast<double>(input.Number(5)) / (32768.0 * 16);
    Bytes bytes = input.Rest();
    const long nFrames = std::min(static_cast<long>(bytes.size()) / nFrameBytes, kMostFrames);
    bytes.resize(static_cast<size_t>(nFrames * nFrameBytes));
    GuardedWave wave(nFrames, nFrameBytes, n % 2 == 0 ? Fence::Before : Fence::After);
    if (nFrames > 0) wave.Fill(bytes);
    const uint64_t nNeeded = Resampler::GetReciprocalFrames(static_cast<uint64_t>(nFrames), ratio);
    const bool bNeeded = bExact && nNeeded < kMostFrames;
    const long nRoom = bNeeded ? static_cast<long>(nNeeded) : nRoomWanted;
    const Outcome scalar = ConvertWith(Isa::Scalar, WingTableUse::ByFrames, wave, ratio, nQuality, nRoom);
    KV_FUZZ_CHECK(scalar.nProduced >= -1 && scalar.nProduced <= nRoom);
    for (const Isa isa : SupportedIsas())
        for (const WingTableUse tables : {WingTableUse::Always, WingTableUse::Never})
            KV_FUZZ_CHECK(ConvertWith(isa, tables, wave, ratio, nQuality, nRoom) == scalar);
    return 0;
}
