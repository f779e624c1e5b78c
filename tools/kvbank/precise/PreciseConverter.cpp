#include "tools/kvbank/precise/PreciseConverter.h"

#include <optional>

#include "tools/kvbank/precise/PieceConversion.h"
#include "tools/kvbank/precise/WaveNumbers.h"

namespace Kestrova {
namespace {

constexpr double kHighestRatio = 1024;

}  // namespace

bool IsPreciseRatio(double ratio) { return ratio >= 1 / kHighestRatio && ratio <= kHighestRatio; }

uint64_t DitherSeed(uint32_t idSample, int nKey) {
    return uint64_t{idSample} << 32 | static_cast<uint32_t>(nKey);
}

BankOutcome PreciseConverter::Plan(const WaveOrder& order, std::span<SDBLOOP> loops,
                                   uint64_t& nFrames) const {
    if (!IsPreciseRatio(order.ratio)) return {.result = kBankConversionFailed, .pszCause = kCauseTooFar};
    const PiecePlan plan = PlanPieces(order);
    PlaceLoops(order, plan, loops);
    nFrames = plan.nFrames;
    return {};
}

BankOutcome PreciseConverter::Convert(const WaveOrder& order, const uint8_t* pSource, uint8_t* pTarget,
                                      uint64_t) const {
    NumberWriter writer(pTarget, order.nBits,
                        m_bDither ? std::optional(DitherSeed(order.idSample, order.nKey)) : std::nullopt);
    const FrameSource wave = [&](int64_t nFirst, std::span<double> numbers) {
        TakeNumbers(pSource + nFirst * order.FrameBytes(), order.nBits, numbers);
    };
    const FrameSink sink = [&](std::span<const double> numbers) { writer.Write(numbers); };
    const PiecePlan plan = PlanPieces(order);
    for (const WavePiece& piece : plan.pieces) {
        const BankOutcome made = ConvertPiece(piece, order.ratio, order.nChannels, order.nFrames, wave, sink);
        if (!made.IsDone()) return made;
    }
    return {};
}

}  // namespace Kestrova
