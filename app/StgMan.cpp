#include "app/StgMan.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <limits>
#include <thread>

#include "app/FolderLine.h"
#include "app/StatusText.h"
#include "import/formats/OpenInstrument.h"
#include "shared/System/kvModule.h"
#include "shared/System/kvPath.h"

namespace Kestrova {
namespace {

constexpr char dataPath[] = "Kestrova/Calderine";
constexpr char srcName[] = "Calde4_0AC44.kvn";
constexpr char iniName[] = "kvsmple.ini";
constexpr char iniSect[] = "AdditionalBankPaths";

constexpr char kBundlePart[] = "/Contents/Extras/";

constexpr std::chrono::milliseconds kBetweenLooks{10};

String UnifiedPath(String strPath) {
    MakeUnifiedPath(strPath);
    return strPath;
}

// The folder that holds the module: beside the bundle, for a module that lies within one.
String ModuleFolder() {
    String strFolder = UnifiedPath(Module::GetFolderPath());
    const String strPart(kBundlePart);
    if (strFolder.Right(strPart.GetLength()) != strPart) return strFolder;
    const String strBundle = strFolder.Left(strFolder.GetLength() - strPart.GetLength());
    return FolderPart(strBundle);
}

// The file a link leads to; the path itself when it leads to none, or to a folder.
String ResolvedFile(const String& strPath) {
    bool bIsFolder = false;
    unsigned long nSize = 0;
    FullPathResolveAlias(strPath, bIsFolder, nSize, nullptr);  // without a buffer it only tells the size
    if (nSize == 0) return strPath;
    String strResolved;
    const int nError =
        FullPathResolveAlias(strPath, bIsFolder, nSize, strResolved.GetBuffer(static_cast<int>(nSize)));
    strResolved.ReleaseBuffer();
    return nError == 0 && !bIsFolder ? strResolved : strPath;
}

}  // namespace

StgMan::StgMan(const String& strMode, const String& strSource, const String& strTarget)
    : m_strSource(strSource), m_strTarget(strTarget), m_strMode(strMode) {
    ProposeSource();
    OpenSettings();
    ProposeTarget();
    Module::EnsureFolderExists(m_strTarget);
    m_pDialog = std::make_unique<StgManDlg>(this, m_strMode, m_strSource, m_strTarget);
    if (!m_pDialog->HasWindow()) m_pDialog.reset();
    m_engine.SetCallback(Callback, reinterpret_cast<unsigned long>(this));
    if (!m_pDialog) m_nStatus = -1;
}

// The window disappears from the screen at once. Then the engine is the first member to be destroyed, because
// its worker may be in a callback, which uses all the others.
// Deliberate (Q131): the engine goes before the dialog, which its callbacks use.
StgMan::~StgMan() {
    m_nKeepGoing = 0;
    if (m_pImport) m_pImport->Stop();
    if (m_pDialog) m_pDialog->Hide();
    const CriticalSectionGuard guard(m_lock);
    m_ini.Close();
}

void StgMan::ProposeSource() {
    String strBase = ModuleFolder();  // deliberately without effect: the data of all users always comes first
    strBase = UnifiedPath(Module::GetPathSubfolder(Module::kAppPathLocal, dataPath));
    if (m_strSource.IsEmpty()) m_strSource = strBase + srcName;
    m_strSource = ResolvedFile(m_strSource);
}

// Without a settings file the defaults are used and nothing is remembered.
void StgMan::OpenSettings() {
    const String strFolder = UnifiedPath(Module::GetPathCreateSubfolder(Module::kAppPathUserAgain, dataPath));
    const CriticalSectionGuard guard(m_lock);
    if (strFolder.IsEmpty() || m_ini.Open(strFolder + iniName, "a+") == 0) return;
    m_ini.SetItem(iniSect, nullptr);
    FifoList<LinkedString> folders;
    // Deliberate (Q120): the last folder of the settings beats the command line.
    if (m_ini.GetItems(folders, iniSect) > 0) m_strTarget = FolderOfLine(folders.GetTail()->strText);
}

void StgMan::ProposeTarget() {
    if (m_strTarget.IsEmpty()) m_strTarget = Module::GetPathCreateSubfolder(Module::kAppPathLocal, dataPath);
}

int StgMan::Routine() {
    if (!m_pDialog) return m_nStatus;
    if (SetSourceBase() && !m_pImport) SetTargetPath(nullptr);
    {
        // Under the lock: otherwise the analysis could end between these calls, and the banks that it shows
        // would be cleared again.
        const CriticalSectionGuard guard(m_lock);
        if (m_nPhase == StgStatusAnalysing) {
            m_pDialog->SetCheckBoxes(nullptr);
            m_pDialog->EnableControls(0);
        }
    }
    // Deliberately (Q123) whatever the first analysis gave.
    m_pDialog->ModalDialog();  // also when the analysis has failed by now: the user must see that
    return m_nStatus;
}

// The worker ends its job without a window: it only sets what the next tick would show.
void StgMan::Abandon() {
    Cancel();
    if (m_pImport) {
        m_pImport.reset();
        ExpectNoJob(StgStatusNone);
    }
    while (IsBusy(GetStatus())) std::this_thread::sleep_for(kBetweenLooks);
    const CriticalSectionGuard guard(m_lock);
    m_ini.Close();
}

bool StgMan::SetSourceBase() {
    m_nKeepGoing = 1;
    m_strNotice.Empty();
    InputFormat format = InputFormat::None;
    const bool bKnown = FindInputFormat(m_strSource.c_str(), format).IsDone();
    // A folder is never a source here: one that is dropped is the destination.
    const bool bImports = bKnown && format != InputFormat::None && format != InputFormat::NoteFolder;
    return bImports ? BeginImport() : AnalyseSource();
}

bool StgMan::AnalyseSource() {
    const StgStatus phaseBefore = Phase();
    m_pDialog->EnableControls(0);
    m_pDialog->ShowProgressText(String::NewWithFormat("Analysing %s ...", FilePart(m_strSource).c_str()));
    ExpectJob(StgStatusAnalysing);
    const BankResult result = m_engine.SetSrcFile(m_strSource);
    if (result == kBankDone) {
        m_strAnalysed = m_strSource;
        return true;
    }
    ExpectNoJob(phaseBefore);
    m_nStatus = static_cast<int>(result);
    m_pDialog->EndProgress();
    m_pDialog->SetCheckBoxes(nullptr);
    TellBadSource();
    TellNotice();
    m_pDialog->ShowError(kAlertSource);
    return false;
}

// At the first start there is none; then the user is told what to do instead.
void StgMan::TellBadSource() {
    const BankOutcome& fault = m_engine.GetFault();
    m_strNotice =
        fault.nError == ENOENT ? String(kNoSourceText) : FailedSourceText(FilePart(m_strSource), fault);
}

bool StgMan::SetTargetPath(const char* pszPrevious) {
    const bool bListed = RefreshTarget(pszPrevious);
    if (!bListed) m_pDialog->ShowError(kAlertSourceOrTarget);
    return bListed;
}

// Both threads may come here at once: the worker at the end of the first analysis.
bool StgMan::RefreshTarget(const char* pszPrevious) {
    const CriticalSectionGuard guard(m_lock);
    if (pszPrevious != nullptr) m_ini.RemoveItem(iniSect, FolderLine(pszPrevious));
    m_ini.SetItem(iniSect, FolderLine(m_strTarget));  // an empty line is not stored
    m_pDialog->SetCheckBoxes(nullptr);
    if (m_engine.SetDstDir(m_strTarget) == kBankNoMemory) return NoteListing(kBankNoMemory);
    unsigned int nRemoved = 0;
    // What a build that died has left must not pass for a bank; what cannot be removed is shown as it is.
    static_cast<void>(m_engine.RemoveInterrupted(nRemoved));
    m_pDialog->SetFreeDiskSpace();
    return ShowExisting();
}

bool StgMan::ShowExisting() {
    int existing[kRateCount] = {};
    // Deliberate (Q128): a bank that another program is building counts as existing, and its file is left
    // alone.
    if (!NoteListing(m_engine.GetExisting(existing, nullptr))) return false;
    m_pDialog->SetCheckBoxes(existing);
    m_pDialog->SetExistingInfo(existing);
    return true;
}

// Answers whether the target was listed. Without a source or a folder there is nothing to list, and the
// status stays that of their own failure.
bool StgMan::NoteListing(BankResult result) {
    if (result != kBankDone && result != kBankNotReady) m_nStatus = static_cast<int>(result);
    return result == kBankDone;
}

// Is called before the engine is asked for a job, because its callbacks may come before it answers. Returns
// the number of the job.
int StgMan::ExpectJob(StgStatus phase) {
    const CriticalSectionGuard guard(m_lock);
    m_nPhase = phase;
    m_bAwaitsStart = true;
    m_bCancelAtStart = false;
    return ++m_nJob;
}

void StgMan::ExpectNoJob(StgStatus phase) {
    const CriticalSectionGuard guard(m_lock);
    m_nPhase = phase;
    m_bAwaitsStart = m_bCancelAtStart = false;
}

// Whether the engine, which has not refused the job, runs it or has run it. It does neither when the bank
// asked for is the source itself; then it is idle, and no callback has come since this job was expected.
bool StgMan::IsJobOnItsWay(int nJob) {
    const bool bIdle = m_engine.GetState() == 0;
    const CriticalSectionGuard guard(m_lock);
    return !bIdle || !m_bAwaitsStart || m_nJob != nJob;
}

// A rate whose prediction fails adds nothing.
int StgMan::EstimateBaseSize(int* selected) {
    int64_t nSum = 0;
    for (int i = 0; i < kRateCount; ++i) {
        unsigned int nMegabytes = 0;
        const auto nRate = static_cast<unsigned int>(sSR[static_cast<size_t>(i)]);
        if (selected[i] != 0 && m_engine.Prediction(nRate, 0, nMegabytes) == kBankDone) nSum += nMegabytes;
    }
    return static_cast<int>(std::min<int64_t>(nSum, std::numeric_limits<int>::max()));
}

// A job that still waits for its first callback is cancelled right after it: one cancelled at its first
// callback makes no last one, and the dialog would wait for that for ever.
void StgMan::Cancel() {
    const CriticalSectionGuard guard(m_lock);
    if (m_bAwaitsStart)
        m_bCancelAtStart = true;
    else
        m_nKeepGoing = 0;
    if (m_pImport) m_pImport->Stop();
}

void StgMan::OnTick() {
    if (m_pImport && m_pImport->HasEnded()) EndImport();
    if (m_pImport) ShowImport();
    if (m_progress) ShowRun();
}

// Deliberate (Q130): the status is busy until the worker has left its last callback.
int StgMan::GetStatus() {
    const int nPhase = m_nPhase;
    return m_bEnding != 0 || m_engine.GetState() != 0 ? nPhase | StgStatusAnalysing : nPhase;
}

}  // namespace Kestrova
