#include "tools/kvbank/verify/BankVerifier.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>

#include "bank/DBEUCreate.h"
#include "bank/HelperThreads.h"
#include "bank/OrderedPipeline.h"
#include "shared/System/kvPath.h"
#include "tools/kvbank/compare/ScanFiles.h"
#include "tools/kvbank/folder/BankCheck.h"
#include "tools/kvbank/verify/SampleCheck.h"

namespace Kestrova {
namespace {

constexpr size_t kTablePiece = 4096;  // entries

bool IsOfTree(uint8_t nType) { return nType == kSdbProgram || nType == kSdbRegion || nType == kSdbLayer; }

// Only the low byte of an entry's type counts.
bool IsEntryOf(const uint8_t* pEntry, const SDBNOTE& note) {
    uint32_t nType = 0;
    SDBNOTE listed;
    GetField<QuickLoadEntry::kType>(pEntry, nType);
    GetField<QuickLoadEntry::kId>(pEntry, listed.idNote);
    GetField<QuickLoadEntry::kParent>(pEntry, listed.idParent);
    GetField<QuickLoadEntry::kBodySize>(pEntry, listed.nSize);
    // Deliberate (Q109): only the low byte of a quick-load entry's type counts; unknown record types are no
    // problem.
    return static_cast<uint8_t>(nType) == note.nType && listed.idNote == note.idNote &&
           listed.idParent == note.idParent && listed.nSize == note.nSize;
}

// What one helper found in one sample; none when memory ran out.
using Verdict = std::optional<std::vector<std::string>>;

// Judges samples on helper threads.
class SampleJudge {
public:
    SampleJudge(NoteScan& scan, std::vector<const SDBNOTE*> arSamples, unsigned nHelpers)
        : m_scan(scan),
          m_strFolder(FolderPart(scan.Path())),
          m_arSamples(std::move(arSamples)),
          m_files(scan, nHelpers) {}

    size_t GetCount() const { return m_arSamples.size(); }

