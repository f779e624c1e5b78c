// The table of verbs, and the options all of them have.
#include <algorithm>
#include <array>
#include <new>
#include <optional>
#include <sstream>

#include "codec/ReadBudget.h"
#include "tools/kvbank/BuildCommand.h"
#include "tools/kvbank/Command.h"
#include "tools/kvbank/DemoCommand.h"
#include "tools/kvbank/ExportCommand.h"
#include "tools/kvbank/ImportCommand.h"
#include "tools/kvbank/InfoCommand.h"
#include "tools/kvbank/ListCommand.h"
#include "tools/kvbank/RemoveCommand.h"
#include "tools/kvbank/RenderCommand.h"
#include "tools/kvbank/ReportCommand.h"
#include "tools/kvbank/SpaceCommand.h"
#include "tools/kvbank/TreeCommand.h"
#include "tools/kvbank/VerifyCommand.h"
#include "tools/kvbank/terminal/NearestWord.h"
#include "tools/kvbank/terminal/OutputOptions.h"

namespace Kestrova {
namespace {

struct Verb {
    const char* pszName;
    const char* pszSummary;
    std::unique_ptr<Command> (*make)();
};

template <class TCommand>
std::unique_ptr<Command> Make() {
    return std::make_unique<TCommand>();
}

constexpr std::array kVerbs = {
    Verb{"build", "make the banks of a source", Make<BuildCommand>},
    Verb{"demo", "write a small synthesised instrument as a source", Make<DemoCommand>},
    Verb{"export", "write the waves of a bank, and its programs as SFZ maps", Make<ExportCommand>},
    Verb{"import", "make a source of a SoundFont (SF2, SF3), an SFZ or a folder of samples",
         Make<ImportCommand>},
    Verb{"info", "show what a bank or source holds", Make<InfoCommand>},
    Verb{"list", "list the banks in a folder", Make<ListCommand>},
    Verb{"remove", "remove banks of a source from a folder", Make<RemoveCommand>},
    Verb{"render", "play a note of a bank or source into a WAV file", Make<RenderCommand>},
    Verb{"report", "write a page that shows what a bank holds", Make<ReportCommand>},
    Verb{"space", "tell the space that the banks of a source would take", Make<SpaceCommand>},
    Verb{"tree", "show the records of a bank or source as a tree", Make<TreeCommand>},
    Verb{"verify", "check banks, also against their source", Make<VerifyCommand>},
};

constexpr const char* kHelpVerb = "help";

constexpr const char* kHelpHint = "'kvbank help VERB' shows the options of a verb.\n\n";
constexpr const char* kFooter =
    "Exit codes: 0 done; 1 done, but something is wrong; 2 usage; 3 input unreadable or not a bank;\n"
    "4 output failed; 5 not enough space; 6 something would be lost (--strict); 7 busy; 8 out of memory;\n"
    "70 internal error. A cancelled job leaves nothing half-done.";

void AddGlobalOptions(CLI::App& app, Console& console) {
    app.set_version_flag("-V,--version", "kvbank 1.0");
    AddOutputOptions(app, console);
    app.add_flag(
        "--trust", console.bTrust,
        "read compressed waves of any size; without it one is refused that would expand to more than "
        "64 MB and 1000 times the size of its file");
}

// Checked before parsing, because the parser may fail before it comes to
// this option. Behind "--" it is a file name.
bool AsksForJson(const std::vector<std::string>& arguments) {
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    return std::find(arguments.begin(), end, "--json") != end;
}

// Turns "help VERB" into "VERB --help", so that the parser answers both alike.
void TurnHelpIntoOption(std::vector<std::string>& arguments) {
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    const auto verb =
        std::find_if(arguments.begin(), end, [](const std::string& str) { return !str.starts_with('-'); });
    if (verb == end || *verb != kHelpVerb) return;
    std::rotate(verb, verb + 1, end);
    *(end - 1) = "--help";
}

// An empty value is a mistake in a script: no option or argument has a use for one.
void RefuseEmptyValues(const CLI::App& app) {
    for (const CLI::Option* const pOption : app.get_options())
        for (const std::string& strValue : pOption->results())
            if (strValue.empty()) throw CLI::ValidationError(pOption->get_name(), "the value is empty");
}

void AddLongNames(const CLI::App& app, std::vector<std::string>& names) {
    for (const CLI::Option* const pOption : app.get_options())
        for (const std::string& strName : pOption->get_lnames()) names.push_back("--" + strName);
}

// "; did you mean 'build'?", or nothing when no known word is near.
std::string Suggestion(const std::string& strWord, const std::vector<std::string>& known) {
    const std::string strNearest = NearestWord(strWord, known);
    return strNearest.empty() ? "" : "; did you mean '" + strNearest + "'?";
}

std::string UnknownOption(const CLI::App& app, const std::string& strWord) {
    std::vector<std::string> options;
    for (const CLI::App* const pVerb : app.get_subcommands()) AddLongNames(*pVerb, options);
    AddLongNames(app, options);
    const std::string strName = strWord.substr(0, strWord.find('='));
    return "unknown option '" + strWord + "'" + Suggestion(strName, options);
}

std::string UnknownVerb(const std::string& strWord) {
    std::vector<std::string> verbs = {kHelpVerb};
    for (const Verb& verb : kVerbs) verbs.push_back(verb.pszName);
    return "unknown verb '" + strWord + "'" + Suggestion(strWord, verbs);
}

// When there is a word that the parser did not understand, this word is the mistake to report. The parser's
// own error may only be a consequence: when an option is mistyped, it says that the right one is missing.
std::string WhyNotParsed(const CLI::App& app, const CLI::ParseError& error) {
    const std::vector<std::string> words = app.remaining(true);
    const bool bVerbKnown = !app.get_subcommands().empty();
    if (words.empty()) return bVerbKnown ? error.what() : "a verb is required";
    if (words.front().starts_with('-')) return UnknownOption(app, words.front());
    return bVerbKnown ? "unexpected argument '" + words.front() + "'" : UnknownVerb(words.front());
}

int FailToParse(Console& console, const CLI::App& app, const CLI::ParseError& error, const char* pszVerb) {
    console.Error(WhyNotParsed(app, error));
    if (!console.bJson && console.progress != Console::ProgressStyle::Lines)
        console.err << std::string("Run 'kvbank ") + pszVerb + (*pszVerb == '\0' ? "" : " ") +
                           "--help' to see how it is used.\n";
    return console.Finish(pszVerb, kExitUsage);
}

using Commands = std::array<std::unique_ptr<Command>, kVerbs.size()>;

constexpr const char* kSummary = "Makes, lists, checks and removes the banks of a sampled instrument.";

// Declares every verb and option. The parser fills the commands, and sets pszVerb as soon as the verb is
// known.
void Declare(CLI::App& app, Console& console, Commands& commands, const char*& pszVerb) {
    app.require_subcommand(1);
    app.fallthrough();
    app.get_formatter()->label("SUBCOMMAND", "VERB");
    app.footer(kFooter);
    AddGlobalOptions(app, console);
    for (size_t i = 0; i < kVerbs.size(); ++i) {
        commands[i] = kVerbs[i].make();
        CLI::App& verb = *app.add_subcommand(kVerbs[i].pszName, kVerbs[i].pszSummary);
        verb.group("Verbs");
        verb.preparse_callback([&pszVerb, i](size_t) { pszVerb = kVerbs[i].pszName; });
        commands[i]->Describe(verb);
    }
    app.footer(kHelpHint + std::string(kFooter));  // the verbs have copied the footer without the hint before
}

int ParseAndRun(const std::vector<std::string>& arguments, Console& console, const char*& pszVerb) {
    CLI::App app(kSummary, "kvbank");
    Commands commands;
    Declare(app, console, commands, pszVerb);
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));  // the parser's order
        RefuseEmptyValues(app);
        RefuseEmptyValues(*app.get_subcommands().front());
    } catch (const CLI::Success& wish) {  // for help or the version
        if (app.get_subcommands().empty() && !app.remaining().empty())
            return FailToParse(console, app, wish, pszVerb);
        app.exit(wish, console.out, console.err);
        return console.Flush(kExitDone);
    } catch (const CLI::ParseError& error) {
        return FailToParse(console, app, error, pszVerb);
    }
    if (const ExitCode code = BeginOutput(arguments, console); code != kExitDone)
        return console.Finish(pszVerb, code);
    std::optional<ReadBudget> budget;
    if (!console.bTrust) budget.emplace();
    for (size_t i = 0; i < kVerbs.size(); ++i)
        if (pszVerb == kVerbs[i].pszName) return commands[i]->Run(console);
    return kExitInternal;
}

