#include "tools/kvbank/contents/SampleRecord.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "codec/ReadBudget.h"

namespace Kestrova {
namespace {

ReadSample Unreadable(const CXFile& file) {
    const int nError = file.GetFirstError();
    if (nError == ENOMEM) throw std::bad_alloc();
    return {nullptr, nError != 0 ? std::strerror(nError) : "it cannot be read whole"};
}

template <class TSample>
ReadSample Decode(CXFile& file, const SDBNOTE& note, std::unique_ptr<TSample> pSample) {
    if (!NoteScan::Read(file, note, *pSample))
        return pSample->IsOverReadBudget() ? ReadSample{nullptr, kOverReadBudget} : Unreadable(file);
    return {std::move(pSample)};
}

template <class TPlain, class TEnriched>
ReadSample Read(CXFile& file, const SDBNOTE& note, bool bEnriched, const std::string& strFolder) {
    file.ClearFirstError();
    if (bEnriched) {
        if (!MeasureEnrichedSample(file, note.PosBody(), note.nSize)) return Unreadable(file);
        return Decode(file, note, std::make_unique<TEnriched>(note.idNote, note.idParent));
    }
    auto pSample = std::make_unique<TPlain>(note.idNote, note.idParent);
    pSample->SetExtFolder(strFolder.c_str());
    return Decode(file, note, std::move(pSample));
}

}  // namespace

ReadSample ReadSampleHeader(CXFile& file, const SDBNOTE& note, bool bEnriched, const std::string& strFolder) {
    return Read<CSDBISampleInfo, CSDBISampleEUInfo>(file, note, bEnriched, strFolder);
}

ReadSample ReadSampleWave(CXFile& file, const SDBNOTE& note, bool bEnriched, const std::string& strFolder) {
    return Read<CSDBISampleWave, CSDBISampleEUWave>(file, note, bEnriched, strFolder);
}

std::optional<LoopFrames> LoopWithin(const SDBLOOP& loop, uint64_t nFrames) {
    if (loop.nStart > loop.nEnd || loop.nStart >= nFrames) return std::nullopt;
    return LoopFrames{loop.nStart, static_cast<uint32_t>(std::min<uint64_t>(loop.nEnd, nFrames - 1))};
}

}  // namespace Kestrova
