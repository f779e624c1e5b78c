#include "tools/kvbank/NewSource.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "bank/BankFileName.h"
#include "shared/System/kvCancelSignal.h"

namespace Kestrova {

namespace fs = std::filesystem;

Ending CheckNewFile(const std::string& strFile, bool bForce) {
    std::error_code error, ignored;
    if (!fs::exists(fs::symlink_status(strFile, ignored))) return {};
    const fs::file_status target = fs::status(strFile, error);
    if (target.type() == fs::file_type::none) return {kExitOutput, strFile + ": " + error.message()};
    if (fs::exists(target) && !fs::is_regular_file(target))
        return {kExitUsage, strFile + ": this is not a file"};
    if (!bForce) return {kExitUsage, strFile + ": there already; -f replaces it"};
    return {};
}

Ending CheckNewSource(const std::string& strFile, bool bForce) {
    if (SourceBaseName(strFile).empty())
        return {kExitUsage, strFile + ": the name needs a '.': banks are named after what stands before it"};
    return CheckNewFile(strFile, bForce);
}

Ending WriteNewFile(const std::string& strFile, const std::function<bool(CXFile&)>& write, uint64_t& nBytes) {
    nBytes = 0;
    PartFile part(strFile);
    if (part.Path().empty()) return {kExitOutput, strFile + ": " + std::strerror(errno)};
    CXFile file;
    unsigned long long nSize = 0;
    const bool bWritten =
        file.Create(part.Path().c_str()) && write(file) && file.Sync() && file.GetSize(nSize);
    file.Close();
    if (const int nError = file.GetFirstError(); nError != 0)
        return {nError == ENOMEM ? kExitNoMemory : kExitOutput, strFile + ": " + std::strerror(nError)};
    if (CancelSignal() != 0) return {kExitProblem, strFile + ": cancelled"};
    if (!bWritten) return {};
    nBytes = nSize;
    return PublishSource(part, strFile);
}

Ending PublishSource(PartFile& part, const std::string& strFile) {
    if (!part.Publish()) return {kExitOutput, strFile + ": " + std::strerror(errno)};
    if (part.GetSyncError() == 0) return {};
    return {kExitOutput, strFile + " is in its place, but may be lost in a power failure: " +
                             std::strerror(part.GetSyncError())};
}

}  // namespace Kestrova
