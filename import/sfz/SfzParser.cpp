#include "import/sfz/SfzParser.h"

#include <algorithm>
#include <cctype>
#include <string>

#include "import/sfz/SfzText.h"

namespace Kestrova {
namespace {

constexpr size_t kMostQuoted = 60;

bool IsOpcodeLetter(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

std::string_view Trimmed(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(kSfzBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kSfzBlanks) + 1);
}

// The length of the opcode's name at the beginning of the text, in front of its "="; 0 when there is none.
size_t NameLength(std::string_view text) {
    const auto end = std::find_if_not(text.begin(), text.end(), IsOpcodeLetter);
    return end != text.end() && *end == '=' ? static_cast<size_t>(end - text.begin()) : 0;
}

// How far the value at the beginning of the text goes.
size_t ValueLength(std::string_view text) {
    size_t nWord = 0;       // where the word in hand begins
    bool bLetters = false;  // it has only the letters of an opcode so far; the value's first word is none
    for (size_t n = 0; n < text.size(); ++n) {
        const char c = text[n];
        if (c == '<' || c == '\r' || c == '\n') return n;
        if (c == '=' && bLetters && n > nWord) return nWord - 1;
        bLetters = IsSfzBlank(c) || (bLetters && IsOpcodeLetter(c));
        if (IsSfzBlank(c)) nWord = n + 1;
    }
    return text.size();
}

class Parser {
public:
    Parser(std::string_view text, ImportReport& report) : m_rest(text), m_report(report) {}

    std::vector<SfzHeader> Parse() {
        for (SkipBlanks(); !m_rest.empty(); SkipBlanks()) {
            if (m_rest[0] == '<' && TakeHeader()) continue;
            if (const size_t nName = NameLength(m_rest); nName > 0)
                TakeOpcode(nName);
            else
                DropWord();
        }
        return std::move(m_headers);
    }

private:
    void SkipBlanks() { m_rest.remove_prefix(std::min(m_rest.find_first_not_of(kSfzBlanks), m_rest.size())); }

    std::string_view Take(size_t n) {
        const std::string_view taken = m_rest.substr(0, n);
        m_rest.remove_prefix(taken.size());
        return taken;
    }

    bool TakeHeader() {
        const size_t nEnd = m_rest.find_first_of("<>\r\n", 1);
        if (nEnd == std::string_view::npos || m_rest[nEnd] != '>') return false;
        m_headers.push_back({Trimmed(Take(nEnd + 1).substr(1, nEnd - 1)), {}});
        return true;
    }

    void TakeOpcode(size_t nName) {
        SfzOpcode opcode;
        opcode.name = Take(nName);
        Take(1);
        opcode.value = Trimmed(Take(ValueLength(m_rest)));
        if (m_headers.empty())
            m_report.Note(ImportEvent::Dropped, "opcode " + QuotedPart(opcode.name),
                          "it stands in front of the first header");
        else
            m_headers.back().opcodes.push_back(opcode);
    }

    void DropWord() {
        const size_t nWord = std::min(m_rest.find_first_of(std::string(kSfzBlanks) + "<", 1), m_rest.size());
        m_report.Note(ImportEvent::Dropped, "text " + QuotedPart(Take(nWord)), "it is no opcode");
    }

    std::string_view m_rest;
    ImportReport& m_report;
    std::vector<SfzHeader> m_headers;
};

}  // namespace

std::vector<SfzHeader> ParseSfz(std::string_view text, ImportReport& report) {
    return Parser(text, report).Parse();
}

std::string QuotedPart(std::string_view text) {
    const bool bCut = text.size() > kMostQuoted;
    return '"' + std::string(text.substr(0, kMostQuoted)) + (bCut ? "...\"" : "\"");
}

}  // namespace Kestrova
