// The stages of a creation that write the structure: information, presets, and the tree of banks.
#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "bank/DBEUCreate.h"

namespace Kestrova {

BankResult CDBEUCreate::AddToTarget(CSDBInterpreter& record) {
    const uint32_t idSource = record.GetID();
    if (!m_dbTarget.AddNewNote(&record))
        return Fail(kBankWriteFailed, record.GetType(), idSource, "it cannot be written");
    return Step();
}

BankResult CDBEUCreate::CreateInfo(unsigned int nRate, int nPerKey) {
    const SDBNOTE* const pNote = m_dbSource.GetNoteByType(nullptr, kSdbInfo);
    if (pNote == nullptr)
        return Fail(kBankSourceInconsistent, kSdbAny, kSdbNoID, "there is no information record");
    CSDBIInfo info(pNote->idNote, kSdbNoID);
    if (const BankResult result = ReadSource(info); result != kBankDone) return result;
    if (!CopyStgStr(info.m_info.szDescription, "PC Version")) return kBankNoMemory;
    info.m_info.nSampleRate = nRate;
    info.m_info.nPerKey = static_cast<uint32_t>(nPerKey);
    return AddToTarget(info);
}

BankResult CDBEUCreate::CreatePresets() {
    return ForEachOfType(kSdbPreset, [this](uint32_t id) {
        CSDBIPreset preset(id, kSdbNoID);
        if (const BankResult result = ReadSource(preset); result != kBankDone) return result;
        return AddToTarget(preset);
    });
}

BankResult CDBEUCreate::CreateBanks() {
    return ForEachOfType(kSdbBank, [this](uint32_t id) {
        CSDBIBank bank(id, kSdbNoID);
        if (const BankResult result = ReadSource(bank); result != kBankDone) return result;
        if (const BankResult result = AddToTarget(bank); result != kBankDone) return result;
        return CreatePrograms(id, bank.GetID());
    });
}

BankResult CDBEUCreate::CreatePrograms(uint32_t idOldBank, uint32_t idNewBank) {
    return ForEachChild(idOldBank, kSdbProgram, [this, idNewBank](uint32_t id) {
        CSDBIProgram program(id, kSdbNoID);
        if (const BankResult result = ReadSource(program); result != kBankDone) return result;
        program.SetParentID(idNewBank);
        if (const BankResult result = AddToTarget(program); result != kBankDone) return result;
        const bool bSplit = m_nPerKey != 0 && program.IsSplit();
        return bSplit ? CreateRegionsRepr(id, program.GetID()) : CreateRegions(id, program.GetID());
    });
}

BankResult CDBEUCreate::CreateRegions(uint32_t idOldProgram, uint32_t idNewProgram) {
    return ForEachChild(idOldProgram, kSdbRegion, [this, idNewProgram](uint32_t id) {
        CSDBIRegion region(id, kSdbNoID);
        if (const BankResult result = ReadSource(region); result != kBankDone) return result;
        region.SetParentID(idNewProgram);
        if (const BankResult result = AddToTarget(region); result != kBankDone) return result;
        return CreateLayers(id, region.GetID(), kEveryKey);
    });
}

BankResult CDBEUCreate::CreateRegionsRepr(uint32_t idOldProgram, uint32_t idNewProgram) {
    return ForEachChild(idOldProgram, kSdbRegion, [this, idNewProgram](uint32_t id) {
        CSDBIRegion region(id, kSdbNoID);
        if (const BankResult result = ReadSource(region); result != kBankDone) return result;
        region.SetParentID(idNewProgram);
        const int nLowKey = region.m_info.nLowKey, nHighKey = region.m_info.nHighKey;
        for (int nKey = nLowKey; nKey <= nHighKey; ++nKey) {
            region.m_info.nLowKey = region.m_info.nHighKey = nKey;
            if (const BankResult result = AddToTarget(region); result != kBankDone) return result;
            if (const BankResult result = CreateLayers(id, region.GetID(), nKey); result != kBankDone)
                return result;
        }
        return kBankDone;
    });
}

BankResult CDBEUCreate::CreateLayers(uint32_t idOldRegion, uint32_t idNewRegion, int nKey) {
    return ForEachChild(idOldRegion, kSdbLayer, [this, idNewRegion, nKey](uint32_t id) {
        CSDBILayer layer(id, kSdbNoID);
        if (const BankResult result = ReadSource(layer); result != kBankDone) return result;
        const tagSampleEntry* const pEntry = FindSample(layer.m_info.nSampleID);
        if (pEntry == nullptr) return Fail(kBankSourceInconsistent, kSdbLayer, id, "it plays no sample");
        layer.m_info.nSampleID = NewSampleId(*pEntry, nKey);
        if (nKey != kEveryKey && layer.m_info.nSampleID == kSdbNoID)
            return Fail(kBankSourceInconsistent, kSdbLayer, id, "its sample has no copy for the key");
        layer.SetParentID(idNewRegion);
        return AddToTarget(layer);
    });
}

// The copy for the key; for want of one that of the nearest lower key, then of the nearest higher one.
// Deliberate: in the per-key layout a sample that split programs play has no single copy, so that a layer of
// a program that is not split gets kSdbNoID for it: it plays nothing.
uint32_t CDBEUCreate::NewSampleId(const tagSampleEntry& entry, int nKey) const {
    if (nKey == kEveryKey) return entry.newId;
    for (int nLower = nKey; nLower >= 0; --nLower)
        if (entry.keySlots[static_cast<size_t>(nLower)] != kSdbNoID)
            return entry.keySlots[static_cast<size_t>(nLower)];
    for (int nHigher = nKey + 1; nHigher < kKeyCount; ++nHigher)
        if (entry.keySlots[static_cast<size_t>(nHigher)] != kSdbNoID)
            return entry.keySlots[static_cast<size_t>(nHigher)];
    return kSdbNoID;
}

}  // namespace Kestrova
