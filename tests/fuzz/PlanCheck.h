// PlanCheck.h - what holds of every plan of an import, whatever the input was.
#pragma once

#include <vector>

#include "import/ImportPlan.h"
#include "import/WaveReader.h"
#include "tests/fuzz/FuzzInput.h"

namespace Kestrova::Test {

inline void CheckTune(const PlannedWave& wave) {
    const WaveTune& tune = wave.tune;
    KV_FUZZ_CHECK(tune.nRate != 0 && tune.nRootKey <= 127 && tune.nFineTune >= -49 && tune.nFineTune <= 50);
    KV_FUZZ_CHECK(!tune.bLoop || (tune.nLoopStart <= tune.nLoopEnd && tune.nLoopEnd < wave.nFrames));
}

// bWhole: its bytes are there; those of a compressed sound may be damaged behind its beginning.
inline void CheckWave(const IWaveReader& reader, size_t nWave, const PlannedWave& wave, bool bWhole) {
    std::vector<uint8_t> bytes(wave.nFrames * wave.FrameBytes());
    const bool bRead = reader.ReadFrames(nWave, 0, wave.nFrames, bytes.data()).IsDone();
    KV_FUZZ_CHECK(wave.nFrames > 0 && (bRead || !bWhole));
    CheckTune(wave);
}

inline void CheckRegion(const PlannedRegion& region, size_t nWaves) {
    for (const MidiRange& range : {region.range.keys, region.range.velocities})
        KV_FUZZ_CHECK(range.nLow >= 0 && range.nHigh <= 127 && !range.IsEmpty());
    KV_FUZZ_CHECK(!region.layers.empty());
    for (const size_t nLayer : region.layers) KV_FUZZ_CHECK(nLayer < nWaves);
}

inline void CheckPlan(const IWaveReader& reader, const ImportPlan& plan, bool bWhole = false) {
    for (size_t i = 0; i < plan.waves.size(); ++i) CheckWave(reader, i, plan.waves[i], bWhole);
    for (const PlannedProgram& program : plan.programs)
        for (const PlannedRegion& region : program.regions) CheckRegion(region, plan.waves.size());
}

}  // namespace Kestrova::Test
