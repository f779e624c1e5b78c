// SoundFontFuzz.cpp - the SoundFont reader and the import's plan before hostile files: they may refuse; what
// they plan must lie in the file. Input: the file. It is written to TMPDIR: in memory (/dev/shm) that is ten
// times as fast.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "import/soundfont/SoundFontPlan.h"
#include "tests/support/TempDir.h"

namespace {

using namespace Kestrova;

void CheckPart(const SoundFont& font, const WavePart& part) {
    if (part.nFrames == 0 || part.nStart + part.nFrames > font.GetFrames()) std::abort();
    std::vector<uint8_t> bytes(part.nFrames * font.GetBits() / 8);
    if (!font.ReadFrames(part.nStart, part.nFrames, bytes.data(), font.GetBits() / 8)) std::abort();
}

void CheckWave(const SoundFont& font, const PlannedWave& wave) {
    CheckPart(font, wave.left);
    if (wave.right) CheckPart(font, *wave.right);
    const WaveTune& tune = wave.tune;
    if (tune.nRate == 0 || tune.nRootKey > 127 || tune.nFineTune < -49 || tune.nFineTune > 50) std::abort();
    if (tune.bLoop && (tune.nLoopStart > tune.nLoopEnd || tune.nLoopEnd >= wave.Frames())) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    static const Test::TempDir dir;
    Test::WriteFile(dir.File("font.sf2"), Test::Bytes(p, p + n));
    SoundFont font;
    if (!font.Open(dir.File("font.sf2"))) return 0;
    ImportReport report;
    ImportPlan plan;
    if (!SoundFontPlanner(font, report).Make({}, plan)) return 0;
    for (const PlannedWave& wave : plan.waves) CheckWave(font, wave);
    for (const PlannedProgram& program : plan.programs)
        for (const PlannedRegion& region : program.regions)
            if (region.layers.empty()) std::abort();
    return 0;
}
