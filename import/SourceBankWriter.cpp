#include "import/SourceBankWriter.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "bank/FileAnswer.h"
#include "bank/HelperThreads.h"
#include "bank/OrderedPipeline.h"
#include "import/PlanRecords.h"

namespace Kestrova {
namespace {

constexpr size_t kAheadPerHelper = 2;          // waves; more need more memory, with fewer the helpers wait
constexpr uint64_t kFramesPerPiece = 0x40000;  // read between two checks for cancellation

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
        unsigned long long nBytes = 0;
        if (outcome.IsDone() && !m_database.GetFile().GetSize(nBytes)) outcome = FailedWrite();
        outcome.nBytes = nBytes;
        if (!outcome.IsDone()) {
            m_database.Close(false);
            return outcome;
        }
        const FileAnswer closed = AskToCommit(m_database);
        return closed ? outcome : NotWritten(closed.nError, "the file cannot be completed");
    }

private:
    ImportOutcome WriteRecords() {
        const uint64_t nRecords = m_plan.CountRecords();
        if (nRecords > UINT32_MAX || !m_database.ReserveQuickLoad(static_cast<uint32_t>(nRecords)))
            return FailedWrite();
        const RecordSink add = [this](CSDBInterpreter& record) { return Add(record); };
        ImportOutcome outcome = MakeHeadRecords(m_plan, add);
        if (outcome.IsDone()) outcome = WriteSamples();
        if (outcome.IsDone()) outcome = MakeProgramRecords(m_plan, m_arSampleIds, add);
        return outcome.IsDone() && !m_database.CreateQuickLoad() ? FailedWrite() : outcome;
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
            if (!SetSampleHeader(*made.pRecord, wave) || !made.pRecord->SmplMemAlloc()) return NoMemory();
            ImportOutcome outcome = ReadWave(nWave, made.pRecord->m_info.pWave);
            return outcome.IsDone() && !made.pRecord->PackWave() ? NoMemory() : outcome;
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
