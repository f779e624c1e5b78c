#include "tools/kvbank/ExportCommand.h"

#include <fnmatch.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "bank/HelperThreads.h"
#include "bank/OrderedPipeline.h"
#include "shared/System/kvCancelSignal.h"
#include "shared/System/kvPath.h"
#include "tools/kvbank/NewSource.h"
#include "tools/kvbank/export/SfzMap.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

constexpr const char* kMapSuffix = ".sfz";

const char* SuffixOf(WaveKind kind) { return kind == WaveKind::Wav ? ".wav" : ".flac"; }

bool IsNumber(const std::string& strText) {
    return strText.find_first_not_of("0123456789") == std::string::npos;
}

// Whether a sample is meant: by its id, or by a pattern that its name matches.
bool IsMeant(const SampleFacts& sample, const std::string& strWanted) {
    if (IsNumber(strWanted)) return std::to_string(sample.note.idNote) == strWanted;
    return fnmatch(strWanted.c_str(), sample.strName.c_str(), 0) == 0;
}

}  // namespace

void ExportCommand::Describe(CLI::App& verb) {
    verb.add_option("FILE", m_strFile, "a bank or source bank")->required();
    verb.add_option("-o,--output", m_strFolder, "the folder for the files; made when it is missing")
        ->type_name("DIR")
        ->required();
    verb.add_option(
            "--sample", m_wanted,
            "only samples with this id, or a name that the pattern matches; may be given several times")
        ->type_name("ID|GLOB")
        ->type_size(1)
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    verb.add_option_function<std::string>(
            "--format",
            [this](const std::string& strFormat) {
                if (strFormat != "wav" && strFormat != "flac")
                    throw CLI::ValidationError("--format", "'" + strFormat + "': give 'wav' or 'flac'");
                m_options.kind = strFormat == "wav" ? WaveKind::Wav : WaveKind::Flac;
            },
            "wav (default), or flac, which holds no loops")
        ->type_name("wav|flac");
    verb.add_option_function<std::string>(
            "--bits",
            [this](const std::string& strBits) {
                if (strBits != "16" && strBits != "24")
                    throw CLI::ValidationError("--bits", "'" + strBits + "': give 16 or 24");
                m_options.nBits = strBits == "16" ? 16 : 24;
            },
            "the width of the samples; without it as they are")
        ->type_name("16|24");
    verb.add_flag("--sfz", m_bMaps, "also write an SFZ map of each program, which other samplers play");
    verb.add_flag("-f,--force", m_bForce, "replace files that are there");
}

int ExportCommand::Run(Console& console) {
    ExportReporter reporter(console, m_strFile, m_strFolder, m_options, m_bMaps);
    return reporter.Finish(Export(reporter));
}

