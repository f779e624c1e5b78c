#include "tools/kvbank/export/ExportReporter.h"

#include <utility>

namespace Kestrova {
namespace {

const char* KindName(WaveKind kind) { return kind == WaveKind::Wav ? "wav" : "flac"; }

// "1,234 values", "1 value".
std::string GroupedCount(uint64_t n, const std::string& strNoun) {
    return Grouped(n) + " " + strNoun + (n == 1 ? "" : "s");
}

}  // namespace

ExportReporter::ExportReporter(Console& console, std::string strFile, std::string strFolder,
                               WaveOptions options, bool bMaps)
    : m_console(console),
      m_strFile(std::move(strFile)),
      m_strFolder(std::move(strFolder)),
      m_options(options),
      m_bMaps(bMaps) {
    m_document["file"] = m_strFile;
    m_document["folder"] = m_strFolder;
    m_document["format"] = KindName(options.kind);
    m_document["samples"] = Json::array();
    if (bMaps) m_document["maps"] = Json::array();
}

void ExportReporter::Tell(const SampleFacts& sample, const ExportedWave& wave) {
    Json row = {{"id", sample.note.idNote}, {"name", sample.strName}};
    const std::string& strCause = wave.made.strCause.empty() ? wave.made.strProblem : wave.made.strCause;
    if (!strCause.empty()) m_console.Error(m_strFile + ": " + DescribeSample(sample) + ": " + strCause);
    if (wave.nBytes != 0) {
        row["file"] = wave.strFile;
        row["bytes"] = wave.nBytes;
        row["rate"] = sample.nRate;
        row["bits"] = wave.nBits;
        row["channels"] = sample.nChannels;
        row["frames"] = wave.made.nFrames;
        if (m_options.nBits != 0 || wave.made.nRounded != 0) row["rounded"] = wave.made.nRounded;
        m_console.Detail(DescribeSample(sample) + ": " + wave.strFile);
        ++m_nWaves;
        m_nBytes += wave.nBytes;
        m_nRounded += wave.made.nRounded;
        m_nRoundedWaves += wave.made.nRounded != 0 ? 1 : 0;
        m_nMendedLoops += wave.made.nMendedLoops;
        m_nLostLoops += m_options.kind == WaveKind::Flac && sample.nLoops > 0 ? 1 : 0;
    }
    if (!strCause.empty()) row["cause"] = strCause;
    m_document["samples"].push_back(std::move(row));
}

void ExportReporter::Tell(const ProgramFacts& program, const ExportedMap& map) {
    m_document["maps"].push_back({{"program", program.id},
                                  {"name", program.strName},
                                  {"file", map.strFile},
                                  {"bytes", map.nBytes},
                                  {"regions", map.nRegions},
                                  {"left_out", map.nLeftOut}});
    m_console.Detail("program " + std::to_string(program.id) + ": " + map.strFile + ", " +
                     Counted(map.nRegions, "region"));
    ++m_nMaps;
    m_nBytes += map.nBytes;
    m_nLeftOut += map.nLeftOut;
}

void ExportReporter::TellTotal(double seconds) {
    m_document["bytes"] = m_nBytes;
    m_document["seconds"] = seconds;
    std::string strLine = m_strFolder + ": " + Counted(m_nWaves, "wave");
    if (m_bMaps) strLine += ", " + Counted(m_nMaps, "SFZ map");
    m_console.Say(strLine + ", " + ReadableSize(m_nBytes) + " in " + ReadableTime(seconds));
    if (m_nRounded != 0) {
        m_document["rounded"] = m_nRounded;
        m_console.Say(m_strFolder + ": rounded: " + GroupedCount(m_nRounded, "value") + " of " +
                      GroupedCount(m_nRoundedWaves, "wave"));
    }
    TellWarnings();
}

void ExportReporter::TellWarnings() {
    if (m_nMendedLoops != 0)
        m_console.Warn(m_strFile + ": " + GroupedCount(m_nMendedLoops, "loop") +
                       " reached beyond the wave and were cut to it or dropped");
    if (m_nLostLoops != 0 && !m_bMaps)
        m_console.Warn(m_strFile + ": FLAC files hold no loops: those of " +
                       GroupedCount(m_nLostLoops, "sample") +
                       " are lost; --sfz writes them beside the waves");
    if (m_nLeftOut != 0)
        m_console.Warn(
            m_strFile + ": " + GroupedCount(m_nLeftOut, "layer") +
            (m_nLeftOut == 1 ? " is not in the SFZ maps: it plays" : " are not in the SFZ maps: they play") +
            " no key from 0 to 127, or no wave that was exported");
}

int ExportReporter::Finish(const Ending& ending) {
    if (!ending.strError.empty()) m_console.Error(ending.strError);
    return m_console.Finish("export", ending.code, m_document);
}

}  // namespace Kestrova
