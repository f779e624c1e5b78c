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

class IWaveConverter;

// Which bank is to be made from a source.
struct BankOrder {
    unsigned int nRate = 0;  // Hz
    int nPerKey = 0;         // the value for the bank's information record; not 0: the per-key layout
    int nQuality = 0;        // of the engine's own conversion
    unsigned nHelpers = 0;   // threads that make samples beside the one that writes
    const IWaveConverter* pConverter = nullptr;  // null: the engine's own conversion
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
    // Rolls back an abandoned target. Its file then has no records, so it is recognised as an interrupted
    // build and can be removed as one.
    ~BankWriter();
    BankWriter(const BankWriter&) = delete;
    BankWriter& operator=(const BankWriter&) = delete;

    // Makes the file. The outcome is done, busy (another process is building it), not created or
    // no memory. A failure leaves no new file.
    BankOutcome Open();

    // Writes and commits the bank, with both databases locked until the last record
    // is written. A failed bank leaves no file.
    BankOutcome Write();

    // Deliberate (Q97): a job cancelled at its first call leaves its file open and makes no further call.
    bool IsAbandoned() const { return m_bAbandoned; }
    // Whether the target lies where the system has no file locks.
    bool IsUnprotected() const { return m_target.IsUnprotected(); }

private:
    static BankOutcome NotReserved(int nError);
    BankOutcome WriteLocked();
    BankOutcome RunStages();
    BankOutcome WriteQuickLoad();
    BankOutcome Close(BankOutcome outcome);

    // The stages, in the order of the records; but for the samples they are in BankWriterTree.cpp.
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
