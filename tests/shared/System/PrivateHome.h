// PrivateHome.h - an environment of a test's own, so that no folder of the real user is touched.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>

#include "tests/support/TempDir.h"

namespace Kestrova::Test {

// A variable set (to null: unset) while this lives.
class ScopedVariable {
public:
    ScopedVariable(const char* pszName, const char* pszValue) : m_strName(pszName) {
        if (const char* pszBefore = std::getenv(pszName)) m_strBefore = pszBefore;
        Set(pszValue);
    }
    ~ScopedVariable() { Set(m_strBefore ? m_strBefore->c_str() : nullptr); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

    void Set(const char* pszValue) const {
        if (pszValue != nullptr)
            setenv(m_strName.c_str(), pszValue, 1);
        else
            unsetenv(m_strName.c_str());
    }

private:
    std::string m_strName;
    std::optional<std::string> m_strBefore;
};

// The folders "home", "data", "local" and "config" of a temporary folder; none of them is made.
class PrivateHomeTest : public testing::Test {
protected:
    TempDir m_dir;
    ScopedVariable m_home{"HOME", m_dir.File("home").c_str()};
    ScopedVariable m_dataHome{"XDG_DATA_HOME", m_dir.File("data").c_str()};
    ScopedVariable m_dataDirs{"XDG_DATA_DIRS", m_dir.File("local").c_str()};
    ScopedVariable m_configHome{"XDG_CONFIG_HOME", m_dir.File("config").c_str()};
};

}  // namespace Kestrova::Test
