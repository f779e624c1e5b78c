// SfzFixture.h - SFZ texts and their sound files in a folder of the test, and their plan in words.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "import/sfz/SfzInstrument.h"
#include "tests/support/SoundFileMaker.h"

namespace Kestrova::Test {

using Strings = std::vector<std::string>;

// "WHAT: CAUSE" of everything noted, with "N x " in front when it was noted more than once.
inline Strings NotesOf(const ImportReport& report, ImportEvent event) {
    Strings notes;
    for (const ImportReport::Entry& entry : report.Of(event))
        notes.push_back((entry.nTimes > 1 ? std::to_string(entry.nTimes) + " x " : "") + entry.strWhat +
                        (entry.strCause.empty() ? "" : ": " + entry.strCause));
    return notes;
}

class SfzFixture : public ::testing::Test {
protected:
    // Each of the files has 100 frames.
    void WriteWaves(const Strings& names) const {
        for (const std::string& strName : names) {
            fs::create_directories(fs::path(m_dir.File(strName)).parent_path());
            WriteFile(m_dir.File(strName), MakeRampWav(100));
        }
    }
    void WriteLooped(const std::string& strName, uint32_t nKey, const std::vector<SmplLoop>& loops) const {
        WriteFile(m_dir.File(strName), MakeRampWav(100, {{"smpl", SmplChunk(nKey, 0, loops)}}));
    }
    ImportOutcome Plan(const std::string& strText, const ImportWatch& watch = {}) {
        WriteFile(m_dir.File("Piano.sfz"), strText);
        ImportOutcome outcome = m_instrument.Open(m_dir.File("Piano.sfz"));
        m_report = {};
        m_plan = {};
        return outcome.IsDone() ? m_instrument.MakePlan({}, m_plan, m_report, watch) : outcome;
    }
    // "LOWKEY-HIGHKEY LOWVELOCITY-HIGHVELOCITY NAME: LAYERS" of each region of the only program.
    Strings Regions(const std::string& strText) {
        const ImportOutcome outcome = Plan(strText);
        if (!outcome.IsDone()) return {outcome.strCause};
        Strings regions;
        for (const PlannedProgram& program : m_plan.programs)
            for (const PlannedRegion& region : program.regions) regions.push_back(TextOf(region));
        return regions;
    }
    // "NAME FRAMES ROOTKEY FINETUNE [LOOPSTART-LOOPEND]" of each wave.
    Strings Waves(const std::string& strText) {
        const ImportOutcome outcome = Plan(strText);
        if (!outcome.IsDone()) return {outcome.strCause};
        Strings waves;
        for (const PlannedWave& wave : m_plan.waves) waves.push_back(TextOf(wave));
        return waves;
    }
    Strings Notes(ImportEvent event) const { return NotesOf(m_report, event); }

    static std::string TextOf(const MidiRange& range) {
        return std::to_string(range.nLow) + "-" + std::to_string(range.nHigh);
    }
    static std::string TextOf(const PlannedRegion& region) {
        std::string strText =
            TextOf(region.range.keys) + " " + TextOf(region.range.velocities) + " " + region.strName + ":";
        for (const size_t nLayer : region.layers) strText += " " + std::to_string(nLayer);
        return strText;
    }
    static std::string TextOf(const PlannedWave& wave) {
        std::string strText = wave.strName + " " + std::to_string(wave.nFrames) + " " +
                              std::to_string(wave.tune.nRootKey) + " " + std::to_string(wave.tune.nFineTune);
        if (!wave.tune.bLoop) return strText;
        return strText + " " + std::to_string(wave.tune.nLoopStart) + "-" +
               std::to_string(wave.tune.nLoopEnd);
    }

    TempDir m_dir;
    SfzInstrument m_instrument;
    ImportPlan m_plan;
    ImportReport m_report;
};

}  // namespace Kestrova::Test
