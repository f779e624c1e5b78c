// Replay.h - the system calls of a job, applied to a disk.
#pragma once

#include <map>
#include <string>

#include "trust/powerloss/Disk.h"
#include "trust/powerloss/StateJudge.h"
#include "trust/powerloss/TraceLog.h"

namespace Kestrova::Trust {

// Follows the handles and paths of a traced process, and passes what it does to files below the root on to
// the disk. Throws std::runtime_error for a call that changes such a file in a way this class does not know,
// so nothing is missed in silence.
class Replay {
public:
    Replay(std::string strRoot, Disk& disk, StateJudge& judge)
        : m_strRoot(std::move(strRoot)), m_disk(disk), m_judge(judge) {}

    void Call(const SystemCall& call);

    unsigned GetOperations() const { return m_nOperations; }  // that change something, syncs not counted
    unsigned GetSyncs() const { return m_nSyncs; }

private:
    struct Handle {
        size_t nFile = Disk::kNone;
        std::string strFolder;  // of a folder's handle
        uint64_t pos = 0;
        bool bAppend = false;
    };

    void Open(const SystemCall& call, size_t nPath);
    void Write(const SystemCall& call, bool bPositioned);
    void Sync(const SystemCall& call);
    void Publish(const std::string& strPath, size_t nFile);
    void ChangeName(const SystemCall& call);
    std::string PathAt(const SystemCall& call, size_t nPath, bool bHasFolder) const;
    size_t FileAt(const std::string& strPath);  // also of a path below /proc/self/fd
    bool IsOurs(const std::string& strPath) const;
    Handle* Find(const std::string& arg);
    void RefuseIfOurs(const SystemCall& call);

    const std::string m_strRoot;
    Disk& m_disk;
    StateJudge& m_judge;
    std::map<int64_t, Handle> m_handles;
    unsigned m_nOperations = 0;
    unsigned m_nSyncs = 0;
};

}  // namespace Kestrova::Trust
