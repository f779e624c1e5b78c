#include "import/SourceBankWriter.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "bank/FileAnswer.h"
#include "bank/HelperThreads.h"
#include "bank/OrderedPipeline.h"

namespace Kestrova {
namespace {

constexpr uint16_t kPercussionBank = 128;
constexpr uint32_t kProgramsPerBank = 128;
constexpr size_t kAheadPerHelper = 2;          // waves; more need more memory, with fewer the helpers wait
constexpr uint64_t kFramesPerPiece = 0x40000;  // read between two checks for cancellation

std::string BankName(uint16_t nBank) {
    return nBank == kPercussionBank ? "Percussion" : "Bank " + std::to_string(nBank);
}

void SetHeader(CSDBISampleWave& sample, const PlannedWave& wave) {
    CSDBISampleBase::Info& info = sample.m_info;
    CopyStgStr(info.szName, wave.strName.c_str());
    info.nSampleRate = wave.tune.nRate;
    info.nFormat = wave.nBits;
    info.nChannels = wave.nChannels;
    info.nFrames = static_cast<uint32_t>(wave.nFrames);
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

ImportOutcome About(const PlannedWave& wave, ImportOutcome outcome) {
    outcome.strRecord = "sample \"" + wave.strName + "\"";
    return outcome;
}

// A sample record with its wave packed, if the outcome is done.
struct MadeSample {
    ImportOutcome outcome;
    std::unique_ptr<CSDBISampleWave> pRecord = {};
};

class SourceBankWriter {
public:
    SourceBankWriter(const ImportPlan& plan, const IWaveReader& reader, const ImportWatch& watch)
        : m_plan(plan), m_reader(reader), m_watch(watch) {}

    ImportOutcome Write(const std::string& strPath) {
        if (!m_database.Create(strPath.c_str(), kSdbFormatPlain))
            return NotWritten(m_database.GetFirstError(), "the file cannot be created");
        ImportOutcome outcome = CatchNoMemory([this] { return WriteRecords(); });
        outcome.nBytes = BytesSoFar();
        const FileAnswer closed = AskFile(m_database, [&] { return m_database.Close(outcome.IsDone()); });
        if (closed || !outcome.IsDone()) return outcome;
        return NotWritten(closed.nError, "the file cannot be completed");
    }

private:
    ImportOutcome WriteRecords() {
        const uint64_t nRecords = CountRecords();
        if (nRecords > UINT32_MAX || !m_database.ReserveQuickLoad(static_cast<uint32_t>(nRecords)))
            return FailedWrite();
        ImportOutcome outcome = WriteHead();
        if (outcome.IsDone()) outcome = WriteSamples();
        if (outcome.IsDone()) outcome = WritePrograms();
        return outcome.IsDone() && !m_database.CreateQuickLoad() ? FailedWrite() : outcome;
    }

    uint64_t CountRecords() const {
        return 1 + 2 * uint64_t{m_plan.programs.size()} + m_plan.waves.size() + m_plan.CountBanks() +
               m_plan.CountRegions() + m_plan.CountLayers();
    }

    ImportOutcome WriteHead() {
        CSDBIInfo info(kSdbNoID, kSdbNoID);
        CopyStgStr(info.m_info.szName, m_plan.strName.c_str());
        CopyStgStr(info.m_info.szDescription, m_plan.strDescription.c_str());
        ImportOutcome outcome = Add(info);
        for (const PlannedProgram& program : m_plan.programs) {
            if (!outcome.IsDone()) return outcome;
            CSDBIPreset preset(kSdbNoID, kSdbNoID);
            CopyStgStr(preset.m_info.szName, program.strName.c_str());
            preset.m_info.nFirst = program.nBank * kProgramsPerBank + program.nProgram;
            outcome = Add(preset);
        }
        return outcome;
    }

    ImportOutcome WriteSamples() {
        uint64_t nAllFrames = 0, nFrames = 0;
        for (const PlannedWave& wave : m_plan.waves) nAllFrames += wave.nFrames;
        const unsigned nHelpers = HelperThreadCount();
        OrderedPipeline<MadeSample> samples(m_plan.waves.size(), nHelpers, nHelpers * kAheadPerHelper,
                                            [this](size_t nWave, unsigned) { return MakeSample(nWave); });
        for (const PlannedWave& wave : m_plan.waves) {
            const MadeSample made = samples.Take();
            if (!made.outcome.IsDone()) return made.outcome;
            if (ImportOutcome outcome = Add(*made.pRecord); !outcome.IsDone()) return outcome;
            m_arSampleIds.push_back(made.pRecord->GetID());
            nFrames += wave.nFrames;
            m_watch.progress(static_cast<double>(nFrames) / static_cast<double>(nAllFrames), BytesSoFar());
        }
        return {};
    }

    // Runs on any thread.
    MadeSample MakeSample(size_t nWave) const {
        MadeSample made;
        made.outcome = CatchNoMemory([&] {
            const PlannedWave& wave = m_plan.waves[nWave];
            if (wave.nFrames > UINT32_MAX / wave.FrameBytes())
                return About(wave, Refused("it is longer than a record can hold"));
            made.pRecord = std::make_unique<CSDBISampleWave>(kSdbNoID, kSdbNoID);
            SetHeader(*made.pRecord, wave);
            if (!SetLoop(*made.pRecord, wave.tune) || !made.pRecord->SmplMemAlloc()) return NoMemory();
            ImportOutcome outcome = ReadWave(nWave, made.pRecord->m_info.pWave);
            if (outcome.IsDone()) made.pRecord->PackWave();
            return outcome;
        });
        return made;
    }

    ImportOutcome ReadWave(size_t nWave, uint8_t* pOut) const {
        const PlannedWave& wave = m_plan.waves[nWave];
        for (uint64_t nFirst = 0; nFirst < wave.nFrames; nFirst += kFramesPerPiece) {
            if (m_watch.isStopped()) return Cancelled();
            const uint64_t nFrames = std::min(kFramesPerPiece, wave.nFrames - nFirst);
            ImportOutcome outcome =
                m_reader.ReadFrames(nWave, nFirst, nFrames, pOut + nFirst * wave.FrameBytes());
            if (outcome.IsDone()) continue;
            return About(wave, outcome);
        }
        return {};
    }

    // Programs are sorted by bank; the record of a bank is written before its first program.
    ImportOutcome WritePrograms() {
        uint32_t idBank = kSdbNoID;
        const PlannedProgram* pLast = nullptr;
        for (const PlannedProgram& program : m_plan.programs) {
            if (pLast == nullptr || pLast->nBank != program.nBank) {
                CSDBIBank bank(kSdbNoID, kSdbNoID);
                CopyStgStr(bank.m_info.szName, BankName(program.nBank).c_str());
                bank.m_info.nFirst = program.nBank;
                if (ImportOutcome outcome = Add(bank); !outcome.IsDone()) return outcome;
                idBank = bank.GetID();
            }
            pLast = &program;
            CSDBIProgram record(kSdbNoID, idBank);
            CopyStgStr(record.m_info.szName, program.strName.c_str());
            record.m_info.nFirst = program.nProgram;
            if (ImportOutcome outcome = Add(record); !outcome.IsDone()) return outcome;
            for (const PlannedRegion& region : program.regions)
                if (ImportOutcome outcome = WriteRegion(region, record.GetID()); !outcome.IsDone())
                    return outcome;
        }
        return {};
    }

    ImportOutcome WriteRegion(const PlannedRegion& region, uint32_t idProgram) {
        CSDBIRegion record(kSdbNoID, idProgram);
        CopyStgStr(record.m_info.szName, region.strName.c_str());
        record.m_info.nLowKey = region.range.keys.nLow;
        record.m_info.nHighKey = region.range.keys.nHigh;
        record.m_info.nThird = region.range.velocities.nLow;
        record.m_info.nFourth = region.range.velocities.nHigh;
        ImportOutcome outcome = Add(record);
        for (const size_t nWave : region.layers) {
            if (!outcome.IsDone()) return outcome;
            CSDBILayer layer(kSdbNoID, record.GetID());
            layer.m_info.nSampleID = m_arSampleIds[nWave];
            outcome = Add(layer);
        }
        return outcome;
    }

    ImportOutcome Add(CSDBInterpreter& record) {
        if (m_watch.isStopped()) return Cancelled();
        return m_database.AddNewNote(&record) ? ImportOutcome() : FailedWrite();
    }

    ImportOutcome FailedWrite() {
        return NotWritten(m_database.GetFirstError(), "a record cannot be written");
    }

    uint64_t BytesSoFar() {
        unsigned long long nBytes = 0;
        m_database.GetFile().GetSize(nBytes);
        return nBytes;
    }

    const ImportPlan& m_plan;
    const IWaveReader& m_reader;
    const ImportWatch& m_watch;
    CSDB m_database;
    std::vector<uint32_t> m_arSampleIds;  // by wave
};

}  // namespace

ImportOutcome WriteSourceBank(const std::string& strPath, const ImportPlan& plan, const IWaveReader& reader,
                              const ImportWatch& watch) {
    return CatchNoMemory([&] { return SourceBankWriter(plan, reader, watch).Write(strPath); });
}

}  // namespace Kestrova
