// SoundFontFuzz.cpp - the SoundFont reader and the planner of the import with hostile files: they may refuse
// one; what they plan must lie in the file. Input: the file. It is written to TMPDIR; with a folder in memory
// (/dev/shm) this is ten times as fast.
#include "import/soundfont/SoundFontPlanner.h"
#include "tests/fuzz/PlanCheck.h"

namespace {

using namespace Kestrova;

void CheckPart(const SoundFont& font, const WavePart& part) {
    if (part.nFrames == 0 || part.nStart + part.nFrames > font.GetFramesFor(part.nSample)) std::abort();
}

void CheckParts(const SoundFont& font, const FontWave& wave) {
    CheckPart(font, wave.left);
    if (wave.right) CheckPart(font, *wave.right);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    static const Test::TempDir dir;
    Test::WriteFile(dir.File("font.sf2"), Test::Bytes(p, p + n));
    SoundFont font;
    if (!font.Open(dir.File("font.sf2")).IsDone()) return 0;
    ImportReport report;
    SoundFontPlan plan;
    if (!SoundFontPlanner(font, report).Make({}, plan).IsDone()) return 0;
    for (const FontWave& wave : plan.waves) CheckParts(font, wave);
    const SoundFontWaves reader(font, plan.waves);
    // A compressed sample may be damaged behind its beginning.
    const auto isPacked = [&](size_t nWave) {
        return font.GetSamples()[plan.waves[nWave].left.nSample].packed.has_value();
    };
    for (size_t i = 0; i < plan.bank.waves.size(); ++i)
        Test::CheckWave(reader, i, plan.bank.waves[i], !isPacked(i));
    for (const PlannedProgram& program : plan.bank.programs)
        for (const PlannedRegion& region : program.regions) Test::CheckRegion(region, plan.waves.size());
    return 0;
}
