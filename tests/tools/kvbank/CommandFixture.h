// CommandFixture.h - runs kvbank commands in the test's own process.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/SourceMaker.h"
#include "tests/support/TempDir.h"
#include "tools/kvbank/Cancel.h"
#include "tools/kvbank/Command.h"

namespace Kestrova::Test {

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
    std::string Neutral(std::string strText) const {
        Replace(strText, Folder(), "DIR");
        static const std::regex kSeconds("( in )[0-9:]+");
        static const std::regex kJsonSeconds("(\"seconds\": )[-+.e0-9]+");
        strText = std::regex_replace(strText, kSeconds, "$1TIME");
        return std::regex_replace(strText, kJsonSeconds, "$1\"TIME\"");
    }

    TempDir m_dir;
};

}  // namespace Kestrova::Test
