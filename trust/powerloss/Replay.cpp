#include "trust/powerloss/Replay.h"

#include <stdexcept>
#include <utility>

namespace Kestrova::Trust {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kOwnHandles = "/proc/self/fd/";
constexpr std::string_view kSettled = "/.settled-";  // a job tells so that a step is over

bool Has(const std::string& strFlags, std::string_view flag) {
    return strFlags.find(flag) != std::string::npos;
}

}  // namespace

void Replay::Call(const SystemCall& call) {
    const std::string& strName = call.strName;
    if (strName == "openat") return Open(call, 1);
    if (strName == "open" || strName == "creat") return Open(call, 0);
    if (call.nResult < 0) return;
    if (strName == "close") {
        m_handles.erase(NumberOf(call.args[0]));
    } else if (strName == "dup" || strName == "dup2" || strName == "dup3" ||
               (strName == "fcntl" && Has(call.args[1], "F_DUPFD"))) {
        if (const Handle* const pHandle = Find(call.args[0])) m_handles[call.nResult] = *pHandle;
    } else if (strName == "lseek") {
        if (Handle* const pHandle = Find(call.args[0])) pHandle->pos = static_cast<uint64_t>(call.nResult);
    } else if (strName == "read") {
        if (Handle* const pHandle = Find(call.args[0])) pHandle->pos += static_cast<uint64_t>(call.nResult);
    } else if (strName == "write" || strName == "pwrite64") {
        Write(call, strName == "pwrite64");
    } else if (strName == "ftruncate") {
        if (const Handle* const pHandle = Find(call.args[0])) {
            ++m_nOperations;
            m_disk.Truncate(pHandle->nFile, static_cast<uint64_t>(NumberOf(call.args[1])));
        }
    } else if (strName == "fsync" || strName == "fdatasync") {
        Sync(call);
    } else if (strName == "mmap") {
        if (Has(call.args[3], "MAP_SHARED") && Has(call.args[2], "PROT_WRITE")) RefuseIfOurs(call);
    } else if (strName != "fcntl") {
        ChangeName(call);
    }
}

void Replay::Open(const SystemCall& call, size_t nPath) {
    const std::string strPath = PathAt(call, nPath, nPath == 1);
    if (call.nResult < 0) {
        const size_t nAt = strPath.rfind(kSettled);
        if (!IsOurs(strPath) || nAt == std::string::npos) return;
        const std::string strFile = m_strRoot + "/" + strPath.substr(nAt + kSettled.size());
        if (const size_t nFile = m_disk.Find(strFile); nFile != Disk::kNone) {
            m_judge.Allow(strFile, m_disk.Live(nFile));
            m_judge.Settle(strFile, m_disk.Live(nFile));
        }
        return;
    }
    m_handles.erase(call.nResult);
    const size_t nFile = FileAt(strPath);
    if (!IsOurs(strPath) && nFile == Disk::kNone) return;
    const std::string strFlags = call.strName == "creat" ? "O_CREAT|O_TRUNC" : call.args[nPath + 1];
    const bool bFolder = Has(strFlags, "O_DIRECTORY");
    Handle handle{.nFile = nFile, .strFolder = "", .bAppend = Has(strFlags, "O_APPEND")};
    if (Has(strFlags, "O_TMPFILE")) {
        handle.nFile = m_disk.Make();
    } else if (!bFolder && handle.nFile == Disk::kNone && Has(strFlags, "O_CREAT")) {
        ++m_nOperations;
        handle.nFile = m_disk.Make();
        m_disk.Name(strPath, handle.nFile);
    } else if (bFolder || handle.nFile == Disk::kNone) {
        handle.strFolder = strPath;  // also a folder that is opened as if it were a file
    } else if (Has(strFlags, "O_TRUNC")) {
        ++m_nOperations;
        m_disk.Truncate(handle.nFile, 0);
    }
    m_handles[call.nResult] = handle;
}

