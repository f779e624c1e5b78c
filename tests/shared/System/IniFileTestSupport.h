// IniFileTestSupport.h - a settings file in a folder of its own, and lists of results as C++ values.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "shared/System/kvIniFile.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {

using Texts = std::vector<std::string>;
using LineList = FifoList<LinkedString>;

inline Texts TextsOf(const LineList& list) {
    Texts texts;
    for (const LinkedString& item : list) texts.emplace_back(item.strText);
    return texts;
}

class IniFileFixture : public testing::Test {
protected:
    std::string Path() const { return m_dir.File("kvsmple.ini"); }
    void WriteIni(const std::string& strText) const { WriteFile(Path(), strText); }
    std::string IniText() const {
        const Bytes bytes = ReadFile(Path());
        return {bytes.begin(), bytes.end()};
    }
    int Open(const char* pszMode = "a+") { return m_ini.Open(Path().c_str(), pszMode); }
    // The file holds the text and is open.
    void OpenWith(const std::string& strText) {
        WriteIni(strText);
        ASSERT_EQ(1, Open());
    }
    // A section "s" in as many bytes as are read.
    static std::string LargestContent() {
        std::string strText = "[s]\n";
        while (strText.size() < 4u << 20) strText += std::string(1019, 'x') + '\n';
        strText.resize(4u << 20);
        return strText;
    }
    // What the file holds once it is closed.
    std::string ClosedText() {
        m_ini.Close();
        return IniText();
    }

    Texts Items(const char* pszSection) const {
        LineList list;
        const int nItems = m_ini.GetItems(list, pszSection);
        const Texts texts = TextsOf(list);
        EXPECT_EQ(texts.size(), static_cast<size_t>(nItems));
        return texts;
    }
    Texts Keys(const char* pszSection) const {
        LineList list;
        const int nKeys = m_ini.GetKeys(list, pszSection);
        const Texts texts = TextsOf(list);
        EXPECT_EQ(texts.size(), static_cast<size_t>(nKeys));
        return texts;
    }
    Texts Sections() const {
        LineList list;
        const int nSections = m_ini.GetSections(list);
        const Texts texts = TextsOf(list);
        EXPECT_EQ(texts.size(), static_cast<size_t>(nSections));
        return texts;
    }
    // The value of a key, or "<none>".
    std::string Value(const char* pszSection, const char* pszKey) const {
        String strValue("left from before");
        if (m_ini.GetKeyValue(pszSection, pszKey, strValue) == 1) return std::string(strValue);
        EXPECT_TRUE(strValue.IsEmpty());
        return "<none>";
    }

    const TempDir m_dir;
    IniFile m_ini;
};

}  // namespace Kestrova::Test
