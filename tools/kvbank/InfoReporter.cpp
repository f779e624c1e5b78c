#include "tools/kvbank/InfoReporter.h"

#include <cstdio>

#include "tools/kvbank/engine/RecordNames.h"

namespace Kestrova {
namespace {

std::string Row(const char* pszTitle, const std::string& strText) {
    char title[16];
    std::snprintf(title, sizeof title, "%-11s", pszTitle);
    return title + strText;
}

std::string IdentityText(const DBUID& identity) {
    char text[40];
    std::snprintf(text, sizeof text, "%08x-%08x-%08x-%08x", identity.m_words[0], identity.m_words[1],
                  identity.m_words[2], identity.m_words[3]);
    return text;
}

std::string Listed(const std::vector<std::string>& parts) {
    std::string strList;
    for (const std::string& strPart : parts) strList += (strList.empty() ? "" : ", ") + strPart;
    return strList;
}

}  // namespace

InfoReporter::InfoReporter(Console& console, const std::string& strFile)
    : m_console(console), m_strFile(strFile), m_report({{"file", strFile}}) {}

void InfoReporter::Tell(const DatabaseFacts& facts) {
    m_report["kind"] = facts.bEnriched ? "enriched" : "plain";
    m_report["identity"] = IdentityText(facts.identity);
    m_report["bytes"] = facts.nBytes;
    m_console.Say(Row("File", m_strFile));
    m_console.Say(Row("Kind", facts.bEnriched ? "enriched (QXEU)" : "plain (QXDB)"));
    m_console.Say(Row("Identity", m_report["identity"]));
    m_console.Say(Row("Size", ReadableSize(facts.nBytes)));
    if (facts.information) TellInformation(*facts.information);
    TellRecords(facts.records);
    if (facts.strDamage.empty()) return;
    m_report["damage"] = facts.strDamage;
    m_console.Error(m_strFile + ": damaged: " + facts.strDamage);
}

void InfoReporter::TellInformation(const DatabaseFacts::Information& information) {
    const char* const pszLayout = information.bPerKey ? "per-key" : "plain";
    m_report["name"] = information.strName;
    m_report["description"] = information.strDescription;
    m_report["rate"] = information.nRate;
    m_report["layout"] = pszLayout;
    m_console.Say(Row("Name", information.strName));
    m_console.Say(Row("About", information.strDescription));
    if (information.nRate != 0)
        m_console.Say(Row("Rate", std::to_string(information.nRate) + " Hz, " + pszLayout + " layout"));
}

// By type, in the order of the types' codes.
void InfoReporter::TellRecords(const std::map<uint8_t, uint64_t>& records) {
    Json rows = Json::object();
    std::vector<std::string> parts;
    for (const auto& [nType, nCount] : records) {
        rows[TypeName(nType)] = nCount;
        parts.push_back(Counted(nCount, TypeName(nType)));
    }
    m_report["records"] = rows;
    m_console.Say(Row("Records", parts.empty() ? "none" : Listed(parts)));
}

void InfoReporter::TellUnnamed() {
    m_console.Warn(m_strFile +
                   ": the name needs a '.' for banks to be named after what stands before it; "
                   "samples and sizes are not shown");
}

void InfoReporter::Tell(const SourceFacts& facts) {
    TellSamples(facts);
    m_report["predicted"] = TellPredicted(m_console, facts.predicted);
}

void InfoReporter::TellSamples(const SourceFacts& facts) {
    Json rows = Json::array();
    std::vector<std::string> parts;
    for (const auto& [nRate, nCount] : facts.samples) {
        rows.push_back({{"rate", nRate}, {"samples", nCount}});
        parts.push_back(std::to_string(nCount) + " at " + std::to_string(nRate) + " Hz");
    }
    m_report["sample_rates"] = rows;
    m_report["wave_bytes"] = facts.nWaveBytes;
    m_console.Say(Row("Samples", Listed(parts)));
    m_console.Say(Row("Waves", ReadableSize(facts.nWaveBytes) + " expanded"));
}

}  // namespace Kestrova
