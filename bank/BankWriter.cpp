#include "bank/BankWriter.h"

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "bank/FileAnswer.h"
#include "bank/OrderedPipeline.h"
#include "bank/SampleMaker.h"
#include "shared/System/kvPath.h"
#include "shared/System/kvSafeFile.h"

namespace Kestrova {

BankWriter::BankWriter(SourceBank& source, const SourceAnalysis& analysis, const BankProgress& progress,
                       const BankOrder& order, std::string strPath)
    : m_source(source),
      m_analysis(analysis),
      m_progress(progress),
      m_order(order),
      m_strPath(std::move(strPath)),
      m_ids(analysis.GetSamples().size(), order.IsPerKey()) {}

BankWriter::~BankWriter() {
    if (m_target.IsOpen()) m_target.Close(false);
}

BankOutcome BankWriter::Open() {
    std::error_code ignored;
    const bool bNew = !std::filesystem::exists(m_strPath, ignored);
    const FileAnswer made =
        AskFile(m_target, [this] { return m_target.Create(m_strPath.c_str(), kSdbFormatEnriched); });
    if (made) return {};
    if (made.nError == EWOULDBLOCK) return {.result = kBankBusy};
    if (bNew) DeleteThisFile(m_strPath.c_str());
    return TargetFault(kBankTargetNotCreated, kSdbAny, kSdbNoID, "the bank file cannot be created",
                       made.nError);
}

BankOutcome BankWriter::Write() {
    m_source.Database().Lock();
    m_target.Lock();
    const BankOutcome outcome = CatchWantOfMemory([this] { return WriteLocked(); });
    // The locks are released in any case. Otherwise the next job, on whatever
    // thread it runs, would wait for them for ever.
    m_source.Database().Unlock();
    m_target.Unlock();
    return m_bAbandoned ? outcome : Close(outcome);
}

// When the system refused nothing, the table has no room for so many records.
BankOutcome BankWriter::NotReserved(int nError) {
    if (nError != 0)
        return TargetFault(kBankWriteFailed, kSdbQuickLoad, kSdbNoID, "it cannot be written", nError);
    return SourceFault(
        kBankWriteFailed, kSdbQuickLoad, kSdbNoID,
        "a bank lists at most 268,435,454 records; choose the plain layout, or make two sources of "
        "this one");
}

BankOutcome BankWriter::WriteLocked() {
    const BankAnalysis& counts = m_analysis.GetCounts();
    m_source.StartJob(counts.nRecords + static_cast<uint64_t>(counts.nPerKeyRecords));
    const auto nTotal = static_cast<uint32_t>(m_order.IsPerKey() ? counts.nPerKeyRecords : counts.nRecords);
    if (const FileAnswer reserved = AskFile(m_target, [&] { return m_target.ReserveQuickLoad(nTotal); });
        !reserved)
        return NotReserved(reserved.nError);
    // The beginning of the file must be on the disk before anything behind it. Only by its first note, which
    // is not committed, an interrupted build is told from a bank.
    if (const FileAnswer begins = AskFile(m_target, [this] { return m_target.GetFile().Sync(); }); !begins)
        return TargetFault(kBankWriteFailed, kSdbQuickLoad, kSdbNoID, "it cannot be written", begins.nError);
    if (const BankOutcome begun = m_progress.Begin(nTotal); !begun.IsDone()) {
        m_bAbandoned = true;
        return begun;
    }
    return RunStages();
}

BankOutcome BankWriter::RunStages() {
    if (const BankOutcome outcome = CreateInfo(); !outcome.IsDone()) return outcome;
    if (const BankOutcome outcome = CreatePresets(); !outcome.IsDone()) return outcome;
    if (const BankOutcome outcome = CreateSamples(); !outcome.IsDone()) return outcome;
    if (const BankOutcome outcome = CreateBanks(); !outcome.IsDone()) return outcome;
    return WriteQuickLoad();
}

// Buffered data is written first, so that a full disk is reported as a write failure like any other.
BankOutcome BankWriter::WriteQuickLoad() {
    if (const FileAnswer flushed = AskFile(m_target, [this] { return m_target.GetFile().Flush(); }); !flushed)
        return TargetFault(kBankWriteFailed, kSdbAny, kSdbNoID, "the bank cannot be written", flushed.nError);
    const FileAnswer written = AskFile(m_target, [this] { return m_target.CreateQuickLoad(); });
    if (written) return {};
    // When the system refused nothing, the source is at fault: circles among
    // its records leave some of them unwritten.
    if (written.nError == 0)
        return SourceFault(kBankConversionFailed, kSdbQuickLoad, kSdbNoID,
                           "it does not match the records written");
    return TargetFault(kBankConversionFailed, kSdbQuickLoad, kSdbNoID, "it cannot be written",
                       written.nError);
}

// A bank that cannot be committed has failed, and the file of a failed bank is deleted.
BankOutcome BankWriter::Close(BankOutcome outcome) {
    if (outcome.IsDone()) {
        FileAnswer closed = AskToCommit(m_target);
        if (closed && !SyncFolderOf(m_strPath)) closed = {false, errno};
        if (!closed)
            outcome = TargetFault(kBankWriteFailed, kSdbAny, kSdbNoID, "the bank cannot be committed",
                                  closed.nError);
    } else {
        m_target.Close(false);
    }
    if (!outcome.IsDone()) DeleteThisFile(m_strPath.c_str());
    return outcome;
}

// Why the target would refuse the record because of its content, not because
// of the disk; null when it would take it.
const char* BankWriter::WhyRefused(CSDBInterpreter& record) const {
    if (record.GetParentID() != kSdbNoID && m_target.GetNoteByID(record.GetParentID()) == nullptr)
        return "its parent record is not in the bank";
    return record.GetSize() > UINT32_MAX ? "it is too large for a bank" : nullptr;
}

BankOutcome BankWriter::AddToTarget(CSDBInterpreter& record, uint32_t idSource) {
    if (const char* const pszCause = WhyRefused(record))
        return SourceFault(kBankWriteFailed, record.GetType(), idSource, pszCause);
    const FileAnswer added = AskFile(m_target, [&] { return m_target.AddNewNote(&record); });
    if (!added)
        return TargetFault(kBankWriteFailed, record.GetType(), idSource, "it cannot be written",
                           added.nError);
    return m_progress.Step();
}

// Made ahead by helper threads, written in order by the worker.
BankOutcome BankWriter::CreateSamples() {
    return m_source.IsEnriched() ? CreateSamples<CSDBISampleEUWave>() : CreateSamples<CSDBISampleWave>();
}

template <class TSource>
BankOutcome BankWriter::CreateSamples() {
    const std::span<const tagSampleEntry> samples = m_analysis.GetSamples();
    SampleMaker<TSource> maker(m_source.Database(), samples.data(), static_cast<uint32_t>(samples.size()),
                               m_source.GetFolder().c_str(),
                               {m_order.nRate, m_order.nQuality, m_order.IsPerKey(), m_order.pConverter},
                               m_order.nHelpers);
    OrderedPipeline<MadeSample> pipeline(
        maker.GetCount(), m_order.nHelpers, m_order.nHelpers + 1,
        [&maker](size_t nJob, unsigned nHelper) { return maker.Make(nJob, nHelper); });
    for (size_t nJob = 0; nJob < maker.GetCount(); ++nJob) {
        const MadeSample made = pipeline.Take();
        if (!made.outcome.IsDone()) return made.outcome;
        const BankOutcome outcome = AddToTarget(*made.pRecord, samples[made.nEntry].id);
        if (!outcome.IsDone()) return outcome;
        m_ids.Set(made.nEntry, made.nKey, made.pRecord->GetID());
    }
    return {};
}

}  // namespace Kestrova
