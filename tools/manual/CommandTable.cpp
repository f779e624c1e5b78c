#include "tools/manual/CommandTable.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

#include "bank/BankRates.h"
#include "tools/kvbank/Command.h"

namespace Kestrova {
namespace {

// The words that stand for a path in the help of an option; those of arguments are all paths.
constexpr std::array<std::string_view, 4> kFileWords = {"FILE", "SOURCE", "OUT", "INPUT"};
constexpr std::string_view kFolderWord = "DIR";
constexpr std::string_view kRatesWord = "RATES";
constexpr std::string_view kNamelessWord = "TEXT";  // what the parser says when it was not told a word

std::vector<std::string> Prefixed(const char* pszPrefix, const std::vector<std::string>& names) {
    std::vector<std::string> prefixed;
    prefixed.reserve(names.size());
    for (const std::string& strName : names) prefixed.push_back(pszPrefix + strName);
    return prefixed;
}

std::vector<std::string> Parts(const std::string& strText, char chBetween) {
    std::vector<std::string> parts;
    for (size_t nFrom = 0; nFrom <= strText.size();) {
        const size_t nTo = std::min(strText.find(chBetween, nFrom), strText.size());
        parts.push_back(strText.substr(nFrom, nTo - nFrom));
        nFrom = nTo + 1;
    }
    return parts;
}

// The texts of the checks of an option, which the parser appends to the word for its value.
std::vector<std::string> ChecksOf(CLI::Option& option) {
    std::vector<std::string> checks;
    try {
        for (int i = 0;; ++i) checks.push_back(option.get_validator(i)->get_description());
    } catch (const CLI::OptionNotFound&) {
        return checks;  // there is no other end of this list
    }
}

// The word for the value without the texts of the checks.
std::string ValueWord(CLI::Option& option, const std::vector<std::string>& checks) {
    if (option.get_items_expected_max() == 0) return "";
    std::string strTail;
    for (const std::string& strCheck : checks)
        if (!strCheck.empty()) strTail += ":" + strCheck;
    const std::string strType = option.get_type_name();
    return strType.substr(0, strType.size() - strTail.size());
}

// "plain|per-key" as a word, or "{wav,flac}" as a check.
std::vector<std::string> ChoicesOf(const std::string& strWord, const std::vector<std::string>& checks) {
    if (strWord.find('|') != std::string::npos) return Parts(strWord, '|');
    for (const std::string& strCheck : checks)
        if (strCheck.size() > 2 && strCheck.front() == '{' && strCheck.back() == '}')
            return Parts(strCheck.substr(1, strCheck.size() - 2), ',');
    return {};
}

std::vector<std::string> RateChoices() {
    std::vector<std::string> choices = {"all"};
    for (const auto nRate : iSPS) choices.push_back(std::to_string(nRate));
    return choices;
}

ValueKind PathKind(const std::string& strWord, bool bArgument) {
    if (strWord == kFolderWord) return ValueKind::kFolder;
    const bool bFile = std::find(kFileWords.begin(), kFileWords.end(), strWord) != kFileWords.end();
    return bFile || bArgument ? ValueKind::kFile : ValueKind::kNothing;
}

OptionText ReadOption(CLI::Option& option) {
    OptionText text;
    const bool bArgument = option.get_positional();
    const std::vector<std::string> checks = ChecksOf(option);
    text.shortNames = Prefixed("-", option.get_snames());
    text.longNames = Prefixed("--", option.get_lnames());
    text.strValue = bArgument ? option.get_name(true) : ValueWord(option, checks);
    text.strHelp = option.get_description();
    text.bRequired = option.get_required();
    text.bMany = option.get_items_expected_max() > 1;
    text.choices = text.strValue == kRatesWord ? RateChoices() : ChoicesOf(text.strValue, checks);
    if (text.strValue == kNamelessWord && !text.choices.empty()) text.strValue = Joined(text.choices, "|");
    text.kind = text.choices.empty() ? PathKind(text.strValue, bArgument) : ValueKind::kChoice;
    return text;
}

std::vector<OptionText> ReadOptions(CLI::App& app, bool bArguments) {
    std::vector<OptionText> texts;
    for (CLI::Option* const pOption : app.get_options([bArguments](const CLI::Option* pOne) {
             return pOne->get_positional() == bArguments && !pOne->get_group().empty();
         }))
        texts.push_back(ReadOption(*pOption));
    return texts;
}

// The help of a verb has the option for help as well; it belongs to all of them.
std::vector<OptionText> WithoutHelp(std::vector<OptionText> options) {
    std::erase_if(options, [](const OptionText& option) {
        return std::find(option.longNames.begin(), option.longNames.end(), "--help") !=
               option.longNames.end();
    });
    return options;
}

// From the end of every help text: what stands between "Exit codes:" and the full stop, in one line.
std::string ExitCodesIn(const std::string& strFooter) {
    constexpr std::string_view kLead = "Exit codes: ";
    const size_t nLead = strFooter.find(kLead);
    if (nLead == std::string::npos) return "";
    const size_t nFrom = nLead + kLead.size();
    std::string strCodes = strFooter.substr(nFrom, strFooter.find('.', nFrom) - nFrom);
    std::replace(strCodes.begin(), strCodes.end(), '\n', ' ');
    return strCodes;
}

}  // namespace

std::vector<std::string> OptionText::Names() const {
    std::vector<std::string> names = shortNames;
    names.insert(names.end(), longNames.begin(), longNames.end());
    return names;
}

CommandTable TableOf(CLI::App& app) {
    CommandTable table;
    table.strSummary = app.get_description();
    table.strExitCodes = ExitCodesIn(app.get_footer());
    table.options = ReadOptions(app, false);
    for (CLI::App* const pVerb : app.get_subcommands({}))
        table.verbs.push_back({pVerb->get_name(), pVerb->get_description(), ReadOptions(*pVerb, true),
                               WithoutHelp(ReadOptions(*pVerb, false))});
    return table;
}

CommandTable ReadCommandTable() {
    CommandTable table;
    ReadCommandLineTable([&table](CLI::App& app) { table = TableOf(app); });
    return table;
}

std::string Joined(const std::vector<std::string>& parts, const std::string& strBetween) {
    std::string strJoined;
    for (const std::string& strPart : parts) strJoined += (strJoined.empty() ? "" : strBetween) + strPart;
    return strJoined;
}

std::string Escaped(const std::string& strText, const std::string& strCharacters) {
    std::string strEscaped;
    for (const char ch : strText) {
        if (strCharacters.find(ch) != std::string::npos) strEscaped += '\\';
        strEscaped += ch;
    }
    return strEscaped;
}

}  // namespace Kestrova
