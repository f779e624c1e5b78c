#include "tools/kvbank/report/KeyMap.h"

#include "tools/kvbank/report/HtmlText.h"

namespace Kestrova {
namespace {

constexpr int kKeys = 128;
constexpr int kKeyWidth = 8;
constexpr int kMapHeight = 128;  // a unit for each velocity
constexpr int kKeyboardHeight = 18;

std::string Attribute(const char* pszName, double value) {
    std::string strValue = std::to_string(value);
    strValue.erase(strValue.find_last_not_of('0') + 1);
    if (strValue.back() == '.') strValue.pop_back();
    return std::string(" ") + pszName + "=\"" + strValue + "\"";
}

std::string RangeText(const RegionFacts& region, const SampleFacts& sample) {
    return HtmlText(sample.strName) + ": keys " + KeyName(region.keys.nLow) + " to " +
           KeyName(region.keys.nHigh) + ", velocities " + std::to_string(region.velocities.nLow) + " to " +
           std::to_string(region.velocities.nHigh);
}

// The part of a region that layer nLayer of nLayers has, from the top.
std::string PartOf(const RegionFacts& region, const SampleFacts& sample, size_t nColour, size_t nLayer,
                   size_t nLayers) {
    const double height =
        (region.velocities.nHigh - region.velocities.nLow + 1) / static_cast<double>(nLayers);
    const double y = kMapHeight - 1 - region.velocities.nHigh + height * static_cast<double>(nLayer);
    return "<a href=\"#s" + std::to_string(sample.note.idNote) + "\"><rect" +
           Attribute("x", region.keys.nLow * kKeyWidth) + Attribute("y", y) +
           Attribute("width", (region.keys.nHigh - region.keys.nLow + 1) * kKeyWidth) +
           Attribute("height", height) + " fill=\"" + ColourOf(nColour) + "\"><title>" +
           RangeText(region, sample) + "</title></rect></a>";
}

bool IsBlack(int nKey) { return std::string_view("010100101010")[static_cast<size_t>(nKey % 12)] == '1'; }

std::string BlackKey(int nKey) { return "M" + std::to_string(nKey * kKeyWidth) + " 130h8v10h-8z"; }

std::string OctaveLine(int nKey) {
    const std::string strX = std::to_string(nKey * kKeyWidth);
    return "<path class=\"grid\" d=\"M" + strX + " 0V148\"/><text x=\"" + strX + "\" y=\"167\">" +
           KeyName(nKey) + "</text>";
}

std::string Keyboard() {
    std::string strBlack, strLines;
    for (int nKey = 0; nKey < kKeys; ++nKey) {
        if (IsBlack(nKey)) strBlack += BlackKey(nKey);
        if (nKey % 12 == 0) strLines += OctaveLine(nKey);
    }
    return strLines + "<path class=\"whites\" d=\"M0 130h" + std::to_string(kKeys * kKeyWidth) + "v" +
           std::to_string(kKeyboardHeight) + "H0z\"/><path class=\"blacks\" d=\"" + strBlack + "\"/>";
}

}  // namespace

std::string KeyMapSvg(const ProgramFacts& program, const BankContents& contents, size_t& nRoom) {
    std::string strSvg = "<svg class=\"keys\" viewBox=\"0 0 " + std::to_string(kKeys * kKeyWidth) +
                         " 172\"><path class=\"ground\" d=\"M0 0h" + std::to_string(kKeys * kKeyWidth) +
                         "v128H0z\"/>" + Keyboard();
    for (const RegionFacts& region : program.regions) {
        if (region.keys.IsEmpty()) continue;
        for (size_t i = 0; i < region.samples.size(); ++i) {
            const auto pPlace = contents.sampleById.find(region.samples[i]);
            if (pPlace == contents.sampleById.end() || nRoom == 0) continue;
            --nRoom;
            strSvg +=
                PartOf(region, contents.samples[pPlace->second], pPlace->second, i, region.samples.size());
        }
    }
    return strSvg + "</svg>";
}

}  // namespace Kestrova
