// FolderLock.h - a turn at a folder: the lock that lets one process at a time look at it and change it.
#pragma once

#include <chrono>
#include <filesystem>

namespace Kestrova {

// How long to wait for a turn: a process that has one keeps it only for moments.
inline constexpr std::chrono::milliseconds kTurnWait{5000};

// Whether somebody holds the lock of a folder.
enum class Hold {
    Free,
    Held,
    Unknown  // the folder cannot be opened, or its file system has no locks
};

// The exclusive advisory lock (flock) of a folder, from construction to destruction or Release. Nothing waits
// for ever: a wait ends when its time is over or a signal asks to cancel.
// Some network and cluster file systems have no such locks. The work then goes on without a
// lock, and the caller must warn the user.
// Threads: any. A second lock of the same process waits as another's would.
class FolderLock {
public:
    enum class Outcome {
        Held,
        NoLocks,    // this file system has none; GetError tells how it says so
        Busy,       // another held it all the time
        Cancelled,  // a signal came while waiting
        Failed      // GetError tells why
    };

    explicit FolderLock(const std::filesystem::path& folder, std::chrono::milliseconds wait = kTurnWait);
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

    bool IsHeld() const { return m_outcome == Outcome::Held; }
    // Whether the holder may go to work: the lock is held, or there are none here.
    bool IsTurn() const { return IsHeld() || m_outcome == Outcome::NoLocks; }
    Outcome GetOutcome() const { return m_outcome; }
    int GetError() const { return m_nError; }  // errno of a failure

    // Ends the turn before the object is destroyed. Nothing is printed to the user during a turn: if nobody
    // reads the output, the print blocks and all others would wait.
    void Release();

    // Waits until the disk has the names in the folder. False with errno set.
    bool Sync() const;

    // Whether another open folder, of any process, has the lock. Two processes that ask at the same time do
    // not disturb each other.
    static Hold Ask(const std::filesystem::path& folder);

private:
    void Take(std::chrono::milliseconds wait);
    Outcome Try();

    int m_nFolder;
    Outcome m_outcome = Outcome::Failed;  // stays after Release
    int m_nError = 0;
};

}  // namespace Kestrova
