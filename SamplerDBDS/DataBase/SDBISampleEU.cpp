#include "SamplerDBDS/DataBase/SDBISampleEU.h"

#include <cstring>
#include <utility>

#include "SamplerDBDS/DataBase/SDBRecordFields.h"

namespace Kestrova {
namespace {

constexpr uint8_t kPadding[kWaveAlignment] = {};

// Zero bytes in front of a wave whose length field ends at pos: 1 to 512. Quirk (Q84): a position that is on
// a boundary already gets 512; readers and GetSize depend on the two paddings adding up to 512.
uint32_t PrePadding(uint64_t pos) { return kWaveAlignment - static_cast<uint32_t>(pos % kWaveAlignment); }

}  // namespace

CSDBISampleEU::CSDBISampleEU(uint32_t id, uint32_t parentID, LOADTYPE loadType)
    : CSDBISampleBase(id, parentID, loadType == kLoadWave), m_loadType(loadType) {
    Clear(true);
}

void CSDBISampleEU::Clear(bool) {
    Reset(Info{});
    m_posWave = 0;
}

// Deliberately (Q86) unlike the plain kind, whose length stays: here it goes with the wave.
void CSDBISampleEU::SmplMemFree() {
    FreeWave();
    m_info.lWave = 0;
}

template <class TSelf, class TCodec>
bool CSDBISampleEU::Header(TSelf& self, TCodec& codec) {
    return codec.Text(self.m_info.szName) && codec.Word(self.m_info.nSampleRate) &&
           codec.Word(self.m_info.nFormat) && codec.Word(self.m_info.nChannels) &&
           codec.Word(self.m_info.nFrames) && codec.Word(self.m_info.nRootKey) &&
           codec.Word(self.m_info.nFineTune) && codec.Word(self.m_info.nFurther) &&
           codec.Block(self.m_params) && codec.Word(self.m_info.cLayerLoops) &&
           codec.LoopLimit(self.m_info.cLayerLoops, kMaxLoops) &&
           codec.List(self.m_loops, self.m_info.cLayerLoops, sizeof(SDBLOOP)) &&
           codec.Word(self.m_info.lWave);
}

bool CSDBISampleEU::Read(CXFile* file, unsigned long size) {
    Clear(false);
    if (!file) return false;
    CCheckedWindow reader(*file, size);
    CFieldDecoder decoder(reader);
    return Header(*this, decoder) && ReadWave(reader) && decoder.Tail(m_pars);
}

bool CSDBISampleEU::ReadWave(CCheckedWindow& reader) {
    unsigned long long pos = 0;
    if (m_info.lWave == 0 || !reader.GetCurrentPos(pos)) return false;
    const uint32_t nBefore = PrePadding(pos);
    m_posWave = pos + nBefore;
    switch (m_loadType) {
        case kLoadInfo: return reader.Skip(uint64_t{m_info.lWave} + kWaveAlignment);
        case kLoadWave: {
            const bool bRead = HadMemory(reader.GetFile(), SmplMemAlloc()) && reader.Skip(nBefore) &&
                               reader.Read(m_info.pWave, m_info.lWave) &&
                               reader.Skip(kWaveAlignment - nBefore);
            if (!bRead) FreeWave();
            return bRead;
        }
        default: return true;
    }
}

bool CSDBISampleEU::Write(CXFile* file) {
    if (!file || !m_info.pWave || m_info.lWave == 0) return false;
    CFieldEncoder encoder(*file);
    return Header(std::as_const(*this), encoder) && WriteWave(*file) && encoder.Tail(m_pars);
}

bool CSDBISampleEU::WriteWave(CXFile& file) {
    unsigned long long pos = 0;
    if (!file.GetCurrentPos(pos)) return false;
    const uint32_t nBefore = PrePadding(pos);
    m_posWave = pos + nBefore;
    return file.Write(kPadding, nBefore) && file.Write(m_info.pWave, m_info.lWave) &&
           file.Write(kPadding, kWaveAlignment - nBefore);
}

unsigned long CSDBISampleEU::GetSize() {
    CFieldCounter counter;
    Header(std::as_const(*this), counter);
    counter.Add(kWaveAlignment);
    counter.Add(m_info.lWave);
    counter.Tail(m_pars);
    return counter.Count();
}

int CSDBISampleEU::Compare(CSDBInterpreter& other) {
    const Info& a = m_info;
    const Info& b = SameClass<CSDBISampleEU>(other).m_info;
    return FirstDifference({OrderTexts(a.szName, b.szName), Order(a.lWave, b.lWave),
                            Order(a.nSampleRate, b.nSampleRate), Order(a.nFormat, b.nFormat)});
}

bool CSDBISampleEUWave::AllocWave(unsigned long size) {
    const uint64_t nRest = GetSize() - m_info.lWave;
    if (size > UINT32_MAX || nRest + size > UINT32_MAX) return false;
    m_info.lWave = static_cast<uint32_t>(size);
    const bool bHave = SmplMemAlloc();
    if (!bHave) m_info.lWave = 0;
    return bHave;
}

bool CSDBISampleEUWave::CopyWave(const void* data, unsigned long size) {
    if (!AllocWave(size)) return false;
    std::memcpy(m_info.pWave, data, size);
    return true;
}

bool MeasureEnrichedSample(CXFile& file, uint64_t bodyPos, uint32_t bodySize) {
    if (!file.SeekToPos(bodyPos)) return false;
    CBodyReader reader(file, bodySize);
    CFieldSkipper skipper(reader);
    CSDBISampleEUInfo header(kSdbNoID, kSdbNoID);
    return CSDBISampleEU::Header(header, skipper) && header.m_info.lWave != 0 &&
           reader.Skip(uint64_t{header.m_info.lWave} + kWaveAlignment) && skipper.Tail(header.m_pars);
}

}  // namespace Kestrova
