// SfzPlanner.h - makes the import plan of an SFZ instrument: its one program, with regions and waves.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "import/ImportOutcome.h"
#include "import/ImportPlan.h"
#include "import/ImportReport.h"
#include "import/sfz/FileFinder.h"
#include "import/sfz/SfzRegions.h"
#include "import/wavefile/WaveFiles.h"

namespace Kestrova {

// Where the frames of a wave are.
struct SfzWave {
    size_t nFile = 0;
    uint64_t nStart = 0;
};

struct SfzPlan {
    ImportPlan bank;
    std::vector<SfzWave> waves;  // by the bank's wave
};

// Makes one plan. The rules:
// - A bank plays all layers of a region at once, so only the regions that sound when a player has just begun
//   and a key is pressed once come over: no release, later turn of a round, other key switch, or controller
//   that is not set. The others are dropped.
// - Regions with the same ranges become one, with a layer for each; other ranges may overlap. They are sorted
//   by their ranges, and each is named after the first file in it.
// - A wave is planned once for each use of a file with other frames, tune or loop; waves are in the order of
//   their first use.
// - The key center (60 when none is set) less transpose and tune is the pitch at which the wave plays
//   unchanged. A key track is exact where the range is one key, and left out of wider ranges.
// - Without a loop mode a file with a loop has it, and another none. Missing ends of a loop are the file's,
//   or those of the wave. A loop that plays backwards or to and fro is taken as one that plays forwards.
class SfzPlanner {
public:
    // All must outlive the planner.
    SfzPlanner(FileFinder& finder, WaveFiles& files, ImportReport& report)
        : m_finder(finder), m_files(files), m_report(report) {}

    // The program has bank and number 0. Files that are missing or are no sound files are all named by one
    // refusal.
    ImportOutcome Make(const std::string& strName, const std::vector<SfzRegion>& regions, SfzPlan& plan,
                       const ImportWatch& watch = {});

private:
    using PlannedRegions = std::map<PlayRange, PlannedRegion>;

    std::vector<const SfzRegion*> Sounding(const std::vector<SfzRegion>& regions);
    ImportOutcome OpenFiles(const std::vector<const SfzRegion*>& regions, const ImportWatch& watch);
    ImportOutcome OpenFile(const std::string& strName);
    void AddRegion(const SfzRegion& region, PlannedRegions& planned);
    std::optional<PlayRange> RangeOf(const SfzRegion& region);
    std::optional<MidiRange> KeysOf(const SfzRegion& region);
    int RootCents(const SfzRegion& region, const MidiRange& keys);
    void SetLoop(const SfzRegion& region, const SfzWave& wave, uint64_t nFrames, WaveTune& tune);
    size_t WaveFor(const SfzWave& wave, uint64_t nFrames, const WaveTune& tune);
    void ReportWaves();
    void CountLayer(const SfzSettings& settings);

    FileFinder& m_finder;
    WaveFiles& m_files;
    ImportReport& m_report;
    std::map<std::string, size_t> m_fileOf;  // by the name in the text
    SfzPlan m_plan;
    std::map<std::tuple<size_t, uint64_t, uint64_t, WaveTune>, size_t> m_places;
    std::map<size_t, uint64_t> m_uses;  // waves made of one file
};

}  // namespace Kestrova
