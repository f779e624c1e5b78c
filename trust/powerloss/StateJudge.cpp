#include "trust/powerloss/StateJudge.h"

#include <algorithm>
#include <filesystem>

#include "SamplerDBDS/DataBase/SDBNoteWalk.h"
#include "tools/kvbank/folder/BankCheck.h"
#include "tools/kvbank/folder/BankFolder.h"
#include "trust/powerloss/MemoryFileEnv.h"

namespace Kestrova::Trust {
namespace {

namespace fs = std::filesystem;

constexpr size_t kMostFaults = 20;
constexpr uint64_t kFactor = 0x9E3779B97F4A7C15;

uint64_t Join(uint64_t a, uint64_t b) { return (a ^ (b + kFactor + (a << 6))) * kFactor; }

// The names under which runs leave files that the next run or `kvbank remove --leftovers` removes.
bool IsLeftoverName(const std::string& strPath) {
    return strPath.find("/.kvbank-") != std::string::npos || strPath.find(".new-0") != std::string::npos;
}

constexpr std::string_view kSums = ".sha256";

bool IsSumsName(const std::string& strPath) { return strPath.ends_with(kSums); }

bool IsBankName(const std::string& strPath) {
    return ParseAnyBankName(fs::path(strPath).filename().string()).has_value();
}

}  // namespace

StateJudge::StateJudge(const Files& before, const Files& after) {
    for (const auto& [strPath, bytes] : before) {
        m_before[strPath] = HashOf(bytes);
        Allow(strPath, bytes);
    }
    for (const auto& [strPath, bytes] : after) {
        m_after[strPath] = HashOf(bytes);
        Allow(strPath, bytes);
    }
}

void StateJudge::Allow(const std::string& strPath, const Bytes& bytes) {
    m_allowed[strPath].emplace(HashOf(bytes), bytes);
}

void StateJudge::Settle(const std::string& strPath, const Bytes& bytes) {
    m_settled[strPath].push_back(NotesOf(bytes));
    m_judged.clear();  // what was good enough before need not be now
}

void StateJudge::Judge(const FileMap& files) {
    uint64_t nState = m_settled.empty() ? 0 : m_settled.begin()->second.size();
    for (const auto& [strPath, pContent] : files)
        nState = Join(Join(nState, std::hash<std::string>()(strPath)), pContent->nHash);
    if (m_seen.insert(nState).second) ++m_arCounts[static_cast<size_t>(JudgeState(files))];
}

Verdict StateJudge::JudgeState(const FileMap& files) {
    Verdict worst = Verdict::kOld;
    bool bOld = false, bNew = false;
    for (const auto& [strPath, pContent] : files) {
        worst = std::max(worst, JudgeFile(strPath, *pContent));
        if (IsSumsName(strPath)) worst = std::max(worst, JudgeSums(files, strPath, pContent->nHash));
        const auto itAfter = m_after.find(strPath);
        const auto itBefore = m_before.find(strPath);
        const bool bIsNew = itAfter != m_after.end() && itAfter->second == pContent->nHash;
        const bool bIsOld = itBefore != m_before.end() && itBefore->second == pContent->nHash;
        bNew = bNew || (bIsNew && !bIsOld);
        bOld = bOld || (bIsOld && !bIsNew);
    }
    for (const auto& [strPath, nHash] : m_before)
        if (!files.contains(strPath) && m_after.contains(strPath) && !IsSumsName(strPath))
            worst = std::max(worst, Broken(strPath, "it is lost"));
    for (const auto& [strPath, nHash] : m_after)
        if (!files.contains(strPath) && !m_before.contains(strPath)) bOld = true;
    for (const auto& [strPath, nHash] : m_before)
        if (!files.contains(strPath)) bNew = true;
    if (worst > Verdict::kNew) return worst;
    return bOld || !bNew ? Verdict::kOld : Verdict::kNew;
}

// A sums file may be missing, but never stands beside a bank that it does not belong to.
Verdict StateJudge::JudgeSums(const FileMap& files, const std::string& strPath, uint64_t nHash) {
    const std::string strBank = strPath.substr(0, strPath.size() - kSums.size());
    const auto itBank = files.find(strBank);
    for (const std::map<std::string, uint64_t>* pTime : {&m_before, &m_after}) {
        const auto itSums = pTime->find(strPath), itThen = pTime->find(strBank);
        if (itSums != pTime->end() && itSums->second == nHash && itThen != pTime->end() &&
            itBank != files.end() && itThen->second == itBank->second->nHash)
            return Verdict::kOld;
    }
    return Broken(strPath, "it stands beside a bank that it does not belong to");
}

Verdict StateJudge::JudgeFile(const std::string& strPath, const Content& content) {
    const uint64_t nKey = Join(std::hash<std::string>()(strPath), content.nHash);
    const auto it = m_judged.find(nKey);
    if (it != m_judged.end()) return it->second;
    return m_judged[nKey] = JudgeContent(strPath, content);
}

Verdict StateJudge::JudgeContent(const std::string& strPath, const Content& content) {
    if (IsLeftoverName(strPath)) return Verdict::kInterrupted;
    if (m_settled.contains(strPath)) return JudgeDatabase(strPath, content);
    const auto itAllowed = m_allowed.find(strPath);
    if (itAllowed != m_allowed.end() && itAllowed->second.contains(content.nHash)) return Verdict::kNew;
    if (IsBankName(strPath)) return JudgeBank(strPath, content);
    return Broken(strPath, "it is neither the old file nor the new one, " +
                               std::to_string(content.bytes.size()) + " bytes");
}

// Asks what `kvbank list` and the window ask.
Verdict StateJudge::JudgeBank(const std::string& strPath, const Content& content) {
    const MemoryFileEnv env(content.bytes);
    if (CSDB::IsInterruptedBuild(strPath.c_str(), kSdbFormatEnriched)) return Verdict::kInterrupted;
    CSDB database;
    if (!OpenEitherKind(database, strPath))
        return Broken(strPath, "not recognised as interrupted: " + (WhyDamagedUnopened(strPath).empty()
                                                                        ? std::string("it is no bank")
                                                                        : WhyDamagedUnopened(strPath)));
    const std::string strCause =
        WhyDamaged(database, ParseAnyBankName(fs::path(strPath).filename().string()));
    if (!strCause.empty()) return Broken(strPath, "damaged, not recognised as interrupted: " + strCause);
    for (const auto& [nHash, whole] : m_allowed[strPath])
        if (IsSettled(content.bytes, whole)) return Verdict::kUnsettled;
    return Broken(strPath, "it passes as a whole bank, and its bytes are wrong");
}

// Whether the bytes differ from those of the whole bank in nothing but states that still say "new".
bool StateJudge::IsSettled(const Bytes& bytes, const Bytes& whole) {
    if (bytes.size() != whole.size()) return false;
    Bytes settled = bytes;
    for (const Note& note : NotesOf(whole))
        if (settled[note.pos] == kSdbStateNew) settled[note.pos] = 0;
    return settled == whole;
}

// A database that is changed in place. Every note that was committed before the last settled step must be
// there as it was. Notes that nobody wrote may stand behind them: what was appended has no sum that would
// tell.
Verdict StateJudge::JudgeDatabase(const std::string& strPath, const Content& content) {
    const std::vector<std::vector<Note>>& steps = m_settled[strPath];
    std::set<std::pair<uint64_t, uint64_t>> committed;
    for (const Note& note : NotesOf(content.bytes))
        if (note.nState == 0) committed.emplace(note.pos, note.nHash);
    for (const Note& note : steps.back())
        if (note.nState == 0 && !committed.contains({note.pos, note.nHash}))
            return Broken(strPath, "a committed note is lost, at " + std::to_string(note.pos));
    std::set<std::pair<uint64_t, uint64_t>> known;
    for (const auto& [nHash, whole] : m_allowed[strPath])
        for (const Note& note : NotesOf(whole)) known.emplace(note.pos, note.nHash);
    if (!std::includes(known.begin(), known.end(), committed.begin(), committed.end()))
        return Verdict::kUnsettled;
    const bool bAllNew = m_allowed[strPath].contains(content.nHash);
    return bAllNew ? Verdict::kNew : Verdict::kInterrupted;
}

std::vector<StateJudge::Note> StateJudge::NotesOf(const Bytes& bytes) {
    std::vector<Note> notes;
    const MemoryFileEnv env(bytes);
    CXFile file;
    if (!file.Open("", 0)) return notes;
    CSDBNoteWalk walk(file);
    for (SDBNOTE note; walk.Next(note);) {
        const auto nFrom = static_cast<std::ptrdiff_t>(note.posHeader + 1);
        const auto nTo = static_cast<std::ptrdiff_t>(std::min<uint64_t>(note.PosEnd(), bytes.size()));
        notes.push_back({.pos = note.posHeader,
                         .nSize = note.nSize,
                         .nState = note.nState,
                         .nHash = HashOf(Bytes(bytes.begin() + nFrom, bytes.begin() + nTo))});
    }
    return notes;
}

Verdict StateJudge::Broken(const std::string& strPath, const std::string& strCause) {
    if (m_faults.size() < kMostFaults) m_faults.push_back(strPath + ": " + strCause);
    return Verdict::kBroken;
}

}  // namespace Kestrova::Trust
