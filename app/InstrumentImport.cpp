#include "app/InstrumentImport.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>
#include <utility>

#include "import/SourceBankWriter.h"
#include "import/formats/OpenInstrument.h"
#include "shared/System/kvPath.h"
#include "shared/System/kvSafeFile.h"
#include "shared/System/kvTemporaryFile.h"

namespace Kestrova {
namespace {

// kvbank removes files with such names that no process holds any more.
std::string PartName(const std::string& strPlace) {
    return std::string(FolderPart(strPlace)) + ".kvbank-part-";
}

// Each gives a file its place in one step, and never in the place of another. False with errno set, EEXIST
// when there is one.
bool Link(const std::string& strFile, const std::string& strPlace) {
    return linkat(AT_FDCWD, strFile.c_str(), AT_FDCWD, strPlace.c_str(), AT_SYMLINK_FOLLOW) == 0;
}
// Some file systems know only links, others only this.
bool Rename(const std::string& strFile, const std::string& strPlace) {
    return renameat2(AT_FDCWD, strFile.c_str(), AT_FDCWD, strPlace.c_str(), RENAME_NOREPLACE) == 0 ||
           (errno == EINVAL && Link(strFile, strPlace));
}

// A bank in the making. Where the system has files without a name it is one of these, and nothing is left of
// it when the process is killed; elsewhere it has the name of a part file.
class UnfinishedBank {
public:
    explicit UnfinishedBank(const std::string& strPlace) : m_strPlace(strPlace), m_file(PartName(strPlace)) {
        m_bUnnamed = m_file.MakeUnnamed(0666);
        m_strPath = m_bUnnamed ? m_file.OpenPath() : PartName(strPlace) + std::to_string(getpid());
    }
    ~UnfinishedBank() {
        if (!m_bUnnamed) unlink(m_strPath.c_str());
    }
    UnfinishedBank(const UnfinishedBank&) = delete;
    UnfinishedBank& operator=(const UnfinishedBank&) = delete;

    const std::string& Path() const { return m_strPath; }

    ImportOutcome Publish() const {
        if (!(m_bUnnamed ? Link(m_strPath, m_strPlace) : Rename(m_strPath, m_strPlace)))
            return NotWritten(errno, "");
        const FileDescriptor folder(OpenFolder(std::string(FolderPart(m_strPlace)).c_str()));
        return folder < 0 || !SyncFolder(folder) ? NotWritten(errno, "") : ImportOutcome();
    }

private:
    const std::string m_strPlace;
    TemporaryFile m_file;
    bool m_bUnnamed = false;
    std::string m_strPath;
};

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
    const UnfinishedBank bank(m_strOutput);
    outcome = WriteSourceBank(bank.Path(), plan, *pInstrument, Watch());
    if (outcome.IsDone() && m_bStop) return Cancelled();
    return outcome.IsDone() ? bank.Publish() : outcome;
}

}  // namespace Kestrova
