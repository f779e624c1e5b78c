#include "tools/kvbank/ReportCommand.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "bank/HelperThreads.h"
#include "bank/OrderedPipeline.h"
#include "shared/System/kvCancelSignal.h"
#include "shared/System/kvPath.h"
#include "tools/kvbank/NewSource.h"
#include "tools/kvbank/terminal/Progress.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

std::string NameOf(const std::string& strPath) { return fs::path(strPath).filename().string(); }

ReadSample ReadWave(const SampleFacts& sample, const NoteScan& scan, CXFile& file) {
    return ReadSampleWave(file, sample.note, scan.IsEnriched(), std::string(FolderPart(scan.Path())));
}

}  // namespace

void ReportCommand::Describe(CLI::App& verb) {
    verb.add_option("FILE", m_bank.strPath, "a bank or source bank")->required();
    verb.add_option("-o,--output", m_strOutput, "the page to write")->type_name("REPORT.html")->required();
    verb.add_option("--source", m_source.strPath, "also show the spectra of this source's waves")
        ->type_name("SOURCE");
    verb.add_flag("-f,--force", m_bForce, "replace a page that is there");
}

int ReportCommand::Run(Console& console) {
    Json document = Json::object();
    document["file"] = m_bank.strPath;
    if (!m_source.strPath.empty()) document["source"] = m_source.strPath;
    document["output"] = m_strOutput;
    const Ending ending = Report(console, document);
    if (!ending.strError.empty()) console.Error(ending.strError);
    return console.Finish("report", ending.code, document);
}

Ending ReportCommand::Bank::Open() {
    if (strPath.empty()) return {};
    if (const Ending opened = OpenScan(scan, strPath); !opened.IsDone())
        return {opened.code, strPath + ": " + opened.strError};
    contents = ReadContents(scan);
    if (contents.nError != 0) return {kExitBadInput, strPath + ": " + std::strerror(contents.nError)};
    return {};
}

Ending ReportCommand::Report(Console& console, Json& document) {
    Ending ending = CheckOutput();
    if (ending.IsDone()) ending = m_bank.Open();
    if (ending.IsDone()) ending = m_source.Open();
    std::vector<SampleView> views;
    ReportFacts facts;
    if (ending.IsDone()) ending = MakeViews(console, views);
    if (ending.IsDone()) ending = FillFacts(console, facts);
    if (!ending.IsDone()) return ending;
    const std::string strPage = MakeReportPage(facts, m_bank.contents, views);
    uint64_t nBytes = 0;
    ending = WriteNewFile(
        m_strOutput, [&strPage](CXFile& file) { return file.Write(strPage.data(), strPage.size()); }, nBytes);
    if (!ending.IsDone()) return ending;
    document["bytes"] = nBytes;
    document["programs"] = m_bank.contents.programs.size();
    document["samples"] = m_bank.contents.samples.size();
    console.Say(m_strOutput + ": " + Counted(m_bank.contents.programs.size(), "program") + ", " +
                Counted(m_bank.contents.samples.size(), "sample") + ", " + ReadableSize(nBytes));
    return {m_code, ""};
}

Ending ReportCommand::CheckOutput() const {
    std::error_code ignored;
    for (const std::string& strInput : {m_bank.strPath, m_source.strPath})
        if (fs::equivalent(strInput, m_strOutput, ignored))
            return {kExitUsage, m_strOutput + ": this is an input itself"};
    return CheckNewFile(m_strOutput, m_bForce);
}

Ending ReportCommand::MakeViews(Console& console, std::vector<SampleView>& views) {
    const size_t nViews = std::min(m_bank.contents.samples.size(), ReportLimits::kWaves);
    const unsigned nHelpers = HelperThreadCount();
    ScanFiles files(m_bank.scan, nHelpers), sourceFiles(m_source.scan, nHelpers);
    OrderedPipeline<MadeView> made(nViews, nHelpers, nHelpers + 1, [&](size_t nSample, unsigned nHelper) {
        return ViewOf(nSample, files.Of(nHelper), sourceFiles.Of(nHelper));
    });
    Progress bar(console, NameOf(m_strOutput), 0);
    for (size_t i = 0; i < nViews; ++i) {
        if (CancelSignal() != 0) return {kExitProblem, m_bank.strPath + ": cancelled"};
        MadeView view = made.Take();
        for (const std::string& strUnread : view.unread) TellUnread(console, strUnread);
        views.push_back(std::move(view.view));
        bar.Show(static_cast<double>(i + 1) / static_cast<double>(nViews), 0);
    }
    for (size_t i = nViews; i < m_bank.contents.samples.size(); ++i)
        if (const SampleFacts& sample = m_bank.contents.samples[i]; !sample.strFault.empty())
            TellUnread(console, UnreadText(m_bank, sample, sample.strFault));
    return {};
}

