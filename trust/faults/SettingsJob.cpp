// kv_trust_settings KIND FILE - writes settings (ini), preferences or a log once, as the programs do; the
// proofs make its calls fail. Exit code 1 when the unit says that it failed; ini and log say nothing.
#include <cstdio>
#include <new>
#include <string_view>

#include "shared/Process/kvOutOfMemory.h"
#include "shared/System/kvIniFile.h"
#include "shared/System/kvLogFile.h"
#include "shared/System/kvPreferences.h"

namespace Kestrova {
namespace {

int WriteIni(const char* pszFile) {
    IniFile settings;
    if (settings.Open(pszFile, "a+") == 0) return 1;
    settings.SetItem("AdditionalBankPaths", nullptr);
    settings.SetItem("AdditionalBankPaths", "/banks/of/today");
    settings.Close();
    return 0;
}

int WritePreferences(const char* pszDomain) {
    Preferences store(pszDomain);
    return store.SetProfileString("Window/Title", nullptr, "Banks") != 0 ? 0 : 1;
}

int WriteLog(const char* pszFile) {
    IOLogOpen("trust", 0, kLogAppend, pszFile);
    IOLog("%s is written", "a line");
    IOPrint("%s is printed\n", "another");
    IOLogClose();
    return 0;
}

}  // namespace
}  // namespace Kestrova

int main(int argc, char** argv) {
    constexpr int kNoMemory = 8;  // as kvbank
    Kestrova::EndCleanlyWithoutMemory({"kv_trust_settings: out of memory\n", kNoMemory});
    const std::string_view kind = argc == 3 ? argv[1] : "";
    try {
        if (kind == "ini") return Kestrova::WriteIni(argv[2]);
        if (kind == "preferences") return Kestrova::WritePreferences(argv[2]);
        if (kind == "log") return Kestrova::WriteLog(argv[2]);
    } catch (const std::bad_alloc&) {
        return kNoMemory;
    }
    std::fputs("usage: kv_trust_settings ini|preferences|log FILE\n", stderr);
    return 2;
}
