// Unprivileged.h - lets a test meet files it may not touch, also when it is run by root.
#pragma once

#include <unistd.h>

namespace Kestrova::Test {

// While it lives the process has the rights of nobody, if it had those of root.
class Unprivileged {
public:
    Unprivileged() : m_nBefore(geteuid()) {
        if (m_nBefore == 0 && seteuid(kNobody) != 0) m_bWorks = false;
    }
    ~Unprivileged() {
        if (geteuid() != m_nBefore) m_bWorks = seteuid(m_nBefore) == 0;
    }
    Unprivileged(const Unprivileged&) = delete;
    Unprivileged& operator=(const Unprivileged&) = delete;

    bool Works() const { return m_bWorks; }

private:
    static constexpr uid_t kNobody = 65534;
    const uid_t m_nBefore;
    bool m_bWorks = true;
};

}  // namespace Kestrova::Test
