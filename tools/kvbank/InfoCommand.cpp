#include "tools/kvbank/InfoCommand.h"

#include <cstdio>

#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "bank/BankFileName.h"
#include "tools/kvbank/engine/RecordNames.h"
#include "tools/kvbank/folder/BankFolder.h"

namespace Kestrova {
namespace {

constexpr uint64_t kBytesPerMegabyte = 1 << 20;

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

void InfoCommand::Describe(CLI::App& verb) {
    verb.add_option("FILE", m_strFile, "a bank or source bank")->required();
}

int InfoCommand::Run(Console& console) {
    Json report = {{"file", m_strFile}};
    ExitCode code = TellFile(console, report);
    if (code != kExitDone) return console.Finish("info", code, report);
    if (SourceBaseName(m_strFile).empty()) {
        console.Warn(m_strFile +
                     ": the name needs a '.' for banks to be named after what stands before it; "
                     "samples and sizes are not told");
        return console.Finish("info", kExitDone, report);
    }
    const BankResult result = m_run.Analyse(m_strFile);
    if (result == kBankDone) {
        TellSamples(console, report);
        TellPredictions(console, report);
    } else {
        console.Error(m_strFile + ": " + m_run.Explain(result, console.bVerbose || console.bJson));
        code = kExitProblem;
    }
    return console.Finish("info", code, report);
}

ExitCode InfoCommand::TellFile(Console& console, Json& report) {
    if (CSDB::IsHeld(m_strFile.c_str())) {
        console.Error(m_strFile + ": another process is building it");
        return kExitBusy;
    }
    CSDB database;
    if (!OpenEitherKind(database, m_strFile)) {
        console.Error(m_strFile + ": " + WhyNoBank(m_strFile));
        return kExitBadInput;
    }
    unsigned long long nBytes = 0;
    database.GetFile().GetSize(nBytes);
    const bool bEnriched = database.GetFormat() == kSdbFormatEnriched;
    report["kind"] = bEnriched ? "enriched" : "plain";
    report["identity"] = IdentityText(database.GetIdentity());
    report["bytes"] = nBytes;
    console.Say(Row("File", m_strFile));
    console.Say(Row("Kind", bEnriched ? "enriched (QXEU)" : "plain (QXDB)"));
    console.Say(Row("Identity", report["identity"]));
    console.Say(Row("Size", ReadableSize(nBytes)));
    TellInformation(console, database, report);
    TellRecords(console, database, report);
    return kExitDone;
}

void InfoCommand::TellInformation(Console& console, CSDB& database, Json& report) const {
    const SDBNOTE* const pNote = database.GetNoteByType(nullptr, kSdbInfo);
    CSDBIInfo info(pNote == nullptr ? kSdbNoID : pNote->idNote, kSdbNoID);
    if (pNote == nullptr || !database.ReadWholeNote(&info)) return;
    report["name"] = info.m_info.szName;
    report["description"] = info.m_info.szDescription;
    report["rate"] = info.m_info.nSampleRate;
    report["layout"] = info.m_info.nPerKey != 0 ? "per-key" : "plain";
    console.Say(Row("Name", report["name"]));
    console.Say(Row("About", report["description"]));
    if (info.m_info.nSampleRate != 0)
        console.Say(Row("Rate", std::to_string(info.m_info.nSampleRate) + " Hz, " +
                                    std::string(report["layout"]) + " layout"));
}

// By type, in the order of the types' codes.
void InfoCommand::TellRecords(Console& console, CSDB& database, Json& report) const {
    std::map<uint8_t, uint64_t> counts;
    for (const SDBNOTE* pNote = database.GetNoteByType(nullptr, kSdbAny); pNote != nullptr;
         pNote = database.GetNoteByType(pNote, kSdbAny))
        ++counts[pNote->nType];
    Json rows = Json::object();
    std::vector<std::string> parts;
    for (const auto& [nType, nCount] : counts) {
        rows[TypeName(nType)] = nCount;
        parts.push_back(Counted(nCount, TypeName(nType)));
    }
    report["records"] = rows;
    console.Say(Row("Records", parts.empty() ? "none" : Listed(parts)));
}

void InfoCommand::TellSamples(Console& console, Json& report) {
    std::map<uint32_t, uint64_t> counts;
    uint64_t nWaveBytes = 0;
    for (uint32_t i = 0; i < m_run.Engine().GetAnalysis().nSamples; ++i) {
        const tagSampleEntry& entry = m_run.Engine().GetSamples()[i];
        ++counts[entry.rate];
        nWaveBytes += entry.bytes;
    }
    Json rows = Json::array();
    std::vector<std::string> parts;
    for (const auto& [nRate, nCount] : counts) {
        rows.push_back({{"rate", nRate}, {"samples", nCount}});
        parts.push_back(std::to_string(nCount) + " at " + std::to_string(nRate) + " Hz");
    }
    report["sample_rates"] = rows;
    report["wave_bytes"] = nWaveBytes;
    console.Say(Row("Samples", Listed(parts)));
    console.Say(Row("Waves", ReadableSize(nWaveBytes) + " expanded"));
}

void InfoCommand::TellPredictions(Console& console, Json& report) {
    Json rows = Json::array();
    console.Say(Row("Banks", "predicted size: plain, per-key"));
    for (const int nRate : iSPS) {
        unsigned nPlain = 0, nPerKey = 0;
        m_run.Engine().Prediction(static_cast<unsigned>(nRate), 0, nPlain);
        m_run.Engine().Prediction(static_cast<unsigned>(nRate), 1, nPerKey);
        rows.push_back({{"rate", nRate}, {"plain_mib", nPlain}, {"per_key_mib", nPerKey}});
        char columns[64];
        std::snprintf(columns, sizeof columns, "  %6d Hz %10s %10s", nRate,
                      ReadableSize(nPlain * kBytesPerMegabyte).c_str(),
                      ReadableSize(nPerKey * kBytesPerMegabyte).c_str());
        console.Say(columns);
    }
    report["predicted"] = rows;
}

}  // namespace Kestrova
