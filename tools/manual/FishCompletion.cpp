// The completion of fish: one line for each verb, option and argument.
#include "tools/manual/CommandTable.h"

namespace Kestrova {
namespace {

constexpr char kLine[] = "complete -c kvbank";

std::string Quoted(const std::string& strText) { return "'" + Escaped(strText, "'\\") + "'"; }

// What proposes the value; fish proposes files where nothing else is said, and -x keeps it from that.
std::string Proposal(const OptionText& option) {
    switch (option.kind) {
        case ValueKind::kFile: return "F";
        case ValueKind::kFolder: return "x -a '(__fish_complete_directories)'";
        case ValueKind::kChoice: return "x -a " + Quoted(Joined(option.choices, " "));
        case ValueKind::kNothing: break;
    }
    return "x";
}

std::string OptionLine(const std::string& strWhen, const OptionText& option) {
    std::string strLine = kLine + strWhen;
    for (const std::string& strName : option.shortNames) strLine += " -s " + strName.substr(1);
    for (const std::string& strName : option.longNames) strLine += " -l " + strName.substr(2);
    if (!option.strValue.empty())
        strLine += (option.kind == ValueKind::kFile ? " -r -" : " -") + Proposal(option);
    return strLine + " -d " + Quoted(option.strHelp) + "\n";
}

std::string ArgumentLine(const std::string& strWhen, const OptionText& argument) {
    const std::string strProposal = Proposal(argument);
    return kLine + strWhen + (strProposal == "F" ? " -F" : strProposal.substr(1)) + "\n";
}

}  // namespace

std::string FishCompletion(const CommandTable& table) {
    std::string strScript = "# " + std::string(kGenerated) + "\n" + kLine + " -f\n";
    std::vector<std::string> names;
    for (const VerbText& verb : table.verbs) {
        names.push_back(verb.strName);
        strScript += std::string(kLine) + " -n __fish_use_subcommand -a " + verb.strName + " -d " +
                     Quoted(verb.strSummary) + "\n";
    }
    strScript += std::string(kLine) + " -n __fish_use_subcommand -a help -d 'show the options of a verb'\n";
    strScript +=
        std::string(kLine) + " -n '__fish_seen_subcommand_from help' -a " + Quoted(Joined(names, " ")) + "\n";
    for (const OptionText& option : table.options) strScript += OptionLine("", option);
    for (const VerbText& verb : table.verbs) {
        const std::string strWhen = " -n '__fish_seen_subcommand_from " + verb.strName + "'";
        for (const OptionText& option : verb.options) strScript += OptionLine(strWhen, option);
        for (const OptionText& argument : verb.arguments) strScript += ArgumentLine(strWhen, argument);
    }
    return strScript;
}

}  // namespace Kestrova
