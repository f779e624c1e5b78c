// NoteFolderPlanner.h - makes programs of sound files that are named by note.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "import/ImportOutcome.h"
#include "import/ImportPlan.h"
#include "import/ImportReport.h"
#include "import/wavefile/WaveFiles.h"

namespace Kestrova {

struct NoteFile;
struct NoteGroup;

// The keys of a note that has neighbours: a key belongs to the nearest note, the key in the middle to the
// lower one. The lowest note begins at key 0, the highest ends at 127. REQUIRES: below < nKey < above.
MidiRange KeysOfNote(std::optional<int> below, int nKey, std::optional<int> above);

// The velocities of layer nLayer of nLayers: equal parts of 1 to 127. REQUIRES: nLayer < nLayers <= 127.
MidiRange VelocitiesOfLayer(int nLayer, int nLayers);

// Each file becomes a region with one layer. The note in its name is the wave's root key, and the file's own
// fine tune counts if the file has the same root key. Its first loop is carried, if it runs forward. Dropped
// are files that cannot be read as sound or have no frames, and those whose note and layer another file of
// the program has, the first by name staying. What the system cannot read ends the planning.
class NoteFolderPlanner {
public:
    // Both must outlive the planner; files that are there already keep their numbers.
    NoteFolderPlanner(WaveFiles& files, ImportReport& report) : m_files(files), m_report(report) {}

    // Adds the program, if any of its files can be used.
    ImportOutcome Add(const NoteGroup& group, ImportPlan& plan, const ImportWatch& watch);
    // By wave of the plan.
    const std::vector<size_t>& GetFiles() const { return m_arFiles; }

private:
    struct Usable {
        const NoteFile* pNote;
        size_t nFile;
    };
    using Layers = std::map<int, Usable>;  // by number
    using Notes = std::map<int, Layers>;   // by key

    ImportOutcome Open(const NoteGroup& group, Notes& notes, const ImportWatch& watch);
    ImportOutcome OpenFile(const NoteFile& file, Notes& notes);
    void AddNote(const MidiRange& keys, const Layers& layers, ImportPlan& plan, PlannedProgram& program);
    PlannedWave WaveOf(const Usable& file);
    void SetLoop(PlannedWave& wave, const WaveFileFacts& facts);

    WaveFiles& m_files;
    ImportReport& m_report;
    std::vector<size_t> m_arFiles;
};

}  // namespace Kestrova