void Replay::Write(const SystemCall& call, bool bPositioned) {
    Handle* const pHandle = Find(call.args[0]);
    if (pHandle == nullptr) return;
    ++m_nOperations;
    if (pHandle->bAppend) pHandle->pos = m_disk.Live(pHandle->nFile).size();
    const uint64_t pos = bPositioned ? static_cast<uint64_t>(NumberOf(call.args[3])) : pHandle->pos;
    const std::string strBytes = BytesOf(call.args[1]).substr(0, static_cast<size_t>(call.nResult));
    if (!bPositioned) pHandle->pos += strBytes.size();
    m_disk.Write(pHandle->nFile, pos, strBytes);
}

void Replay::Sync(const SystemCall& call) {
    const Handle* const pHandle = Find(call.args[0]);
    if (pHandle == nullptr) return;
    ++m_nSyncs;
    if (pHandle->nFile != Disk::kNone)
        m_disk.Sync(pHandle->nFile);
    else
        m_disk.SyncFolder(pHandle->strFolder);
}

// What a file is when it gets a name at once and whole is what may be found there.
void Replay::Publish(const std::string& strPath, size_t nFile) {
    if (nFile != Disk::kNone) m_judge.Allow(strPath, m_disk.Live(nFile));
}

void Replay::ChangeName(const SystemCall& call) {
    const std::string& strName = call.strName;
    const bool bAt = strName.find("at") != std::string::npos && strName != "truncate";
    const std::string strFrom = PathAt(call, bAt ? 1 : 0, bAt);
    if (strName == "mkdir" || strName == "mkdirat" || strName == "rmdir" ||
        (strName == "unlinkat" && Has(call.args[2], "AT_REMOVEDIR"))) {
        if (IsOurs(strFrom)) m_disk.ChangeFolder(strFrom), ++m_nOperations;
        return;
    }
    if (strName == "unlink" || strName == "unlinkat") {
        if (IsOurs(strFrom)) m_disk.Remove(strFrom), ++m_nOperations;
        return;
    }
    const bool bRename = strName.starts_with("rename");
    if (!bRename && !strName.starts_with("link")) return RefuseIfOurs(call);
    const std::string strTo = PathAt(call, bAt ? 3 : 1, bAt);
    if (!IsOurs(strTo)) return;
    ++m_nOperations;
    const size_t nFile = FileAt(strFrom);
    if (nFile == Disk::kNone) throw std::runtime_error("a name is given to an unknown file: " + strFrom);
    Publish(strTo, nFile);
    if (bRename)
        m_disk.Rename(strFrom, strTo);
    else
        m_disk.Name(strTo, nFile);
}

std::string Replay::PathAt(const SystemCall& call, size_t nPath, bool bHasFolder) const {
    const fs::path path = BytesOf(call.args.at(nPath));
    const std::string strFolder = bHasFolder ? PathOfHandle(call.args[nPath - 1]) : "";
    std::string strPath = (fs::path(strFolder) / path).lexically_normal().string();
    while (strPath.size() > 1 && strPath.back() == '/') strPath.pop_back();
    return strPath;
}

size_t Replay::FileAt(const std::string& strPath) {
    if (!strPath.starts_with(kOwnHandles)) return m_disk.Find(strPath);
    const Handle* const pHandle = Find(strPath.substr(kOwnHandles.size()));
    return pHandle != nullptr ? pHandle->nFile : Disk::kNone;
}

bool Replay::IsOurs(const std::string& strPath) const {
    return strPath.starts_with(m_strRoot + "/") || strPath == m_strRoot;
}

Replay::Handle* Replay::Find(const std::string& arg) {
    const auto it = m_handles.find(NumberOf(arg));
    return it == m_handles.end() ? nullptr : &it->second;
}

void Replay::RefuseIfOurs(const SystemCall& call) {
    for (const std::string& arg : call.args)
        if (IsOurs(PathOfHandle(arg)) || (arg.starts_with('"') && IsOurs(BytesOf(arg))))
            throw std::runtime_error("the replay does not know what this does: " + call.strName);
}

}  // namespace Kestrova::Trust
