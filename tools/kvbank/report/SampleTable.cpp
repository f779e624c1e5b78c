#include "tools/kvbank/report/SampleTable.h"

#include <array>
#include <cstdio>

#include "tools/kvbank/report/HtmlText.h"
#include "tools/kvbank/terminal/Console.h"

namespace Kestrova {
namespace {

std::string Cell(const std::string& strText) { return "<td>" + strText + "</td>"; }

// A number that is sorted by its value, not by its text.
std::string Cell(uint64_t nValue, const std::string& strText) {
    return "<td class=\"n\" data-v=\"" + std::to_string(nValue) + "\">" + strText + "</td>";
}

std::string FormatText(uint32_t nFormat) {
    const bool bFloat = (nFormat & kSampleFormatFlag) != 0;
    return std::to_string(nFormat & ~kSampleFormatFlag) + (bFloat ? " float" : "");
}

std::string SecondsText(const SampleFacts& sample) {
    if (sample.nRate == 0) return "";
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.3f s", static_cast<double>(sample.nFrames) / sample.nRate);
    return text.data();
}

std::string RootText(const SampleFacts& sample) {
    std::string strText = KeyName(sample.nRootKey);
    if (sample.nFineTune != 0)
        strText += (sample.nFineTune > 0 ? " +" : " ") + std::to_string(sample.nFineTune) + " ct";
    return strText;
}

std::string LoopText(const SampleFacts& sample) {
    if (sample.nLoops == 0) return "none";
    if (!sample.loop) return "outside the wave";
    std::string strText = std::to_string(sample.loop->nStart) + " to " + std::to_string(sample.loop->nEnd);
    return sample.nLoops == 1 ? strText : strText + ", 1 of " + std::to_string(sample.nLoops);
}

std::string SoundCell(const SampleView& view) {
    if (view.excerpt.empty()) return Cell("");
    return "<td><audio controls=\"controls\" preload=\"none\" src=\"data:audio/wav;base64," +
           Base64(view.excerpt) + "\"></audio></td>";
}

std::string SpectraRow(const SampleView& view) {
    if (view.strSpectra.empty()) return "";
    return "<tr class=\"more\"><td colspan=\"9\"><details><summary>Spectrum, <i class=\"before\">source</i> "
           "and "
           "<i class=\"after\">bank</i></summary>" +
           view.strSpectra + "</details></td></tr>\n";
}

}  // namespace

SampleView MakeView(const CSDBISampleBase& sample, const SampleViewWish& wish) {
    const MonoWave wave(sample);
    if (wave.GetFrames() == 0) return {.strFault = "no wave of a known form"};
    SampleView view;
    std::optional<LoopFrames> loop;
    if (sample.m_info.cLayerLoops > 0) loop = LoopWithin(sample.GetLoops()[0], wave.GetFrames());
    view.strWave = WaveformSvg(wave, loop);
    if (wish.nExcerptBytes > 0) view.excerpt = ExcerptOf(wave, sample.m_info.nSampleRate, wish.nExcerptBytes);
    if (wish.pSource != nullptr)
        view.strSpectra = SpectraSvg(SpectrumOf(MonoWave(*wish.pSource), wish.pSource->m_info.nSampleRate),
                                     SpectrumOf(wave, sample.m_info.nSampleRate));
    return view;
}

std::string SampleRow(const SampleFacts& sample, size_t nPlace, const SampleView& view) {
    const std::string strId = std::to_string(sample.note.idNote);
    std::string strRow = "<tr id=\"s" + strId + "\">" + Cell(sample.note.idNote, strId);
    strRow += "<td><i class=\"dot\" style=\"background:" + ColourOf(nPlace) + "\"></i>" +
              HtmlText(sample.strName) + "</td>";
    if (!sample.strFault.empty())
        return strRow + "<td colspan=\"7\" class=\"fault\">" + HtmlText(sample.strFault) + "</td></tr>\n";
    strRow += Cell(sample.nRate, std::to_string(sample.nRate));
    strRow += Cell(
        sample.nFormat & ~kSampleFormatFlag,
        FormatText(sample.nFormat) + (sample.nChannels == 1   ? " mono"
                                      : sample.nChannels == 2 ? " stereo"
                                                              : ", " + Counted(sample.nChannels, "channel")));
    strRow += Cell(sample.nFrames, SecondsText(sample));
    strRow += Cell(sample.nRootKey, RootText(sample));
    strRow += Cell(LoopText(sample));
    strRow += view.strFault.empty() ? "<td class=\"w\">" + view.strWave + "</td>"
                                    : "<td class=\"fault\">" + HtmlText(view.strFault) + "</td>";
    return strRow + SoundCell(view) + "</tr>\n" + SpectraRow(view);
}

}  // namespace Kestrova
