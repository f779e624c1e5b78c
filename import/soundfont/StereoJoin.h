// StereoJoin.h - which voices are the two halves of one stereo sample.
// Two voices can be halves when range, rate, root key, tune, loop and every setting but pan are equal, the
// samples differ, and their lengths differ by at most kMostStrayFrames; the shorter half is filled up with
// silence. They are joined by the first of these rules that finds one left and one right half:
//   1. link: the font types one left, the other right, and each names the other as its link;
//   2. length: equal lengths, one typed or panned (at least halfway) left, the other right;
//   3. name: names that are equal but for their end: L and R, or left and right.
// A rule that finds more than one candidate for a side joins none of them. The first channel is the half
// panned farther to the left; with equal pans the half that the rule calls left.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "import/soundfont/SoundFontVoice.h"

namespace Kestrova {

inline constexpr uint64_t kMostStrayFrames = 1000;

struct StereoPair {
    size_t nLeft, nRight;  // indexes of voices
};

// The pairs among the voices of one preset zone, by the left voice's index.
std::vector<StereoPair> JoinStereo(const SoundFont& font, std::span<const FontVoice> voices);

// The name of a joined sample: what the halves' names have in common, or the left one's.
std::string JoinedName(const std::string& strLeft, const std::string& strRight);

}  // namespace Kestrova
