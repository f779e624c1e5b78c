#include "tools/kvbank/terminal/OutputOptions.h"

#include <cstdlib>
#include <map>

namespace Kestrova {
namespace {

using Wish = Console::Wish;
using Style = Console::ProgressStyle;

// https://no-color.org: any value but an empty one asks for no colour.
bool WantsNoColor() {
    const char* const pszNoColor = std::getenv("NO_COLOR");
    return pszNoColor != nullptr && *pszNoColor != '\0';
}

bool KnowsColors() {
    const char* const pszTerm = std::getenv("TERM");
    return pszTerm != nullptr && *pszTerm != '\0' && std::string(pszTerm) != "dumb";
}

bool MayColor(const Console& console) {
    if (console.color != Wish::Auto) return console.color == Wish::Always;
    return console.bErrIsTerminal && KnowsColors() && !WantsNoColor();
}

template <class TValue>
void AddChoice(CLI::App& app, const char* pszName, TValue& value,
               const std::map<std::string, TValue>& choices, const char* pszType,
               const std::string& strHelp) {
    app.add_option_function<std::string>(
           pszName,
           [&value, choices, pszName, pszType](const std::string& strChoice) {
               const auto pChoice = choices.find(strChoice);
               if (pChoice == choices.end())
                   throw CLI::ValidationError(pszName, "'" + strChoice + "': give one of " + pszType);
               value = pChoice->second;
           },
           strHelp)
        ->type_name(pszType);
}

}  // namespace

void AddOutputOptions(CLI::App& app, Console& console) {
    app.add_flag("-q,--quiet", console.bQuiet, "print only errors");
    app.add_flag("-v,--verbose", console.bVerbose, "print more details, such as the engine's result numbers");
    app.add_flag("--json", console.bJson, "write one JSON document to standard output");
    AddChoice<Style>(
        app, "--progress", console.progress,
        {{"auto", Style::Auto}, {"always", Style::Always}, {"never", Style::Never}, {"json", Style::Lines}},
        "auto|always|never|json",
        "a progress line on standard error: on a terminal (auto), always or never; json: one "
        "JSON object a line there, for messages too");
    AddChoice<Wish>(app, "--color", console.color,
                    {{"auto", Wish::Auto}, {"always", Wish::Always}, {"never", Wish::Never}},
                    "auto|always|never", "colours in messages; auto: on a terminal, unless NO_COLOR is set");
    app.add_option("--log-file", console.strLogFile,
                   "append every message and the exit code to this file, with the time")
        ->type_name("FILE");
}

ExitCode BeginOutput(const std::vector<std::string>& arguments, Console& console) {
    console.bColor = MayColor(console);
    if (console.strLogFile.empty()) return kExitDone;
    const std::string strCause = console.OpenLog();
    if (!strCause.empty()) {
        console.Error(console.strLogFile + ": " + strCause);
        return kExitOutput;
    }
    std::string strCommand = "kvbank";
    for (const std::string& strArgument : arguments) strCommand += " " + strArgument;
    console.Log("start", strCommand);
    return kExitDone;
}

}  // namespace Kestrova
