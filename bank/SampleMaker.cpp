#include "bank/SampleMaker.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>

#include "bank/FileAnswer.h"
#include "bank/PitchTables.h"
#include "codec/ReadBudget.h"

namespace Kestrova {
namespace {

constexpr double kKeysPerOctave = 12;

// Integer samples of 16 or 24 bits in one or two channels; the flag marks floating point.
bool IsConvertible(const CSDBISampleBase::Info& info) {
    return (info.nFormat == 16 || info.nFormat == 24) && (info.nChannels == 1 || info.nChannels == 2);
}

constexpr const char* kCauseTooLarge =
    "the converted wave is too large: a bank's sample holds less than 4 GiB; choose a lower sample rate, "
    "or cut the wave in two";

BankOutcome Refuse(const CSDBISampleBase& source, BankResult result, const char* pszCause) {
    return SourceFault(result, kSdbSample, source.GetID(), pszCause);
}

// Gives the new sample, all of whose other fields are set, a wave of so many bytes.
BankOutcome AllocWave(const CSDBISampleBase& source, CSDBISampleEUWave& made, uint64_t nBytes) {
    constexpr uint64_t kMost = std::numeric_limits<uint32_t>::max();
    if (nBytes > kMost || nBytes + made.GetSize() > kMost)
        return Refuse(source, kBankNoMemory, kCauseTooLarge);
    if (!made.AllocWave(nBytes)) return Refuse(source, kBankNoMemory, kCauseNoMemory);
    return {};
}

BankOutcome CopyUnchanged(const CSDBISampleBase& source, CSDBISampleEUWave& made) {
    const BankOutcome outcome = AllocWave(source, made, source.m_info.lWave);
    if (outcome.IsDone()) std::memcpy(made.m_info.pWave, source.m_info.pWave, source.m_info.lWave);
    return outcome;
}

WaveOrder OrderFor(const CSDBISampleBase& source, double ratio, int nKey) {
    return {.idSample = source.GetID(),
            .nKey = nKey,
            .nFrames = source.m_info.nFrames,
            .nBits = source.m_info.nFormat,
            .nChannels = source.m_info.nChannels,
            .ratio = ratio,
            .loops = {source.GetLoops(), source.m_info.cLayerLoops}};
}

// Calls the target's converter, or the engine's own, with the record added to a failure.
template <class TCall>
BankOutcome AskConverter(const CSDBISampleBase& source, const SampleTarget& target, TCall call) {
    const FixedPointConverter own(target.nQuality);
    const BankOutcome answer = call(target.pConverter != nullptr ? *target.pConverter : own);
    return answer.IsDone() ? answer : Refuse(source, answer.result, answer.pszCause);
}

// Gives the header and loops, which are still the source's, the frames and places they have in the target.
BankOutcome PlanFrames(const CSDBISampleBase& source, const SampleTarget& target, const WaveOrder& order,
                       CSDBISampleBase& made) {
    uint64_t nFrames = 0;
    const BankOutcome planned = AskConverter(source, target, [&](const IWaveConverter& converter) {
        return converter.Plan(order, {made.GetLoops(), made.m_info.cLayerLoops}, nFrames);
    });
    if (!planned.IsDone()) return planned;
    if (nFrames > std::numeric_limits<uint32_t>::max()) return Refuse(source, kBankNoMemory, kCauseTooLarge);
    made.m_info.nFrames = static_cast<uint32_t>(nFrames);
    return {};
}

BankOutcome Convert(const CSDBISampleBase& source, const SampleTarget& target, const WaveOrder& order,
                    CSDBISampleEUWave& made) {
    if (source.GetStatedBytes() > source.m_info.lWave)
        return Refuse(source, kBankSourceInconsistent, "its header states more frames than its wave has");
    if (!IsConvertible(source.m_info))
        return Refuse(source, kBankConversionFailed,
                      "only 16 and 24 bits in one or two channels can be converted");
    if (const BankOutcome planned = PlanFrames(source, target, order, made); !planned.IsDone())
        return planned;
    const BankOutcome outcome = AllocWave(source, made, made.m_info.nFrames * source.GetFrameBytes());
    if (!outcome.IsDone()) return outcome;
    return AskConverter(source, target, [&](const IWaveConverter& converter) {
        return converter.Convert(order, source.m_info.pWave, made.m_info.pWave, made.m_info.nFrames);
    });
}

// What the target sample has whatever becomes of its wave.
BankOutcome CopyRecord(const CSDBISampleBase& source, const SampleTarget& target, int nKey,
                       CSDBISampleBase& made) {
    made.CopyHeader(source);
    made.m_info.nSampleRate = target.nRate;
    if (!made.CopyOwned(source)) return Refuse(source, kBankNoMemory, kCauseNoMemory);
    if (target.bPerKey && nKey != kEveryKey) made.m_info.nRootKey = static_cast<uint32_t>(nKey);
    return {};
}

double RatioFor(const CSDBISampleBase& source, const SampleTarget& target, int nKey) {
    return ConversionRatio(source.m_info.nSampleRate, source.m_info.nRootKey, target, nKey);
}

}  // namespace

float PitchFactor(int nKey, uint32_t nRootKey) {
    const int64_t nDistance = int64_t{nKey} - int64_t{nRootKey};
    return midiSemitonesToFactor(
        static_cast<int>(std::max<int64_t>(nDistance, std::numeric_limits<int>::min())));
}

double ConversionRatio(uint32_t nSourceRate, uint32_t nRootKey, const SampleTarget& target, int nKey) {
    if (!target.bPerKey) return static_cast<double>(nSourceRate) / target.nRate;
    // Deliberate (Q101): per key, a sample no key plays is copied without conversion.
    if (nKey == kEveryKey) return 1.0;
    const double factor = target.pConverter == nullptr
                              ? double{PitchFactor(nKey, nRootKey)}
                              : std::exp2((nKey - static_cast<double>(nRootKey)) / kKeysPerOctave);
    return nSourceRate * factor / target.nRate;
}

BankOutcome MakeTargetHeader(const CSDBISampleBase& source, const SampleTarget& target, int nKey,
                             CSDBISampleBase& made) {
    const BankOutcome copied = CopyRecord(source, target, nKey, made);
    const double ratio = RatioFor(source, target, nKey);
    if (!copied.IsDone() || ratio == 1.0) return copied;
    return PlanFrames(source, target, OrderFor(source, ratio, nKey), made);
}

BankOutcome MakeTargetSample(const CSDBISampleBase& source, const SampleTarget& target, int nKey,
                             CSDBISampleEUWave& made) {
    if (source.m_info.cLayerLoops >= kMaxLoops)
        return Refuse(source, kBankWriteFailed, "it has more loops than a bank's sample can hold");
    if (const BankOutcome copied = CopyRecord(source, target, nKey, made); !copied.IsDone()) return copied;
    const double ratio = RatioFor(source, target, nKey);
    return ratio == 1.0 ? CopyUnchanged(source, made)
                        : Convert(source, target, OrderFor(source, ratio, nKey), made);
}

template <class TSource>
SampleMaker<TSource>::SampleMaker(CSDB& database, const tagSampleEntry* arSamples, uint32_t nSamples,
                                  const char* pszFolder, const SampleTarget& target, unsigned nHelpers)
    : m_database(database),
      m_arSamples(arSamples),
      m_pszFolder(pszFolder),
      m_target(target),
      m_arSources(new Source[nSamples]),
      m_arFiles(nHelpers) {
    m_arFirstJob.reserve(size_t{nSamples} + 1);
    m_arFirstJob.push_back(0);
    for (uint32_t i = 0; i < nSamples; ++i) {
        const size_t nCopies = target.bPerKey ? std::max<size_t>(arSamples[i].playedKeys.count(), 1) : 1;
        m_arSources[i].nJobsLeft = nCopies;
        m_arFirstJob.push_back(m_arFirstJob.back() + nCopies);
    }
    FileFacts facts, ours;
    if (!database.GetFile().GetFacts(facts)) return;
    for (std::unique_ptr<CXFile>& pFile : m_arFiles) {
        auto pOpened = std::make_unique<CXFile>();
        if (pOpened->Open(database.GetPath(), 0) && pOpened->GetFacts(ours) && ours.IsSameFile(facts))
            pFile = std::move(pOpened);
    }
}

// A helper that could not open the source a second time (it was moved away
// meanwhile) shares the database's stream.
template <class TSource>
CXFile& SampleMaker<TSource>::FileOf(unsigned nHelper) const {
    const bool bOwn = nHelper < m_arFiles.size() && m_arFiles[nHelper];
    return bOwn ? *m_arFiles[nHelper] : m_database.GetFile();
}

template <class TSource>
int SampleMaker<TSource>::KeyOf(uint32_t nEntry, size_t nCopy) const {
    const auto& played = m_arSamples[nEntry].playedKeys;
    if (!m_target.bPerKey || played.none()) return kEveryKey;
    size_t nKey = 0;
    for (size_t nPassed = 0;; ++nKey)
        if (played[nKey] && nPassed++ == nCopy) return static_cast<int>(nKey);
}

template <class TSource>
uint32_t SampleMaker<TSource>::EntryOf(size_t nJob) const {
    const auto pNext = std::upper_bound(m_arFirstJob.begin(), m_arFirstJob.end(), nJob);
    return static_cast<uint32_t>(pNext - m_arFirstJob.begin() - 1);
}

template <class TSource>
bool SampleMaker<TSource>::ReadWave(const SDBNOTE& note, CXFile& file, TSource& record) const {
    if constexpr (std::is_base_of_v<CSDBISampleEU, TSource>) {
        if (!MeasureEnrichedSample(file, note.PosBody(), note.nSize)) return false;
    } else {
        record.SetExtFolder(m_pszFolder);
    }
    return file.SeekToPos(note.PosBody()) && record.Read(&file, note.nSize) && record.m_info.pWave != nullptr;
}

template <class TSource>
BankOutcome SampleMaker<TSource>::Load(uint32_t nEntry, unsigned nHelper, TSource& record) const {
    const uint32_t id = m_arSamples[nEntry].id;
    const SDBNOTE* const pNote = m_database.GetNoteByID(id);
    FileAnswer read;
    if (pNote != nullptr && pNote->nType == kSdbSample) {
        CXFile& file = FileOf(nHelper);
        read = AskSharedFile(file, [&] { return ReadWave(*pNote, file, record); });
    }
    if (!read)
        return SourceFault(kBankReadFailed, kSdbSample, id,
                           record.IsOverReadBudget() ? kOverReadBudget : "the wave cannot be read whole",
                           read.nError);
    record.SetParentID(pNote->idParent);
    if (record.m_info.nSampleRate == 0)
        return Refuse(record, kBankSourceInconsistent, "its sample rate is 0");
    return {};
}

// The source sample of an entry for one of its jobs: loaded by the first of them, let go of by the last.
template <class TSource>
BankOutcome SampleMaker<TSource>::TakeSource(uint32_t nEntry, unsigned nHelper,
                                             std::shared_ptr<TSource>& pRecord) {
    Source& source = m_arSources[nEntry];
    const MutexGuard guard(source.lock);
    if (!source.bLoaded) {
        source.pRecord = std::make_shared<TSource>(m_arSamples[nEntry].id, kSdbNoID);
        source.outcome = Load(nEntry, nHelper, *source.pRecord);
        source.bLoaded = true;
    }
    pRecord = source.pRecord;
    if (--source.nJobsLeft == 0) source.pRecord.reset();
    return source.outcome;
}

template <class TSource>
BankOutcome SampleMaker<TSource>::Fill(MadeSample& made, unsigned nHelper) {
    std::shared_ptr<TSource> pSource;
    const BankOutcome taken = TakeSource(made.nEntry, nHelper, pSource);
    if (!taken.IsDone()) return taken;
    made.pRecord = std::make_unique<CSDBISampleEUWave>(kSdbNoID, kSdbNoID);
    return MakeTargetSample(*pSource, m_target, made.nKey, *made.pRecord);
}

template <class TSource>
MadeSample SampleMaker<TSource>::Make(size_t nJob, unsigned nHelper) {
    MadeSample made;
    made.nEntry = EntryOf(nJob);
    made.nKey = KeyOf(made.nEntry, nJob - m_arFirstJob[made.nEntry]);
    try {
        made.outcome = Fill(made, nHelper);
    } catch (const std::bad_alloc&) {
        made.outcome = SourceFault(kBankNoMemory, kSdbSample, m_arSamples[made.nEntry].id, kCauseNoMemory);
    }
    return made;
}

template class SampleMaker<CSDBISampleWave>;
template class SampleMaker<CSDBISampleEUWave>;

}  // namespace Kestrova
