#include "SamplerDBDS/DataBase/SDBISample.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include "SamplerDBDS/DataBase/SDBRecordFields.h"
#include "codec/RawCompress.h"
#include "codec/RawExpand.h"
#include "codec/ReadBudget.h"
#include "stream/StreamBuffer.h"

namespace Kestrova {
namespace {

constexpr char kSourceUnit[] = "SamplerDBDS/DataBase/SDBInterpreter";
constexpr uint64_t kMaxGuardedFrame = 0x10000;  // bytes

// The widths that the wave codec knows.
bool IsCodecWidth(uint32_t nFormat) {
    const uint32_t nBits = nFormat & ~kSampleFormatFlag;
    return nBits == 16 || nBits == 24 || nBits == 32;
}

// The compressed wave; empty when its width is not the codec's, null when memory runs out. The compressor
// filters its input in place, so it gets a copy.
std::unique_ptr<const StreamBuffer> Compress(const CSDBISampleBase::Info& info) {
    try {
        StreamBuffer scratch;
        auto pPacked = std::make_unique<StreamBuffer>();
        scratch.Write(info.pWave, info.lWave);
        CRawCompress(&scratch, pPacked.get(), info.nFormat);
        const bool bMustGive = info.lWave > 0 && IsCodecWidth(info.nFormat);
        return pPacked->GetSize() > 0 || !bMustGive ? std::move(pPacked) : nullptr;
    } catch (const StreamBufferException&) {
        return nullptr;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace

uint64_t CSDBISampleBase::GetStatedBytes() const {
    const uint64_t nFrame = GetFrameBytes();
    if (m_info.nFrames != 0 && nFrame > UINT64_MAX / m_info.nFrames) return UINT64_MAX;
    return nFrame * m_info.nFrames;
}

SDBLOOP* CSDBISampleBase::GetLoops() { return reinterpret_cast<SDBLOOP*>(m_loops.Data()); }

const SDBLOOP* CSDBISampleBase::GetLoops() const { return reinterpret_cast<const SDBLOOP*>(m_loops.Data()); }

bool CSDBISampleBase::AllocLoops(uint32_t count) {
    const bool bHave = m_loops.Alloc(uint64_t{count} * sizeof(SDBLOOP));
    m_info.cLayerLoops = bHave ? count : 0;
    return bHave;
}

void CSDBISampleBase::CopyHeader(const CSDBISampleBase& source) {
    const Info& from = source.m_info;
    CopyStgStr(m_info.szName, from.szName);
    m_info.nFormat = from.nFormat;
    m_info.nChannels = from.nChannels;
    m_info.nFrames = from.nFrames;
    m_info.nRootKey = from.nRootKey;
    m_info.nFineTune = from.nFineTune;
    m_info.nFurther = from.nFurther;
}

bool CSDBISampleBase::CopyOwned(const CSDBISampleBase& source) {
    if (!AllocLoops(source.m_info.cLayerLoops)) return false;
    if (m_info.cLayerLoops > 0) std::memcpy(m_loops.Data(), source.m_loops.Data(), m_loops.Size());
    return m_params.Copy(source.m_params.Data(), source.m_params.Size()) &&
           CopyStgPars(m_pars, source.m_pars.Data(), source.m_pars.Size());
}

uint64_t CSDBISampleBase::GetGuardBytes() const {
    const uint64_t nFrame = GetFrameBytes();
    return m_bGuarded && nFrame <= kMaxGuardedFrame ? nFrame * kWaveGuardFrames : 0;
}

bool CSDBISampleBase::SmplMemAlloc() {
    KV_ASSERT_TEXT(m_info.pWave == nullptr, "m_info.pWave == NULL");
    KV_ASSERT(m_info.lWave > 0);
    const uint64_t nGuard = GetGuardBytes();
    if (!m_wave.Alloc(m_info.lWave + 2 * nGuard)) return false;
    m_info.pWave = m_wave.Data() + nGuard;
    return true;
}

void CSDBISampleBase::FreeWave() {
    m_wave.Free();
    m_info.pWave = nullptr;
}

void CSDBISampleBase::Reset(const Info& info) {
    FreeWave();
    m_loops.Free();
    m_params.Free();
    m_pars.Free();
    m_bOverReadBudget = false;
    m_info = info;
}

CSDBISample::CSDBISample(uint32_t id, uint32_t parentID, LOADTYPE loadType)
    : CSDBISampleBase(id, parentID, loadType == kLoadWave), m_loadType(loadType) {
    Clear(true);
}

void CSDBISample::Clear(bool) {
    Info info;
    info.nSampleRate = 44100;
    info.nFormat = 16;
    info.nChannels = 2;
    Reset(info);
    m_packed.Free();
    m_szFile[0] = '\0';
    m_lStored = 0;
}

template <class TSelf, class TCodec>
bool CSDBISample::Header(TSelf& self, TCodec& codec) {
    return codec.Text(self.m_info.szName) && codec.Text(self.m_szFile) &&
           codec.Word(self.m_info.nSampleRate) && codec.Word(self.m_info.nFormat) &&
           codec.Word(self.m_info.nChannels) && codec.Word(self.m_info.nFrames) &&
           codec.Word(self.m_info.nRootKey) && codec.Word(self.m_info.nFineTune) &&
           codec.Word(self.m_info.nFurther) && codec.Block(self.m_params) &&
           codec.Word(self.m_info.cLayerLoops) &&
           codec.List(self.m_loops, self.m_info.cLayerLoops, sizeof(SDBLOOP)) && codec.Word(self.m_lStored) &&
           codec.Word(self.m_info.lWave);
}

// Reads through a window instead of the whole body in memory: the wave, which is most of it, is skipped or
// read directly to its place.
bool CSDBISample::Read(CXFile* file, unsigned long size) {
    Clear(false);
    if (!file) return false;
    CBodyReader reader(*file, size);
    CFieldDecoder decoder(reader);
    return Header(*this, decoder) && ReadWave(reader) && decoder.Tail(m_pars);
}

bool CSDBISample::ReadWave(CBodyReader& reader) {
    const bool bExternal = m_lStored == 0;
    switch (m_loadType) {
        case kLoadStored: return bExternal ? ReadExtHeader(reader) : ReadIntWave(reader);
        case kLoadInfo: return bExternal ? ReadExtHeader(reader) : reader.Skip(m_lStored);
        case kLoadWave: return bExternal ? ReadExtWave(reader) : ReadIntWave(reader);
        default: return true;
    }
}

// When only the header of an external file is wanted, a fault of that file, or of its name, is no failure of
// the record: its own body was decoded whole. Running out of memory is a failure, since the file may be
// right.
bool CSDBISample::ReadExtHeader(CBodyReader& reader) {
    CXFile wave;
    return ReadExtFileInfo(wave) || HadMemory(reader.GetFile(), wave.GetFirstError() != ENOMEM);
}

bool CSDBISample::ReadExtWave(CBodyReader& reader) {
    CXFile wave;
    if (ReadExtFileInfo(wave) && ReadExtFileData(wave)) return true;
    reader.GetFile().NoteError(wave.GetFirstError());
    return false;
}

bool CSDBISample::ReadIntWave(CBodyReader& reader) {
    if (m_lStored == 0 || m_info.lWave == 0 || !reader.HasRoom(m_lStored)) return false;
    CXFile& file = reader.GetFile();
    if (m_lStored == m_info.lWave) {
        const bool bRead = HadMemory(file, SmplMemAlloc()) && reader.Read(m_info.pWave, m_info.lWave);
        if (!bRead) FreeWave();
        return bRead;
    }
    unsigned long long nFileBytes = 0;
    if (!file.GetSize(nFileBytes)) return false;
    const uint64_t nMost = ReadBudget::MostFor(nFileBytes);
    m_bOverReadBudget = m_info.lWave > nMost;
    if (m_bOverReadBudget) return false;
    CStgBlock packed;
    return HadMemory(file, packed.Alloc(m_lStored)) && reader.Read(packed.Data(), packed.Size()) &&
           ExpandWave(packed, file, nMost);
}

bool CSDBISample::ExpandWave(const CStgBlock& packed, CXFile& file, uint64_t nMost) {
    if (!IsCodecWidth(m_info.nFormat)) return false;  // the expander divides by the width
    try {
        StreamBuffer in(packed.Data(), packed.Size());
        StreamBuffer out;
        const CRawExpand expand(&in, &out, m_info.nFormat, m_info.lWave, 1, nMost);
        m_bOverReadBudget = expand.HasTooMany();
        if (!HadMemory(file, !expand.RanOutOfMemory()) || out.GetSize() != m_info.lWave ||
            !HadMemory(file, SmplMemAlloc()))
            return false;
        std::memcpy(m_info.pWave, out.GetBuffer(), m_info.lWave);
        return true;
    } catch (const std::bad_alloc&) {
        return HadMemory(file, false);
    }
}

bool CSDBISample::Write(CXFile* file) {
    if (!file) return false;
    CFieldEncoder encoder(*file);
    return Header(std::as_const(*this), encoder) && (m_lStored == 0 || WriteIntWave(file)) &&
           encoder.Tail(m_pars);
}

unsigned long CSDBISample::GetSize() {
    CFieldCounter counter;
    Header(std::as_const(*this), counter);
    counter.Add(m_lStored);
    counter.Tail(m_pars);
    return counter.Count();
}

int CSDBISample::Compare(CSDBInterpreter& other) {
    const CSDBISample& second = SameClass<CSDBISample>(other);
    const Info& a = m_info;
    const Info& b = second.m_info;
    return FirstDifference({OrderTexts(a.szName, b.szName), OrderTexts(m_szFile, second.m_szFile),
                            Order(a.lWave, b.lWave), Order(a.nSampleRate, b.nSampleRate),
                            Order(a.nFormat, b.nFormat)});
}

bool CSDBISample::CalcCompressSize() {
    m_lStored = m_info.lWave;
    if (!m_info.pWave) return true;
    const auto pPacked = Compress(m_info);
    if (!pPacked) return false;
    // Deliberately (Q82) also where it is the larger of the two.
    if (pPacked->GetSize() > 0 && pPacked->GetSize() <= UINT32_MAX)
        m_lStored = static_cast<uint32_t>(pPacked->GetSize());
    return true;
}

bool CSDBISample::PackWave() {
    m_lStored = m_info.lWave;
    if (!m_info.pWave) return true;
    const auto pPacked = Compress(m_info);
    if (!pPacked) return false;
    if (pPacked->GetSize() == 0 || pPacked->GetSize() >= m_info.lWave) return true;
    if (!m_packed.Copy(pPacked->GetBuffer(), pPacked->GetSize())) return false;
    m_lStored = static_cast<uint32_t>(pPacked->GetSize());
    FreeWave();
    return true;
}

bool CSDBISample::WriteIntWave(CXFile* file) const {
    if (file && m_packed.Size() > 0)
        return m_packed.Size() == m_lStored && file->Write(m_packed.Data(), m_lStored);
    if (!file || m_lStored == 0 || !m_info.pWave) return false;
    if (m_lStored == m_info.lWave) {
        const uint32_t nSample = GetSampleBytes();
        // Quirk (Q81): whole samples only; a wave that ends inside one writes less than GetSize counts.
        return nSample > 0 && file->Write(m_info.pWave, m_lStored - m_lStored % nSample);
    }
    const auto pPacked = Compress(m_info);
    return HadMemory(*file, pPacked != nullptr) && pPacked->GetSize() == m_lStored &&
           file->Write(pPacked->GetBuffer(), m_lStored);
}

}  // namespace Kestrova