Ending ExportCommand::Export(ExportReporter& reporter) {
    const auto start = std::chrono::steady_clock::now();
    if (const Ending opened = OpenScan(m_scan, m_strFile); !opened.IsDone())
        return {opened.code, m_strFile + ": " + opened.strError};
    m_contents = ReadContents(m_scan);
    if (m_contents.nError != 0) return {kExitBadInput, m_strFile + ": " + std::strerror(m_contents.nError)};
    Ending ending = Choose();
    if (!ending.IsDone()) return ending;
    NameFiles();
    ending = CheckPlaces();
    if (!ending.IsDone()) return ending;
    std::error_code error;
    fs::create_directories(m_strFolder, error);
    if (error) return {kExitOutput, m_strFolder + ": " + error.message()};
    ending = WriteWaves(reporter);
    if (!ending.strError.empty()) return ending;
    if (Ending maps = WriteMaps(reporter); !maps.IsDone()) return maps;
    reporter.TellTotal(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    return ending;
}

Ending ExportCommand::Choose() {
    std::vector<bool> met(m_wanted.size());
    for (size_t nSample = 0; nSample < m_contents.samples.size(); ++nSample) {
        bool bMeant = m_wanted.empty();
        for (size_t i = 0; i < m_wanted.size(); ++i) {
            if (!IsMeant(m_contents.samples[nSample], m_wanted[i])) continue;
            met[i] = true;
            bMeant = true;
        }
        if (bMeant) m_chosen.push_back(nSample);
    }
    if (const auto pMissing = std::find(met.begin(), met.end(), false); pMissing != met.end())
        return {kExitUsage, m_strFile + ": no sample is meant by '" +
                                m_wanted[static_cast<size_t>(pMissing - met.begin())] + "'"};
    if (m_chosen.empty()) return {kExitBadInput, m_strFile + ": there are no samples"};
    return {};
}

// Names do not depend on which samples are chosen.
void ExportCommand::NameFiles() {
    SafeNames names;
    std::vector<std::string> files;
    for (const SampleFacts& sample : m_contents.samples)
        files.push_back(names.Take(sample.strName, SuffixOf(m_options.kind)));
    for (const size_t nSample : m_chosen)
        m_waveFiles[m_contents.samples[nSample].note.idNote] = files[nSample];
    if (!m_bMaps) return;
    for (const ProgramFacts& program : m_contents.programs)
        m_mapFiles.push_back(names.Take(program.strName, kMapSuffix));
}

std::string ExportCommand::PlaceOf(const std::string& strName) const {
    return (fs::path(m_strFolder) / strName).string();
}

// Before anything is written.
Ending ExportCommand::CheckPlaces() const {
    for (const size_t nSample : m_chosen) {
        const std::string& strName = m_waveFiles.at(m_contents.samples[nSample].note.idNote);
        if (Ending ending = CheckNewFile(PlaceOf(strName), m_bForce); !ending.IsDone()) return ending;
    }
    for (const std::string& strName : m_mapFiles)
        if (Ending ending = CheckNewFile(PlaceOf(strName), m_bForce); !ending.IsDone()) return ending;
    return {};
}

// A sample that cannot be exported stops no other. It is told at once, and by the code alone at the end.
Ending ExportCommand::WriteWaves(ExportReporter& reporter) {
    const unsigned nHelpers = HelperThreadCount();
    const std::string strFolder(FolderPart(m_strFile));
    ScanFiles files(m_scan, nHelpers);
    OrderedPipeline<MadeWave> waves(m_chosen.size(), nHelpers, nHelpers + 1, [&](size_t i, unsigned nHelper) {
        const SampleFacts& sample = m_contents.samples[m_chosen[i]];
        if (!sample.strFault.empty()) return MadeWave{nullptr, sample.strFault};
        return MakeWave(files.Of(nHelper), sample.note, m_scan.IsEnriched(), strFolder, m_options);
    });
    Progress bar = reporter.MakeBar();
    uint64_t nBytes = 0;
    ExitCode code = kExitDone;
    for (size_t i = 0; i < m_chosen.size(); ++i) {
        if (CancelSignal() != 0) return {kExitProblem, m_strFile + ": cancelled"};
        ExportedWave wave;
        wave.made = waves.Take();
        if (Ending ending = WriteWaveFile(i, wave); !ending.IsDone()) return ending;
        if (!wave.made.strCause.empty() || !wave.made.strProblem.empty()) code = kExitProblem;
        reporter.Tell(m_contents.samples[m_chosen[i]], wave);
        nBytes += wave.nBytes;
        bar.Show(static_cast<double>(i + 1) / static_cast<double>(m_chosen.size()), nBytes);
    }
    return {code, ""};
}

// A map names only waves that are there.
Ending ExportCommand::WriteWaveFile(size_t nChosen, ExportedWave& wave) {
    const uint32_t id = m_contents.samples[m_chosen[nChosen]].note.idNote;
    wave.strFile = m_waveFiles.at(id);
    if (wave.made.pRecord != nullptr) {
        wave.nBits = wave.made.pRecord->m_info.nFormat & ~kSampleFormatFlag;
        const auto write = [&](CXFile& file) {
            wave.made.strCause = WriteWave(wave.made, m_options.kind, file);
            return wave.made.strCause.empty();
        };
        if (Ending ending = WriteNewFile(PlaceOf(wave.strFile), write, wave.nBytes); !ending.IsDone())
            return ending;
        wave.made.pRecord.reset();
    }
    if (wave.nBytes == 0) m_waveFiles.erase(id);
    return {};
}

Ending ExportCommand::WriteMaps(ExportReporter& reporter) {
    for (size_t i = 0; i < m_mapFiles.size(); ++i) {
        if (CancelSignal() != 0) return {kExitProblem, m_strFile + ": cancelled"};
        const ProgramFacts& program = m_contents.programs[i];
        const SfzMap map = MakeSfzMap(program, m_contents, m_waveFiles);
        if (map.nRegions == 0) continue;
        ExportedMap exported{m_mapFiles[i], 0, map.nRegions, map.nLeftOut};
        const auto write = [&map](CXFile& file) {
            return file.Write(map.strText.data(), map.strText.size());
        };
        if (Ending ending = WriteNewFile(PlaceOf(exported.strFile), write, exported.nBytes); !ending.IsDone())
            return ending;
        reporter.Tell(program, exported);
    }
    return {};
}

}  // namespace Kestrova
