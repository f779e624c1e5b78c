// ScanFiles.h - streams of their own on a scanned file, for helper threads that read it at the same time.
#pragma once

#include <algorithm>
#include <vector>

#include "tools/kvbank/compare/NoteScan.h"

namespace Kestrova {

// Owner:   the streams. The scan must outlive it.
// Threads: Of from any, each with a helper number of its own.
class ScanFiles {
public:
    ScanFiles(NoteScan& scan, unsigned nHelpers) : m_scan(scan), m_arFiles(std::max(nHelpers, 1u)) {
        for (CXFile& file : m_arFiles) file.Open(scan.Path().c_str(), 0);
    }

    // The helper's stream. The scan's own where there is none, and where the file has been moved away, or
    // replaced by another, since it was scanned.
    CXFile& Of(unsigned nHelper) {
        FileFacts scanned, own;
        const bool bOwn = nHelper < m_arFiles.size() && m_arFiles[nHelper].GetFacts(own) &&
                          m_scan.File().GetFacts(scanned) && own.IsSameFile(scanned);
        return bOwn ? m_arFiles[nHelper] : m_scan.File();
    }

private:
    NoteScan& m_scan;
    std::vector<CXFile> m_arFiles;
};

}  // namespace Kestrova
