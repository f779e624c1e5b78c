#include "bank/SourceBank.h"

#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "bank/BankFileName.h"
#include "bank/FileAnswer.h"
#include "shared/System/kvPath.h"

namespace Kestrova {
namespace {

// A correct source needs one or two reads for each record. A hostile one repeats ids, so that the walk
// through the tree meets the same records again and again. When this allowance is used up, the job ends.
constexpr uint64_t ReadsAllowedFor(uint64_t nRecords) { return 2 * nRecords + 65536; }

}  // namespace

BankOutcome SourceBank::Open(const char* pszPath) {
    m_strBaseName.clear();
    const std::string_view path(pszPath);
    std::string strBase(SourceBaseName(path));
    if (strBase.empty()) return {.result = kBankBadArgument};
    std::string strFolder(FolderPart(path));
    m_database.Close(false);
    if (const BankOutcome outcome = OpenEitherKind(pszPath); !outcome.IsDone()) return outcome;
    if (m_bEnriched) strBase.resize(CutRateFromBaseName(strBase).size());
    m_strFolder = std::move(strFolder);
    m_strBaseName = std::move(strBase);
    if (!m_strBaseName.empty()) return {};
    m_database.Close(false);  // the source before is closed too, so none is open now
    return {.result = kBankBadArgument};
}

// A file that the system cannot open or read is not tried again as the other kind.
BankOutcome SourceBank::OpenEitherKind(const char* pszPath) {
    const auto openAs = [&](uint32_t nFormat) {
        return AskFile(m_database, [&] { return m_database.Open(pszPath, nFormat, false); });
    };
    FileAnswer opened = openAs(kSdbFormatEnriched);
    m_bEnriched = opened.bDone;
    if (!opened && opened.nError == 0) opened = openAs(kSdbFormatPlain);
    if (opened) return {};
    return SourceFault(kBankSourceNotOpened, kSdbAny, kSdbNoID, "", opened.nError);
}

void SourceBank::StartJob(uint64_t nRecords) { m_nReadsLeft = ReadsAllowedFor(nRecords); }

// All reads of records go through here. The counts that an enriched sample claims are
// checked first, because decoding trusts them.
BankOutcome SourceBank::Read(CSDBInterpreter& record) {
    const uint8_t nType = record.GetType();
    const uint32_t id = record.GetID();
    if (m_nReadsLeft == 0)
        return SourceFault(kBankSourceInconsistent, nType, id, "ids are used more than once");
    --m_nReadsLeft;
    const SDBNOTE* const pNote = m_database.GetNoteByID(id);
    FileAnswer read;
    if (pNote != nullptr)
        read = AskSharedFile(m_database.GetFile(), [&] { return ReadMeasured(*pNote, record); });
    if (read) return {};
    return SourceFault(kBankReadFailed, nType, id, "the record cannot be read whole", read.nError);
}

bool SourceBank::ReadMeasured(const SDBNOTE& note, CSDBInterpreter& record) {
    const bool bMeasured = m_bEnriched && record.GetType() == kSdbSample;
    return (!bMeasured || MeasureEnrichedSample(m_database.GetFile(), note.PosBody(), note.nSize)) &&
           m_database.ReadWholeNote(&record);
}

}  // namespace Kestrova
