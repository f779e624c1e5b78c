#include "tools/kvbank/verify/SampleCheck.h"

#include <algorithm>
#include <array>

#include "codec/ReadBudget.h"
#include "tools/kvbank/compare/NoteScan.h"
#include "tools/kvbank/terminal/Console.h"

namespace Kestrova {
namespace {

using Causes = std::vector<std::string>;

void CheckLoops(const CSDBISampleBase& sample, Causes& causes) {
    for (uint32_t i = 0; i < sample.m_info.cLayerLoops; ++i) {
        const SDBLOOP& loop = sample.GetLoops()[i];
        if (loop.nStart > loop.nEnd || loop.nEnd > sample.m_info.nFrames) {
            causes.push_back("loop " + std::to_string(i) + " (" + std::to_string(loop.nStart) + " to " +
                             std::to_string(loop.nEnd) + ") is not inside its " +
                             std::to_string(sample.m_info.nFrames) + " frames");
            return;  // a list may be a million entries long
        }
    }
}

void CheckNumbers(const CSDBISampleBase& sample, Causes& causes) {
    if (sample.m_info.nSampleRate == 0) causes.push_back("its sample rate is 0");
    if (sample.GetFrameBytes() == 0) causes.push_back("its frames have no bytes");
    if (sample.GetStatedBytes() > sample.m_info.lWave)
        causes.push_back("its header states more frames than its wave has");
    CheckLoops(sample, causes);
}

bool IsZero(CXFile& file, uint64_t pos, uint64_t nBytes) {
    std::array<char, kWaveAlignment> bytes{};
    return file.ReadAtPos(pos, bytes.data(), nBytes) &&
           std::all_of(bytes.begin(), bytes.end(), [](char ch) { return ch == 0; });
}

// The bytes in front of the wave: the name as stored, seven words, block, loops and three counts.
uint64_t HeaderBytes(CXFile& file, const SDBNOTE& note, const CSDBISampleEU& sample) {
    uint8_t nName = 0;
    file.ReadAtPos(note.PosBody(), &nName, 1);
    return 1 + uint64_t{nName} + 7 * uint64_t{4} + 4 + sample.m_params.Size() + 4 +
           sample.m_info.cLayerLoops * sizeof(SDBLOOP) + 4;
}

// The place of a wave depends on the place of its record. A record that was written for another place still
// decodes, but its wave is shifted. The padding around the wave, which must be silent, shows this.
void CheckAlignment(CXFile& file, const SDBNOTE& note, const CSDBISampleEU& sample, Causes& causes) {
    const uint64_t nHeader = HeaderBytes(file, note, sample);
    const uint64_t posPadding = note.PosBody() + nHeader;
    const uint64_t nBefore = sample.m_posWave - posPadding;
    if (!IsZero(file, posPadding, nBefore) ||
        !IsZero(file, sample.m_posWave + sample.m_info.lWave, kWaveAlignment - nBefore))
        causes.push_back("its wave is misaligned: the padding around it is not silent");
    const uint64_t nBody = nHeader + kWaveAlignment + sample.m_info.lWave + 4 + sample.m_pars.Size();
    if (nBody != note.nSize)
        causes.push_back(std::to_string(note.nSize - nBody) + " bytes behind its end are not used");
}

}  // namespace

// When header and loops can be read but the whole record cannot, the wave is at fault.
Causes CheckPlainSample(CXFile& file, const SDBNOTE& note, const std::string& strFolder) {
    Causes causes;
    file.ClearFirstError();
    CSDBISampleWave sample(note.idNote, note.idParent);
    sample.SetExtFolder(strFolder.c_str());
    if (NoteScan::Read(file, note, sample)) {
        CheckNumbers(sample, causes);
        return causes;
    }
    if (sample.IsOverReadBudget()) return {kOverReadBudget};
    CSDBISampleInfo header(note.idNote, note.idParent);
    header.SetExtFolder(strFolder.c_str());
    const bool bHeader = NoteScan::Read(file, note, header);
    if (bHeader && header.m_lStored == 0)
        return {"its wave file " + Printable(header.m_szFile) + " cannot be read"};
    const bool bRefused = file.GetFirstError() != 0;
    return {bHeader && !bRefused ? "its wave cannot be decoded" : WhyUnread(file)};
}

Causes CheckEnrichedSample(CXFile& file, const SDBNOTE& note) {
    Causes causes;
    file.ClearFirstError();
    if (!MeasureEnrichedSample(file, note.PosBody(), note.nSize)) return {WhyUnread(file)};
    CSDBISampleEUWave sample(note.idNote, note.idParent);
    if (!NoteScan::Read(file, note, sample)) return {WhyUnread(file)};
    CheckNumbers(sample, causes);
    CheckAlignment(file, note, sample, causes);
    return causes;
}

}  // namespace Kestrova
