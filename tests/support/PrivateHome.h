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
struct PrivateHome {
    explicit PrivateHome(const TempDir& dir)
        : home("HOME", dir.File("home").c_str()),
          dataHome("XDG_DATA_HOME", dir.File("data").c_str()),
          dataDirs("XDG_DATA_DIRS", dir.File("local").c_str()),
          configHome("XDG_CONFIG_HOME", dir.File("config").c_str()) {}

    const ScopedVariable home, dataHome, dataDirs, configHome;
};

class PrivateHomeTest : public testing::Test {
protected:
    TempDir m_dir;
    PrivateHome m_folders{m_dir};
};

}  // namespace Kestrova::Test
