// StringCallsFuzz.cpp - any order of calls of a few texts, which share blocks and are given parts of
// themselves: after each they hold what standard strings hold. Input: a byte for each call, with its
// arguments behind it.
#include <array>
#include <cctype>
#include <utility>

#include "shared/System/kvString.h"
#include "tests/fuzz/FuzzInput.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Test;

constexpr size_t kTexts = 4;
constexpr size_t kLongest = 2000;  // a text may double at each call

int IndexOf(size_t n) { return n != std::string::npos ? static_cast<int>(n) : -1; }

class StringCalls {
public:
    explicit StringCalls(FuzzInput& input) : m_input(input) {}

    void Run() {
        while (!m_input.IsEmpty()) {
            m_nText = m_input.Below(kTexts);
            if (Model().size() > kLongest) Forget();
            Call();
            for (size_t n = 0; n < kTexts; ++n) KV_FUZZ_CHECK(Equal(m_texts[n], m_models[n]));
        }
    }

private:
    // A text from the input, or the end of one of the texts, in its block; good until that text changes.
    struct Argument {
        std::string strModel;
        const char* pszInText = nullptr;

        const char* Get() const { return pszInText != nullptr ? pszInText : strModel.c_str(); }
    };

    String& Text() { return m_texts[m_nText]; }
    std::string& Model() { return m_models[m_nText]; }

    static bool Equal(const String& text, const std::string& strModel) {
        return text.GetLength() == static_cast<int>(strModel.size()) && text.c_str() == strModel &&
               text.GetAllocLength() >= text.GetLength() && text.IsEmpty() == strModel.empty();
    }

    char AnyChar() { return static_cast<char>(1 + m_input.Below(255)); }
    // From a little in front of the text to a little behind it.
    int AnyIndex() { return static_cast<int>(m_input.Number(2) % (Model().size() + 5)) - 2; }
    size_t Clamped(int nIndex) const {
        return std::min(m_models[m_nText].size(), static_cast<size_t>(std::max(nIndex, 0)));
    }

    Argument Any() {
        const size_t nFrom = m_input.Below(2 * kTexts);
        if (nFrom >= kTexts) return {m_input.Text()};
        const size_t nAt = m_input.Number(2) % (m_models[nFrom].size() + 1);
        return {m_models[nFrom].substr(nAt), m_texts[nFrom].c_str() + nAt};
    }

    void Forget() {
        Text().Empty();
        Model().clear();
    }

    void Call() {
        switch (m_input.Below(8)) {
            case 0: Assign(); break;
            case 1: Append(); break;
            case 2: TakePart(); break;
            case 3: Search(); break;
            case 4: ChangeCharacters(); break;
            case 5: ReplaceAndInsert(); break;
            case 6: Trim(); break;
            default: UseBuffer();
        }
    }

    void Assign() {
        const size_t nOther = m_input.Below(kTexts);
        switch (m_input.Below(5)) {
            case 0:
                Text() = m_texts[nOther];
                Model() = m_models[nOther];
                break;
            case 1:
                Text() = std::move(m_texts[nOther]);
                Model() = m_models[nOther];
                if (nOther != m_nText)
                    m_models[nOther] = m_texts[nOther].c_str();  // empty, or a sharer still
                break;
            case 2: {
                const Argument argument = Any();
                Text() = argument.Get();
                Model() = argument.strModel;
                break;
            }
            case 3: {
                const char ch = AnyChar();
                Text() = ch;
                Model() = std::string(1, ch);
                break;
            }
            default:
                Text() = String::NewWithFormat("%s, %d%%", m_texts[nOther].c_str(), 7);
                Model() = m_models[nOther] + ", 7%";
        }
    }

    void Append() {
        const size_t nOther = m_input.Below(kTexts);
        switch (m_input.Below(5)) {
            case 0:
                Text() += m_texts[nOther];
                Model() += std::string(m_models[nOther]);
                break;
            case 1: {
                const Argument argument = Any();
                Text() += argument.Get();
                Model() += argument.strModel;
                break;
            }
            case 2: {
                const char ch = AnyChar();
                Text() += ch;
                Model() += ch;
                break;
            }
            case 3:
                Text() = Text() + m_texts[nOther];
                Model() = Model() + m_models[nOther];
                break;
            default: {
                const Argument argument = Any();
                Text() = argument.Get() + Text();
                Model() = argument.strModel + Model();
            }
        }
    }

    void TakePart() {
        const size_t nInto = m_input.Below(kTexts);
        const int nFirst = AnyIndex();
        const int nCount = AnyIndex();
        const size_t nKept = Clamped(nCount);
        switch (m_input.Below(6)) {
            case 0: Put(nInto, Text().Mid(nFirst, nCount), Model().substr(Clamped(nFirst), nKept)); break;
            case 1: Put(nInto, Text().Mid(nFirst), Model().substr(Clamped(nFirst))); break;
            case 2: Put(nInto, Text().Left(nCount), Model().substr(0, nKept)); break;
            case 3: Put(nInto, Text().Right(nCount), Model().substr(Model().size() - nKept)); break;
            case 4: {
                const Argument set = Any();
                Put(nInto, Text().SpanIncluding(set.Get()),
                    Model().substr(0, Model().find_first_not_of(set.strModel)));
                break;
            }
            default: {
                const Argument set = Any();
                Put(nInto, Text().SpanExcluding(set.Get()),
                    Model().substr(0, Model().find_first_of(set.strModel)));
            }
        }
    }

    void Put(size_t nInto, const String& text, const std::string& strModel) {
        m_texts[nInto] = text;
        m_models[nInto] = strModel;
    }

