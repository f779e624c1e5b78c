// RichSource.h - a source with records of every kind, for tests that compare its banks with it.
#pragma once

#include "tests/support/SourceMaker.h"

namespace Kestrova::Test {

// Two presets, samples of several rates and formats, one with a loop, a split program and one that is not.
inline SourceSpec Rich() {
    SourceSpec spec;
    spec.nPresets = 2;
    spec.samples = {{.nFrames = 300, .loops = {{1, 10, 250, 0}}},
                    {.nRate = 48000, .nFormat = 24, .nChannels = 2, .nFrames = 200},
                    {.nRate = 22050}};
    spec.programs = {{.regions = {{.nLow = 60, .nHigh = 62, .layers = {0, 1}}, {.nLow = 70, .nHigh = 70}}},
                     {.bSplit = false, .regions = {{.nLow = 0, .nHigh = 127, .layers = {2, 0}}}}};
    return spec;
}

}  // namespace Kestrova::Test
