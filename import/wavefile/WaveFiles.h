// WaveFiles.h - many sound files, read on many threads with few descriptors.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "import/wavefile/WaveFile.h"
#include "shared/System/kvMutex.h"

namespace Kestrova {

// The files of an instrument, by number. A file is opened for its facts, and again for its frames; of those
// that no thread reads at the moment the last few stay open, so that pieces read one after the other need no
// seeking.
// Threads: Add on one, before the rest; then ReadFrames on any. Each reading thread has a handle for itself.
class WaveFiles {
public:
    static constexpr size_t kMostIdle = 16;  // descriptors, besides one for each thread that reads

    // Opens the file, or a part of it that is a sound file by itself; nFile is its number when done. What is
    // there already keeps its number.
    ImportOutcome Add(const std::string& strPath, size_t& nFile, const FilePart& part = {});

    const WaveFileFacts& GetFacts(size_t nFile) const { return m_files[nFile].facts; }
    const std::string& GetPath(size_t nFile) const { return m_files[nFile].strPath; }

    // As WaveFile::ReadFrames; a cause begins with the file's path, but not that of a part: it belongs to the
    // instrument's own file, which the caller names. A file that is another one than when it was added is
    // refused.
    ImportOutcome ReadFrames(size_t nFile, uint64_t nFirst, uint64_t nFrames, uint8_t* pOut) const;

private:
    struct File {
        std::string strPath;
        FilePart part;
        WaveFileFacts facts;
    };
    struct IdleFile {
        size_t nFile = 0;
        std::unique_ptr<WaveFile> pFile;
    };

    ImportOutcome Take(size_t nFile, uint64_t nFirst, std::unique_ptr<WaveFile>& pFile) const;
    std::unique_ptr<WaveFile> TakeIdle(size_t nFile, uint64_t nFirst) const;
    void GiveBack(size_t nFile, std::unique_ptr<WaveFile> pFile) const;

    std::vector<File> m_files;
    std::map<std::pair<std::string, FilePart>, size_t> m_numbers;
    mutable Mutex m_lock;
    mutable std::list<IdleFile> m_idle KV_GUARDED_BY(m_lock);  // the one used last first
};

}  // namespace Kestrova
