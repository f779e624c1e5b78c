// The completion of zsh, on its _arguments.
#include "tools/manual/CommandTable.h"

namespace Kestrova {
namespace {

// In single quotes, with the characters that _arguments reads escaped.
std::string Text(const std::string& strText) {
    std::string strQuoted;
    for (const char ch : Escaped(strText, "[]:\\")) strQuoted += ch == '\'' ? "'\\''" : std::string(1, ch);
    return strQuoted;
}

// ":message:action", as it stands behind an option.
std::string Action(const OptionText& option) {
    const std::string strMessage = ":" + Text(option.strValue) + ":";
    switch (option.kind) {
        case ValueKind::kFile: return strMessage + "_files";
        case ValueKind::kFolder: return strMessage + "_files -/";
        case ValueKind::kChoice: return strMessage + "(" + Joined(option.choices, " ") + ")";
        case ValueKind::kNothing: break;
    }
    return strMessage + " ";
}

// '(-d --dir)'{-d,--dir=}'[help]:DIR:_files -/'
std::string OptionSpec(const OptionText& option) {
    std::vector<std::string> forms = option.shortNames;
    for (const std::string& strName : option.longNames)
        forms.push_back(strName + (option.strValue.empty() ? "" : "="));
    const std::string strTail =
        "[" + Text(option.strHelp) + "]" + (option.strValue.empty() ? "" : Action(option)) + "'";
    if (forms.size() == 1) return (option.bMany ? "'*" : "'") + forms[0] + strTail;
    const std::string strOnce = option.bMany ? "'*'" : "'(" + Joined(option.Names(), " ") + ")'";
    return strOnce + "{" + Joined(forms, ",") + "}'" + strTail;
}

std::string VerbBranch(const VerbText& verb) {
    std::string strBranch =
        "            " + verb.strName + ")\n                _arguments -s -S \"$common[@]\"";
    for (const OptionText& option : verb.options)
        strBranch += " \\\n                    " + OptionSpec(option);
    for (const OptionText& argument : verb.arguments)
        strBranch +=
            std::string(" \\\n                    '") + (argument.bMany ? "*" : "") + Action(argument) + "'";
    return strBranch + " ;;\n";
}

std::string Common(const std::vector<OptionText>& options) {
    std::string strCommon = "    local -a common=(\n";
    for (const OptionText& option : options) strCommon += "        " + OptionSpec(option) + "\n";
    return strCommon + "    )\n";
}

std::string Verbs(const std::vector<VerbText>& verbs) {
    std::string strVerbs = "    local -a verbs=(\n";
    for (const VerbText& verb : verbs)
        strVerbs += "        '" + verb.strName + ":" + Text(verb.strSummary) + "'\n";
    return strVerbs + "    )\n";
}

}  // namespace

std::string ZshCompletion(const CommandTable& table) {
    std::string strScript = "#compdef kvbank\n# " + std::string(kGenerated) + "\n\n_kvbank() {\n" +
                            "    local curcontext=$curcontext state state_descr line\n" +
                            "    typeset -A opt_args\n" + Verbs(table.verbs) + Common(table.options);
    strScript +=
        "    _arguments -C -S \"$common[@]\" '1: :->verb' '*:: :->rest' && return\n"
        "    case $state in\n"
        "        verb) verbs+=('help:show the options of a verb')\n"
        "            _describe verb verbs ;;\n"
        "        rest) case $words[1] in\n";
    for (const VerbText& verb : table.verbs) strScript += VerbBranch(verb);
    strScript +=
        "            help) _describe verb verbs ;;\n"
        "        esac ;;\n"
        "    esac\n"
        "}\n\n"
        "_kvbank \"$@\"\n";
    return strScript;
}

}  // namespace Kestrova
