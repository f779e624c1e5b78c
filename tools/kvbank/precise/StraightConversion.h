// StraightConversion.h - a run of frames converted by libsoxr, from their first on and at one ratio.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "bank/BankOutcome.h"

namespace Kestrova {

// Puts frames from nFirst on into the numbers, channels interleaved, as many as there is room for.
using FrameSource = std::function<void(int64_t nFirst, std::span<double> numbers)>;
// Receives the next frames.
using FrameSink = std::function<void(std::span<const double> numbers)>;

// Converts frames 0 to nSource - 1 with libsoxr's highest recipe in double precision. What lies in front of
// them and behind is silence. Target frame t is the wave at source position t * ratio: the library makes up
// for the delay of its filter. Gives exactly nTarget frames, silence where the wave has ended.
// Memory is bounded. Threads: any. Errors: conversion failed, when the library refuses the ratio or gives no
// frame. May throw std::bad_alloc.
BankOutcome ConvertStraight(double ratio, unsigned nChannels, uint64_t nSource, uint64_t nTarget,
                            const FrameSource& source, const FrameSink& sink);

}  // namespace Kestrova
