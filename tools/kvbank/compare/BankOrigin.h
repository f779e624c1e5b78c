// BankOrigin.h - whether banks stem from a source, told without reading a wave.
#pragma once

#include <string>
#include <vector>

#include "tools/kvbank/compare/SourceComparison.h"
#include "tools/kvbank/folder/BankFolder.h"

namespace Kestrova {

// Banks are found by the base name of their source alone, which another source may share. Here all that a
// bank inherits is compared: information, presets, the samples' headers and loops, banks, programs, regions
// and layers. The cost grows with the number of records, not with the bytes of their waves; a source that
// differs in waves alone is not told apart.
// Threads: one. Throws std::bad_alloc.
class BankOrigin {
public:
    // engine: has been given the source at strSource. When its analysis failed nothing is known of what its
    // banks would be, and none is called stale.
    BankOrigin(const CDBEUCreate& engine, const std::string& strSource);

    // Makes a complete bank stale, and tells the first difference, when it does not stem from the source.
    // The source itself is not compared. A bank that cannot be read any more becomes unreadable.
    void Check(BankFile& bank);
    void Check(std::vector<BankFile>& banks);

private:
    const std::string m_strSource;
    SourceComparison m_comparison;
    const bool m_bKnown;  // the source can be compared with
};

}  // namespace Kestrova
