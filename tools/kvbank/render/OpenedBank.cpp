#include "tools/kvbank/render/OpenedBank.h"

#include <cerrno>
#include <cstring>

namespace Kestrova {

Ending OpenedBank::Open(const std::string& strFile) {
    return EndingOfReader(kvb_open(strFile.c_str(), KVB_OPEN_MAP, &m_pBank), strFile);
}

Ending EndingOfReader(int nError, const std::string& strSubject) {
    switch (nError) {
        case KVB_OK: return {};
        case KVB_ERROR_SYSTEM: return {kExitBadInput, strSubject + ": " + std::strerror(errno)};
        case KVB_ERROR_NO_MEMORY: return {kExitNoMemory, strSubject + ": " + kvb_error_text(nError)};
        default: return {kExitBadInput, strSubject + ": " + kvb_error_text(nError)};
    }
}

}  // namespace Kestrova
