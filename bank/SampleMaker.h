// SampleMaker.h - turns the source's samples into the samples of a bank: reads, expands and converts them.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "bank/BankOutcome.h"
#include "bank/SourceAnalysis.h"
#include "bank/WaveConverter.h"

namespace Kestrova {

// The frequency factor between a key and a sample's root key.
float PitchFactor(int nKey, uint32_t nRootKey);

// What every sample of a bank is converted to.
struct SampleTarget {
    unsigned int nRate = 0;  // Hz
    int nQuality = 0;        // of the engine's own conversion, 0 to 7
    bool bPerKey = false;
    const IWaveConverter* pConverter = nullptr;  // null: the engine's own conversion
};

// Source frames per frame of a target sample (MakeTargetSample); exactly 1 when the wave is copied. The
// engine's own conversion takes the factor of a key from its table, in single precision; a converter
// that it is given gets the exact one.
double ConversionRatio(uint32_t nSourceRate, uint32_t nRootKey, const SampleTarget& target, int nKey);

// Makes all of the target sample but its wave, from the source's header and loops: what MakeTargetSample
// gives for this key. The source's wave need not be loaded.
// Answers done, conversion failed, or no memory (also a wave with more frames than a record can state).
BankOutcome MakeTargetHeader(const CSDBISampleBase& source, const SampleTarget& target, int nKey,
                             CSDBISampleBase& made);

// One target sample, or why there is none.
struct MadeSample {
    BankOutcome outcome;
    uint32_t nEntry = 0;   // of the sample table
    int nKey = kEveryKey;  // the key it was transposed to
    std::unique_ptr<CSDBISampleEUWave> pRecord;
};

// Makes one target sample from a source sample with its wave.
//   plain layout: converted from the source's rate to the target's
//   per key:      also transposed from the root key to nKey, which becomes its root key
//   kEveryKey in the per-key layout: a sample that no key plays; only its stated rate is changed
// Loops move with the conversion; name, parameter block and tail are copied.
// Answers done, inconsistent (the header states more frames than the wave has, or there are more loops than a
// bank's sample can hold), conversion failed (a format or ratio that cannot be converted, no frames) or no
// memory (also a wave no record can hold).
BankOutcome MakeTargetSample(const CSDBISampleBase& source, const SampleTarget& target, int nKey,
                             CSDBISampleEUWave& made);

// Makes the target samples of a whole bank: in the order of the sample table, in the per-key layout by rising
// key. A source sample is read once, by whichever thread first needs it, and kept while another one may.
// TSource: the record class the source's waves are read with (CSDBISampleWave or CSDBISampleEUWave).
// Threads: Make from any, each with a helper number of its own.
// Errors:  the outcome in what is made; the constructor may throw std::bad_alloc.
template <class TSource>
class SampleMaker {
public:
    // database: the open source; arSamples: its filled table, which must outlive the maker, as must the
    // folder text. nHelpers: how many helper numbers there are.
    SampleMaker(CSDB& database, const tagSampleEntry* arSamples, uint32_t nSamples, const char* pszFolder,
                const SampleTarget& target, unsigned nHelpers);

    size_t GetCount() const { return m_arFirstJob.back(); }
    MadeSample Make(size_t nJob, unsigned nHelper);

private:
    // One source sample: loaded by the first of its jobs, dropped by the last.
    struct Source {
        std::mutex lock;
        bool bLoaded = false;
        BankOutcome outcome;
        std::shared_ptr<TSource> pRecord;
        size_t nJobsLeft = 0;
    };

    uint32_t EntryOf(size_t nJob) const;
    int KeyOf(uint32_t nEntry, size_t nCopy) const;
    BankOutcome Fill(MadeSample& made, unsigned nHelper);
    BankOutcome TakeSource(uint32_t nEntry, unsigned nHelper, std::shared_ptr<TSource>& pRecord);
    BankOutcome Load(uint32_t nEntry, unsigned nHelper, TSource& record) const;
    bool ReadWave(const SDBNOTE& note, CXFile& file, TSource& record) const;
    CXFile& FileOf(unsigned nHelper) const;

    CSDB& m_database;
    const tagSampleEntry* m_arSamples;
    const char* m_pszFolder;
    const SampleTarget m_target;
    std::vector<size_t> m_arFirstJob;                // by entry; the last is the number of jobs
    std::unique_ptr<Source[]> m_arSources;           // by entry
    std::vector<std::unique_ptr<CXFile>> m_arFiles;  // by helper: streams of their own on the source
};

extern template class SampleMaker<CSDBISampleWave>;
extern template class SampleMaker<CSDBISampleEUWave>;

}  // namespace Kestrova
