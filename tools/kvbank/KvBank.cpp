// The table of verbs, and the options all of them have.
#include <algorithm>
#include <array>
#include <functional>
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

int RunVerb(CLI::App& app, std::vector<std::string> arguments, Console& console,
            const std::vector<std::unique_ptr<Command>>& commands) {
    try {
        std::reverse(arguments.begin(), arguments.end());  // the order the parser takes them in
        app.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        const bool bAsked = app.exit(error, console.out, console.err) == 0;  // for help or the version
        return bAsked ? console.Flush(kExitDone) : kExitUsage;
    }
    for (size_t i = 0; i < kVerbs.size(); ++i)
        if (app.got_subcommand(kVerbs[i].pszName)) return commands[i]->Run(console);
    return kExitInternal;
}

}  // namespace

int RunKvBank(std::vector<std::string> arguments, Console& console) try {
    CLI::App app("Makes, lists, checks and removes the banks of a sampled instrument.", "kvbank");
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(kFooter);
    AddGlobalOptions(app, console);
    std::vector<std::unique_ptr<Command>> commands;
    for (const Verb& verb : kVerbs) {
        commands.push_back(verb.make());
        commands.back()->Describe(*app.add_subcommand(verb.pszName, verb.pszSummary));
    }
    return RunVerb(app, std::move(arguments), console, commands);
} catch (const std::bad_alloc&) {
    console.Error("out of memory");
    return kExitNoMemory;
}

}  // namespace Kestrova
