#include "import/sfz/SfzPlanner.h"

#include <algorithm>

#include "import/TuneRules.h"
#include "import/sfz/SfzText.h"
#include "import/wavefile/WaveReport.h"

namespace Kestrova {
namespace {

constexpr int kDefaultKeyCenter = 60;

std::string SampleText(const std::string& strSample) { return "sample \"" + strSample + "\""; }

int WholeOr(const SfzSettings::Number& number, int nOtherwise) {
    return number ? static_cast<int>(*number) : nOtherwise;
}

int64_t FrameOr(const SfzSettings::Number& number, int64_t nOtherwise) {
    return number ? static_cast<int64_t>(*number) : nOtherwise;
}

// The key that counts as pressed last when a player has just begun: the one set, else that of the first
// region that waits for one.
SfzSettings::Number SwitchAtStart(const std::vector<SfzRegion>& regions) {
    const auto find = [&regions](SfzSettings::Number SfzSettings::*pNumber) {
        const auto place = std::find_if(regions.begin(), regions.end(), [pNumber](const SfzRegion& region) {
            return (region.settings.*pNumber).has_value();
        });
        return place == regions.end() ? SfzSettings::Number() : place->settings.*pNumber;
    };
    const SfzSettings::Number atStart = find(&SfzSettings::switchAtStart);
    return atStart ? atStart : find(&SfzSettings::lowSwitch);
}

bool IsSwitchedOff(const SfzSettings& settings, const SfzSettings::Number& switchAtStart) {
    if (!settings.lowSwitch && !settings.highSwitch) return false;
    const double key = switchAtStart.value_or(-1);
    return key < settings.lowSwitch.value_or(0) || key > settings.highSwitch.value_or(kHighestMidiKey);
}

// Why a region does not sound when a player has just begun and a key is pressed; null: it does.
const char* WhySilent(const SfzSettings& settings, const SfzSettings::Number& switchAtStart) {
    if (settings.end && *settings.end < 0) return "end=-1 keeps them from playing";
    if (settings.trigger == SfzTrigger::Release) return "they sound when a key is released";
    if (settings.trigger == SfzTrigger::Legato) return "they sound while another key is held";
    if (settings.turn && *settings.turn > 1) return "they sound in a later turn of a round";
    if (settings.lowRandom && *settings.lowRandom > 0) return "they sound by chance in place of another";
    if (IsSwitchedOff(settings, switchAtStart)) return "they sound after another key switch";
    if (settings.bOtherSwitch) return "they sound after a key switch";
    if (settings.bByController) return "a controller starts them";
    if (settings.tooLow.any() || settings.tooHigh.any()) return "they sound when a controller is moved";
    if (settings.lowChannel && *settings.lowChannel > 1) return "they sound on another channel";
    if (settings.lowBend.value_or(0) > 0 || settings.highBend.value_or(0) < 0)
        return "they sound when the pitch is bent";
    return nullptr;
}

std::string NamedCause(std::string strName, const std::string& strCause) {
    return strName.append(": ").append(strCause);
}

}  // namespace

ImportOutcome SfzPlanner::Make(const std::string& strName, const std::vector<SfzRegion>& regions,
                               SfzPlan& plan, const ImportWatch& watch) {
    const std::vector<const SfzRegion*> sounding = Sounding(regions);
    if (ImportOutcome outcome = OpenFiles(sounding, watch); !outcome.IsDone()) return outcome;
    PlannedRegions planned;
    for (const SfzRegion* const pRegion : sounding) AddRegion(*pRegion, planned);
    PlannedProgram program{strName, 0, 0, {}};
    for (auto& [range, region] : planned) program.regions.push_back(std::move(region));
    m_plan.bank.strName = strName;
    if (!program.regions.empty()) m_plan.bank.programs.push_back(std::move(program));
    ReportWaves();
    plan = std::move(m_plan);
    return {};
}

std::vector<const SfzRegion*> SfzPlanner::Sounding(const std::vector<SfzRegion>& regions) {
    const SfzSettings::Number switchAtStart = SwitchAtStart(regions);
    std::vector<const SfzRegion*> sounding;
    for (const SfzRegion& region : regions) {
        if (region.strSample.empty())
            m_report.Note(ImportEvent::Dropped, "regions", "they have no sample");
        else if (region.strSample[0] == '*')
            m_report.Note(ImportEvent::Dropped, SampleText(region.strSample),
                          "a player makes it; it is no file");
        else if (const char* const pszWhy = WhySilent(region.settings, switchAtStart))
            m_report.Note(ImportEvent::Dropped, "regions", pszWhy);
        else
            sounding.push_back(&region);
    }
    return sounding;
}

ImportOutcome SfzPlanner::OpenFiles(const std::vector<const SfzRegion*>& regions, const ImportWatch& watch) {
    std::map<std::string, std::string> refused;  // by name: name and cause
    for (const SfzRegion* const pRegion : regions) {
        const std::string& strName = pRegion->strSample;
        if (m_fileOf.count(strName) == 1 || refused.count(strName) == 1) continue;
        if (watch.isStopped()) return Cancelled();
        ImportOutcome outcome = OpenFile(strName);
        if (outcome.end == ImportEnd::NoMemory) return outcome;
        if (!outcome.IsDone()) refused[strName] = NamedCause(strName, outcome.strCause);
    }
    if (refused.empty()) return {};
    std::vector<std::string> files;
    files.reserve(refused.size());
    for (const auto& [strName, strText] : refused) files.push_back(strText);
    return Refused(MissingFilesText(files));
}

ImportOutcome SfzPlanner::OpenFile(const std::string& strName) {
    std::string strPath;
    size_t nFile = 0;
    ImportOutcome outcome = m_finder.Find(strName, strPath);
    if (outcome.IsDone()) outcome = m_files.Add(strPath, nFile);
    if (!outcome.IsDone()) return outcome;
    m_fileOf[strName] = nFile;
    ReportWaveFile(SampleText(strName), m_files.GetFacts(nFile), m_report);
    return outcome;
}

void SfzPlanner::AddRegion(const SfzRegion& region, PlannedRegions& planned) {
    const std::optional<PlayRange> range = RangeOf(region);
    if (!range) return;
    const std::string strWhat = SampleText(region.strSample);
    const SfzWave wave{m_fileOf.at(region.strSample),
                       static_cast<uint64_t>(FrameOr(region.settings.offset, 0))};
    const WaveFileFacts& facts = m_files.GetFacts(wave.nFile);
    const auto nAll = static_cast<int64_t>(facts.nFrames);
    const int64_t nEnd = FrameOr(region.settings.end, nAll - 1) + 1;
    if (nEnd > nAll) m_report.Note(ImportEvent::Repaired, strWhat, "its end taken as that of its file");
    const int64_t nFrames = std::min(nEnd, nAll) - static_cast<int64_t>(wave.nStart);
    if (nFrames <= 0) {
        m_report.Note(ImportEvent::Dropped, strWhat, "it has no frames");
        return;
    }
    WaveTune tune;
    tune.nRate = HoldRate(facts.nRate, strWhat, m_report);
    SettlePitch(tune, RootCents(region, range->keys), strWhat, m_report);
    SetLoop(region, wave, static_cast<uint64_t>(nFrames), tune);
    CountLayer(region.settings);
    const auto [place, bNew] = planned.try_emplace(*range);
    if (bNew) place->second = {StemOf(m_files.GetPath(wave.nFile)), *range, {}};
    place->second.layers.push_back(WaveFor(wave, static_cast<uint64_t>(nFrames), tune));
}

std::optional<PlayRange> SfzPlanner::RangeOf(const SfzRegion& region) {
    const std::optional<MidiRange> keys = KeysOf(region);
    const MidiRange velocities = {WholeOr(region.settings.lowVelocity, 0),
                                  WholeOr(region.settings.highVelocity, kHighestMidiKey)};
    if (keys && !velocities.IsEmpty()) return PlayRange{*keys, velocities};
    m_report.Note(ImportEvent::Dropped, SampleText(region.strSample),
                  "a region that no key or velocity plays");
    return std::nullopt;
}

// A key of -1 is none at all, so that the offset does not make one of it.
std::optional<MidiRange> SfzPlanner::KeysOf(const SfzRegion& region) {
    const SfzSettings& settings = region.settings;
    if (settings.highKey && *settings.highKey < 0) return std::nullopt;
    MidiRange keys;
    if (settings.lowKey && *settings.lowKey >= 0) keys.nLow = WholeOr(settings.lowKey, 0) + region.nKeyOffset;
    if (settings.highKey) keys.nHigh = WholeOr(settings.highKey, 0) + region.nKeyOffset;
    const MidiRange held = Intersect(keys, {0, kHighestMidiKey});
    if (held.IsEmpty()) return std::nullopt;
    if (held != keys)
        m_report.Note(ImportEvent::Repaired, SampleText(region.strSample), "a key range cut to 0 to 127");
    return held;
}

// The pitch, in cents above key 0, at which the wave plays unchanged.
int SfzPlanner::RootCents(const SfzRegion& region, const MidiRange& keys) {
    const SfzSettings& settings = region.settings;
    int nCenter = kDefaultKeyCenter * kCentsPerKey;
    if (settings.bKeyCenterOfSample) {
        const std::optional<int> ofFile = m_files.GetFacts(m_fileOf.at(region.strSample)).nRootCents;
        if (!ofFile)
            m_report.Note(ImportEvent::Repaired, SampleText(region.strSample),
                          "its file has no root key; 60 is taken");
        nCenter = ofFile.value_or(nCenter);
    } else if (settings.keyCenter) {
        nCenter = (WholeOr(settings.keyCenter, 0) + region.nKeyOffset) * kCentsPerKey;
    }
    const int nTune = WholeOr(settings.transpose, 0) * kCentsPerKey + WholeOr(settings.tune, 0);
    const int nTrack = WholeOr(settings.keyTrack, kCentsPerKey);
    if (nTrack == kCentsPerKey) return nCenter - nTune;
    if (!keys.IsOne()) {
        m_report.Note(ImportEvent::LeftOut, "pitch_keytrack");
        m_report.Note(ImportEvent::LeftOutKind, "scale tuning");
        return nCenter - nTune;
    }
    const int nFromCenter = keys.nLow * kCentsPerKey - nCenter;  // what the key raises the pitch by at 100 %
    return keys.nLow * kCentsPerKey - nFromCenter * nTrack / kCentsPerKey - nTune;
}

void SfzPlanner::SetLoop(const SfzRegion& region, const SfzWave& wave, uint64_t nFrames, WaveTune& tune) {
    const SfzSettings& settings = region.settings;
    const WaveFileFacts& facts = m_files.GetFacts(wave.nFile);
    const bool bOfFile = !facts.loops.empty();
    const bool bEndsGiven = settings.loopStart || settings.loopEnd;
    const SfzLoopMode mode =
        settings.loopMode.value_or(bOfFile ? SfzLoopMode::Continuous : SfzLoopMode::None);
    if (mode == SfzLoopMode::OneShot) m_report.Note(ImportEvent::LeftOut, "loop_mode=one_shot");
    if (mode == SfzLoopMode::None && !settings.loopMode && bEndsGiven)
        m_report.Note(ImportEvent::LeftOut, "ends of a loop without a loop mode");
    if (mode != SfzLoopMode::Continuous && mode != SfzLoopMode::Sustain) return;
    const auto nBase = static_cast<int64_t>(wave.nStart);
    const auto nLast = nBase + static_cast<int64_t>(nFrames) - 1;
    const int64_t nFileStart = bOfFile ? facts.loops[0].nStart : nBase;
    const int64_t nFileEnd = bOfFile ? facts.loops[0].nEnd : nLast;
    if (bOfFile && !(settings.loopStart && settings.loopEnd))
        ReportFileLoops(SampleText(region.strSample), facts.loops, m_report);
    const bool bSet = SettleLoop(tune, FrameOr(settings.loopStart, nFileStart) - nBase,
                                 FrameOr(settings.loopEnd, nFileEnd) + 1 - nBase, nFrames,
                                 SampleText(region.strSample), m_report);
    if (!bSet || mode != SfzLoopMode::Sustain) return;
    m_report.Note(ImportEvent::LeftOut, "end of loops at release");
    m_report.Note(ImportEvent::LeftOutKind, "ends of loops at release");
}

size_t SfzPlanner::WaveFor(const SfzWave& wave, uint64_t nFrames, const WaveTune& tune) {
    const auto [place, bNew] =
        m_places.try_emplace({wave.nFile, wave.nStart, nFrames, tune}, m_plan.waves.size());
    if (!bNew) return place->second;
    const WaveFileFacts& facts = m_files.GetFacts(wave.nFile);
    m_plan.bank.waves.push_back(
        {StemOf(m_files.GetPath(wave.nFile)), facts.nBits, facts.nChannels, nFrames, tune});
    m_plan.waves.push_back(wave);
    ++m_uses[wave.nFile];
    return place->second;
}

void SfzPlanner::ReportWaves() {
    for (const auto& [nFile, nWaves] : m_uses)
        if (nWaves > 1)
            m_report.Note(ImportEvent::Copied, "sample \"" + StemOf(m_files.GetPath(nFile)) + "\"", "",
                          nWaves - 1);
}

void SfzPlanner::CountLayer(const SfzSettings& settings) {
    for (size_t n = 0; n < kSfzLeftOutCount; ++n)
        if (settings.leftOut[n])
            m_report.Note(ImportEvent::LeftOutKind, SfzLeftOutName(static_cast<SfzLeftOut>(n)));
}

}  // namespace Kestrova
