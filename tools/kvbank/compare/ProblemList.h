// ProblemList.h - what is wrong with one file: the first problems whole, the rest as a count.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/kvbank/compare/NoteScan.h"
#include "tools/kvbank/engine/RecordNames.h"

namespace Kestrova {

struct BankProblem {
    std::string strRecord;  // "sample 12 \"Piano C4\""; empty: the file itself
    std::string strCause;
};

// Both in one line.
inline std::string TextOf(const BankProblem& problem) {
    return problem.strRecord.empty() ? problem.strCause : problem.strRecord + ": " + problem.strCause;
}

class ProblemList {
public:
    static constexpr size_t kMostKept = 20;

    // A problem of the file, or of one of its records.
    void Add(const std::string& strCause) { Keep("", strCause); }
    void Add(NoteScan& scan, const SDBNOTE& note, const std::string& strCause) {
        Keep(m_kept.size() < kMostKept ? DescribeNote(scan.File(), note) : "", strCause);
    }

    uint64_t Count() const { return m_nCount; }
    const std::vector<BankProblem>& Kept() const { return m_kept; }

private:
    void Keep(const std::string& strRecord, const std::string& strCause) {
        if (m_kept.size() < kMostKept) m_kept.push_back({strRecord, strCause});
        ++m_nCount;
    }

    std::vector<BankProblem> m_kept;
    uint64_t m_nCount = 0;
};

}  // namespace Kestrova
