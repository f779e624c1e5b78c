// The table of verbs, and the options all of them have.
#include <algorithm>
#include <array>
#include <new>

#include "tools/kvbank/BuildCommand.h"
#include "tools/kvbank/Command.h"
#include "tools/kvbank/DemoCommand.h"
#include "tools/kvbank/ImportCommand.h"
#include "tools/kvbank/InfoCommand.h"
#include "tools/kvbank/ListCommand.h"
#include "tools/kvbank/RemoveCommand.h"
#include "tools/kvbank/VerifyCommand.h"

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
    Verb{"import", "make a source of a SoundFont file", Make<ImportCommand>},
    Verb{"info", "tell what a bank or source holds", Make<InfoCommand>},
    Verb{"list", "list the banks in a folder", Make<ListCommand>},
    Verb{"remove", "remove banks of a source from a folder", Make<RemoveCommand>},
    Verb{"verify", "check banks, also against their source", Make<VerifyCommand>},
};

constexpr const char* kFooter =
    "Exit codes: 0 done; 1 done, but something is wrong; 2 usage; 3 input unreadable or not a bank;\n"
    "4 output failed; 5 not enough space; 6 something would be lost (--strict); 7 busy; 8 out of memory;\n"
    "70 internal error. A cancelled job leaves nothing half-done.";

void AddGlobalOptions(CLI::App& app, Console& console) {
    app.set_version_flag("-V,--version", "kvbank 1.0");
    app.add_flag("-q,--quiet", console.bQuiet, "say nothing but errors");
    app.add_flag("-v,--verbose", console.bVerbose, "say more, the engine's result numbers too");
    app.add_flag("--json", console.bJson, "write one JSON document to standard output");
}

// Known before anything can fail. (Behind "--" it would be a name.)
bool AsksForJson(const std::vector<std::string>& arguments) {
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    return std::find(arguments.begin(), end, "--json") != end;
}

// An empty name is a mistake in a script, and no option has a use for one.
void RefuseEmptyValues(const CLI::App& verb) {
    for (const CLI::Option* const pOption : verb.get_options())
        for (const std::string& strValue : pOption->results())
            if (strValue.empty()) throw CLI::ValidationError(pOption->get_name(), "the value is empty");
}

// The word that has no place is the likelier cause than what the parser misses for lack of it.
std::string WhyNotParsed(const CLI::App& app, const CLI::ParseError& error) {
    const std::vector<std::string> words = app.remaining(true);
    if (words.empty()) return error.what();
    const char* const pszKind = words.front().starts_with('-')  ? "unknown option '"
                                : app.get_subcommands().empty() ? "unknown verb '"
                                                                : "unexpected argument '";
    return pszKind + words.front() + "'";
}

int FailToParse(Console& console, const CLI::App& app, const CLI::ParseError& error, const char* pszVerb) {
    console.Error(WhyNotParsed(app, error));
    if (!console.bJson)
        console.err << std::string("Run 'kvbank ") + pszVerb + (*pszVerb == '\0' ? "" : " ") +
                           "--help' to see how it is used.\n";
    return console.Finish(pszVerb, kExitUsage);
}

// Tells in pszVerb which one it is as soon as that is known.
int ParseAndRun(std::vector<std::string> arguments, Console& console, const char*& pszVerb) {
    CLI::App app("Makes, lists, checks and removes the banks of a sampled instrument.", "kvbank");
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(kFooter);
    AddGlobalOptions(app, console);
    std::array<std::unique_ptr<Command>, kVerbs.size()> commands;
    for (size_t i = 0; i < kVerbs.size(); ++i) {
        commands[i] = kVerbs[i].make();
        CLI::App& verb = *app.add_subcommand(kVerbs[i].pszName, kVerbs[i].pszSummary);
        verb.preparse_callback([&pszVerb, i](size_t) { pszVerb = kVerbs[i].pszName; });
        commands[i]->Describe(verb);
    }
    try {
        std::reverse(arguments.begin(), arguments.end());  // the order the parser takes them in
        app.parse(std::move(arguments));
        RefuseEmptyValues(*app.get_subcommands().front());
    } catch (const CLI::Success& wish) {  // for help or the version
        app.exit(wish, console.out, console.err);
        return console.Flush(kExitDone);
    } catch (const CLI::ParseError& error) {
        return FailToParse(console, app, error, pszVerb);
    }
    for (size_t i = 0; i < kVerbs.size(); ++i)
        if (pszVerb == kVerbs[i].pszName) return commands[i]->Run(console);
    return kExitInternal;
}

// With no memory left even for this, the code has to do.
int Fail(Console& console, const char* pszVerb, ExitCode code, const char* pszKind, const char* pszCause) {
    try {
        console.Error(std::string(pszKind) + pszCause);
        return console.Finish(pszVerb, code);
    } catch (const std::exception&) {
        return code;
    }
}

}  // namespace

int RunKvBank(std::vector<std::string> arguments, Console& console) {
    const char* pszVerb = "";
    console.bJson = AsksForJson(arguments);
    try {
        return ParseAndRun(std::move(arguments), console, pszVerb);
    } catch (const std::bad_alloc&) {
        return Fail(console, pszVerb, kExitNoMemory, "out of memory", "");
    } catch (const std::exception& error) {
        return Fail(console, pszVerb, kExitInternal, "internal error: ", error.what());
    }
}

}  // namespace Kestrova
