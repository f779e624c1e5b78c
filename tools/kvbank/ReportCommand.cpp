#include "tools/kvbank/ReportCommand.h"

#include <algorithm>
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
    if (!ending.IsDone()) console.Error(ending.strError);
    return console.Finish("report", ending.code, document);
}

Ending ReportCommand::Bank::Open() {
    if (strPath.empty()) return {};
    if (const Ending opened = OpenScan(scan, strPath); !opened.IsDone())
        return {opened.code, strPath + ": " + opened.strError};
    contents = ReadContents(scan);
    return {};
}

Ending ReportCommand::Report(Console& console, Json& document) {
    Ending ending = CheckOutput();
    if (ending.IsDone()) ending = m_bank.Open();
    if (ending.IsDone()) ending = m_source.Open();
    std::vector<SampleView> views;
    if (ending.IsDone()) ending = MakeViews(console, views);
    if (!ending.IsDone()) return ending;
    const std::string strPage = MakeReportPage(FactsOf(), m_bank.contents, views);
    uint64_t nBytes = 0;
    ending = WriteNewFile(
        m_strOutput, [&strPage](CXFile& file) { return file.Write(strPage.data(), strPage.size()); }, nBytes);
    if (!ending.IsDone()) return ending;
    document["bytes"] = nBytes;
    document["programs"] = m_bank.contents.programs.size();
    document["samples"] = m_bank.contents.samples.size();
    console.Say(m_strOutput + ": " + Counted(m_bank.contents.programs.size(), "program") + ", " +
                Counted(m_bank.contents.samples.size(), "sample") + ", " + ReadableSize(nBytes));
    return {};
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
    OrderedPipeline<SampleView> made(nViews, nHelpers, nHelpers + 1, [&](size_t nSample, unsigned nHelper) {
        return ViewOf(nSample, files.Of(nHelper), sourceFiles.Of(nHelper));
    });
    Progress bar(console, NameOf(m_strOutput), 0);
    for (size_t i = 0; i < nViews; ++i) {
        if (CancelSignal() != 0) return {kExitProblem, m_bank.strPath + ": cancelled"};
        views.push_back(made.Take());
        bar.Show(static_cast<double>(i + 1) / static_cast<double>(nViews), 0);
    }
    return {};
}

// Runs on any thread.
SampleView ReportCommand::ViewOf(size_t nSample, CXFile& file, CXFile& sourceFile) const {
    const SampleFacts& sample = m_bank.contents.samples[nSample];
    if (!sample.strFault.empty()) return {.strFault = sample.strFault};
    const ReadSample read = ReadWave(sample, m_bank.scan, file);
    if (read.pRecord == nullptr) return {.strFault = read.strCause};
    SampleViewWish wish;
    const size_t nExcerpt = ExcerptBytes(m_bank.contents.samples.size());
    if (nSample < ReportLimits::kSoundBytes / nExcerpt) wish.nExcerptBytes = nExcerpt;
    ReadSample before;
    if (const SampleFacts* const pSource = SourceOf(nSample); pSource != nullptr)
        before = ReadWave(*pSource, m_source.scan, sourceFile);
    wish.pSource = before.pRecord.get();
    return MakeView(*read.pRecord, wish);
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

ReportFacts ReportCommand::FactsOf() {
    ReportFacts facts;
    facts.strFile = NameOf(m_bank.strPath);
    facts.strSource = NameOf(m_source.strPath);
    facts.nBytes = m_bank.scan.FileSize();
    facts.bEnriched = m_bank.scan.IsEnriched();
    for (const ProgramFacts& program : m_bank.contents.programs) facts.nRegions += program.regions.size();
    Predict(facts);
    return facts;
}

void ReportCommand::Predict(ReportFacts& facts) {
    if (const BankResult result = m_run.Analyse(m_bank.strPath); result != kBankDone) {
        facts.strWhyNotPredicted = "Not known: " + m_run.Explain(result, false) + ".";
        return;
    }
    for (const int nRate : iSPS) {
        PredictedSize& row = facts.predicted.emplace_back();
        row.nRate = static_cast<unsigned int>(nRate);
        m_run.Engine().Prediction(row.nRate, false, row.nPlain);
        m_run.Engine().Prediction(row.nRate, true, row.nPerKey);
    }
}

}  // namespace Kestrova
