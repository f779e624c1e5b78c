// CommandFixture.h - runs kvbank commands in the test's own process.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "shared/System/kvCancelSignal.h"
#include "tests/support/Matchers.h"
#include "tests/support/SourceMaker.h"
#include "tests/support/TempDir.h"
#include "tools/kvbank/Command.h"

namespace Kestrova::Test {

// The banks of the source that CommandTest::Source makes.
inline constexpr const char* k44100 = "Src_0AC44.kvn";
inline constexpr const char* k44100PerKey = "Src_0AC44.kvr";
inline constexpr const char* k48000 = "Src_0BB80.kvn";
inline constexpr const char* k48000PerKey = "Src_0BB80.kvr";

// What a command did. The test's folder is written as "DIR", and times as "TIME".
struct Outcome {
    int nCode = 0;
    std::string strOut;
    std::string strErr;

    Json Document() const { return Json::parse(strOut); }
};

class CommandTest : public ::testing::Test {
protected:
    ~CommandTest() override { SetCancelSignal(0); }

    std::string File(const std::string& strName) const { return m_dir.File(strName); }
    std::string Folder() const { return m_dir.Path().string(); }

    // In the arguments "DIR" stands for the test's folder.
    Outcome Run(std::vector<std::string> arguments, const std::string& strInput = "",
                bool bInIsTerminal = false, bool bErrIsTerminal = false) const {
        for (std::string& strArgument : arguments) Replace(strArgument, "DIR", Folder());
        std::istringstream in(strInput);
        std::ostringstream out, err;
        Console console(in, out, err);
        console.bInIsTerminal = bInIsTerminal;
        console.bErrIsTerminal = bErrIsTerminal;
        const int nCode = RunKvBank(arguments, console);
        return {nCode, Neutral(out.str()), Neutral(err.str())};
    }

    // The names in the test's folder, or in one of its own, in order.
    std::vector<std::string> Names(const std::string& strFolder = "") const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_dir.Path() / strFolder))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    // A source bank in the test's folder.
    std::string Source(const SourceSpec& spec = {}, const std::string& strName = "Src.kvs") const {
        MakeSource(File(strName), spec);
        return File(strName);
    }

private:
    static void Replace(std::string& strText, const std::string& strOld, const std::string& strNew) {
        for (size_t nAt = 0; (nAt = strText.find(strOld, nAt)) != std::string::npos; nAt += strNew.size())
            strText.replace(nAt, strOld.size(), strNew);
    }
    // Writes "TIME" for what stands behind each lead and consists of these characters.
    static void HideTimes(std::string& strText, const std::string& strLead, const char* pszCharacters,
                          const std::string& strTime) {
        for (size_t nAt = 0; (nAt = strText.find(strLead, nAt)) != std::string::npos;) {
            nAt += strLead.size();
            const size_t nEnd = std::min(strText.find_first_not_of(pszCharacters, nAt), strText.size());
            if (nEnd > nAt) strText.replace(nAt, nEnd - nAt, strTime);
        }
    }
    std::string Neutral(std::string strText) const {
        Replace(strText, Folder(), "DIR");
        HideTimes(strText, " in ", "0123456789:", "TIME");
        HideTimes(strText, "\"seconds\": ", "0123456789.+-e", "\"TIME\"");
        return strText;
    }

    TempDir m_dir;
};

}  // namespace Kestrova::Test
