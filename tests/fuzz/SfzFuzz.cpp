// SfzFuzz.cpp - the SFZ reader and its planner with hostile texts: they may refuse one; what they plan must
// lie in its file. Input: the text. It is written to TMPDIR, beside two sound files, "a.wav" with a loop and
// "b.wav", and "self.sfz", which is the text too.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "import/sfz/SfzInstrument.h"
#include "tests/support/SoundFileMaker.h"

namespace {

using namespace Kestrova;

void CheckWave(const IWaveReader& reader, size_t nWave, const PlannedWave& wave) {
    std::vector<uint8_t> bytes(wave.nFrames * wave.FrameBytes());
    if (wave.nFrames == 0 || !reader.ReadFrames(nWave, 0, wave.nFrames, bytes.data()).IsDone()) std::abort();
    const WaveTune& tune = wave.tune;
    if (tune.nRate == 0 || tune.nRootKey > 127 || tune.nFineTune < -49 || tune.nFineTune > 50) std::abort();
    if (tune.bLoop && (tune.nLoopStart > tune.nLoopEnd || tune.nLoopEnd >= wave.nFrames)) std::abort();
}

void CheckRegion(const PlannedRegion& region, size_t nWaves) {
    const auto isRange = [](const MidiRange& range) {
        return range.nLow >= 0 && range.nHigh <= 127 && !range.IsEmpty();
    };
    if (!isRange(region.range.keys) || !isRange(region.range.velocities) || region.layers.empty())
        std::abort();
    for (const size_t nLayer : region.layers)
        if (nLayer >= nWaves) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    static const Test::TempDir dir;
    Test::WriteFile(dir.File("a.wav"),
                    Test::MakeRampWav(50, {{"smpl", Test::SmplChunk(61, 0, {{0, 5, 9}})}}));
    Test::WriteFile(dir.File("b.wav"), Test::MakeRampWav(20));
    Test::WriteFile(dir.File("self.sfz"), Test::Bytes(p, p + n));
    SfzInstrument instrument;
    if (!instrument.Open(dir.File("self.sfz")).IsDone()) return 0;
    ImportPlan plan;
    ImportReport report;
    if (!instrument.MakePlan({}, plan, report).IsDone()) return 0;
    for (size_t i = 0; i < plan.waves.size(); ++i) CheckWave(instrument, i, plan.waves[i]);
    for (const PlannedProgram& program : plan.programs)
        for (const PlannedRegion& region : program.regions) CheckRegion(region, plan.waves.size());
    return 0;
}
