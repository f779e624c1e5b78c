// BankOrigin.h - whether banks were made from a source, found out without reading a wave.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/kvbank/compare/SourceComparison.h"
#include "tools/kvbank/folder/BankFolder.h"
#include "tools/kvbank/precise/Conversion.h"

namespace Kestrova {

// Banks are found only by the base name of their source, and another source may have the same
// one. Here all that a bank inherits is compared: information, presets, the samples' headers and
// loops, banks, programs, regions and layers. A bank of either conversion was made from the source.
// The cost grows with the number of records, not with the bytes of their waves. A source that
// differs only in its waves is not noticed.
// Threads: one. Throws std::bad_alloc.
class BankOrigin {
public:
    // engine: has been given the source at strSource. When its analysis failed, it is not known how its banks
    // would be, and none is called stale.
    BankOrigin(const CDBEUCreate& engine, const std::string& strSource);

    // Makes a complete bank stale, with the first difference as its cause, when it was not made from the
    // source. The source itself is not compared. A bank that cannot be read any more becomes unreadable.
    void Check(BankFile& bank);
    void Check(std::vector<BankFile>& banks);

private:
    ProblemList DifferencesFrom(NoteScan& scan, const BankFile& bank);

    const std::string m_strSource;
    SourceComparison m_comparison;
    const std::unique_ptr<const IWaveConverter> m_pPrecise;  // its headers are those with dither, too
    const bool m_bKnown;                                     // the source can be compared with
};

}  // namespace Kestrova
