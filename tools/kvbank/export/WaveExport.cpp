#include "tools/kvbank/export/WaveExport.h"

#include <new>

#include "tools/kvbank/export/FlacFile.h"
#include "tools/kvbank/export/WaveForm.h"

namespace Kestrova {
namespace {

// 0: as they are.
uint32_t BitsFor(const WaveOptions& options, uint32_t nFormat) {
    if (options.nBits != 0) return options.nBits;
    if (options.kind == WaveKind::Wav) return 0;
    return nFormat == 8 || nFormat == 16 ? 16 : 24;
}

MadeWave Refused(const std::string& strCause) { return {nullptr, strCause}; }

std::string FormatText(uint32_t nFormat) {
    const bool bFloat = (nFormat & kSampleFormatFlag) != 0;
    return std::to_string(nFormat & ~kSampleFormatFlag) + (bFloat ? "-bit floats" : "-bit samples");
}

}  // namespace

MadeWave MakeWave(CXFile& file, const SDBNOTE& note, bool bEnriched, const std::string& strFolder,
                  const WaveOptions& options) {
    ReadSample read = ReadSampleWave(file, note, bEnriched, strFolder);
    if (read.pRecord == nullptr) return Refused(read.strCause);
    MadeWave made{.pRecord = std::move(read.pRecord)};
    const CSDBISampleBase& sample = *made.pRecord;
    const uint64_t nFrameBytes = sample.GetFrameBytes();
    made.nFrames = nFrameBytes == 0 ? 0 : sample.m_info.lWave / nFrameBytes;
    if (made.nFrames == 0) return Refused("its wave has no whole frame");
    if (sample.GetStatedBytes() > sample.m_info.lWave)
        made.strProblem = "its header states " + std::to_string(sample.m_info.nFrames) +
                          " frames, but its wave has " + std::to_string(made.nFrames);
    const uint32_t nBits = BitsFor(options, sample.m_info.nFormat);
    if (nBits != 0 && sample.m_info.nFormat != nBits) {
        if (!IsConvertible(sample.m_info.nFormat))
            return Refused("its " + FormatText(sample.m_info.nFormat) + " cannot be converted to " +
                           std::to_string(nBits) + " bits");
        made.pRecord = InBits(sample, nBits, made.nRounded);
        if (made.pRecord == nullptr) throw std::bad_alloc();
    }
    made.nMendedLoops = MendLoops(*made.pRecord, made.nFrames);
    NamePitchUpward(*made.pRecord);
    return made;
}

std::string WriteWave(const MadeWave& wave, WaveKind kind, CXFile& file) {
    if (kind == WaveKind::Flac) return WriteFlac(*wave.pRecord, file);
    return wave.pRecord->ExportTo(file) ? "" : "its format or size does not fit a WAV file";
}

}  // namespace Kestrova
