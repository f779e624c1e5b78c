#include "import/soundfont/SoundFontImport.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "bank/HelperThreads.h"
#include "bank/OrderedPipeline.h"
#include "shared/System/kvCancelSignal.h"

namespace Kestrova {
namespace {

constexpr uint16_t kPercussionBank = 128;
constexpr uint32_t kProgramsPerBank = 128;
constexpr size_t kAheadPerHelper = 2;  // waves; more would take memory, fewer let helpers wait

std::string BankName(uint16_t nBank) {
    return nBank == kPercussionBank ? "Percussion" : "Bank " + std::to_string(nBank);
}

void SetHeader(CSDBISampleWave& sample, const PlannedWave& wave, uint32_t nBits) {
    CSDBISampleBase::Info& info = sample.m_info;
    CopyStgStr(info.szName, wave.strName.c_str());
    info.nSampleRate = wave.tune.nRate;
    info.nFormat = nBits;
    info.nChannels = wave.Channels();
    info.nFrames = static_cast<uint32_t>(wave.Frames());
    info.nRootKey = wave.tune.nRootKey;
    info.nFineTune = wave.tune.nFineTune;
    info.lWave = static_cast<uint32_t>(sample.GetStatedBytes());
}

bool SetLoop(CSDBISampleWave& sample, const WaveTune& tune) {
    if (!tune.bLoop) return true;
    if (!sample.AllocLoops(1)) return false;
    SDBLOOP& loop = *sample.GetLoops();
    loop.nStart = static_cast<uint32_t>(tune.nLoopStart);
    loop.nEnd = static_cast<uint32_t>(tune.nLoopEnd);
    return true;
}

}  // namespace

SoundFontImport::SoundFontImport(const SoundFont& font, const ImportPlan& plan)
    : m_font(font), m_plan(plan) {}

ImportEnd SoundFontImport::Write(const std::string& strPath, const Observer& observer) {
    if (!m_database.Create(strPath.c_str(), kSdbFormatPlain)) {
        m_strError = std::strerror(errno);
        return ImportEnd::NotWritten;
    }
    ImportEnd end = WriteRecords(observer);
    unsigned long long nBytes = 0;
    m_database.GetFile().GetSize(nBytes);
    m_nBytes = nBytes;
    errno = 0;
    const bool bClosed = m_database.Close(end == ImportEnd::Done);
    if (end != ImportEnd::Done || bClosed) return end;
    m_strError = errno != 0 ? std::strerror(errno) : "the file cannot be completed";
    return ImportEnd::NotWritten;
}

ImportEnd SoundFontImport::WriteRecords(const Observer& observer) {
    const uint64_t nRecords = CountRecords();
    if (nRecords > UINT32_MAX || !m_database.ReserveQuickLoad(static_cast<uint32_t>(nRecords)))
        return FailedWrite();
    CSDBIInfo info(kSdbNoID, kSdbNoID);
    CopyStgStr(info.m_info.szName, m_font.GetName().c_str());
    CopyStgStr(info.m_info.szDescription, m_font.GetCopyright().c_str());
    ImportEnd end = Add(info);
    for (const PlannedProgram& program : m_plan.programs) {
        if (end != ImportEnd::Done) return end;
        CSDBIPreset preset(kSdbNoID, kSdbNoID);
        CopyStgStr(preset.m_info.szName, program.strName.c_str());
        preset.m_info.nFirst = program.nBank * kProgramsPerBank + program.nProgram;
        end = Add(preset);
    }
    if (end == ImportEnd::Done) end = WriteSamples(observer);
    if (end == ImportEnd::Done) end = WritePrograms();
    return end == ImportEnd::Done && !m_database.CreateQuickLoad() ? FailedWrite() : end;
}

uint64_t SoundFontImport::CountRecords() const {
    return 1 + 2 * uint64_t{m_plan.programs.size()} + m_plan.waves.size() + m_plan.CountBanks() +
           m_plan.CountRegions() + m_plan.CountLayers();
}

ImportEnd SoundFontImport::WriteSamples(const Observer& observer) {
    uint64_t nAllFrames = 0, nFrames = 0;
    for (const PlannedWave& wave : m_plan.waves) nAllFrames += wave.Frames();
    const unsigned nHelpers = HelperThreadCount();
    OrderedPipeline<MadeWave> waves(m_plan.waves.size(), nHelpers, nHelpers * kAheadPerHelper,
                                    [this](size_t i, unsigned) { return MakeWave(m_plan.waves[i]); });
    for (const PlannedWave& wave : m_plan.waves) {
        const MadeWave made = waves.Take();
        if (made.end != ImportEnd::Done) {
            m_strError = made.end == ImportEnd::Unreadable ? SampleText({wave.strName}) + " cannot be read"
                                                           : "out of memory";
            return made.end;
        }
        if (const ImportEnd end = Add(*made.pRecord); end != ImportEnd::Done) return end;
        m_arSamples.push_back(made.pRecord->GetID());
        nFrames += wave.Frames();
        unsigned long long nBytes = 0;
        m_database.GetFile().GetSize(nBytes);
        observer(static_cast<double>(nFrames) / static_cast<double>(nAllFrames), nBytes);
    }
    return ImportEnd::Done;
}

// Runs on any thread. The memory is zero-filled: the shorter half of a stereo wave ends in silence.
SoundFontImport::MadeWave SoundFontImport::MakeWave(const PlannedWave& wave) const try {
    if (CancelSignal() != 0) return {nullptr, ImportEnd::Cancelled};
    auto pRecord = std::make_unique<CSDBISampleWave>(kSdbNoID, kSdbNoID);
    SetHeader(*pRecord, wave, m_font.GetBits());
    if (!SetLoop(*pRecord, wave.tune) || !pRecord->SmplMemAlloc()) return {nullptr, ImportEnd::NoMemory};
    const size_t nStride = pRecord->GetFrameBytes();
    uint8_t* const pWave = pRecord->m_info.pWave;
    if (!m_font.ReadFrames(wave.left.nStart, wave.left.nFrames, pWave, nStride) ||
        (wave.right && !m_font.ReadFrames(wave.right->nStart, wave.right->nFrames,
                                          pWave + pRecord->GetSampleBytes(), nStride)))
        return {nullptr, ImportEnd::Unreadable};
    pRecord->PackWave();
    return {std::move(pRecord), ImportEnd::Done};
} catch (const std::bad_alloc&) {
    return {nullptr, ImportEnd::NoMemory};
}

// Programs are sorted by bank: a bank's record comes in front of its first program.
ImportEnd SoundFontImport::WritePrograms() {
    uint32_t idBank = kSdbNoID;
    const PlannedProgram* pLast = nullptr;
    for (const PlannedProgram& program : m_plan.programs) {
        if (pLast == nullptr || pLast->nBank != program.nBank) {
            CSDBIBank bank(kSdbNoID, kSdbNoID);
            CopyStgStr(bank.m_info.szName, BankName(program.nBank).c_str());
            bank.m_info.nFirst = program.nBank;
            if (const ImportEnd end = Add(bank); end != ImportEnd::Done) return end;
            idBank = bank.GetID();
        }
        pLast = &program;
        CSDBIProgram record(kSdbNoID, idBank);
        CopyStgStr(record.m_info.szName, program.strName.c_str());
        record.m_info.nFirst = program.nProgram;
        if (const ImportEnd end = Add(record); end != ImportEnd::Done) return end;
        if (const ImportEnd end = WriteRegions(program, record.GetID()); end != ImportEnd::Done) return end;
    }
    return ImportEnd::Done;
}

ImportEnd SoundFontImport::WriteRegions(const PlannedProgram& program, uint32_t idProgram) {
    for (const PlannedRegion& region : program.regions) {
        CSDBIRegion record(kSdbNoID, idProgram);
        CopyStgStr(record.m_info.szName, region.strName.c_str());
        record.m_info.nLowKey = region.range.keys.nLow;
        record.m_info.nHighKey = region.range.keys.nHigh;
        record.m_info.nThird = region.range.velocities.nLow;
        record.m_info.nFourth = region.range.velocities.nHigh;
        if (const ImportEnd end = Add(record); end != ImportEnd::Done) return end;
        for (const size_t nWave : region.layers) {
            CSDBILayer layer(kSdbNoID, record.GetID());
            layer.m_info.nSampleID = m_arSamples[nWave];
            if (const ImportEnd end = Add(layer); end != ImportEnd::Done) return end;
        }
    }
    return ImportEnd::Done;
}

ImportEnd SoundFontImport::Add(CSDBInterpreter& record) {
    if (CancelSignal() != 0) return ImportEnd::Cancelled;
    return m_database.AddNewNote(&record) ? ImportEnd::Done : FailedWrite();
}

ImportEnd SoundFontImport::FailedWrite() {
    const int nError = m_database.GetFile().GetLastError();
    m_strError = nError != 0 ? std::strerror(nError) : "a record cannot be written";
    return ImportEnd::NotWritten;
}

}  // namespace Kestrova
