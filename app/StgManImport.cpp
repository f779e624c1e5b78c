// A source in another format: it is imported into the target folder, then analysed like any other.
#include <unistd.h>

#include <algorithm>
#include <string>
#include <utility>

#include "app/StatusText.h"
#include "app/StgMan.h"
#include "shared/System/kvModule.h"

namespace Kestrova {
namespace {

constexpr char kSuffix[] = ".kvs";

bool IsThere(const std::string& strPath) { return access(strPath.c_str(), F_OK) == 0; }

// What the program ends with when nothing goes well after this.
BankResult ResultOf(ImportEnd end) {
    switch (end) {
        case ImportEnd::Done: return kBankDone;
        case ImportEnd::Cancelled: return kBankCancelled;
        case ImportEnd::NotWritten: return kBankWriteFailed;
        case ImportEnd::NoMemory: return kBankNoMemory;
        case ImportEnd::Refused:
        case ImportEnd::Unreadable: break;
    }
    return kBankReadFailed;
}

// "FOLDER/Piano" for "/home/me/Piano.sf2".
std::string StemIn(const std::string& strFolder, const String& strInput) {
    std::string strName = FilePart(strInput).c_str();
    strName.resize(std::min(strName.rfind('.'), strName.size()));
    return strFolder + (strFolder.ends_with('/') ? "" : "/") + strName;
}

// "FOLDER/Piano 2.kvs", or the first number that is free.
std::string FreeName(const std::string& strStem) {
    for (int n = 2;; ++n) {
        std::string strPath = strStem + " " + std::to_string(n) + kSuffix;
        if (!IsThere(strPath)) return strPath;
    }
}

}  // namespace

// A file of that name that is there may be of an earlier import, or of something else: the user decides.
// Nothing is ever written over it.
bool StgMan::BeginImport() {
    m_phaseBefore = Phase();
    Module::EnsureFolderExists(m_strTarget);
    const std::string strStem = StemIn(m_strTarget.c_str(), m_strSource);
    std::string strOutput = strStem + kSuffix;
    if (IsThere(strOutput)) {
        const int nAnswer = m_pDialog->AskForImported(FilePart(strOutput.c_str()));
        if (nAnswer == kAlertDefaultButton) {
            m_pDialog->ShowSource(strOutput.c_str());
            return AnalyseSource();
        }
        if (nAnswer == kAlertCancelButton) {
            KeepSourceBefore(Cancelled());
            return false;
        }
        strOutput = FreeName(strStem);
    }
    ExpectNoJob(StgStatusAnalysing);
    m_pDialog->SetCheckBoxes(nullptr);
    m_pDialog->EnableControls(0);
    m_pDialog->ShowProgressText(String::NewWithFormat("Importing %s ...", FilePart(m_strSource).c_str()));
    m_pDialog->InitProgressBar(StgManDlg::kShareSteps, 1);
    m_pDialog->BeginWork("An instrument is being imported.");
    m_pImport = std::make_unique<InstrumentImport>(m_strSource.c_str(), strOutput);
    return true;
}

void StgMan::ShowImport() {
    constexpr int kWhole = 100;
    const double fraction = m_pImport->GetFraction();
    m_pDialog->ShowShare(fraction);
    m_pDialog->SetTitleText(String::NewWithFormat("Importing, %d %%", static_cast<int>(fraction * kWhole)));
}

void StgMan::EndImport() {
    const std::unique_ptr<InstrumentImport> pImport = std::move(m_pImport);
    const ImportOutcome outcome =
        pImport->GetOutcome().IsDone() && m_nKeepGoing == 0 ? Cancelled() : pImport->GetOutcome();
    if (!outcome.IsDone()) {
        m_pDialog->EndWork(FailedImportText(FilePart(m_strSource), outcome));
        return KeepSourceBefore(outcome);
    }
    const String strOutput = pImport->GetOutput().c_str();
    m_strNotice.Format("%s was imported as %s.", FilePart(m_strSource).c_str(), FilePart(strOutput).c_str());
    m_pDialog->EndWork(m_strNotice);
    m_pDialog->EndProgress();
    m_pDialog->ShowSource(strOutput);
    AnalyseSource();
}

// The source that was analysed before stays the source, and its banks are shown again.
void StgMan::KeepSourceBefore(const ImportOutcome& outcome) {
    m_strNotice = FailedImportText(FilePart(m_strSource), outcome);
    m_nStatus = static_cast<int>(ResultOf(outcome.end));
    ExpectNoJob(m_phaseBefore);
    m_pDialog->EndProgress();
    if (m_phaseBefore == StgStatusReady) {
        m_pDialog->ShowSource(m_strAnalysed);
        RefreshTarget(nullptr);
    }
    TellNotice();
    if (outcome.end == ImportEnd::Cancelled) return;
    m_pDialog->ShowError(outcome.end == ImportEnd::NotWritten ? kAlertTarget : kAlertSource);
}

}  // namespace Kestrova
