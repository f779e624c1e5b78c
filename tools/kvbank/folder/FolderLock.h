// FolderLock.h - a turn at a folder: the lock that lets one process at a time look at it and change it.
#pragma once

#include <chrono>
#include <filesystem>

namespace Kestrova {

// How long a turn is waited for: holders keep it for moments only.
inline constexpr std::chrono::milliseconds kTurnWait{5000};

// The exclusive advisory lock (flock) of a folder, from construction to destruction or Release. Nothing waits
// for ever: a wait ends with its time or with a signal to cancel.
// Threads: any. A second lock of the same process waits as another's would.
class FolderLock {
public:
    enum class Outcome {
        Held,
        Busy,       // another held it all the time
        Cancelled,  // a signal came while waiting
        Failed      // GetError tells why
    };

    explicit FolderLock(const std::filesystem::path& folder, std::chrono::milliseconds wait = kTurnWait);
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

    bool IsHeld() const { return m_outcome == Outcome::Held; }
    Outcome GetOutcome() const { return m_outcome; }
    int GetError() const { return m_nError; }  // errno of a failure

    // Ends the turn before the object goes: nothing is said to a user in a turn, for one who does not read on
    // would keep all others waiting.
    void Release();

    // Waits until the disk has the names in the folder. False with errno set.
    bool Sync() const;

    // True when another open folder, of any process, has the lock, and for a folder that cannot be opened.
    // Lookers do not see each other.
    static bool IsHeldByAnother(const std::filesystem::path& folder);

private:
    void Take(std::chrono::milliseconds wait);

    int m_nFolder;
    Outcome m_outcome = Outcome::Failed;  // stays after Release
    int m_nError = 0;
};

}  // namespace Kestrova
