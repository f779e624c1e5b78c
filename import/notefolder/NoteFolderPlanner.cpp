#include "import/notefolder/NoteFolderPlanner.h"

#include <algorithm>
#include <iterator>

#include "import/TuneRules.h"
#include "import/notefolder/NoteFolder.h"
#include "import/wavefile/WaveReport.h"

namespace Kestrova {
namespace {

constexpr int kMostVelocity = 127;
constexpr int kMostFineTune = 50;

std::string FileText(const NoteFile& file) { return "file \"" + file.strStem + "\""; }

}  // namespace

MidiRange KeysOfNote(std::optional<int> below, int nKey, std::optional<int> above) {
    return {below ? (*below + nKey) / 2 + 1 : 0, above ? (nKey + *above) / 2 : kHighestMidiKey};
}

MidiRange VelocitiesOfLayer(int nLayer, int nLayers) {
    return {nLayer * kMostVelocity / nLayers + 1, (nLayer + 1) * kMostVelocity / nLayers};
}

ImportOutcome NoteFolderPlanner::Add(const NoteGroup& group, ImportPlan& plan, const ImportWatch& watch) {
    Notes notes;
    if (ImportOutcome outcome = Open(group, notes, watch); !outcome.IsDone()) return outcome;
    if (notes.empty()) {
        m_report.Note(ImportEvent::Dropped, "preset \"" + group.strName + "\"",
                      "none of its files can be used");
        return {};
    }
    PlannedProgram program{group.strName, group.number.first, group.number.second, {}};
    std::optional<int> below;
    for (auto it = notes.begin(); it != notes.end(); ++it) {
        const auto next = std::next(it);
        const std::optional<int> above = next == notes.end() ? std::nullopt : std::optional(next->first);
        AddNote(KeysOfNote(below, it->first, above), it->second, plan, program);
        below = it->first;
    }
    plan.programs.push_back(std::move(program));
    return {};
}

ImportOutcome NoteFolderPlanner::Open(const NoteGroup& group, Notes& notes, const ImportWatch& watch) {
    for (const NoteFile& file : group.files) {
        if (watch.isStopped()) return Cancelled();
        if (ImportOutcome outcome = OpenFile(file, notes); !outcome.IsDone()) return outcome;
    }
    return {};
}

ImportOutcome NoteFolderPlanner::OpenFile(const NoteFile& file, Notes& notes) {
    Layers& layers = notes[file.name.nKey];
    const auto drop = [&](const std::string& strCause) {
        m_report.Note(ImportEvent::Dropped, FileText(file), strCause);
        if (layers.empty()) notes.erase(file.name.nKey);
        return ImportOutcome();
    };
    if (layers.count(file.name.nLayer) != 0) return drop("another file has its note and layer");
    if (layers.size() == size_t{kMostVelocity}) return drop("its note has 127 layers already");
    size_t nFile = 0;
    ImportOutcome outcome = m_files.Add(file.strPath, nFile);
    if (outcome.end == ImportEnd::Refused) return drop(outcome.strCause);
    if (!outcome.IsDone()) {
        outcome.strRecord = FileText(file);
        return outcome;
    }
    if (m_files.GetFacts(nFile).nFrames == 0) return drop("it has no frames");
    layers.emplace(file.name.nLayer, Usable{&file, nFile});
    return outcome;
}

void NoteFolderPlanner::AddNote(const MidiRange& keys, const Layers& layers, ImportPlan& plan,
                                PlannedProgram& program) {
    int nLayer = 0;
    for (const auto& [nNumber, file] : layers) {
        const MidiRange velocities = VelocitiesOfLayer(nLayer++, static_cast<int>(layers.size()));
        program.regions.push_back({file.pNote->strStem, {keys, velocities}, {plan.waves.size()}});
        plan.waves.push_back(WaveOf(file));
        m_arFiles.push_back(file.nFile);
    }
}

PlannedWave NoteFolderPlanner::WaveOf(const Usable& file) {
    const WaveFileFacts& facts = m_files.GetFacts(file.nFile);
    PlannedWave wave{file.pNote->strStem, facts.nBits, facts.nChannels, facts.nFrames, {}};
    const std::string strWhat = "sample \"" + wave.strName + "\"";
    const int nKeyCents = file.pNote->name.nKey * kCentsPerKey;
    const int nFine = facts.nRootCents.value_or(nKeyCents) - nKeyCents;
    const bool bSameKey = nFine > -kMostFineTune && nFine <= kMostFineTune;
    wave.tune.nRate = HoldRate(facts.nRate, strWhat, m_report);
    SettlePitch(wave.tune, nKeyCents + (bSameKey ? nFine : 0), strWhat, m_report);
    SetLoop(wave, facts);
    ReportWaveFile(strWhat, facts, m_report);
    return wave;
}

void NoteFolderPlanner::SetLoop(PlannedWave& wave, const WaveFileFacts& facts) {
    if (facts.loops.empty()) return;
    const std::string strWhat = "sample \"" + wave.strName + "\"";
    ReportFileLoops(strWhat, facts.loops, m_report);
    const WaveFileLoop& loop = facts.loops.front();
    SettleLoop(wave.tune, loop.nStart, int64_t{loop.nEnd} + 1, wave.nFrames, strWhat, m_report);
}

}  // namespace Kestrova
