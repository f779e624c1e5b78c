// StdioTwin.h - what the sample database is compared with: the same bytes written and read by plain stdio,
// and indexes in std::unordered_map. It checks nothing and can do no more than the benchmarks need.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <unordered_map>
#include <vector>

#include "SamplerDBDS/DataBase/SDBFormat.h"

namespace Kestrova::Bench {

class StdioTwin {
public:
    StdioTwin() = default;
    ~StdioTwin() { Close(); }
    StdioTwin(const StdioTwin&) = delete;
    StdioTwin& operator=(const StdioTwin&) = delete;

    bool Create(const std::string& strPath);
    bool Add(SDBNOTE& note, const void* pBody);
    // Commits by writing the live notes to a second file, waiting for the disk, and renaming it.
    bool CommitByCopy(const std::string& strPath);

    // Lists the notes of a database file: from their headers, or from the quick-load table in front.
    bool Scan(const std::string& strPath);
    bool ReadTable(const std::string& strPath);

    const SDBNOTE* Find(uint32_t id) const;
    // Notes below idParent, depth first.
    size_t CountBelow(uint32_t idParent) const;
    // Erases a note with all below it, and marks each in the file. The file must have been opened by Scan.
    bool DeleteBranch(uint32_t id);
    uint32_t TakeNewID();

    void Close();

private:
    void Index(const SDBNOTE& note);
    bool WriteNote(std::FILE* pTo, const SDBNOTE& note, const void* pBody);

    std::FILE* m_pFile = nullptr;
    uint64_t m_posEnd = 0;
    uint32_t m_nNextID = 0;
    std::unordered_map<uint32_t, SDBNOTE> m_notes;
    std::unordered_map<uint32_t, std::vector<uint32_t>> m_children;
};

}  // namespace Kestrova::Bench