// When there is no memory even for this message, a shorter one takes its place, which needs none.
int Fail(Console& console, const char* pszVerb, ExitCode code, const char* pszKind, const char* pszCause) {
    bool bTold = false;
    try {
        console.Error(std::string(pszKind) + pszCause);
        bTold = true;
        return console.Finish(pszVerb, code);
    } catch (const std::exception&) {
        if (!bTold) console.err << "kvbank: " << pszKind << '\n' << std::flush;
        return code;
    }
}

}  // namespace

void ReadCommandLineTable(const std::function<void(CLI::App&)>& read) {
    std::istringstream in;
    std::ostringstream out, err;
    Console console(in, out, err);
    const char* pszVerb = "";
    CLI::App app(kSummary, "kvbank");
    Commands commands;
    Declare(app, console, commands, pszVerb);
    read(app);
}

int RunKvBank(std::vector<std::string> arguments, Console& console) {
    const char* pszVerb = "";
    console.bJson = AsksForJson(arguments);
    try {
        TurnHelpIntoOption(arguments);
        return ParseAndRun(arguments, console, pszVerb);
    } catch (const std::bad_alloc&) {
        return Fail(console, pszVerb, kExitNoMemory, "out of memory", "");
    } catch (const std::exception& error) {
        return Fail(console, pszVerb, kExitInternal, "internal error: ", error.what());
    }
}

}  // namespace Kestrova
