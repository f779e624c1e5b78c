// SourceBank.h - the open source of the bank engine: its database, its kind and name, and reading from it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "bank/BankOutcome.h"

namespace Kestrova {

// Threads: one at a time; the database may be read by others meanwhile.
// Errors:  an outcome. Open may throw std::bad_alloc; there is no base name then.
// The file is only ever read.
class SourceBank {
public:
    // Closes what is open, then opens the path as an enriched source or, if that fails, as a plain one. The
    // outcome is done, bad argument (banks cannot be named after this name) or not opened.
    BankOutcome Open(const char* pszPath);

    CSDB& Database() { return m_database; }
    bool IsEnriched() const { return m_bEnriched; }
    // The name under which banks of this source are filed; empty without a source.
    const std::string& GetBaseName() const { return m_strBaseName; }
    // The folder in which external waves with relative names lie: that of the source, empty or with a slash.
    const std::string& GetFolder() const { return m_strFolder; }

    // Begins a job. nRecords: of the source, and when a bank is built also of the bank in the per-key layout.
    void StartJob(uint64_t nRecords);

    // Decodes the record with the id and type that `record` has: done, read failed, no memory, or
    // inconsistent when the job reads far more records than there are.
    BankOutcome Read(CSDBInterpreter& record);

    // Visit the ids of the notes of a type, or of a parent's children, in file order, and stop at the first
    // outcome other than done.
    template <class TVisit>
    BankOutcome ForEachOfType(uint8_t nType, TVisit visit) const;
    template <class TVisit>
    BankOutcome ForEachChild(uint32_t idParent, uint8_t nType, TVisit visit) const;

private:
    BankOutcome OpenEitherKind(const char* pszPath);
    bool ReadMeasured(const SDBNOTE& note, CSDBInterpreter& record);

    CSDB m_database;
    bool m_bEnriched = false;
    std::string m_strBaseName;
    std::string m_strFolder;
    uint64_t m_nReadsLeft = 0;  // of records in this job
};

template <class TVisit>
BankOutcome SourceBank::ForEachOfType(uint8_t nType, TVisit visit) const {
    for (const SDBNOTE* pNote = m_database.GetNoteByType(nullptr, nType); pNote != nullptr;
         pNote = m_database.GetNoteByType(pNote, nType))
        if (const BankOutcome outcome = visit(pNote->idNote); !outcome.IsDone()) return outcome;
    return {};
}

template <class TVisit>
BankOutcome SourceBank::ForEachChild(uint32_t idParent, uint8_t nType, TVisit visit) const {
    for (const SDBNOTE* pNote = m_database.GetFirstNote(idParent, nType); pNote != nullptr;
         pNote = m_database.GetNextNote(pNote, nType))
        if (const BankOutcome outcome = visit(pNote->idNote); !outcome.IsDone()) return outcome;
    return {};
}

}  // namespace Kestrova
