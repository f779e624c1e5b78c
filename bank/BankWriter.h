// BankWriter.h - writes one bank: opens its file, converts the source's records in stages, commits.
#pragma once

#include <cstdint>
#include <string>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "bank/BankProgress.h"
#include "bank/CopyIds.h"
#include "bank/SourceAnalysis.h"
#include "bank/SourceBank.h"

namespace Kestrova {

// Which bank is wanted of a source.
struct BankOrder {
    unsigned int nRate = 0;  // Hz
    int nPerKey = 0;         // as the bank's information record will say; not 0: the per-key layout
    int nQuality = 0;        // of the resampler
    unsigned nHelpers = 0;   // threads that make samples beside the one that writes
    bool IsPerKey() const { return nPerKey != 0; }
};

// Threads: Open from the client's thread, Write from the worker; never both at once.
// Owner:   owns the target database. Source, analysis and progress must outlive it.
// Errors:  an outcome; construction and Open may throw std::bad_alloc.
class BankWriter {
public:
    // strPath: of the bank's file, which Open makes.
    BankWriter(SourceBank& source, const SourceAnalysis& analysis, const BankProgress& progress,
               const BankOrder& order, std::string strPath);
    // Rolls an abandoned target back: without any record the file is known for what it is, and removed as an
    // interrupted build.
    ~BankWriter();
    BankWriter(const BankWriter&) = delete;
    BankWriter& operator=(const BankWriter&) = delete;

    // Makes the file: done, busy (another process is building it), not created or no memory. A failure leaves
    // no new file.
    BankOutcome Open();

    // Writes and commits the bank, with both databases locked until the last record. A failed bank leaves no
    // file.
    BankOutcome Write();

    // Deliberate: a job cancelled at its first call leaves its file open and makes no further call.
    bool IsAbandoned() const { return m_bAbandoned; }

private:
    BankOutcome WriteLocked();
    BankOutcome RunStages();
    BankOutcome WriteQuickLoad();
    BankOutcome Close(BankOutcome outcome);

    // BankWriterSamples.cpp and BankWriterTree.cpp: the stages, in the order of the records.
    BankOutcome CreateInfo();
    BankOutcome CreatePresets();
    template <class TSource>
    BankOutcome CreateSamples();
    BankOutcome CreateSamples();
    BankOutcome CreateBanks();
    BankOutcome CreatePrograms(uint32_t idOldBank, uint32_t idNewBank);
    BankOutcome CreateRegions(uint32_t idOldProgram, uint32_t idNewProgram);
    BankOutcome CreateRegionsRepr(uint32_t idOldProgram, uint32_t idNewProgram);
    BankOutcome CreateLayers(uint32_t idOldRegion, uint32_t idNewRegion, int nKey);
    BankOutcome AddToTarget(CSDBInterpreter& record, uint32_t idSource);
    const char* WhyRefused(CSDBInterpreter& record) const;

    SourceBank& m_source;
    const SourceAnalysis& m_analysis;
    const BankProgress& m_progress;
    const BankOrder m_order;
    const std::string m_strPath;
    CSDB m_target;
    CopyIds m_ids;
    bool m_bAbandoned = false;
};

}  // namespace Kestrova
