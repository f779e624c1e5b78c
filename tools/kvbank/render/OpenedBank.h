// OpenedBank.h - a bank that the reader library has open.
#pragma once

#include <string>

#include "include/kvbank.h"
#include "tools/kvbank/terminal/Ending.h"

namespace Kestrova {

class OpenedBank {
public:
    OpenedBank() = default;
    ~OpenedBank() { kvb_close(m_pBank); }
    OpenedBank(const OpenedBank&) = delete;
    OpenedBank& operator=(const OpenedBank&) = delete;

    // Once for each object.
    Ending Open(const std::string& strFile);

    const kvb_bank* Get() const { return m_pBank; }

private:
    kvb_bank* m_pBank = nullptr;
};

// How a verb ends that an error of the library stopped. strSubject: the file, or the file and its sample.
Ending EndingOfReader(int nError, const std::string& strSubject);

}  // namespace Kestrova
