// The completion of bash, on what bash itself has.
#include "tools/manual/CommandTable.h"

namespace Kestrova {
namespace {

constexpr char kHead[] = R"(
# Proposes what compgen finds for the arguments given. Names may hold spaces.
_kvbank_propose() {
    local IFS=$'\n'
    COMPREPLY=($(compgen "$@" -- "$cur"))
}

_kvbank_files() {
    compopt -o filenames 2>/dev/null
    _kvbank_propose -f
}

_kvbank_folders() {
    compopt -o filenames 2>/dev/null
    _kvbank_propose -d
}

_kvbank() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]} verb= word
    # "--dir=x" comes as three words.
    if [[ $cur == = ]]; then
        cur=
    elif [[ $prev == = ]]; then
        prev=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    COMPREPLY=()
)";

// What proposes the value of an option or argument; nothing is proposed by "return".
std::string Proposal(const OptionText& option) {
    switch (option.kind) {
        case ValueKind::kFile: return "_kvbank_files";
        case ValueKind::kFolder: return "_kvbank_folders";
        case ValueKind::kChoice: return "_kvbank_propose -W $'" + Joined(option.choices, "\\n") + "'";
        case ValueKind::kNothing: break;
    }
    return ":";
}

std::string VerbNames(const CommandTable& table, const std::string& strBetween) {
    std::vector<std::string> names;
    names.reserve(table.verbs.size());
    for (const VerbText& verb : table.verbs) names.push_back(verb.strName);
    return Joined(names, strBetween);
}

// "build:-d | build:--dir".
std::string Patterns(const std::string& strVerb, const OptionText& option) {
    std::vector<std::string> patterns = option.Names();
    for (std::string& strName : patterns) strName.insert(0, strVerb + ":");
    return Joined(patterns, " | ");
}

// One branch for each option that takes a value: "build:-d | build:--dir) ... return ;;".
std::string ValueBranches(const std::string& strVerb, const std::vector<OptionText>& options) {
    std::string strBranches;
    for (const OptionText& option : options) {
        if (option.strValue.empty()) continue;
        strBranches.append("        ").append(Patterns(strVerb, option)).append(") ");
        strBranches.append(Proposal(option)).append("; return ;;\n");
    }
    return strBranches;
}

std::string NamesOf(const std::vector<OptionText>& options) {
    std::vector<std::string> names;
    names.reserve(options.size());
    for (const OptionText& option : options) names.push_back(Joined(option.Names(), "\\n"));
    return Joined(names, "\\n");
}

// With several arguments all are alike, or the last one repeats.
std::string VerbBranch(const CommandTable& table, const VerbText& verb) {
    const std::string strArgument = verb.arguments.empty() ? ":" : Proposal(verb.arguments.front());
    const std::string strOptions = NamesOf(verb.options) + (verb.options.empty() ? "" : "\\n");
    return "        " + verb.strName + ")\n            if [[ $cur == -* ]]; then\n" +
           "                _kvbank_propose -W $'" + strOptions + NamesOf(table.options) +
           "'\n            else\n                " + strArgument + "\n            fi ;;\n";
}

}  // namespace

std::string BashCompletion(const CommandTable& table) {
    std::string strScript = "# " + std::string(kGenerated) + "\n# shellcheck shell=bash\n" + kHead;
    strScript +=
        "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n        case $word in\n            " +
        VerbNames(table, " | ") +
        " | help) verb=$word; break ;;\n        esac\n    done\n    case $verb:$prev in\n";
    strScript += ValueBranches("*", table.options);
    for (const VerbText& verb : table.verbs) strScript += ValueBranches(verb.strName, verb.options);
    strScript += "    esac\n    case $verb in\n";
    for (const VerbText& verb : table.verbs) strScript += VerbBranch(table, verb);
    strScript += "        help) _kvbank_propose -W $'" + VerbNames(table, "\\n") + "' ;;\n";
    strScript += "        *) _kvbank_propose -W $'" + VerbNames(table, "\\n") + "\\nhelp\\n" +
                 NamesOf(table.options) + "' ;;\n    esac\n}\n\ncomplete -F _kvbank kvbank\n";
    return strScript;
}

}  // namespace Kestrova
