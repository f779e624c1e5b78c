// SourceComparison.h - a bank compared, record by record, with what its source gives at its rate and layout.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "bank/DBEUCreate.h"
#include "bank/SampleMaker.h"
#include "tools/kvbank/compare/ProblemList.h"

namespace Kestrova {

// The problem of a bank that is a source itself.
inline constexpr const char* kIsASource = "it is a source bank and was not built from another";

// How much of the samples is compared.
enum class SampleDepth {
    Headers,  // everything but the waves, which are neither read nor decoded
    Waves     // every sample is rebuilt, on helper threads
};

// Walks the source's structure in the order a build writes it, with the bank's records beside it in file
// order. It ends at the first record that is out of step.
// Threads: one, with helpers of its own. Throws std::bad_alloc.
class SourceComparison {
public:
    // Called with the number of bytes of the bank compared so far; false stops the work.
    using Observer = std::function<bool(uint64_t nBytes)>;

    // engine: has analysed the source at strSource; both databases are only read.
    // nQuality: of the engine's own conversion.
    SourceComparison(const CDBEUCreate& engine, const std::string& strSource, SampleDepth depth,
                     int nQuality = kHighestQuality);

    bool IsSourceOpen() const { return m_source.IsOpen(); }

    // Compares a bank that states this rate and layout with what the converter (null: the engine's own
    // conversion) makes of the source, and adds the differences to the list. Returns false when it was stopped.
    bool Run(NoteScan& bank, uint32_t nRate, bool bPerKey, const IWaveConverter* pConverter,
             ProblemList& problems, const Observer& observer);

    // Whether the last run ended because the system let a record not be read, of the bank or of the source.
    // Its last problem tells why. It says nothing then about whether the bank is of the source.
    bool WasRefused() const { return m_bRefused; }

private:
    // The ids of a source sample's copies in the bank.
    struct NewIds {
        uint32_t idSingle = kSdbNoID;
        std::map<int, uint32_t> byKey;
    };

    void Begin(NoteScan& bank, ProblemList& problems, const Observer& observer);
    void End();
    // Each of these is false when the comparison is over: stopped, or out of step.
    bool CompareInfo(uint32_t nRate, bool bPerKey);
    bool ComparePresets();
    using CompareSamplesFunction = bool (SourceComparison::*)(const SampleTarget& target);
    CompareSamplesFunction ChooseCompareSamples() const;
    template <class TSource>
    bool CompareWaves(const SampleTarget& target);
    template <class TSourceInfo>
    bool CompareHeaders(const SampleTarget& target);
    template <class TSourceInfo>
    bool CompareHeadersOf(const tagSampleEntry& entry, const SampleTarget& target);
    bool CompareBanks();
    bool ComparePrograms(uint32_t idOldBank, uint32_t idNewBank);
    bool CompareRegions(uint32_t idOldProgram, uint32_t idNewProgram, bool bSplit);
    bool CompareRegion(CSDBIRegion& region, uint32_t idOldRegion, int nKey);
    bool CompareLayers(uint32_t idOldRegion, uint32_t idNewRegion, int nKey);
    template <class TVisit>
    bool ForEachChild(uint32_t idParent, uint8_t nType, TVisit visit);
    bool ReadSource(CSDBInterpreter& record);
    template <class TSourceInfo>
    bool ReadSourceHeader(TSourceInfo& sample);
    const SDBNOTE* NextOfType(uint8_t nType);
    template <class TRecord>
    bool Expect(TRecord& expected, uint32_t& idNew, TRecord* pActual = nullptr);
    template <class TSample, class TDifference>
    bool ExpectSample(TSample& expected, uint32_t& idNew, TDifference difference);
    uint32_t& NewIdOf(uint32_t idOld, int nKey);
    bool Told(const SDBNOTE& note, CSDBInterpreter& expected, const char* pszDifference);
    uint32_t NewSampleId(uint32_t idOld, int nKey) const;
    bool Stop(const std::string& strCause);
    bool StopFor(const std::string& strCause, int nError);  // nError: the system's reason, 0 for none
    bool StopAt(uint32_t idOld, const BankOutcome& outcome);
    bool StopAt(const SDBNOTE& note, int nError);  // the system did not let the bank's record be read

    const CDBEUCreate& m_engine;
    const std::string m_strFolder;  // of the source
    const SampleDepth m_depth;
    const int m_nQuality;
    CSDB m_source;

    // Of one run.
    NoteScan* m_pBank = nullptr;
    ProblemList* m_pProblems = nullptr;
    const Observer* m_pObserver = nullptr;
    bool m_bPerKey = false;
    bool m_bStopped = false;
    bool m_bRefused = false;
    size_t m_nNext = 0;  // of the bank's notes
    uint64_t m_nReadsLeft = 0;
    std::map<uint32_t, NewIds> m_newIds;  // by the source's id
};

}  // namespace Kestrova
