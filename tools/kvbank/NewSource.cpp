#include "tools/kvbank/NewSource.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "bank/BankFileName.h"

namespace Kestrova {

namespace fs = std::filesystem;

Ending CheckNewFile(const std::string& strFile, bool bForce) {
    std::error_code ignored;
    if (!fs::exists(fs::symlink_status(strFile, ignored))) return {};
    if (fs::exists(strFile, ignored) && !fs::is_regular_file(strFile, ignored))
        return {kExitUsage, strFile + ": this is not a file"};
    if (!bForce) return {kExitUsage, strFile + ": there already; -f replaces it"};
    return {};
}

Ending CheckNewSource(const std::string& strFile, bool bForce) {
    if (SourceBaseName(strFile).empty())
        return {kExitUsage, strFile + ": the name needs a '.': banks are named after what stands before it"};
    return CheckNewFile(strFile, bForce);
}

Ending PublishSource(PartFile& part, const std::string& strFile) {
    if (!part.Publish()) return {kExitOutput, strFile + ": " + std::strerror(errno)};
    if (part.GetSyncError() == 0) return {};
    return {kExitOutput, strFile + " is in its place, but may be lost in a power failure: " +
                             std::strerror(part.GetSyncError())};
}

}  // namespace Kestrova
