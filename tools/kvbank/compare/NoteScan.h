// NoteScan.h - a database file as it is: the headers of its notes, read one after the other,
// without the help of its quick-load table.
#pragma once

#include <string>
#include <vector>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "SamplerDBDS/DataBase/SDBFormat.h"
#include "SamplerDBDS/DataBase/SDBIdMap.h"
#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "tools/kvbank/terminal/Ending.h"

namespace Kestrova {

// Threads: one; the file alone may be shared, under its lock. Memory: in proportion to the notes there are.
class NoteScan {
public:
    enum class Outcome {
        Scanned,
        Unreadable,  // File().GetFirstError() tells why
        NotABank     // of neither kind
    };
    Outcome Open(const std::string& strPath);

    CXFile& File() { return m_file; }
    const std::string& Path() const { return m_strPath; }
    bool IsEnriched() const { return m_nFormat == kSdbFormatEnriched; }
    uint64_t FileSize() const { return m_nFileSize; }

    // In file order, deleted ones too. The last may be cut short by the end of the file.
    const std::vector<SDBNOTE>& Notes() const { return m_arNotes; }
    // The number of bytes behind the last note that are too few for another one.
    uint64_t SurplusBytes() const;
    bool IsWhole(const SDBNOTE& note) const { return note.PosEnd() <= m_nFileSize; }

    // The first live note with the id, or of the type; null when there is none.
    const SDBNOTE* Find(uint32_t id) const;
    const SDBNOTE* FindType(uint8_t nType) const;

    // Decodes the body of a note, which may have another id than the record. REQUIRES, for an enriched
    // sample: MeasureEnrichedSample has said that it can be decoded.
    bool Read(const SDBNOTE& note, CSDBInterpreter& record) { return Read(m_file, note, record); }
    static bool Read(CXFile& file, const SDBNOTE& note, CSDBInterpreter& record);

private:
    std::string m_strPath;
    CXFile m_file;
    uint32_t m_nFormat = 0;
    uint64_t m_nFileSize = 0;
    std::vector<SDBNOTE> m_arNotes;
    CSDBIdMap m_mapLive;  // id -> index of the first live note
};

// Why a record could not be read: the system's reason, if it had one. Throws std::bad_alloc when memory ran
// out.
std::string WhyUnread(const CXFile& file);

// Scans a file. Empty, or why it cannot be scanned. Throws std::bad_alloc when memory ran out.
std::string ScanOrWhyNot(NoteScan& scan, const std::string& strPath);

// Scans a file for a verb. The ending's error is the cause, without the file's name. A file that another
// process is building is busy.
Ending OpenScan(NoteScan& scan, const std::string& strPath);

}  // namespace Kestrova
