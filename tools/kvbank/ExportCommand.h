// ExportCommand.h - kvbank export: a bank's waves as WAV or FLAC files, and its programs as SFZ maps.
#pragma once

#include "tools/kvbank/Command.h"
#include "tools/kvbank/compare/ScanFiles.h"
#include "tools/kvbank/export/ExportReporter.h"
#include "tools/kvbank/export/SafeNames.h"

namespace Kestrova {

class ExportCommand : public Command {
public:
    void Describe(CLI::App& verb) override;
    int Run(Console& console) override;

private:
    Ending Export(ExportReporter& reporter);
    Ending Choose();
    void NameFiles();
    Ending CheckPlaces() const;
    Ending WriteWaves(ExportReporter& reporter);
    Ending WriteWaveFile(size_t nChosen, ExportedWave& wave);
    Ending WriteMaps(ExportReporter& reporter);

    std::string PlaceOf(const std::string& strName) const;

    std::string m_strFile;
    std::string m_strFolder;
    std::vector<std::string> m_wanted;  // ids and patterns; none: all
    WaveOptions m_options;
    bool m_bMaps = false;
    bool m_bForce = false;

    NoteScan m_scan;
    BankContents m_contents;
    std::vector<size_t> m_chosen;  // places in the contents' samples
    std::unordered_map<uint32_t, std::string>
        m_waveFiles;                      // by sample; of those chosen, then of those written
    std::vector<std::string> m_mapFiles;  // by program; empty without maps
};

}  // namespace Kestrova
