// StateJudge.h - whether what a loss of power has left is a state that we promise.
#pragma once

#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "trust/powerloss/Disk.h"

namespace Kestrova::Trust {

enum class Verdict {
    kOld,        // as before the job, or not there yet
    kNew,        // as the job makes it
    kUnsettled,  // a new bank with all its records, some of which still say that they are new; or a database
                 // that was changed in place, with all that was committed and an unsound end behind it
    kInterrupted,  // recognised as left by an interrupted run, and removed by the next one
    kBroken        // none of these: the promise is not kept
};
inline constexpr size_t kVerdictCount = 5;

// Judges by the files before and after a job. A file must be one of these two, or one that was whole when it
// got the name; a bank may also be what the product tells apart from a whole one. A file is judged once for
// all states that hold the same bytes.
class StateJudge {
public:
    using Files = std::map<std::string, Bytes>;

    StateJudge(const Files& before, const Files& after);

    // The file is one that the path may hold: it was whole when it got this name.
    void Allow(const std::string& strPath, const Bytes& bytes);
    // From now on the committed notes of this bank must be there, in a database that is changed in place.
    void Settle(const std::string& strPath, const Bytes& bytes);

    // Before the first state: forgets the settled steps, and keeps what is allowed.
    void BeginAgain() { m_settled.clear(); }

    // Judges the state unless it was seen before. Of several files the worst verdict counts, and old ones
    // before new ones.
    void Judge(const FileMap& files);

    uint64_t GetStates() const { return m_seen.size(); }
    uint64_t GetCount(Verdict verdict) const { return m_arCounts[static_cast<size_t>(verdict)]; }
    // What is wrong, a line for each file's contents; the first of them.
    const std::vector<std::string>& GetFaults() const { return m_faults; }

private:
    struct Note {
        uint64_t pos;
        uint32_t nSize;
        uint8_t nState;
        uint64_t nHash;  // of the header but its state, and of the body
    };

    Verdict JudgeState(const FileMap& files);
    Verdict JudgeSums(const FileMap& files, const std::string& strPath, uint64_t nHash);
    Verdict JudgeFile(const std::string& strPath, const Content& content);
    Verdict JudgeContent(const std::string& strPath, const Content& content);
    Verdict JudgeBank(const std::string& strPath, const Content& content);
    Verdict JudgeDatabase(const std::string& strPath, const Content& content);
    static bool IsSettled(const Bytes& bytes, const Bytes& whole);
    Verdict Broken(const std::string& strPath, const std::string& strCause);
    static std::vector<Note> NotesOf(const Bytes& bytes);

    std::map<std::string, uint64_t> m_before, m_after;                // hashes
    std::map<std::string, std::map<uint64_t, Bytes>> m_allowed;       // by path and hash
    std::map<std::string, std::vector<std::vector<Note>>> m_settled;  // committed notes, by path
    std::unordered_map<uint64_t, Verdict> m_judged;                   // files, by path and content
    std::unordered_set<uint64_t> m_seen;                              // states
    uint64_t m_arCounts[kVerdictCount] = {};
    std::vector<std::string> m_faults;
};

}  // namespace Kestrova::Trust
