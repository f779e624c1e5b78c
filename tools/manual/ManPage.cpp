// The manual page in the language of roff (man macros).
#include <cctype>
#include <stdexcept>

#include "tools/manual/CommandTable.h"

namespace Kestrova {
namespace {

// Every hyphen is one to be typed, and no line begins like a request.
std::string Roff(const std::string& strText) {
    std::string strRoff = strText.empty() || (strText[0] != '.' && strText[0] != '\'') ? "" : "\\&";
    for (const char ch : strText) {
        if (ch == '\\')
            strRoff += "\\e";
        else
            strRoff += ch == '-' ? std::string("\\-") : std::string(1, ch);
    }
    return strRoff;
}

std::string Bold(const std::string& strText) { return "\\fB" + Roff(strText) + "\\fR"; }
std::string Slanted(const std::string& strText) { return "\\fI" + Roff(strText) + "\\fR"; }

// "print only errors" as a sentence.
std::string Sentence(std::string strText) {
    if (!strText.empty())
        strText[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(strText[0])));
    const bool bEnds = strText.ends_with('.');
    return Roff(strText) + (bEnds ? "" : ".");
}

// "-d, --dir DIR" with its letters.
std::string Head(const OptionText& option) {
    std::vector<std::string> names;
    for (const std::string& strName : option.Names()) names.push_back(Bold(strName));
    const std::string strValue = option.strValue.empty() ? "" : Slanted(option.strValue);
    const std::string strBetween = names.empty() || strValue.empty() ? "" : " ";
    return Joined(names, ", ") + strBetween + strValue;
}

std::string Entry(const OptionText& option) {
    const std::string strNeeded = option.bRequired && !option.Names().empty() ? " Must be given." : "";
    return ".TP\n" + Head(option) + "\n" + Sentence(option.strHelp) + strNeeded + "\n";
}

// "kvbank build SOURCE -d DIR [OPTION...]": what must be given, and that there is more.
std::string Usage(const VerbText& verb) {
    std::string strUsage = Bold("kvbank " + verb.strName);
    bool bMore = false;
    for (const OptionText& argument : verb.arguments)
        strUsage += " " + Slanted(argument.strValue) + (argument.bMany ? "..." : "");
    for (const OptionText& option : verb.options) {
        if (option.bRequired)
            strUsage += " " + Bold(option.Names().front()) + " " + Slanted(option.strValue);
        else
            bMore = true;
    }
    return strUsage + (bMore ? " [" + Slanted("OPTION") + "...]" : "");
}

std::string Verbs(const CommandTable& table) {
    std::string strVerbs;
    for (const VerbText& verb : table.verbs) {
        strVerbs += ".SS " + verb.strName + "\n" + Usage(verb) + "\n.PP\n" + Sentence(verb.strSummary) + "\n";
        for (const OptionText& argument : verb.arguments) strVerbs += Entry(argument);
        for (const OptionText& option : verb.options) strVerbs += Entry(option);
    }
    return strVerbs;
}

std::string Options(const CommandTable& table) {
    std::string strOptions;
    for (const OptionText& option : table.options) strOptions += Entry(option);
    return strOptions;
}

// "0 done; 1 ..." as a list.
std::string ExitCodes(const std::string& strCodes) {
    std::string strList;
    for (size_t nFrom = 0; nFrom < strCodes.size();) {
        const size_t nTo = std::min(strCodes.find("; ", nFrom), strCodes.size());
        const size_t nWord = strCodes.find(' ', nFrom);
        strList += ".TP\n" + Bold(strCodes.substr(nFrom, nWord - nFrom)) + "\n" +
                   Sentence(strCodes.substr(nWord + 1, nTo - nWord - 1)) + "\n";
        nFrom = nTo + 2;
    }
    return strList;
}

void Fill(std::string& strTemplate, const std::string& strPlace, const std::string& strText) {
    const size_t nAt = strTemplate.find(strPlace);
    if (nAt == std::string::npos) throw std::runtime_error("the template has no line " + strPlace);
    strTemplate.replace(nAt, strPlace.size(), strText);
}

}  // namespace

std::string ManPage(const CommandTable& table, std::string strTemplate) {
    Fill(strTemplate, "@VERBS@\n", Verbs(table));
    Fill(strTemplate, "@OPTIONS@\n", Options(table));
    Fill(strTemplate, "@EXIT@\n", ExitCodes(table.strExitCodes));
    return ".\\\" " + std::string(kGenerated) + "\n" + strTemplate;
}

}  // namespace Kestrova
