#include "tools/kvbank/contents/BankContents.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

#include "shared/System/kvPath.h"

namespace Kestrova {
namespace {

constexpr int kHighestMidi = 127;

PlayedRange KeysOf(const CSDBIRegion::Info& info) {
    return {std::max(info.nLowKey, 0), std::min(info.nHighKey, kHighestMidi)};
}

// The meaning of these two values is the importers'. Values that cannot be velocities, which other writers
// may have stored, limit nothing.
PlayedRange VelocitiesOf(const CSDBIRegion::Info& info) {
    const bool bVelocities = info.nThird >= 0 && info.nThird <= info.nFourth && info.nFourth <= kHighestMidi;
    return bVelocities ? PlayedRange{info.nThird, info.nFourth} : PlayedRange{};
}

class ContentsReader {
public:
    explicit ContentsReader(NoteScan& scan) : m_scan(scan), m_strFolder(FolderPart(scan.Path())) {}

    // In passes, since nothing keeps a record behind its parent in a damaged file.
    BankContents Read() {
        ForEach<CSDBIInfo>(kSdbInfo, [this](const SDBNOTE&, const auto& info) { TakeInformation(info); });
        ForEach<CSDBIProgram>(kSdbProgram,
                              [this](const SDBNOTE& note, const auto& info) { TakeProgram(note, info); });
        ForEach<CSDBIRegion>(kSdbRegion,
                             [this](const SDBNOTE& note, const auto& info) { TakeRegion(note, info); });
        ForEach<CSDBILayer>(kSdbLayer,
                            [this](const SDBNOTE& note, const auto& info) { TakeLayer(note, info); });
        m_contents.nError = m_scan.File().GetFirstError();
        if (m_contents.nError == ENOMEM) throw std::bad_alloc();
        for (const SDBNOTE& note : m_scan.Notes())
            if (note.nType == kSdbSample && Counts(note)) TakeSample(note);
        return std::move(m_contents);
    }

private:
    bool Counts(const SDBNOTE& note) const {
        return note.IsLive() && m_scan.IsWhole(note) && m_scan.Find(note.idNote) == &note;
    }

    template <class TRecord, class TTake>
    void ForEach(uint8_t nType, const TTake& take) {
        for (const SDBNOTE& note : m_scan.Notes()) {
            if (note.nType != nType || !Counts(note)) continue;
            TRecord record(note.idNote, note.idParent);
            if (m_scan.Read(note, record)) take(note, record.m_info);
        }
    }

    void TakeInformation(const CSDBIInfo::Info& info) {
        if (std::exchange(m_bInformed, true)) return;
        m_contents.strName = info.szName;
        m_contents.strDescription = info.szDescription;
        m_contents.nRate = info.nSampleRate;
        m_contents.bPerKey = info.nPerKey != 0;
    }

    void TakeProgram(const SDBNOTE& note, const CSDBIProgram::Info& info) {
        m_programs[note.idNote] = m_contents.programs.size();
        m_contents.programs.push_back({note.idNote, info.szName, BankName(note.idParent), info.nFirst, {}});
    }

    std::string BankName(uint32_t id) {
        const auto [pName, bNew] = m_bankNames.try_emplace(id);
        const SDBNOTE* const pNote = bNew ? m_scan.Find(id) : nullptr;
        if (pNote != nullptr && pNote->nType == kSdbBank && m_scan.IsWhole(*pNote)) {
            CSDBIBank bank(id, kSdbNoID);
            if (m_scan.Read(*pNote, bank)) pName->second = bank.m_info.szName;
        }
        return pName->second;
    }

    void TakeRegion(const SDBNOTE& note, const CSDBIRegion::Info& info) {
        const auto pProgram = m_programs.find(note.idParent);
        if (pProgram == m_programs.end()) return;
        std::vector<RegionFacts>& regions = m_contents.programs[pProgram->second].regions;
        m_regions[note.idNote] = {pProgram->second, regions.size()};
        regions.push_back({info.szName, KeysOf(info), VelocitiesOf(info), {}});
    }

    void TakeLayer(const SDBNOTE& note, const CSDBILayer::Info& info) {
        const auto pRegion = m_regions.find(note.idParent);
        if (pRegion == m_regions.end() || info.nSampleID == kSdbNoID) return;
        const auto [nProgram, nRegion] = pRegion->second;
        m_contents.programs[nProgram].regions[nRegion].samples.push_back(info.nSampleID);
    }

    void TakeSample(const SDBNOTE& note) {
        SampleFacts facts{.note = note};
        ReadSample read = ReadSampleHeader(m_scan.File(), note, m_scan.IsEnriched(), m_strFolder);
        if (read.pRecord == nullptr)
            facts.strFault = read.strCause;
        else
            Fill(*read.pRecord, facts);
        m_contents.sampleById[note.idNote] = m_contents.samples.size();
        m_contents.samples.push_back(std::move(facts));
    }

    static void Fill(const CSDBISampleBase& sample, SampleFacts& facts) {
        const CSDBISampleBase::Info& info = sample.m_info;
        facts.strName = info.szName;
        facts.nRate = info.nSampleRate;
        facts.nFormat = info.nFormat;
        facts.nChannels = info.nChannels;
        facts.nFrames = info.nFrames;
        facts.nRootKey = info.nRootKey;
        facts.nFineTune = info.nFineTune;
        facts.nLoops = info.cLayerLoops;
        if (info.cLayerLoops > 0) facts.loop = LoopWithin(sample.GetLoops()[0], info.nFrames);
    }

    NoteScan& m_scan;
    const std::string m_strFolder;
    BankContents m_contents;
    bool m_bInformed = false;
    std::unordered_map<uint32_t, size_t> m_programs;                    // id -> place
    std::unordered_map<uint32_t, std::pair<size_t, size_t>> m_regions;  // id -> program's and own place
    std::unordered_map<uint32_t, std::string> m_bankNames;              // by id
};

}  // namespace

std::string DescribeSample(const SampleFacts& sample) {
    const std::string strText = "sample " + std::to_string(sample.note.idNote);
    return sample.strName.empty() ? strText : strText + " \"" + sample.strName + "\"";
}

BankContents ReadContents(NoteScan& scan) { return ContentsReader(scan).Read(); }

}  // namespace Kestrova
