// NoteFolder.h - a folder of sound files named by note, as "Piano C#4 v3.wav" or "60.wav": an instrument for
// each name that the files have besides note and layer.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "import/Instrument.h"
#include "import/notefolder/NoteName.h"
#include "import/wavefile/WaveFiles.h"

namespace Kestrova {

// A sound file of the folder that is named by note.
struct NoteFile {
    std::string strPath;
    std::string strStem;  // its name without the extension
    NoteName name;
};

// One instrument of the folder: files whose names are equal but for note and layer, whatever their case.
struct NoteGroup {
    ProgramNumber number;
    std::string strName;          // as in the first file; that of the folder if the files have none
    std::vector<NoteFile> files;  // by path
};

// The programs are numbered 0, 1 and so on, in the order of their names; behind 127 the next bank begins.
// Folders within the folder are not looked into. What the regions are is told in NoteFolderPlanner.h.
class NoteFolder : public IInstrument {
public:
    // Lists the folder; the sound files are opened when they are planned. Refused when none is named by note.
    ImportOutcome Open(const std::string& strPath);

    InstrumentFacts GetFacts() const override;
    std::vector<InstrumentProgram> GetPrograms() const override;
    ImportOutcome MakePlan(const std::set<ProgramNumber>& chosen, ImportPlan& plan, ImportReport& report,
                           const ImportWatch& watch = {}) override;
    ImportOutcome ReadFrames(size_t nWave, uint64_t nFirst, uint64_t nFrames, uint8_t* pOut) const override;

private:
    ImportOutcome ListFiles(const std::string& strPath, std::vector<std::string>& names);
    void Group(const std::string& strPath, const std::vector<std::string>& names);

    std::string m_strName;
    std::vector<NoteGroup> m_groups;       // by number
    std::vector<std::string> m_arUnnamed;  // sound files without a note
    std::vector<std::string> m_arOthers;   // files that are no sound, by their extension
    WaveFiles m_files;
    std::vector<size_t> m_arWaves;  // of the last plan: the wave's file
};

}  // namespace Kestrova
