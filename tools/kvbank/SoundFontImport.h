// SoundFontImport.h - writes a planned font as a source bank of the plain kind.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "tools/kvbank/ExitCode.h"
#include "tools/kvbank/SoundFont.h"
#include "tools/kvbank/SoundFontPlan.h"

namespace Kestrova {

// What becomes what, besides what SoundFontVoice.h and SoundFontPlan.h decide:
// - information: the font's name, and its copyright as the description;
// - a preset: a preset record whose value is bank * 128 + program, and a program under its bank's record with
//   the program number as first value. All programs keep the values that have the per-key layout split them,
//   percussion too: its regions are mostly single keys, where splitting changes nothing, and a sample shared
//   by a split and an unsplit program would have no copy for the latter;
// - a region: low key, high key, low and high velocity;
// - a layer: the default values, for no meaning of theirs is known.
// Records come in the order of a built bank: information, presets, samples, then the tree.
class SoundFontImport {
public:
    // Both outlive the object.
    SoundFontImport(const SoundFont& font, const ImportPlan& plan);

    // Told after each sample: the part of all frames that is written, and the bytes of the file so far.
    using Observer = std::function<void(double fraction, uint64_t nBytes)>;

    // Writes the bank into the file, which is emptied first, and has it on the disk when it returns
    // kExitDone. Waves are read and compressed on several threads; the bytes do not depend on how many, and
    // but for the file's new identity the same font gives the same bytes. kExitProblem: cancelled. On failure
    // the file is of no use and GetError says why.
    ExitCode Write(const std::string& strPath, const Observer& observer);
    const std::string& GetError() const { return m_strError; }

    // Of the records written.
    uint64_t GetBytes() const { return m_nBytes; }

private:
    struct MadeWave {
        std::unique_ptr<CSDBISampleWave> pRecord;  // null: `code` tells why
        ExitCode code = kExitDone;
    };

    MadeWave MakeWave(const PlannedWave& wave) const;
    ExitCode WriteRecords(const Observer& observer);
    ExitCode WriteSamples(const Observer& observer);
    ExitCode WritePrograms();
    ExitCode WriteRegions(const PlannedProgram& program, uint32_t idProgram);
    ExitCode Add(CSDBInterpreter& record);
    ExitCode FailedWrite();
    uint64_t CountRecords() const;

    const SoundFont& m_font;
    const ImportPlan& m_plan;
    CSDB m_database;
    std::vector<uint32_t> m_arSamples;  // ids, by wave
    std::string m_strError;
    uint64_t m_nBytes = 0;
};

}  // namespace Kestrova
