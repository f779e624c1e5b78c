#include "import/soundfont/StereoJoin.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <string_view>
#include <tuple>

namespace Kestrova {
namespace {

constexpr int kHalfwayPan = 250;

enum class Side { None, Left, Right };

// What a rule finds in a voice: which half it is, and a key that is equal for halves that belong together.
struct Half {
    Side side = Side::None;
    std::string strKey;
};
using Rule = Half (*)(const SoundFont& font, const FontVoice& voice);

Side SideOfType(const FontSample& sample) {
    const bool bLeft = (sample.nType & kFontLeft) != 0;
    const bool bRight = (sample.nType & kFontRight) != 0;
    return bLeft == bRight ? Side::None : bLeft ? Side::Left : Side::Right;
}

Half ByLink(const SoundFont& font, const FontVoice& voice) {
    const uint32_t nSample = voice.part.nSample;
    const FontSample& sample = font.GetSamples()[nSample];
    if (sample.nLink >= font.GetSamples().size()) return {};
    const FontSample& other = font.GetSamples()[sample.nLink];
    const Side side = SideOfType(sample);
    const bool bPlausible = side != Side::None && SideOfType(other) != Side::None &&
                            SideOfType(other) != side && other.nLink == nSample;
    if (!bPlausible) return {};
    return {side, std::to_string(side == Side::Left ? nSample : sample.nLink)};
}

Half ByLength(const SoundFont& font, const FontVoice& voice) {
    Side side = SideOfType(font.GetSamples()[voice.part.nSample]);
    if (side == Side::None && voice.nPan <= -kHalfwayPan) side = Side::Left;
    if (side == Side::None && voice.nPan >= kHalfwayPan) side = Side::Right;
    return {side, std::to_string(voice.part.nFrames)};
}

bool EndsWithNoCase(std::string_view text, std::string_view lowerEnd) {
    return text.size() >= lowerEnd.size() &&
           std::equal(lowerEnd.begin(), lowerEnd.end(),
                      text.end() - static_cast<std::ptrdiff_t>(lowerEnd.size()),
                      [](char chLower, char ch) { return ch == chLower || ch == chLower - 'a' + 'A'; });
}

// "Piano C4 (L)" is the left half of "Piano C4". A small letter needs a separator in front of it.
Half SplitName(std::string_view name) {
    constexpr std::string_view kSeparators = " -_.([";
    struct Ending {
        std::string_view text;
        Side side;
    };
    static constexpr Ending kEndings[] = {
        {"left", Side::Left}, {"right", Side::Right}, {"l", Side::Left}, {"r", Side::Right}};
    while (!name.empty() && std::string_view(" )]").find(name.back()) != std::string_view::npos)
        name.remove_suffix(1);
    for (const Ending& ending : kEndings) {
        if (!EndsWithNoCase(name, ending.text)) continue;
        const std::string_view stem = name.substr(0, name.size() - ending.text.size());
        const bool bSeparate = stem.empty() || kSeparators.find(stem.back()) != std::string_view::npos;
        const bool bSmallLetter = name.back() >= 'a';
        if (bSmallLetter && !bSeparate) continue;
        return {ending.side, std::string(stem.substr(0, stem.find_last_not_of(kSeparators) + 1))};
    }
    return {};
}

Half ByName(const SoundFont& font, const FontVoice& voice) {
    return SplitName(font.GetSamples()[voice.part.nSample].strName);
}

constexpr Rule kRules[] = {ByLink, ByLength, ByName};

auto Likeness(const FontVoice& voice) { return std::tie(voice.range, voice.tune, voice.leftOut); }

class Joiner {
public:
    Joiner(const SoundFont& font, std::span<const FontVoice> voices)
        : m_font(font), m_voices(voices), m_joined(voices.size()) {}

    std::vector<StereoPair> Run() {
        std::vector<size_t> order(m_voices.size());
        std::iota(order.begin(), order.end(), size_t{0});
        std::stable_sort(order.begin(), order.end(), [this](size_t a, size_t b) {
            return Likeness(m_voices[a]) < Likeness(m_voices[b]);
        });
        for (auto it = order.begin(); it != order.end();) {
            const auto end = std::find_if(it, order.end(), [this, it](size_t n) {
                return Likeness(m_voices[n]) != Likeness(m_voices[*it]);
            });
            for (const Rule rule : kRules) JoinAlike({it, end}, rule);
            it = end;
        }
        std::sort(m_pairs.begin(), m_pairs.end(),
                  [](const StereoPair& a, const StereoPair& b) { return a.nLeft < b.nLeft; });
        return std::move(m_pairs);
    }

private:
    struct Candidates {
        std::vector<size_t> lefts, rights;
    };

    void JoinAlike(std::span<const size_t> alike, Rule rule) {
        std::map<std::string, Candidates> groups;
        for (const size_t n : alike) {
            if (m_joined[n]) continue;
            const Half half = rule(m_font, m_voices[n]);
            if (half.side == Side::Left) groups[half.strKey].lefts.push_back(n);
            if (half.side == Side::Right) groups[half.strKey].rights.push_back(n);
        }
        for (const auto& [strKey, group] : groups)
            if (group.lefts.size() == 1 && group.rights.size() == 1) Join(group.lefts[0], group.rights[0]);
    }

    void Join(size_t nLeft, size_t nRight) {
        if (!FitTogether(m_voices[nLeft].part, m_voices[nRight].part)) return;
        m_joined[nLeft] = m_joined[nRight] = true;
        if (m_voices[nLeft].nPan > m_voices[nRight].nPan) std::swap(nLeft, nRight);
        m_pairs.push_back({nLeft, nRight});
    }

    // A record's wave is less than 4 GiB; two long halves may be more.
    bool FitTogether(const WavePart& a, const WavePart& b) const {
        const auto [nShort, nLong] = std::minmax(a.nFrames, b.nFrames);
        return a.nSample != b.nSample && nLong - nShort <= kMostStrayFrames &&
               nLong * 2 * (m_font.GetBits() / 8) <= UINT32_MAX;
    }

    const SoundFont& m_font;
    const std::span<const FontVoice> m_voices;
    std::vector<bool> m_joined;
    std::vector<StereoPair> m_pairs;
};

}  // namespace

std::vector<StereoPair> JoinStereo(const SoundFont& font, std::span<const FontVoice> voices) {
    return Joiner(font, voices).Run();
}

std::string JoinedName(const std::string& strLeft, const std::string& strRight) {
    const Half left = SplitName(strLeft), right = SplitName(strRight);
    const bool bHalves = left.side != Side::None && right.side != Side::None && left.side != right.side;
    return bHalves && left.strKey == right.strKey && !left.strKey.empty() ? left.strKey : strLeft;
}

}  // namespace Kestrova
