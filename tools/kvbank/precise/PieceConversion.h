// PieceConversion.h - the frames of a wave's pieces.
#pragma once

#include "tools/kvbank/precise/StraightConversion.h"
#include "tools/kvbank/precise/WavePieces.h"

namespace Kestrova {

// Converts one piece. `wave` gives frames 0 to nFrames - 1 of the source, and is asked for no others.
// A piece that begins with the source's first frame is converted by libsoxr; for the others, which begin
// between frames, a filter of the same band is placed anywhere (SincTable.h).
// Memory is bounded, time is in proportion to source and target frames. Threads, errors: as ConvertStraight.
BankOutcome ConvertPiece(const WavePiece& piece, double ratio, unsigned nChannels, uint64_t nFrames,
                         const FrameSource& wave, const FrameSink& sink);

}  // namespace Kestrova