    Verdict Judge(size_t nSample, unsigned nHelper) {
        const SDBNOTE& note = *m_arSamples[nSample];
        try {
            return m_scan.IsEnriched() ? CheckEnrichedSample(m_files.Of(nHelper), note)
                                       : CheckPlainSample(m_files.Of(nHelper), note, m_strFolder);
        } catch (const std::bad_alloc&) {
            return std::nullopt;
        }
    }

private:
    NoteScan& m_scan;
    const std::string m_strFolder;
    const std::vector<const SDBNOTE*> m_arSamples;
    ScanFiles m_files;
};

}  // namespace

bool BankVerifier::Run(const Observer& observer) {
    if (IsInterrupted()) {
        m_problems.Add("its build was interrupted");
        return true;
    }
    CheckFile();
    CheckQuickLoad();
    LearnInformation();
    LearnStructure();
    CheckCycles();
    return CheckNotes(observer);
}

// By the same rule as the engine.
bool BankVerifier::IsInterrupted() const {
    const std::vector<SDBNOTE>& notes = m_scan.Notes();
    return m_scan.IsEnriched() && (notes.empty() || (notes.front().nState & kSdbStateNew) != 0);
}

void BankVerifier::CheckFile() {
    if (const uint64_t nSurplus = m_scan.SurplusBytes(); nSurplus > 0)
        m_problems.Add(std::to_string(nSurplus) + " bytes at its end belong to no record");
    if (m_scan.FindType(kSdbSample) == nullptr) m_problems.Add("there are no samples");
}

void BankVerifier::CheckQuickLoad() {
    const std::vector<SDBNOTE>& notes = m_scan.Notes();
    if (notes.empty() || notes.front().nType != kSdbQuickLoad) return;
    const SDBNOTE& table = notes.front();
    if (table.nSize == 0)
        Report(table, "it is empty, so no record can be found by it");
    else if (table.nSize % QuickLoadEntry::kBytes != 0)
        Report(table, "its size is no multiple of an entry's");
    else if (!m_scan.IsWhole(table))
        Report(table, "it is cut short, so that the file cannot be opened");
    else
        CompareQuickLoad(table);
}

void BankVerifier::CompareQuickLoad(const SDBNOTE& table) {
    const std::vector<SDBNOTE>& notes = m_scan.Notes();
    const size_t nEntries = table.nSize / QuickLoadEntry::kBytes;
    if (nEntries != notes.size())
        Report(table, "it lists " + std::to_string(nEntries) + " records, the file has " +
                          std::to_string(notes.size()));
    std::vector<uint8_t> piece(kTablePiece * QuickLoadEntry::kBytes);
    for (size_t i = 0; i < std::min(nEntries, notes.size()); ++i) {
        const size_t nInPiece = i % kTablePiece;
        const size_t nLeft = std::min(kTablePiece, nEntries - i);
        if (nInPiece == 0 && !m_scan.File().ReadAtPos(table.PosBody() + i * QuickLoadEntry::kBytes,
                                                      piece.data(), nLeft * QuickLoadEntry::kBytes))
            return Report(table, WhyUnread(m_scan.File()));
        if (!IsEntryOf(&piece[nInPiece * QuickLoadEntry::kBytes], notes[i]))
            Report(notes[i], "the quick-load table lists it with another type, id, parent or size");
    }
}

void BankVerifier::LearnInformation() {
    const SDBNOTE* const pNote = m_scan.FindType(kSdbInfo);
    if (pNote == nullptr) return m_problems.Add("there is no information record");
    CSDBIInfo info(pNote->idNote, pNote->idParent);
    if (!m_scan.Read(*pNote, info)) return;  // told with the other bodies
    m_nRate = info.m_info.nSampleRate;
    m_bPerKey = info.m_info.nPerKey != 0;
    CheckName();
}

// Banks are found by their names, so that what a name says must be true.
void BankVerifier::CheckName() {
    const std::optional<BankFileName> name =
        ParseAnyBankName(std::filesystem::path(m_scan.Path()).filename().string());
    if (!m_scan.IsEnriched() || !name) return;
    for (const std::string& strCause : FalseParts(*name, m_nRate, m_bPerKey)) m_problems.Add(strCause);
}

void BankVerifier::LearnStructure() {
    for (const SDBNOTE& note : m_scan.Notes()) {
        if (!note.IsLive()) continue;
        if (note.nType == kSdbLayer) m_layerParents.insert(note.idParent);
        if (note.nType != kSdbProgram) continue;
        CSDBIProgram program(note.idNote, note.idParent);
        if (m_scan.Read(note, program) && program.IsSplit()) m_splitPrograms.insert(note.idNote);
    }
}

std::vector<const SDBNOTE*> BankVerifier::SamplesToDecode() const {
    std::vector<const SDBNOTE*> arSamples;
    for (const SDBNOTE& note : m_scan.Notes())
        if (note.IsLive() && note.nType == kSdbSample && m_scan.IsWhole(note)) arSamples.push_back(&note);
    return arSamples;
}

bool BankVerifier::CheckNotes(const Observer& observer) {
    const unsigned nHelpers = HelperThreadCount();
    SampleJudge judge(m_scan, SamplesToDecode(), nHelpers);
    OrderedPipeline<Verdict> verdicts(
        judge.GetCount(), nHelpers, nHelpers + 1,
        [&judge](size_t nSample, unsigned nHelper) { return judge.Judge(nSample, nHelper); });
    for (const SDBNOTE& note : m_scan.Notes()) {
        CheckHeader(note);
        if (!m_scan.IsWhole(note)) {
            Report(note, "it is cut short by the end of the file");
        } else if (note.IsLive() && note.nType == kSdbSample) {
            const Verdict verdict = verdicts.Take();
            if (!verdict) throw std::bad_alloc();
            for (const std::string& strCause : *verdict) Report(note, strCause);
        } else if (note.IsLive()) {
            CheckBody(note);
        }
        if (!observer(std::min(note.PosEnd(), m_scan.FileSize()))) return false;
    }
    return true;
}

void BankVerifier::CheckHeader(const SDBNOTE& note) {
    if (note.nState != 0)
        Report(note, note.IsLive() ? "it was never committed" : "its deletion was never committed");
    if (note.nType == kSdbQuickLoad && &note != &m_scan.Notes().front())
        Report(note, "only the first record of a file can be a quick-load table");
    if (note.nType == kSdbAny) Report(note, "no record can have this type");
    if (!note.IsLive()) return;
    if (note.idNote == kSdbNoID) Report(note, "no record can have this id");
    if (m_scan.Find(note.idNote) != &note) Report(note, "another record has its id");
    CheckParent(note);
}

void BankVerifier::CheckParent(const SDBNOTE& note) {
    static constexpr struct {
        uint8_t nType;
        uint8_t nParentType;
        const char* pszCause;
    } kParents[] = {{kSdbProgram, kSdbBank, "its parent is not a bank"},
                    {kSdbRegion, kSdbProgram, "its parent is not a program"},
                    {kSdbLayer, kSdbRegion, "its parent is not a region"}};
    if (note.idParent == kSdbNoID) {
        if (IsOfTree(note.nType)) Report(note, "it has no parent");
        return;
    }
    const SDBNOTE* const pParent = m_scan.Find(note.idParent);
    if (pParent == nullptr)
        return Report(note, "its parent, record " + std::to_string(note.idParent) + ", is missing");
    for (const auto& row : kParents)
        if (note.nType == row.nType && pParent->nType != row.nParentType) Report(note, row.pszCause);
}

// Climbs from each note to its parents, until a note that was visited before. A
// climb that meets itself has found a circle.
void BankVerifier::CheckCycles() {
    enum Mark : uint8_t { kNew, kOnClimb, kDone };
    const std::vector<SDBNOTE>& notes = m_scan.Notes();
    std::vector<Mark> marks(notes.size(), kNew);
    std::vector<const SDBNOTE*> climb;
    const auto markOf = [&](const SDBNOTE* pNote) -> Mark& {
        return marks[static_cast<size_t>(pNote - notes.data())];
    };
    for (const SDBNOTE& note : notes) {
        if (!note.IsLive()) continue;
        climb.clear();
        const SDBNOTE* pNote = &note;
        while (pNote != nullptr && markOf(pNote) == kNew) {
            markOf(pNote) = kOnClimb;
            climb.push_back(pNote);
            pNote = pNote->idParent == kSdbNoID ? nullptr : m_scan.Find(pNote->idParent);
        }
        if (pNote != nullptr && markOf(pNote) == kOnClimb) Report(*pNote, "it is its own ancestor");
        for (const SDBNOTE* const pPassed : climb) markOf(pPassed) = kDone;
    }
}

template <class TRecord>
void BankVerifier::CheckDecodes(const SDBNOTE& note) {
    TRecord record(note.idNote, note.idParent);
    if (!m_scan.Read(note, record)) Report(note, WhyUnread(m_scan.File()));
}

// Records of a type that this system does not know are kept as they are.
void BankVerifier::CheckBody(const SDBNOTE& note) {
    switch (note.nType) {
        case kSdbInfo: return CheckDecodes<CSDBIInfo>(note);
        case kSdbPreset: return CheckDecodes<CSDBIPreset>(note);
        case kSdbBank: return CheckDecodes<CSDBIBank>(note);
        case kSdbProgram: return CheckDecodes<CSDBIProgram>(note);
        case kSdbRegion: return CheckRegion(note);
        case kSdbLayer: return CheckLayer(note);
        default: return;
    }
}

bool BankVerifier::IsInSplitProgram(const SDBNOTE& region) const {
    return m_splitPrograms.count(region.idParent) != 0;
}

// The analysis of a source has demands only on the regions of split programs, so only these are checked.
void BankVerifier::CheckRegion(const SDBNOTE& note) {
    CSDBIRegion region(note.idNote, note.idParent);
    if (!m_scan.Read(note, region)) return Report(note, WhyUnread(m_scan.File()));
    if (!IsInSplitProgram(note)) return;
    const auto [nLow, nHigh] = std::minmax(region.m_info.nLowKey, region.m_info.nHighKey);
    if (nLow < 0 || nHigh >= kKeyCount) Report(note, "its keys are outside 0 to 255");
    if (m_layerParents.count(note.idNote) == 0) Report(note, "it has no layers");
}

// Deliberate (Q107): in the per-key layout a layer may play nothing where its program is not split.
void BankVerifier::CheckLayer(const SDBNOTE& note) {
    CSDBILayer layer(note.idNote, note.idParent);
    if (!m_scan.Read(note, layer)) return Report(note, WhyUnread(m_scan.File()));
    if (layer.m_info.nSampleID == kSdbNoID) {
        const SDBNOTE* const pRegion = m_scan.Find(note.idParent);
        if (!m_bPerKey || pRegion == nullptr || IsInSplitProgram(*pRegion))
            Report(note, "it plays no sample");
        return;
    }
    const SDBNOTE* const pSample = m_scan.Find(layer.m_info.nSampleID);
    if (pSample == nullptr || pSample->nType != kSdbSample)
        Report(note, "its sample, record " + std::to_string(layer.m_info.nSampleID) + ", is missing");
}

}  // namespace Kestrova
