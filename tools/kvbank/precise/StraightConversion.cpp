#include "tools/kvbank/precise/StraightConversion.h"

#include <soxr.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "bank/WaveConverter.h"

namespace Kestrova {
namespace {

constexpr size_t kBlockFrames = 8192;

using Stream = std::unique_ptr<soxr, decltype(&soxr_delete)>;

// The library's own clock of 64 bits would let a ratio that is no quotient of small numbers drift.
Stream Open(double ratio, unsigned nChannels) {
    const soxr_io_spec_t numbers = soxr_io_spec(SOXR_FLOAT64_I, SOXR_FLOAT64_I);
    const soxr_quality_spec_t quality =
        soxr_quality_spec(SOXR_32_BITQ, SOXR_DOUBLE_PRECISION | SOXR_HI_PREC_CLOCK);
    const soxr_runtime_spec_t oneThread = soxr_runtime_spec(1);
    soxr_error_t error = nullptr;
    Stream pStream(soxr_create(ratio, 1.0, nChannels, &error, &numbers, &quality, &oneThread), soxr_delete);
    return error == nullptr ? std::move(pStream) : Stream(nullptr, soxr_delete);
}

}  // namespace

BankOutcome ConvertStraight(double ratio, unsigned nChannels, uint64_t nSource, uint64_t nTarget,
                            const FrameSource& source, const FrameSink& sink) {
    const BankOutcome refused{.result = kBankConversionFailed, .pszCause = "libsoxr cannot convert it"};
    const Stream pStream = Open(ratio, nChannels);
    if (!pStream) return refused;
    std::vector<double> in(kBlockFrames * nChannels), out(kBlockFrames * nChannels);
    uint64_t nTaken = 0, nMade = 0;
    size_t nWaiting = 0, nUsed = 0, nGiven = 0;  // frames of the block: not used yet; used, made just now
    while (nMade < nTarget) {
        if (nWaiting == 0 && nTaken < nSource) {
            nWaiting = static_cast<size_t>(std::min<uint64_t>(kBlockFrames, nSource - nTaken));
            source(static_cast<int64_t>(nTaken), std::span(in).first(nWaiting * nChannels));
            nTaken += nWaiting;
            nUsed = 0;
        }
        const double* const pIn = nWaiting > 0 ? in.data() + nUsed * nChannels : nullptr;  // null: the end
        size_t nStep = 0;
        const size_t nRoom = static_cast<size_t>(std::min<uint64_t>(kBlockFrames, nTarget - nMade));
        if (soxr_process(pStream.get(), pIn, nWaiting, &nStep, out.data(), nRoom, &nGiven) != nullptr)
            return refused;
        if (nGiven == 0 && nStep == 0) break;
        nWaiting -= nStep;
        nUsed += nStep;
        sink(std::span(out).first(nGiven * nChannels));
        nMade += nGiven;
    }
    if (nMade == 0) return {.result = kBankConversionFailed, .pszCause = kCauseNoFrames};
    std::fill(out.begin(), out.end(), 0);
    for (; nMade < nTarget; nMade += nGiven) {
        nGiven = static_cast<size_t>(std::min<uint64_t>(kBlockFrames, nTarget - nMade));
        sink(std::span(out).first(nGiven * nChannels));
    }
    return {};
}

}  // namespace Kestrova
