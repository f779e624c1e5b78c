// BankVerifier.h - one database file checked by itself: notes, ids, parents, quick-load table, record bodies,
// loops and waves.
#pragma once

#include <functional>
#include <string>
#include <unordered_set>
#include <vector>

#include "tools/kvbank/compare/ProblemList.h"

namespace Kestrova {

// Works on the scan alone: the quick-load table is compared with it, and never used to find records.
// Threads: one, with helpers of its own that decode samples ahead. Throws std::bad_alloc.
class BankVerifier {
public:
    // Called with the number of bytes of the file checked so far; false stops the work.
    using Observer = std::function<bool(uint64_t nBytes)>;

    BankVerifier(NoteScan& scan, ProblemList& problems) : m_scan(scan), m_problems(problems) {}

    // Adds what it finds to the list; false when it was stopped.
    bool Run(const Observer& observer);

    // Of the information record; 0 and plain without one.
    uint32_t GetRate() const { return m_nRate; }
    bool IsPerKey() const { return m_bPerKey; }

private:
    bool IsInterrupted() const;
    void CheckFile();
    void CheckQuickLoad();
    void CompareQuickLoad(const SDBNOTE& table);
    void LearnInformation();
    void CheckName();
    void LearnStructure();
    bool CheckNotes(const Observer& observer);
    void CheckHeader(const SDBNOTE& note);
    void CheckParent(const SDBNOTE& note);
    void CheckCycles();
    void CheckBody(const SDBNOTE& note);
    void CheckRegion(const SDBNOTE& note);
    void CheckLayer(const SDBNOTE& note);
    template <class TRecord>
    void CheckDecodes(const SDBNOTE& note);
    std::vector<const SDBNOTE*> SamplesToDecode() const;
    bool IsInSplitProgram(const SDBNOTE& region) const;
    void Report(const SDBNOTE& note, const std::string& strCause) { m_problems.Add(m_scan, note, strCause); }

    NoteScan& m_scan;
    ProblemList& m_problems;
    uint32_t m_nRate = 0;
    bool m_bPerKey = false;
    std::unordered_set<uint32_t> m_splitPrograms;  // ids
    std::unordered_set<uint32_t> m_layerParents;   // ids
};

}  // namespace Kestrova
