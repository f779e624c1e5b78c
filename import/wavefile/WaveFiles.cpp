#include "import/wavefile/WaveFiles.h"

#include <algorithm>

namespace Kestrova {

ImportOutcome WaveFiles::Add(const std::string& strPath, size_t& nFile, const FilePart& part) {
    return CatchNoMemory([&] {
        if (const auto place = m_numbers.find({strPath, part}); place != m_numbers.end()) {
            nFile = place->second;
            return ImportOutcome();
        }
        WaveFile file;
        if (ImportOutcome outcome = file.Open(strPath, part); !outcome.IsDone()) return outcome;
        nFile = m_files.size();
        m_files.push_back({strPath, part, file.GetFacts()});
        m_numbers.emplace(std::pair(strPath, part), nFile);
        return ImportOutcome();
    });
}

ImportOutcome WaveFiles::ReadFrames(size_t nFile, uint64_t nFirst, uint64_t nFrames, uint8_t* pOut) const {
    return CatchNoMemory([&] {
        std::unique_ptr<WaveFile> pFile;
        ImportOutcome outcome = Take(nFile, nFirst, pFile);
        if (outcome.IsDone()) outcome = pFile->ReadFrames(nFirst, nFrames, pOut);
        if (outcome.IsDone())
            GiveBack(nFile, std::move(pFile));
        else if (m_files[nFile].part == FilePart{})
            outcome.strCause = m_files[nFile].strPath + ": " + outcome.strCause;
        return outcome;
    });
}

ImportOutcome WaveFiles::Take(size_t nFile, uint64_t nFirst, std::unique_ptr<WaveFile>& pFile) const {
    pFile = TakeIdle(nFile, nFirst);
    if (pFile) return {};
    pFile = std::make_unique<WaveFile>();
    ImportOutcome outcome = pFile->Open(m_files[nFile].strPath, m_files[nFile].part);
    // Its frames would be of other bytes than the caller has room for.
    if (outcome.IsDone() && pFile->GetFacts() != m_files[nFile].facts)
        return Refused("it has changed during the import");
    return outcome;
}

// Best the one that stands at the frame wanted.
std::unique_ptr<WaveFile> WaveFiles::TakeIdle(size_t nFile, uint64_t nFirst) const {
    const MutexGuard guard(m_lock);
    auto best = m_idle.end();
    for (auto it = m_idle.begin(); it != m_idle.end(); ++it) {
        if (it->nFile != nFile) continue;
        if (best == m_idle.end() || it->pFile->GetPosition() == nFirst) best = it;
    }
    if (best == m_idle.end()) return nullptr;
    std::unique_ptr<WaveFile> pFile = std::move(best->pFile);
    m_idle.erase(best);
    return pFile;
}

void WaveFiles::GiveBack(size_t nFile, std::unique_ptr<WaveFile> pFile) const {
    std::list<IdleFile> closed;  // after the lock is given back
    const MutexGuard guard(m_lock);
    m_idle.push_front({nFile, std::move(pFile)});
    if (m_idle.size() > kMostIdle) closed.splice(closed.begin(), m_idle, std::prev(m_idle.end()));
}

}  // namespace Kestrova
