// SoundFontImport.h - writes a planned font as a source bank of the plain kind.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "import/soundfont/SoundFont.h"
#include "import/soundfont/SoundFontPlan.h"

namespace Kestrova {

// How the writing of a bank ended.
enum class ImportEnd { Done, Cancelled, Unreadable, NotWritten, NoMemory };

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
    // Done. Waves are read and compressed on several threads; the bytes do not depend on how many, and
    // but for the file's new identity the same font gives the same bytes. On failure
    // the file is of no use and GetError says why.
    ImportEnd Write(const std::string& strPath, const Observer& observer);
    const std::string& GetError() const { return m_strError; }

    // Of the records written.
    uint64_t GetBytes() const { return m_nBytes; }

private:
    struct MadeWave {
        std::unique_ptr<CSDBISampleWave> pRecord;  // null: `end` tells why
        ImportEnd end = ImportEnd::Done;
    };

    MadeWave MakeWave(const PlannedWave& wave) const;
    ImportEnd WriteRecords(const Observer& observer);
    ImportEnd WriteSamples(const Observer& observer);
    ImportEnd WritePrograms();
    ImportEnd WriteRegions(const PlannedProgram& program, uint32_t idProgram);
    ImportEnd Add(CSDBInterpreter& record);
    ImportEnd FailedWrite();
    uint64_t CountRecords() const;

    const SoundFont& m_font;
    const ImportPlan& m_plan;
    CSDB m_database;
    std::vector<uint32_t> m_arSamples;  // ids, by wave
    std::string m_strError;
    uint64_t m_nBytes = 0;
};

}  // namespace Kestrova
