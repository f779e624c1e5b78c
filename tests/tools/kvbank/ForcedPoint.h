// ForcedPoint.h - does something at chosen points of a build, so that two of them meet just there.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "shared/System/kvMutex.h"
#include "tests/support/FaultyFileEnv.h"

namespace Kestrova::Test {

// While it lives: just before a file of a given name in a private folder is synced for the second time, the
// action for that name runs, on the engine's worker. At that moment the bank is filled and about to be
// committed, and no process keeps the folder locked for long. The first sync was that of its beginning.
class ForcedPoint : public FaultyFileEnv {
public:
    using Act = std::function<void()>;

    ForcedPoint(const std::string& strName, Act act) { Add(strName, std::move(act)); }

    // Before the build begins.
    void Add(const std::string& strName, Act act) {
        const MutexGuard guard(m_lock);
        m_mapActs["/" + strName] = std::move(act);
    }

    // Whether everything was done.
    bool WasReached() const {
        const MutexGuard guard(m_lock);
        return m_mapActs.empty();
    }

    int Open(const char* pszPath, FileMode mode) override {
        const int nFile = FaultyFileEnv::Open(pszPath, mode);
        const std::string strPath = pszPath;
        if (mode != FileMode::kRead && strPath.find("/.kvbank-") != std::string::npos) {
            const MutexGuard guard(m_lock);
            m_mapFiles[nFile] = strPath.substr(strPath.rfind('/'));
        }
        return nFile;
    }
    bool Sync(int nFile) override {
        if (const Act act = Take(nFile)) act();
        return FaultyFileEnv::Sync(nFile);
    }

private:
    Act Take(int nFile) {
        const MutexGuard guard(m_lock);
        const auto pName = m_mapFiles.find(nFile);
        const auto pAct = pName == m_mapFiles.end() ? m_mapActs.end() : m_mapActs.find(pName->second);
        if (pAct == m_mapActs.end() || m_begun.insert(nFile).second) return nullptr;
        Act act = std::move(pAct->second);
        m_mapActs.erase(pAct);
        return act;
    }

    mutable Mutex m_lock;
    std::map<std::string, Act> m_mapActs KV_GUARDED_BY(m_lock);  // still to be done, by "/NAME"
    std::map<int, std::string> m_mapFiles KV_GUARDED_BY(m_lock);
    std::set<int> m_begun KV_GUARDED_BY(m_lock);  // files that were synced once
};

}  // namespace Kestrova::Test
