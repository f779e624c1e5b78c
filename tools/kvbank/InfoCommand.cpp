#include "tools/kvbank/InfoCommand.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <new>

#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "bank/BankFileName.h"
#include "tools/kvbank/folder/BankCheck.h"
#include "tools/kvbank/folder/BankFolder.h"

namespace Kestrova {
namespace {

std::optional<DatabaseFacts::Information> InformationOf(CSDB& database) {
    const SDBNOTE* const pNote = database.GetNoteByType(nullptr, kSdbInfo);
    CSDBIInfo info(pNote == nullptr ? kSdbNoID : pNote->idNote, kSdbNoID);
    if (pNote == nullptr || !database.ReadWholeNote(&info)) return std::nullopt;
    return DatabaseFacts::Information{info.m_info.szName, info.m_info.szDescription, info.m_info.nSampleRate,
                                      info.m_info.nPerKey != 0};
}

DatabaseFacts FactsOf(CSDB& database, const std::string& strFile) {
    DatabaseFacts facts;
    unsigned long long nBytes = 0;
    database.GetFile().GetSize(nBytes);
    facts.nBytes = nBytes;
    facts.bEnriched = database.GetFormat() == kSdbFormatEnriched;
    facts.identity = database.GetIdentity();
    facts.strDamage =
        WhyDamaged(database, ParseAnyBankName(std::filesystem::path(strFile).filename().string()));
    facts.information = InformationOf(database);
    for (const SDBNOTE* pNote = database.GetNoteByType(nullptr, kSdbAny); pNote != nullptr;
         pNote = database.GetNoteByType(pNote, kSdbAny))
        ++facts.records[pNote->nType];
    return facts;
}

}  // namespace

void InfoCommand::Describe(CLI::App& verb) {
    verb.add_option("FILE", m_strFile, "a bank or source bank")->required();
}

int InfoCommand::Run(Console& console) {
    InfoReporter reporter(console, m_strFile);
    const ExitCode file = TellFile(reporter);
    if (file != kExitDone && file != kExitProblem) return reporter.Finish(file);
    if (SourceBaseName(m_strFile).empty()) {
        reporter.TellUnnamed();
        return reporter.Finish(file);
    }
    return reporter.Finish(std::max(file, TellAnalysis(reporter, console.bVerbose || console.bJson)));
}

ExitCode InfoCommand::TellFile(InfoReporter& reporter) const {
    if (const Ending held = AskHeld(m_strFile); !held.IsDone()) {
        reporter.TellFailure(held.strError);
        return held.code;
    }
    CSDB database;
    if (!OpenEitherKind(database, m_strFile)) {
        const BankFile refused = LookUnopened(m_strFile);
        const bool bDamaged = refused.state == BankState::Damaged;
        reporter.TellFailure(bDamaged ? "damaged: " + refused.strCause : refused.strCause);
        return kExitBadInput;
    }
    const DatabaseFacts facts = FactsOf(database, m_strFile);
    if (const int nError = database.GetFirstError(); nError != 0) {
        if (nError == ENOMEM) throw std::bad_alloc();
        reporter.TellFailure(std::strerror(nError));
        return kExitBadInput;
    }
    reporter.Tell(facts);
    return facts.strDamage.empty() ? kExitDone : kExitProblem;
}

ExitCode InfoCommand::TellAnalysis(InfoReporter& reporter, bool bNumber) {
    const BankResult result = m_run.Analyse(m_strFile);
    if (result != kBankDone) {
        reporter.TellFailure(m_run.Explain(result, bNumber));
        const ExitCode code = m_run.ExitCodeFor(result);
        return code == kExitNoMemory ? code : kExitProblem;
    }
    reporter.Tell(FactsOfSource());
    return kExitDone;
}

SourceFacts InfoCommand::FactsOfSource() {
    SourceFacts facts;
    for (uint32_t i = 0; i < m_run.Engine().GetAnalysis().nSamples; ++i) {
        const tagSampleEntry& entry = m_run.Engine().GetSamples()[i];
        ++facts.samples[entry.rate];
        facts.nWaveBytes += entry.bytes;
    }
    for (const int nRate : iSPS) {
        PredictedSize size{.nRate = static_cast<unsigned int>(nRate)};
        m_run.Engine().Prediction(size.nRate, 0, size.nPlain);
        m_run.Engine().Prediction(size.nRate, 1, size.nPerKey);
        facts.predicted.push_back(size);
    }
    return facts;
}

}  // namespace Kestrova
