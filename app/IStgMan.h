// IStgMan.h - what the dialog may ask of the storage manager.
#pragma once

namespace Kestrova {

// What GetStatus answers. Odd values are the busy ones.
enum StgStatus : int {
    StgStatusNone = 0,       // no source analysed yet, or its analysis failed
    StgStatusAnalysing = 1,  // of the source bank
    StgStatusReady = 2,      // source analysed, no job running
    StgStatusCreating = 3    // of a bank
};
constexpr bool IsBusy(int nStatus) { return (nStatus & 1) != 0; }

// Called on the interface thread, except GetBanksCreated and EstimateBaseSize: on any.
class IStgMan {
public:
    // Starts to analyse the current source bank; false, after an alert, when it is refused.
    virtual bool SetSourceBase() = 0;
    // The target folder has changed, or is to be read again; pszPrevious is forgotten as a folder of banks,
    // null for none. false, after an alert, when it cannot be listed.
    virtual bool SetTargetPath(const char* pszPrevious) = 0;
    // The MiB that the banks take, of those rates whose flag is not 0.
    //   selected: a flag for each of the six rates
    virtual int EstimateBaseSize(int* selected) = 0;
    // Removes and creates banks until those exist that are selected in the dialog; creations go on after the
    // return.
    virtual void Process() = 0;
    // Asks the running job to stop.
    virtual void Cancel() = 0;
    virtual int GetStatus() = 0;        // StgStatus
    virtual int GetBanksCreated() = 0;  // runs that have ended well
    // The dialog's timer has ticked: shows how far a run or an import is, and goes on after an import.
    virtual void OnTick() {}
    virtual ~IStgMan() = default;
};

}  // namespace Kestrova
