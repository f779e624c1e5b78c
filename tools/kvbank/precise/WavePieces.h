// WavePieces.h - how the frames of a converted wave follow the source, loops kept in phase.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "bank/WaveConverter.h"

namespace Kestrova {

// A run of target frames along one line through the source: frame j plays source position
// `position` + j * `step`, where the source is heard as `hearing` says.
struct WavePiece {
    enum class Hearing {
        Wave,    // as it is, silence in front and behind
        Circle,  // the loop, repeated in both directions
        Entry    // the wave up to the loop's end, and then the loop repeated
    };
    Hearing hearing = Hearing::Wave;
    int64_t nLoopStart = 0, nLoopFrames = 0;  // of the source; for Circle and Entry
    double position = 0;                      // source frames
    double step = 1;                          // source frames
    uint64_t nFirst = 0, nFrames = 0;         // of the target
};

// How often a loop is played in the target's loop, and the frames of that.
struct LoopFit {
    uint64_t nTimes = 1;
    uint64_t nFrames = 1;
};

// The fewest repeats for which whole frames change the loop's pitch by less than half a cent; up to 4096, and
// if none of these does, the best of them. A loop of one frame is a constant without pitch, and is not
// repeated. Up to a ratio of 1024 the bound is never met: by Dirichlet's theorem one of the 4096 lengths is
// within 1/4096 frame of a whole number. REQUIRES: nLoopFrames is not 0.
LoopFit FitLoop(uint64_t nLoopFrames, double ratio);

// The pieces of a wave in the target's order, none of them empty, and its loops.
//   A loop is kept in phase when it lies in the wave, shares no frame with another that does, and there are
//   at most 16 in the list. From its first target frame on, the first at or behind its start, it plays the
//   source's loop as a circle, FitLoop's number of times in FitLoop's frames. In front of it, and behind it,
//   the wave goes on at the exact ratio; it leaves the loop as many source frames behind the loop's end as it
//   entered behind its start.
//   The last piece has round((frames - position) / ratio) frames; a wave has at least one in all.
struct PiecePlan {
    struct KeptLoop {
        size_t nIndex = 0;                 // in the order's list
        uint64_t nFirst = 0, nFrames = 0;  // of the target
    };
    std::vector<WavePiece> pieces;
    std::vector<KeptLoop> kept;
    uint64_t nFrames = 0;
};

// REQUIRES: the order's ratio is above 0.
PiecePlan PlanPieces(const WaveOrder& order);

// The loops as IWaveConverter::Plan gives them. Positions of a loop that is not kept in phase are only
// scaled: to the nearest target frame of the plan's pieces, held to 32 bits.
void PlaceLoops(const WaveOrder& order, const PiecePlan& plan, std::span<SDBLOOP> loops);

}  // namespace Kestrova