    void Search() {
        const int nStart = AnyIndex();
        const auto nFrom = static_cast<size_t>(std::max(nStart, 0));
        const char ch = AnyChar();
        const Argument other = Any();
        KV_FUZZ_CHECK(Text().Find(ch, nStart) == IndexOf(Model().find(ch, nFrom)));
        KV_FUZZ_CHECK(Text().Find(other.Get(), nStart) == IndexOf(Model().find(other.strModel, nFrom)));
        KV_FUZZ_CHECK(Text().ReverseFind(ch) == IndexOf(Model().rfind(ch)));
        KV_FUZZ_CHECK(Text().FindOneOf(other.Get()) == IndexOf(Model().find_first_of(other.strModel)));
        KV_FUZZ_CHECK((Text().Compare(other.Get()) < 0) == (Model() < other.strModel));
        KV_FUZZ_CHECK((Text() == other.Get()) == (Model() == other.strModel));
    }

    void ChangeCharacters() {
        const size_t nAt = m_input.Number(2);
        const char chOld = AnyChar();
        const char chNew = AnyChar();
        switch (m_input.Below(5)) {
            case 0:
                if (Model().empty()) break;
                Text().SetAt(static_cast<int>(nAt % Model().size()), chNew);
                Model()[nAt % Model().size()] = chNew;
                break;
            case 1:
                Text().MakeUpper();
                for (char& ch : Model()) ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
                break;
            case 2:
                Text().MakeLower();
                for (char& ch : Model()) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
                break;
            case 3: {
                const auto nFound = chOld != chNew ? std::count(Model().begin(), Model().end(), chOld) : 0;
                KV_FUZZ_CHECK(Text().Replace(chOld, chNew) == static_cast<int>(nFound));
                std::replace(Model().begin(), Model().end(), chOld, chNew);
                break;
            }
            default: KV_FUZZ_CHECK(Text().Remove(chOld) == static_cast<int>(std::erase(Model(), chOld)));
        }
    }

    void ReplaceAndInsert() {
        const int nIndex = AnyIndex();
        switch (m_input.Below(4)) {
            case 0: {
                const Argument old = Any();
                const Argument other = Any();
                KV_FUZZ_CHECK(Text().Replace(old.Get(), other.Get()) ==
                              ReplaceAll(Model(), old.strModel, other.strModel));
                break;
            }
            case 1: {
                const Argument other = Any();
                Model().insert(Clamped(nIndex), other.strModel);
                KV_FUZZ_CHECK(Text().Insert(nIndex, other.Get()) == static_cast<int>(Model().size()));
                break;
            }
            case 2: {
                const char ch = AnyChar();
                Model().insert(Clamped(nIndex), 1, ch);
                KV_FUZZ_CHECK(Text().Insert(nIndex, ch) == static_cast<int>(Model().size()));
                break;
            }
            default: {
                const size_t nMost = Model().size() - Clamped(nIndex);
                const size_t nCount = m_input.Number(2) % (nMost + 1);
                KV_FUZZ_CHECK(Text().Delete(nIndex, static_cast<int>(nCount)) ==
                              static_cast<int>(Model().size()));
                Model().erase(Clamped(nIndex), nCount);
            }
        }
    }

    static int ReplaceAll(std::string& strText, const std::string& strOld, const std::string& strNew) {
        int nReplaced = 0;
        if (strOld.empty()) return nReplaced;
        for (size_t nAt = strText.find(strOld); nAt != std::string::npos;
             nAt = strText.find(strOld, nAt + strNew.size())) {
            strText.replace(nAt, strOld.size(), strNew);
            ++nReplaced;
        }
        return nReplaced;
    }

    void Trim() {
        constexpr char kSpaces[] = " \t\n\v\f\r";
        const bool bLeft = m_input.Below(2) != 0;
        switch (m_input.Below(3)) {
            case 0:
                bLeft ? Text().TrimLeft() : Text().TrimRight();
                TrimModel(bLeft, kSpaces);
                break;
            case 1: {
                const char ch = AnyChar();
                bLeft ? Text().TrimLeft(ch) : Text().TrimRight(ch);
                TrimModel(bLeft, std::string(1, ch));
                break;
            }
            default: {
                const Argument set = Any();
                bLeft ? Text().TrimLeft(set.Get()) : Text().TrimRight(set.Get());
                TrimModel(bLeft, set.strModel);
            }
        }
    }

    void TrimModel(bool bLeft, const std::string& strSet) {
        if (bLeft)
            Model().erase(0, Model().find_first_not_of(strSet));
        else
            Model().erase(Model().find_last_not_of(strSet) + 1);
    }

    void UseBuffer() {
        const size_t nLength = m_input.Below(64);
        switch (m_input.Below(4)) {
            case 0: {
                char* const pch = Text().GetBuffer(static_cast<int>(nLength));
                KV_FUZZ_CHECK(pch == Model());
                std::fill_n(pch, nLength, 'x');
                Text().ReleaseBuffer(static_cast<int>(nLength));
                Model() = std::string(nLength, 'x');
                break;
            }
            case 1:
                std::fill_n(Text().GetBufferSetLength(static_cast<int>(nLength)), nLength, 'y');
                Text().ReleaseBuffer();
                Model() = std::string(nLength, 'y');
                break;
            case 2:
                Text().FreeExtra();
                KV_FUZZ_CHECK(Text().GetAllocLength() == Text().GetLength());
                break;
            default: Forget();
        }
    }

    FuzzInput& m_input;
    size_t m_nText = 0;  // the one that is called
    std::array<String, kTexts> m_texts;
    std::array<std::string, kTexts> m_models;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    FuzzInput input(p, n);
    StringCalls(input).Run();
    return 0;
}
