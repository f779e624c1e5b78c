#include "tools/kvbank/precise/WavePieces.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Kestrova {
namespace {

constexpr size_t kMostLoops = 16;
constexpr uint64_t kMostTimes = 4096;
constexpr double kMostCents = 0.5;
constexpr double kCentsPerOctave = 1200;

// The nearest whole number, at least the least one.
uint64_t Nearest(double value, uint64_t nLeast) {
    return value > 0 ? std::max(static_cast<uint64_t>(std::llround(value)), nLeast) : nLeast;
}

bool LiesIn(const SDBLOOP& loop, uint32_t nFrames) { return loop.nStart <= loop.nEnd && loop.nEnd < nFrames; }

bool Overlap(const SDBLOOP& a, const SDBLOOP& b) { return a.nStart <= b.nEnd && b.nStart <= a.nEnd; }

// Indexes of the loops that are kept in phase, in the order of their places.
std::vector<size_t> KeptLoops(const WaveOrder& order) {
    std::vector<size_t> kept;
    if (order.loops.size() > kMostLoops) return kept;
    for (size_t i = 0; i < order.loops.size(); ++i) {
        bool bKept = LiesIn(order.loops[i], order.nFrames);
        for (size_t k = 0; k < order.loops.size(); ++k)
            bKept = bKept && (k == i || !LiesIn(order.loops[k], order.nFrames) ||
                              !Overlap(order.loops[i], order.loops[k]));
        if (bKept) kept.push_back(i);
    }
    std::sort(kept.begin(), kept.end(),
              [&](size_t a, size_t b) { return order.loops[a].nStart < order.loops[b].nStart; });
    return kept;
}

uint32_t In32Bits(double position) {
    constexpr double kHighest = std::numeric_limits<uint32_t>::max();
    return position > 0 ? static_cast<uint32_t>(std::min(position, kHighest)) : 0;
}

// Where the target plays a source position.
uint32_t TargetPosition(const std::vector<WavePiece>& pieces, uint32_t nPosition) {
    const WavePiece* pPiece = &pieces.front();
    for (const WavePiece& piece : pieces)
        if (piece.position <= nPosition) pPiece = &piece;
    return In32Bits(static_cast<double>(pPiece->nFirst) + (nPosition - pPiece->position) / pPiece->step +
                    0.5);
}

// Puts the pieces one behind the other.
class PieceList {
public:
    explicit PieceList(double ratio) : m_ratio(ratio) {}

    // The wave up to the loop, and the loop.
    void AddLoop(size_t nIndex, const SDBLOOP& loop) {
        const double way = (loop.nStart - m_position) / m_ratio;
        const auto nLoopFrames = static_cast<uint64_t>(loop.nEnd - loop.nStart) + 1;
        WavePiece piece{.hearing = WavePiece::Hearing::Entry,
                        .nLoopStart = loop.nStart,
                        .nLoopFrames = static_cast<int64_t>(nLoopFrames),
                        .step = m_ratio};
        Add(piece, way > 0 ? static_cast<uint64_t>(std::ceil(way)) : 0);
        const LoopFit fit = FitLoop(nLoopFrames, m_ratio);
        const double behind = m_position + static_cast<double>(nLoopFrames);
        piece.hearing = WavePiece::Hearing::Circle;
        piece.step = static_cast<double>(nLoopFrames * fit.nTimes) / static_cast<double>(fit.nFrames);
        m_plan.kept.push_back({nIndex, m_plan.nFrames, fit.nFrames});
        Add(piece, fit.nFrames);
        m_position = behind;
    }

    PiecePlan End(uint32_t nSourceFrames) {
        const uint64_t nLeast = m_plan.nFrames == 0 ? 1 : 0;
        Add({.step = m_ratio}, Nearest((nSourceFrames - m_position) / m_ratio, nLeast));
        return std::move(m_plan);
    }

private:
    void Add(WavePiece piece, uint64_t nFrames) {
        piece.position = m_position;
        piece.nFirst = m_plan.nFrames;
        piece.nFrames = nFrames;
        if (nFrames > 0) m_plan.pieces.push_back(piece);
        m_plan.nFrames += nFrames;
        m_position += static_cast<double>(nFrames) * piece.step;
    }

    const double m_ratio;
    double m_position = 0;  // of the next piece in the source
    PiecePlan m_plan;
};

}  // namespace

LoopFit FitLoop(uint64_t nLoopFrames, double ratio) {
    const double exact = static_cast<double>(nLoopFrames) / ratio;
    LoopFit best{1, Nearest(exact, 1)};
    if (nLoopFrames == 1) return best;
    double least = std::numeric_limits<double>::infinity();
    for (uint64_t nTimes = 1; nTimes <= kMostTimes && least >= kMostCents; ++nTimes) {
        const double all = exact * static_cast<double>(nTimes);
        const uint64_t nFrames = Nearest(all, 1);
        const double cents = std::abs(kCentsPerOctave * std::log2(static_cast<double>(nFrames) / all));
        if (cents >= least) continue;
        least = cents;
        best = {nTimes, nFrames};
    }
    return best;
}

PiecePlan PlanPieces(const WaveOrder& order) {
    PieceList list(order.ratio);
    for (const size_t nIndex : KeptLoops(order)) list.AddLoop(nIndex, order.loops[nIndex]);
    return list.End(order.nFrames);
}

void PlaceLoops(const WaveOrder& order, const PiecePlan& plan, std::span<SDBLOOP> loops) {
    for (size_t i = 0; i < loops.size(); ++i) {
        loops[i].nStart = TargetPosition(plan.pieces, order.loops[i].nStart);
        loops[i].nEnd = TargetPosition(plan.pieces, order.loops[i].nEnd);
    }
    for (const PiecePlan::KeptLoop& kept : plan.kept) {
        loops[kept.nIndex].nStart = In32Bits(static_cast<double>(kept.nFirst));
        loops[kept.nIndex].nEnd = In32Bits(static_cast<double>(kept.nFirst + kept.nFrames - 1));
    }
}

}  // namespace Kestrova
