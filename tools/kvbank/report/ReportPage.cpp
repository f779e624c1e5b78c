#include "tools/kvbank/report/ReportPage.h"

#include <algorithm>

#include "tools/kvbank/report/HtmlText.h"
#include "tools/kvbank/report/KeyMap.h"
#include "tools/kvbank/report/ReportStyle.h"
#include "tools/kvbank/terminal/Console.h"

namespace Kestrova {
namespace {

std::string Fact(const char* pszTerm, const std::string& strText) {
    return strText.empty() ? "" : std::string("<dt>") + pszTerm + "</dt><dd>" + strText + "</dd>\n";
}

std::string Paragraph(const std::string& strText) { return "<p class=\"soft\">" + strText + "</p>\n"; }

// "The first 5000 of 12000 samples are listed.", or nothing when all are.
std::string Limit(size_t nShown, size_t nAll, const char* pszWhat) {
    if (nShown >= nAll) return "";
    return Paragraph("The first " + Grouped(nShown) + " of " + Grouped(nAll) + " " + pszWhat + ".");
}

std::string Head(const ReportFacts& facts, const BankContents& contents) {
    const std::string strTitle = HtmlText(contents.strName.empty() ? facts.strFile : contents.strName);
    std::string strKind = facts.bEnriched ? "bank" : "source bank";
    if (contents.nRate != 0)
        strKind += " for " + std::to_string(contents.nRate) + " Hz, " +
                   (contents.bPerKey ? "per-key layout" : "plain layout");
    return "<h1>" + strTitle + "</h1>\n<dl>\n" + Fact("File", HtmlText(facts.strFile)) +
           Fact("Kind", strKind) + Fact("Size", ReadableSize(facts.nBytes)) +
           Fact("About", HtmlText(contents.strDescription)) +
           Fact("Holds", Counted(contents.programs.size(), "program") + ", " +
                             Counted(facts.nRegions, "region") + ", " +
                             Counted(contents.samples.size(), "sample")) +
           Fact("Compared with", HtmlText(facts.strSource)) + "</dl>\n";
}

std::string SizeRow(const PredictedSize& row) {
    const auto size = [](unsigned int nMegabytes) { return ReadableSize(uint64_t{nMegabytes} << 20); };
    return "<tr><td class=\"n\">" + std::to_string(row.nRate) + " Hz</td><td class=\"n\">" +
           size(row.nPlain) + "</td><td class=\"n\">" + size(row.nPerKey) + "</td></tr>\n";
}

std::string Sizes(const ReportFacts& facts) {
    std::string strHtml = "<h2 id=\"sizes\">Sizes of its banks</h2>\n";
    if (facts.predicted.empty()) return strHtml + Paragraph(HtmlText(facts.strWhyNotPredicted));
    strHtml +=
        "<table><thead><tr><th>Rate</th><th class=\"n\">plain</th><th class=\"n\">per key</th></tr></thead>"
        "<tbody>\n";
    for (const PredictedSize& row : facts.predicted) strHtml += SizeRow(row);
    return strHtml + "</tbody></table>\n" +
           Paragraph("Predicted, in whole units of 2<sup>20</sup> bytes rounded up.");
}

std::string Program(const ProgramFacts& program, const BankContents& contents, size_t& nRoom) {
    const std::string strBank =
        program.strBank.empty() ? "" : " <span class=\"soft\">in " + HtmlText(program.strBank) + "</span>";
    return "<section><h3>" + std::to_string(program.nNumber) + " " + HtmlText(program.strName) + strBank +
           "</h3>\n" + KeyMapSvg(program, contents, nRoom) + "</section>\n";
}

std::string Programs(const BankContents& contents) {
    std::string strHtml = "<h2 id=\"programs\">Programs</h2>\n" +
                          Paragraph(
                              "Keys run across, velocities up; each colour is a sample, and leads to its "
                              "row below. A region with several layers is divided among them.");
    const size_t nShown = std::min(contents.programs.size(), ReportLimits::kMaps);
    strHtml += "<div class=\"maps\">\n";
    size_t nRoom = ReportLimits::kParts;
    for (size_t i = 0; i < nShown; ++i) strHtml += Program(contents.programs[i], contents, nRoom);
    strHtml += "</div>\n" + Limit(nShown, contents.programs.size(), "programs are shown");
    if (nRoom == 0)
        strHtml += Paragraph("The key maps show at most " + Grouped(ReportLimits::kParts) +
                             " parts of regions; the others are left out.");
    return strHtml;
}

// The heads of the columns; those that cannot be sorted by are fixed.
constexpr const char* kTableHead =
    "<thead><tr><th class=\"n\">Id</th><th>Name</th><th class=\"n\">Hz</th><th class=\"n\">Bits</th>"
    "<th class=\"n\">Length</th><th class=\"n\">Root key</th><th>Loop</th><th class=\"fixed\">Wave</th>"
    "<th class=\"fixed\">Sound</th></tr></thead>";

std::string SoundLimit(const BankContents& contents, const std::vector<SampleView>& views) {
    const auto nSounds = static_cast<size_t>(std::count_if(
        views.begin(), views.end(), [](const SampleView& view) { return !view.excerpt.empty(); }));
    return Paragraph(Counted(nSounds, "sample") + " of " + Grouped(contents.samples.size()) +
                     " can be played here: the beginning of each, as one channel of 16 bits, at most " +
                     ReadableSize(ExcerptBytes(contents.samples.size())) + ".");
}

std::string Samples(const BankContents& contents, const std::vector<SampleView>& views) {
    std::string strHtml =
        "<h2>Samples</h2>\n<div class=\"tools\"><input id=\"search\" type=\"search\" placeholder=\"Search\" "
        "aria-label=\"Search in the samples\"/><span id=\"shown\" class=\"soft\"></span></div>\n"
        "<table id=\"samples\">" +
        std::string(kTableHead) + "<tbody>\n";
    const size_t nRows = std::min(contents.samples.size(), ReportLimits::kRows);
    static const SampleView kNone;
    for (size_t i = 0; i < nRows; ++i)
        strHtml += SampleRow(contents.samples[i], i, i < views.size() ? views[i] : kNone);
    strHtml += "</tbody></table>\n" + SoundLimit(contents, views) +
               Limit(nRows, contents.samples.size(), "samples are listed") +
               Limit(views.size(), nRows, "samples have a waveform");
    const auto nSpectra = static_cast<size_t>(std::count_if(
        views.begin(), views.end(), [](const SampleView& view) { return !view.strSpectra.empty(); }));
    return nSpectra == 0 ? strHtml
                         : strHtml + Limit(nSpectra, contents.samples.size(), "samples have spectra");
}

constexpr const char* kNotCarried =
    "<h2>What an import left out</h2>\n<p class=\"soft\">A bank does not keep what its import could not "
    "carry. "
    "Import the original once more with <code>-v</code> to read it.</p>\n";

}  // namespace

size_t ExcerptBytes(size_t nSamples) {
    return std::clamp(ReportLimits::kSoundBytes / std::max<size_t>(nSamples, 1), ReportLimits::kShortSound,
                      ReportLimits::kLongSound);
}

std::string MakeReportPage(const ReportFacts& facts, const BankContents& contents,
                           const std::vector<SampleView>& views) {
    const std::string strTitle = HtmlText(contents.strName.empty() ? facts.strFile : contents.strName);
    return "<!DOCTYPE html>\n<html lang=\"en\" xmlns=\"http://www.w3.org/1999/xhtml\"><head><meta "
           "charset=\"utf-8\"/><meta name=\"viewport\" content=\"width=device-width\"/><title>" +
           strTitle + "</title>\n<style>" + kReportStyle + "</style></head>\n<body>\n" +
           Head(facts, contents) + Programs(contents) + Samples(contents, views) + Sizes(facts) +
           (facts.bEnriched ? "" : kNotCarried) + "<script>//<![CDATA[\n" + kReportScript +
           "//]]></script>\n</body></html>\n";
}

}  // namespace Kestrova
