#include "tools/kvbank/folder/BankCheck.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "bank/BankRates.h"

namespace Kestrova {
namespace {

constexpr size_t kSuffixLength = std::string_view("_0AC44.kvn").size();

std::string WhyWrongLength(CSDB& database) {
    uint64_t posEnd = FileHeader::kBytes;
    for (const SDBNOTE* pNote = database.GetNoteByType(nullptr, kSdbAny); pNote != nullptr;
         pNote = database.GetNoteByType(pNote, kSdbAny))
        posEnd = std::max(posEnd, pNote->PosEnd());
    unsigned long long nBytes = 0;
    if (!database.GetFile().GetSize(nBytes)) return "its length cannot be read";
    if (nBytes < posEnd)
        return "it is cut short, " + std::to_string(nBytes) + " of " + std::to_string(posEnd) +
               " bytes are there";
    // The last notes of a database with open changes may be deleted ones, which are not found.
    if (nBytes > posEnd && !database.IsDirty())
        return std::to_string(nBytes - posEnd) + " bytes at its end belong to no record";
    return "";
}

std::string WhyWrongInformation(CSDB& database, const std::optional<BankFileName>& name) {
    const SDBNOTE* const pNote = database.GetNoteByType(nullptr, kSdbInfo);
    if (pNote == nullptr) return "there is no information record";
    CSDBIInfo info(pNote->idNote, pNote->idParent);
    if (!database.ReadWholeNote(&info)) return "its information record cannot be read whole";
    if (!name) return "";
    const std::vector<std::string> parts =
        FalseParts(*name, info.m_info.nSampleRate, info.m_info.nPerKey != 0);
    return parts.empty() ? "" : parts.front();
}

}  // namespace

std::string WhyDamaged(CSDB& database, const std::optional<BankFileName>& name) {
    std::string strCause = WhyWrongLength(database);
    if (strCause.empty() && database.GetFormat() == kSdbFormatEnriched)
        strCause = WhyWrongInformation(database, name);
    return strCause;
}

std::string WhyDamagedUnopened(const std::filesystem::path& path) {
    CXFile file;
    unsigned long long nBytes = 0;
    if (!file.Open(path.c_str(), 0) || !file.GetSize(nBytes) || nBytes == 0) return "";
    std::array<char, sizeof kSdbFormatEnriched> begin{};
    const size_t nCompared = std::min<uint64_t>(nBytes, begin.size());
    if (!file.Read(begin.data(), nCompared) || std::memcmp(begin.data(), &kSdbFormatEnriched, nCompared) != 0)
        return "";
    return nBytes < FileHeader::kBytes ? "its header is cut short" : "its quick-load table is cut short";
}

std::vector<std::string> FalseParts(const BankFileName& name, uint32_t nRate, bool bPerKey) {
    std::vector<std::string> parts;
    if (nRate == 0) return parts;
    if (static_cast<uint32_t>(iSPS[static_cast<size_t>(name.nRateIndex)]) != nRate)
        parts.push_back("its name gives another sample rate than its information record, " +
                        std::to_string(nRate) + " Hz");
    if ((name.layout == BankLayout::PerKey) != bPerKey)
        parts.push_back("its name gives another layout than its information record");
    return parts;
}

std::optional<BankFileName> ParseAnyBankName(std::string_view name) {
    if (name.size() <= kSuffixLength) return std::nullopt;
    return ParseBankFileName(name, name.substr(0, name.size() - kSuffixLength));
}

}  // namespace Kestrova