// The page is written all the same, and tells it too; of a source's wave only the spectrum is missing there.
void ReportCommand::TellUnread(Console& console, const std::string& strUnread) {
    console.Error(strUnread);
    m_code = kExitProblem;
}

std::string ReportCommand::UnreadText(const Bank& bank, const SampleFacts& sample,
                                      const std::string& strCause) {
    return bank.strPath + ": " + DescribeSample(sample) + ": " + strCause;
}

// Runs on any thread.
ReportCommand::MadeView ReportCommand::ViewOf(size_t nSample, CXFile& file, CXFile& sourceFile) const {
    const SampleFacts& sample = m_bank.contents.samples[nSample];
    const auto unread = [&](const std::string& strCause) {
        return MadeView{{.strFault = strCause}, {UnreadText(m_bank, sample, strCause)}};
    };
    if (!sample.strFault.empty()) return unread(sample.strFault);
    const ReadSample read = ReadWave(sample, m_bank.scan, file);
    if (read.pRecord == nullptr) return unread(read.strCause);
    SampleViewWish wish;
    const size_t nExcerpt = ExcerptBytes(m_bank.contents.samples.size());
    if (nSample < ReportLimits::kSoundBytes / nExcerpt) wish.nExcerptBytes = nExcerpt;
    const SampleFacts* const pSource = SourceOf(nSample);
    ReadSample before;
    if (pSource != nullptr) before = ReadWave(*pSource, m_source.scan, sourceFile);
    wish.pSource = before.pRecord.get();
    MadeView made{MakeView(*read.pRecord, wish), {}};
    if (!made.view.strFault.empty()) made.unread.push_back(UnreadText(m_bank, sample, made.view.strFault));
    if (pSource != nullptr && before.pRecord == nullptr)
        made.unread.push_back(UnreadText(m_source, *pSource, before.strCause));
    return made;
}

// A plain bank has the samples of its source in order; in other banks the names tell. Null without a source.
const SampleFacts* ReportCommand::SourceOf(size_t nSample) const {
    const std::vector<SampleFacts>& sources = m_source.contents.samples;
    if (nSample >= ReportLimits::kSpectra) return nullptr;
    if (sources.size() == m_bank.contents.samples.size()) return &sources[nSample];
    const std::string& strName = m_bank.contents.samples[nSample].strName;
    const auto pFound = std::find_if(sources.begin(), sources.end(), [&strName](const SampleFacts& sample) {
        return sample.strName == strName;
    });
    return pFound == sources.end() ? nullptr : &*pFound;
}

Ending ReportCommand::FillFacts(Console& console, ReportFacts& facts) {
    facts.strFile = NameOf(m_bank.strPath);
    facts.strSource = NameOf(m_source.strPath);
    facts.nBytes = m_bank.scan.FileSize();
    facts.bEnriched = m_bank.scan.IsEnriched();
    for (const ProgramFacts& program : m_bank.contents.programs) facts.nRegions += program.regions.size();
    return Predict(console, facts);
}

// That the sizes of its banks cannot be known is no failure, unless the system is the reason.
Ending ReportCommand::Predict(Console& console, ReportFacts& facts) {
    if (const BankResult result = m_run.Analyse(m_bank.strPath); result != kBankDone) {
        const std::string strWhy = m_run.Explain(result, false);
        if (result == kBankNoMemory || result == kBankNoWorker)
            return {m_run.ExitCodeFor(result), m_bank.strPath + ": " + strWhy};
        facts.strWhyNotPredicted = "Not known: " + strWhy + ".";
        if (m_run.Engine().GetFault().nError != 0) TellUnread(console, m_bank.strPath + ": " + strWhy);
        return {};
    }
    for (const int nRate : iSPS) {
        PredictedSize& row = facts.predicted.emplace_back();
        row.nRate = static_cast<unsigned int>(nRate);
        m_run.Engine().Prediction(row.nRate, false, row.nPlain);
        m_run.Engine().Prediction(row.nRate, true, row.nPerKey);
    }
    return {};
}

}  // namespace Kestrova
