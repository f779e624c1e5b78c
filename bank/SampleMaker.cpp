#include "bank/SampleMaker.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <mutex>
#include <new>

#include "bank/PitchTables.h"
#include "bank/Resampler.h"

namespace Kestrova {
namespace {

constexpr const char* kUnreadable = "the wave cannot be read whole";
constexpr const char* kNoMemory = "there is not enough memory";

// Integer samples of 16 or 24 bits in one or two channels; the flag marks floating point.
bool IsConvertible(const CSDBISampleBase::Info& info) {
    return (info.nFormat == 16 || info.nFormat == 24) && (info.nChannels == 1 || info.nChannels == 2);
}

// Resampler::GetReciprocalEstimatedSize before it is cut to 32 bits; 0 for a ratio that cannot be used.
uint64_t EstimatedFrames(uint32_t nFrames, double ratio) {
    if (Resampler::GetReciprocalEstimatedSize(nFrames, ratio) == 0 &&
        Resampler::GetReciprocalEstimatedSize(0, ratio) == 0)
        return 0;
    return uint64_t{nFrames} * 32768 / static_cast<uint64_t>(ratio * 32768) + 1;
}

void ScaleLoops(CSDBISampleBase& sample, double ratio) {
    SDBLOOP* const arLoops = sample.GetLoops();
    for (uint32_t i = 0; i < sample.m_info.cLayerLoops; ++i) {
        arLoops[i].nStart = ScaledPosition(arLoops[i].nStart, ratio);
        arLoops[i].nEnd = ScaledPosition(arLoops[i].nEnd, ratio);
    }
}

BankResult CopyUnchanged(const CSDBISampleBase& source, CSDBISampleEUWave& made, const char*& pszCause) {
    pszCause = kNoMemory;
    return made.CopyWave(source.m_info.pWave, source.m_info.lWave) ? kBankDone : kBankNoMemory;
}

BankResult Convert(const CSDBISampleBase& source, double ratio, int nQuality, CSDBISampleEUWave& made,
                   const char*& pszCause) {
    pszCause = "its header states more frames than its wave has";
    if (source.GetStatedBytes() > source.m_info.lWave) return kBankSourceInconsistent;
    pszCause = "only 16 and 24 bits in one or two channels can be converted";
    if (!IsConvertible(source.m_info)) return kBankConversionFailed;
    pszCause = "its sample rate or root key is too far from the target's";
    const uint64_t nFrames = EstimatedFrames(source.m_info.nFrames, ratio);
    if (nFrames == 0) return kBankConversionFailed;
    pszCause = "the converted wave is too large";
    if (nFrames > std::numeric_limits<uint32_t>::max()) return kBankNoMemory;
    made.m_info.nFrames = static_cast<uint32_t>(nFrames);
    ScaleLoops(made, ratio);
    if (!made.AllocWave(nFrames * source.GetFrameBytes())) return kBankNoMemory;
    long nProduced = 0;
    const Resampler resampler(ratio, source.m_info.pWave, static_cast<long>(source.m_info.nFrames),
                              made.m_info.pWave, static_cast<long>(nFrames),
                              static_cast<int>(source.GetFrameBytes()), nQuality, &nProduced);
    pszCause = "the conversion gave no frames";
    return nProduced < 1 ? kBankConversionFailed : kBankDone;
}

}  // namespace

float PitchFactor(int nKey, uint32_t nRootKey) {
    const int64_t nDistance = int64_t{nKey} - int64_t{nRootKey};
    return midiSemitonesToFactor(
        static_cast<int>(std::max<int64_t>(nDistance, std::numeric_limits<int>::min())));
}

uint32_t ScaledPosition(uint32_t nPosition, double ratio) {
    const double scaled = nPosition / ratio + 0.5;
    constexpr double kHighest = std::numeric_limits<uint32_t>::max();
    return scaled > 0 ? static_cast<uint32_t>(std::min(scaled, kHighest)) : 0;
}

BankResult MakeTargetSample(const CSDBISampleBase& source, const SampleTarget& target, int nKey,
                            CSDBISampleEUWave& made, const char*& pszCause) {
    made.CopyHeader(source);
    made.m_info.nSampleRate = target.nRate;
    pszCause = kNoMemory;
    if (!made.CopyOwned(source)) return kBankNoMemory;
    pszCause = "it has more loops than a bank's sample can hold";
    if (source.m_info.cLayerLoops >= kMaxLoops) return kBankWriteFailed;
    if (!target.bPerKey) {
        if (source.m_info.nSampleRate == target.nRate) return CopyUnchanged(source, made, pszCause);
        return Convert(source, static_cast<double>(source.m_info.nSampleRate) / target.nRate, target.nQuality,
                       made, pszCause);
    }
    if (nKey == kEveryKey) return CopyUnchanged(source, made, pszCause);
    made.m_info.nRootKey = static_cast<uint32_t>(nKey);
    const double ratio =
        source.m_info.nSampleRate * double{PitchFactor(nKey, source.m_info.nRootKey)} / target.nRate;
    if (ratio == 1.0) return CopyUnchanged(source, made, pszCause);
    return Convert(source, ratio, target.nQuality, made, pszCause);
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

// A helper without a stream of its own (the source was moved away meanwhile) shares the database's.
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
BankResult SampleMaker<TSource>::Load(uint32_t nEntry, unsigned nHelper, TSource& record) const {
    const SDBNOTE* const pNote = m_database.GetNoteByID(m_arSamples[nEntry].id);
    if (pNote == nullptr || pNote->nType != kSdbSample) return kBankReadFailed;
    CXFile& file = FileOf(nHelper);
    file.Lock();
    errno = 0;  // the record's readers answer false alike for damage and for want of memory
    bool bRead = true;
    if constexpr (std::is_base_of_v<CSDBISampleEU, TSource>)
        bRead = MeasureEnrichedSample(file, pNote->PosBody(), pNote->nSize);
    else
        record.SetExtFolder(m_pszFolder);
    bRead = bRead && file.SeekToPos(pNote->PosBody()) && record.Read(&file, pNote->nSize);
    const BankResult failure = errno == ENOMEM ? kBankNoMemory : kBankReadFailed;
    file.Unlock();
    record.SetParentID(pNote->idParent);
    if (!bRead || record.m_info.pWave == nullptr) return failure;
    return record.m_info.nSampleRate == 0 ? kBankSourceInconsistent : kBankDone;
}

template <class TSource>
MadeSample SampleMaker<TSource>::MakeOrThrow(size_t nJob, unsigned nHelper) {
    const auto pNext = std::upper_bound(m_arFirstJob.begin(), m_arFirstJob.end(), nJob);
    MadeSample made;
    made.nEntry = static_cast<uint32_t>(pNext - m_arFirstJob.begin() - 1);
    made.nKey = KeyOf(made.nEntry, nJob - m_arFirstJob[made.nEntry]);

    Source& source = m_arSources[made.nEntry];
    std::shared_ptr<TSource> pRecord;
    {
        const std::lock_guard guard(source.lock);
        if (!source.bLoaded) {
            source.pRecord = std::make_shared<TSource>(m_arSamples[made.nEntry].id, kSdbNoID);
            source.result = Load(made.nEntry, nHelper, *source.pRecord);
            source.bLoaded = true;
        }
        pRecord = source.pRecord;
        if (--source.nJobsLeft == 0) source.pRecord.reset();
        made.result = source.result;
    }
    made.pszCause = made.result == kBankNoMemory ? kNoMemory : kUnreadable;
    if (made.result != kBankDone) return made;
    made.pRecord = std::make_unique<CSDBISampleEUWave>(kSdbNoID, kSdbNoID);
    made.result = MakeTargetSample(*pRecord, m_target, made.nKey, *made.pRecord, made.pszCause);
    return made;
}

template <class TSource>
MadeSample SampleMaker<TSource>::Make(size_t nJob, unsigned nHelper) {
    try {
        return MakeOrThrow(nJob, nHelper);
    } catch (const std::bad_alloc&) {
        MadeSample made;
        made.result = kBankNoMemory;
        made.pszCause = kNoMemory;
        return made;
    }
}

template class SampleMaker<CSDBISampleWave>;
template class SampleMaker<CSDBISampleEUWave>;

}  // namespace Kestrova
