// The stages that write the structure: information, presets, and the tree of banks.
#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "bank/BankWriter.h"

namespace Kestrova {

BankOutcome BankWriter::CreateInfo() {
    const SDBNOTE* const pNote = m_source.Database().GetNoteByType(nullptr, kSdbInfo);
    if (pNote == nullptr)
        return SourceFault(kBankSourceInconsistent, kSdbAny, kSdbNoID, "there is no information record");
    CSDBIInfo info(pNote->idNote, kSdbNoID);
    if (const BankOutcome outcome = m_source.Read(info); !outcome.IsDone()) return outcome;
    CopyStgStr(info.m_info.szDescription, "PC Version");
    info.m_info.nSampleRate = m_order.nRate;
    info.m_info.nPerKey = static_cast<uint32_t>(m_order.nPerKey);
    return AddToTarget(info, pNote->idNote);
}

BankOutcome BankWriter::CreatePresets() {
    return m_source.ForEachOfType(kSdbPreset, [this](uint32_t id) {
        CSDBIPreset preset(id, kSdbNoID);
        if (const BankOutcome outcome = m_source.Read(preset); !outcome.IsDone()) return outcome;
        return AddToTarget(preset, id);
    });
}

BankOutcome BankWriter::CreateBanks() {
    return m_source.ForEachOfType(kSdbBank, [this](uint32_t id) {
        CSDBIBank bank(id, kSdbNoID);
        if (const BankOutcome outcome = m_source.Read(bank); !outcome.IsDone()) return outcome;
        if (const BankOutcome outcome = AddToTarget(bank, id); !outcome.IsDone()) return outcome;
        return CreatePrograms(id, bank.GetID());
    });
}

BankOutcome BankWriter::CreatePrograms(uint32_t idOldBank, uint32_t idNewBank) {
    return m_source.ForEachChild(idOldBank, kSdbProgram, [this, idNewBank](uint32_t id) {
        CSDBIProgram program(id, kSdbNoID);
        if (const BankOutcome outcome = m_source.Read(program); !outcome.IsDone()) return outcome;
        program.SetParentID(idNewBank);
        if (const BankOutcome outcome = AddToTarget(program, id); !outcome.IsDone()) return outcome;
        const bool bSplit = m_order.IsPerKey() && program.IsSplit();
        return bSplit ? CreateRegionsRepr(id, program.GetID()) : CreateRegions(id, program.GetID());
    });
}

BankOutcome BankWriter::CreateRegions(uint32_t idOldProgram, uint32_t idNewProgram) {
    return m_source.ForEachChild(idOldProgram, kSdbRegion, [this, idNewProgram](uint32_t id) {
        CSDBIRegion region(id, kSdbNoID);
        if (const BankOutcome outcome = m_source.Read(region); !outcome.IsDone()) return outcome;
        region.SetParentID(idNewProgram);
        if (const BankOutcome outcome = AddToTarget(region, id); !outcome.IsDone()) return outcome;
        return CreateLayers(id, region.GetID(), kEveryKey);
    });
}

BankOutcome BankWriter::CreateRegionsRepr(uint32_t idOldProgram, uint32_t idNewProgram) {
    return m_source.ForEachChild(idOldProgram, kSdbRegion, [this, idNewProgram](uint32_t id) -> BankOutcome {
        CSDBIRegion region(id, kSdbNoID);
        if (const BankOutcome outcome = m_source.Read(region); !outcome.IsDone()) return outcome;
        region.SetParentID(idNewProgram);
        const int nLowKey = region.m_info.nLowKey, nHighKey = region.m_info.nHighKey;
        for (int nKey = nLowKey; nKey <= nHighKey; ++nKey) {
            region.m_info.nLowKey = region.m_info.nHighKey = nKey;
            if (const BankOutcome outcome = AddToTarget(region, id); !outcome.IsDone()) return outcome;
            const BankOutcome outcome = CreateLayers(id, region.GetID(), nKey);
            if (!outcome.IsDone()) return outcome;
        }
        return {};
    });
}

BankOutcome BankWriter::CreateLayers(uint32_t idOldRegion, uint32_t idNewRegion, int nKey) {
    return m_source.ForEachChild(idOldRegion, kSdbLayer, [this, idNewRegion, nKey](uint32_t id) {
        CSDBILayer layer(id, kSdbNoID);
        if (const BankOutcome outcome = m_source.Read(layer); !outcome.IsDone()) return outcome;
        const std::optional<uint32_t> nEntry = m_analysis.FindSample(layer.m_info.nSampleID);
        if (!nEntry) return SourceFault(kBankSourceInconsistent, kSdbLayer, id, "it plays no sample");
        layer.m_info.nSampleID = m_ids.Find(*nEntry, nKey);
        if (nKey != kEveryKey && layer.m_info.nSampleID == kSdbNoID)
            return SourceFault(kBankSourceInconsistent, kSdbLayer, id, "its sample has no copy for the key");
        layer.SetParentID(idNewRegion);
        return AddToTarget(layer, id);
    });
}

}  // namespace Kestrova
