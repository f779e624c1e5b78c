#include "import/notefolder/NoteName.h"

#include <charconv>
#include <string_view>
#include <vector>

namespace Kestrova {
namespace {

constexpr std::string_view kSeparators = " -_.,;()[]";
constexpr int kHighestKey = 127;
constexpr int kKeysPerOctave = 12;
constexpr size_t kMostKeyDigits = 3;
constexpr size_t kMostLayerDigits = 4;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// What of a text is still to be read.
class Reader {
public:
    explicit Reader(std::string_view text) : m_text(text) {}

    bool AtEnd() const { return m_text.empty(); }
    bool Take(char c) {
        if (m_text.empty() || Lower(m_text[0]) != c) return false;
        m_text.remove_prefix(1);
        return true;
    }
    bool Take(std::string_view word) {
        for (size_t i = 0; i < word.size(); ++i)
            if (i >= m_text.size() || Lower(m_text[i]) != word[i]) return false;
        m_text.remove_prefix(word.size());
        return true;
    }
    std::optional<int> TakeNumber(size_t nMostDigits) {
        size_t nDigits = 0;
        while (nDigits < m_text.size() && IsDigit(m_text[nDigits])) ++nDigits;
        if (nDigits == 0 || nDigits > nMostDigits) return std::nullopt;
        int n = 0;
        std::from_chars(m_text.data(), m_text.data() + nDigits, n);
        m_text.remove_prefix(nDigits);
        return n;
    }

private:
    std::string_view m_text;
};

// The letter and its accidental, as keys above C.
std::optional<int> TakeLetter(Reader& reader) {
    constexpr std::pair<char, int> kLetters[] = {{'c', 0}, {'d', 2}, {'e', 4}, {'f', 5},
                                                 {'g', 7}, {'a', 9}, {'b', 11}};
    for (const auto& [letter, nKeys] : kLetters)
        if (reader.Take(letter)) return reader.Take('#') ? nKeys + 1 : reader.Take('b') ? nKeys - 1 : nKeys;
    return std::nullopt;
}

std::optional<int> TakeNote(Reader& reader) {
    const std::optional<int> nLetter = TakeLetter(reader);
    if (!nLetter) return std::nullopt;
    const bool bNegative = reader.Take('-');
    const std::optional<int> nOctave = reader.TakeNumber(1);
    if (!nOctave || (bNegative && *nOctave > 2)) return std::nullopt;
    const int nKey = *nLetter + kKeysPerOctave * ((bNegative ? -*nOctave : *nOctave) + 1);
    return nKey >= 0 && nKey <= kHighestKey ? std::optional(nKey) : std::nullopt;
}

std::optional<int> TakeKeyNumber(Reader& reader) {
    const std::optional<int> nKey = reader.TakeNumber(kMostKeyDigits);
    return nKey && *nKey <= kHighestKey ? nKey : std::nullopt;
}

std::optional<int> TakeLayer(Reader& reader) {
    for (const std::string_view word : {"velocity", "vel", "v"})
        if (reader.Take(word)) return reader.TakeNumber(kMostLayerDigits);
    return std::nullopt;
}

struct Word {
    std::string_view text;
    std::optional<int> nNote, nKeyNumber, nLayer;
};

// The key and, right behind it, perhaps the layer.
std::optional<int> ReadKey(std::string_view text, std::optional<int> (*takeKey)(Reader&),
                           std::optional<int>& nLayer) {
    Reader reader(text);
    const std::optional<int> nKey = takeKey(reader);
    if (!nKey || reader.AtEnd()) return nKey;
    const std::optional<int> nBehind = TakeLayer(reader);
    if (!nBehind || !reader.AtEnd()) return std::nullopt;
    nLayer = nBehind;
    return nKey;
}

Word ReadWord(std::string_view text) {
    Word word{text, {}, {}, {}};
    word.nNote = ReadKey(text, TakeNote, word.nLayer);
    if (!word.nNote) word.nKeyNumber = ReadKey(text, TakeKeyNumber, word.nLayer);
    if (word.nNote || word.nKeyNumber) return word;
    Reader reader(text);
    const std::optional<int> nLayer = TakeLayer(reader);
    if (reader.AtEnd()) word.nLayer = nLayer;
    return word;
}

// Whether the '-' at nPos belongs to a note that begins at nFirst.
bool IsOctaveSign(std::string_view text, size_t nFirst, size_t nPos) {
    if (text[nPos] != '-' || nPos + 1 >= text.size()) return false;
    Reader reader(text.substr(nFirst, nPos - nFirst));
    const bool bOctave = text[nPos + 1] == '1' || text[nPos + 1] == '2';
    const bool bMore = nPos + 2 < text.size() && IsDigit(text[nPos + 2]);
    return TakeLetter(reader) && reader.AtEnd() && bOctave && !bMore;
}

std::vector<Word> WordsOf(std::string_view text) {
    std::vector<Word> words;
    size_t nFirst = 0;
    for (size_t i = 0; i <= text.size(); ++i) {
        const bool bEnd = i == text.size() || kSeparators.find(text[i]) != std::string_view::npos;
        if (!bEnd || (i < text.size() && IsOctaveSign(text, nFirst, i))) continue;
        if (i > nFirst) words.push_back(ReadWord(text.substr(nFirst, i - nFirst)));
        nFirst = i + 1;
    }
    return words;
}

// The last word that has the member; the end when none has.
std::vector<Word>::const_iterator LastWith(const std::vector<Word>& words,
                                           std::optional<int> Word::*pMember) {
    for (auto it = words.end(); it != words.begin();)
        if ((*--it).*pMember) return it;
    return words.end();
}

}  // namespace

std::optional<NoteName> ParseNoteName(const std::string& strName) {
    const std::vector<Word> words = WordsOf(strName);
    auto key = LastWith(words, &Word::nNote);
    if (key == words.end()) key = LastWith(words, &Word::nKeyNumber);
    if (key == words.end()) return std::nullopt;
    NoteName name;
    name.nKey = key->nNote ? *key->nNote : *key->nKeyNumber;
    auto layer = key->nLayer ? key : words.end();
    for (auto it = words.begin(); it != words.end() && !key->nLayer; ++it)
        if (it->nLayer && !it->nNote && !it->nKeyNumber) layer = it;
    if (layer != words.end()) name.nLayer = *layer->nLayer;
    for (auto it = words.begin(); it != words.end(); ++it) {
        if (it == key || it == layer) continue;
        if (!name.strInstrument.empty()) name.strInstrument += ' ';
        name.strInstrument += it->text;
    }
    return name;
}

}  // namespace Kestrova
