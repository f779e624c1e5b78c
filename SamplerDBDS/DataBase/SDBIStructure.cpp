#include "SamplerDBDS/DataBase/SDBIStructure.h"

#include "SamplerDBDS/DataBase/SDBFormat.h"
#include "SamplerDBDS/DataBase/SDBRecordFields.h"
#include "stream/DataContainer.h"

namespace Kestrova {
namespace {

constexpr char kSourceUnit[] = "SamplerDBDS/DataBase/SDBInterpreter";

bool PutText(CDataContainer& container, unsigned long id, const char* pszText) {
    return container.PutItem(id, String(pszText));
}

bool PutNonZero(CDataContainer& container, unsigned long id, uint32_t nValue) {
    return nValue == 0 || container.PutItem(id, static_cast<unsigned long>(nValue));
}

bool PutTail(CDataContainer& container, unsigned long id, const StgPars& pars) {
    return pars.Size() == 0 || container.PutItem(id, pars.Data(), pars.Size());
}

// The order of presets, banks and programs.
template <class TRecord>
int CompareByFirstValue(const TRecord& record, const CSDBInterpreter& other) {
    const auto& a = record.m_info;
    const auto& b = SameClass<TRecord>(other).m_info;
    return FirstDifference({Order(a.nFirst, b.nFirst), OrderTexts(a.szName, b.szName)});
}

template <class TRecord>
void Reset(TRecord& record) {
    record.m_info = {};
    record.m_pars.Free();
}

}  // namespace

CDataContainer* CSDBITailed::GetParametersCopy() {
    return m_pars.Size() > 0 ? CDataContainer::NewCopy(m_pars.Data(), m_pars.Size()) : nullptr;
}

template <class TRecord>
bool CSDBIRecord<TRecord>::Read(CXFile* file, unsigned long size) {
    TRecord& self = static_cast<TRecord&>(*this);
    self.Clear(false);
    if (!file) return false;
    const auto decode = [&self](auto& reader) {
        CFieldDecoder decoder(reader);
        return TRecord::Fields(self, decoder);
    };
    if (size <= CXFileReadBuff::kInlineBytes) {
        CBodyBuffer body(*file, size);
        return decode(body);
    }
    CBodyReader window(*file, size);
    return decode(window);
}

template <class TRecord>
bool CSDBIRecord<TRecord>::Write(CXFile* file) {
    if (!file) return false;
    CFieldEncoder encoder(*file);
    return TRecord::Fields(static_cast<const TRecord&>(*this), encoder);
}

template <class TRecord>
unsigned long CSDBIRecord<TRecord>::GetSize() {
    CFieldCounter counter;
    TRecord::Fields(static_cast<const TRecord&>(*this), counter);
    return counter.Count();
}

template <class TSelf, class TCodec>
bool CSDBIInfo::Fields(TSelf& self, TCodec& codec) {
    return codec.Text(self.m_info.szName) && codec.Text(self.m_info.szDescription) &&
           codec.Word(self.m_info.nSampleRate) && codec.Word(self.m_info.nPerKey) &&
           codec.Word(self.m_info.nThird) && codec.Word(self.m_info.nFourth) && codec.Tail(self.m_pars);
}

void CSDBIInfo::Clear(bool) { Reset(*this); }

int CSDBIInfo::Compare(CSDBInterpreter&) {
    KV_ASSERT_TEXT(false, "0");  // deliberate (Q80): comparing information records ends the program
    return 0;
}

bool CSDBIInfo::PutData(CDataContainer* container) {
    if (!container) return false;
    CDataContainer& to = *container;
    return PutText(to, ChunkId("FSNM"), m_info.szName) &&
           PutText(to, ChunkId("FSDS"), m_info.szDescription) &&
           PutNonZero(to, ChunkId("FIR1"), m_info.nSampleRate) &&
           PutNonZero(to, ChunkId("FIR2"), m_info.nPerKey) &&
           PutNonZero(to, ChunkId("FIR3"), m_info.nThird) &&
           PutNonZero(to, ChunkId("FIR4"), m_info.nFourth) && PutTail(to, ChunkId("FVRD"), m_pars);
}

template <class TSelf, class TCodec>
bool CSDBIPreset::Fields(TSelf& self, TCodec& codec) {
    return codec.Text(self.m_info.szName) && codec.Word(self.m_info.nFirst) && codec.Tail(self.m_pars);
}

void CSDBIPreset::Clear(bool) { Reset(*this); }

int CSDBIPreset::Compare(CSDBInterpreter& other) { return CompareByFirstValue(*this, other); }

template <class TSelf, class TCodec>
bool CSDBIBank::Fields(TSelf& self, TCodec& codec) {
    return codec.Text(self.m_info.szName) && codec.Word(self.m_info.nFirst) &&
           codec.Word(self.m_info.nSecond) && codec.Tail(self.m_pars);
}

void CSDBIBank::Clear(bool) { Reset(*this); }

int CSDBIBank::Compare(CSDBInterpreter& other) { return CompareByFirstValue(*this, other); }

template <class TSelf, class TCodec>
bool CSDBIProgram::Fields(TSelf& self, TCodec& codec) {
    return codec.Text(self.m_info.szName) && codec.Word(self.m_info.nFirst) &&
           codec.Word(self.m_info.nSecond) && codec.Word(self.m_info.nThird) && codec.Tail(self.m_pars);
}

void CSDBIProgram::Clear(bool) { Reset(*this); }

int CSDBIProgram::Compare(CSDBInterpreter& other) { return CompareByFirstValue(*this, other); }

template <class TSelf, class TCodec>
bool CSDBIRegion::Fields(TSelf& self, TCodec& codec) {
    return codec.Text(self.m_info.szName) && codec.Word(self.m_info.nLowKey) &&
           codec.Word(self.m_info.nHighKey) && codec.Word(self.m_info.nThird) &&
           codec.Word(self.m_info.nFourth) && codec.Tail(self.m_pars);
}

void CSDBIRegion::Clear(bool) { Reset(*this); }

int CSDBIRegion::Compare(CSDBInterpreter& other) {
    const Info& a = m_info;
    const Info& b = SameClass<CSDBIRegion>(other).m_info;
    return FirstDifference({Order(a.nLowKey, b.nLowKey), Order(a.nHighKey, b.nHighKey),
                            Order(a.nThird, b.nThird), Order(a.nFourth, b.nFourth),
                            OrderTexts(a.szName, b.szName)});
}

template <class TSelf, class TCodec>
bool CSDBILayer::Fields(TSelf& self, TCodec& codec) {
    return codec.Word(self.m_info.nFirst) && codec.Word(self.m_info.nSecond) &&
           codec.Word(self.m_info.nThird) && codec.Word(self.m_info.nFourth) && codec.Block(self.m_params) &&
           codec.Word(self.m_info.nSampleID) && codec.Tail(self.m_pars);
}

void CSDBILayer::Clear(bool) {
    Reset(*this);
    m_params.Free();
}

int CSDBILayer::Compare(CSDBInterpreter& other) {
    return Order(GetID(), SameClass<CSDBILayer>(other).GetID());
}

template class CSDBIRecord<CSDBIInfo>;
template class CSDBIRecord<CSDBIPreset>;
template class CSDBIRecord<CSDBIBank>;
template class CSDBIRecord<CSDBIProgram>;
template class CSDBIRecord<CSDBIRegion>;
template class CSDBIRecord<CSDBILayer>;

}  // namespace Kestrova
