#include "app/InstrumentImport.h"

#include <cerrno>
#include <memory>
#include <system_error>
#include <utility>

#include "bank/place/PartFile.h"
#include "import/SourceBankWriter.h"
#include "import/formats/OpenInstrument.h"

namespace Kestrova {
namespace {

// A bank that is in its place but may be lost in a power failure is not made yet.
ImportOutcome Publish(PartFile& part) {
    if (!part.PublishInFreePlace()) return NotWritten(errno, "");
    return part.GetSyncError() == 0 ? ImportOutcome() : NotWritten(part.GetSyncError(), "");
}

}  // namespace

InstrumentImport::InstrumentImport(std::string strInput, std::string strOutput)
    : m_strInput(std::move(strInput)), m_strOutput(std::move(strOutput)) {
    try {
        m_thread = std::thread([this] {
            m_outcome = CatchNoMemory([this] { return Run(); });
            m_bEnded = true;
        });
    } catch (const std::system_error& error) {
        m_outcome = NotWritten(error.code().value(), "no thread could be started");
        m_bEnded = true;
    }
}

InstrumentImport::~InstrumentImport() {
    Stop();
    if (m_thread.joinable()) m_thread.join();
}

ImportWatch InstrumentImport::Watch() {
    ImportWatch watch;
    watch.isStopped = [this] { return m_bStop.load(); };
    watch.progress = [this](double fraction, uint64_t) { m_fraction = fraction; };
    return watch;
}

ImportOutcome InstrumentImport::Run() {
    std::unique_ptr<IInstrument> pInstrument;
    ImportOutcome outcome = OpenInstrument(m_strInput, pInstrument, Watch());
    if (!outcome.IsDone()) return outcome;
    ImportPlan plan;
    ImportReport report;
    outcome = pInstrument->MakePlan({}, plan, report, Watch());
    if (!outcome.IsDone()) return outcome;
    if (plan.waves.empty()) return Refused("no program plays a sample");
    PartFile part(m_strOutput);
    if (part.Path().empty()) return NotWritten(errno, "");
    outcome = WriteSourceBank(part.Path(), plan, *pInstrument, Watch());
    if (outcome.IsDone() && m_bStop) return Cancelled();
    return outcome.IsDone() ? Publish(part) : outcome;
}

}  // namespace Kestrova
