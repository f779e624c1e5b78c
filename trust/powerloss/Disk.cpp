#include "trust/powerloss/Disk.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Kestrova::Trust {
namespace {

constexpr size_t kSector = 512;
constexpr size_t kFewItems = 8;       // all subsets of so many
constexpr size_t kMostForPairs = 24;  // all pairs of so many

std::string FolderOf(const std::string& strPath) { return strPath.substr(0, strPath.rfind('/')); }

size_t FirstSector(uint64_t pos) { return static_cast<size_t>(pos / kSector); }
size_t EndSector(uint64_t posEnd) { return static_cast<size_t>((posEnd + kSector - 1) / kSector); }

void PutAt(Bytes& bytes, uint64_t pos, const uint8_t* p, size_t n) {
    if (bytes.size() < pos + n) bytes.resize(static_cast<size_t>(pos + n));
    std::memcpy(bytes.data() + pos, p, n);
}

}  // namespace

uint64_t HashOf(const Bytes& bytes) {
    constexpr uint64_t kPrime = 0x9E3779B97F4A7C15;
    uint64_t lanes[4] = {1, 2, 3, bytes.size()};
    size_t i = 0;
    for (; i + 32 <= bytes.size(); i += 32)
        for (size_t n = 0; n < 4; ++n) {
            uint64_t nWord = 0;
            std::memcpy(&nWord, bytes.data() + i + 8 * n, 8);
            lanes[n] = (lanes[n] ^ nWord) * kPrime;
            lanes[n] ^= lanes[n] >> 29;
        }
    for (; i < bytes.size(); ++i) lanes[i % 4] = (lanes[i % 4] ^ bytes[i]) * kPrime + i;
    uint64_t nHash = 0;
    for (const uint64_t nLane : lanes) {
        nHash = (nHash ^ nLane) * kPrime;
        nHash ^= nHash >> 31;
    }
    return nHash;
}

void Disk::Put(const std::string& strPath, Bytes bytes) {
    const size_t nFile = Make();
    m_files[nFile].synced = m_files[nFile].live = bytes;
    m_synced[nFile] = {bytes, HashOf(bytes)};
    m_onDisk[strPath] = m_live[strPath] = nFile;
}

size_t Disk::Make() {
    m_files.emplace_back();
    m_synced.push_back({{}, HashOf({})});
    return m_files.size() - 1;
}

size_t Disk::Find(const std::string& strPath) const {
    const auto it = m_live.find(strPath);
    return it == m_live.end() ? kNone : it->second;
}

void Disk::Apply(Names& names, const NameChange& change) {
    if (!change.strFrom.empty()) names.erase(change.strFrom);
    if (!change.strTo.empty() && change.nFile != kNone) names[change.strTo] = change.nFile;
}

void Disk::AddNameChange(NameChange change) {
    Apply(m_live, change);
    m_nameChanges.push_back(std::move(change));
    VisitNames(m_nameChanges.size());
}

void Disk::Name(const std::string& strPath, size_t nFile) {
    AddNameChange({.strFrom = "", .strTo = strPath, .nFile = nFile});
}

void Disk::Rename(const std::string& strFrom, const std::string& strTo) {
    AddNameChange({.strFrom = strFrom, .strTo = strTo, .nFile = Find(strFrom)});
}

void Disk::Remove(const std::string& strPath) { AddNameChange({.strFrom = strPath, .strTo = ""}); }

void Disk::ChangeFolder(const std::string& strPath) { AddNameChange({.strFrom = "", .strTo = strPath}); }

void Disk::AddChange(size_t nFile, Change change) {
    m_files[nFile].pending.push_back(std::move(change));
    m_items.push_back({nFile, m_files[nFile].pending.size() - 1});
    VisitNewest();
}

void Disk::Write(size_t nFile, uint64_t pos, const std::string& bytes) {
    Change change{.pos = pos, .bytes = Bytes(bytes.begin(), bytes.end())};
    PutAt(m_files[nFile].live, pos, change.bytes.data(), change.bytes.size());
    AddChange(nFile, std::move(change));
}

void Disk::Truncate(size_t nFile, uint64_t nSize) {
    if (m_files[nFile].live.size() == nSize) return;
    m_files[nFile].live.resize(static_cast<size_t>(nSize));
    AddChange(nFile, {.pos = nSize, .bytes = {}, .bTruncate = true});
}

void Disk::Sync(size_t nFile) {
    File& file = m_files[nFile];
    if (file.pending.empty()) return;
    file.pending.clear();
    file.synced = file.live;
    m_synced[nFile] = {file.synced, HashOf(file.synced)};
    std::erase_if(m_items, [nFile](const Item& item) { return item.nFile == nFile; });
}

void Disk::SyncFolder(const std::string& strFolder) {
    const auto isHere = [&](const NameChange& change) {
        return (!change.strFrom.empty() && FolderOf(change.strFrom) == strFolder) ||
               (!change.strTo.empty() && FolderOf(change.strTo) == strFolder);
    };
    const auto itLast = std::find_if(m_nameChanges.rbegin(), m_nameChanges.rend(), isHere).base();
    for (auto it = m_nameChanges.begin(); it != itLast; ++it) Apply(m_onDisk, *it);
    m_nameChanges.erase(m_nameChanges.begin(), itLast);
}

// Which of the changes are there: all, none, and every subset of a few. Of many: each one lost and each one
// alone, the first and the last ones up to each, all pairs lost when they are not too many, and random ones.
std::vector<Disk::Fates> Disk::Patterns(size_t nItems) {
    std::vector<Fates> patterns;
    const auto add = [&](auto isThere) {
        Fates fates(m_items.size());
        for (size_t i = 0; i < nItems; ++i) fates[i].kind = isThere(i) ? Fate::kThere : Fate::kLost;
        patterns.push_back(std::move(fates));
    };
    if (nItems <= kFewItems) {
        for (size_t nSet = 0; nSet < (size_t{1} << nItems); ++nSet)
            add([=](size_t i) { return (nSet >> i & 1) != 0; });
        return patterns;
    }
    add([](size_t) { return false; });
    for (size_t n = 0; n < nItems; ++n) {
        add([=](size_t i) { return i <= n; });
        add([=](size_t i) { return i > n; });
        add([=](size_t i) { return i == n; });
        add([=](size_t i) { return i != n; });
        for (size_t m = 0; nItems <= kMostForPairs && m < n; ++m)
            add([=](size_t i) { return i != n && i != m; });
    }
    for (unsigned n = 0; n < m_nRandom; ++n) add([this](size_t) { return (m_random() & 1) != 0; });
    return patterns;
}

// The states that the newest change of a file adds. It is there in them, or torn, or only the length that it
// gave the file is there: without it they are states of before.
void Disk::VisitNewest() {
    if (!m_visitor) return;
    const size_t nNewest = m_items.size() - 1;
    for (Fates& fates : Patterns(nNewest)) {
        VisitFates(fates, 0);
        fates[nNewest].kind = Fate::kThere;
        VisitFates(fates, 0);
        VisitTorn(nNewest, std::move(fates), 0);
    }
}

// The states in which at least so many of the changes of names are there.
void Disk::VisitNames(size_t nLeast) {
    if (!m_visitor) return;
    for (const Fates& fates : Patterns(m_items.size())) VisitFates(fates, nLeast);
    for (size_t nItem = 0; nItem < m_items.size(); ++nItem) {
        VisitTorn(nItem, Fates(m_items.size()), nLeast);
        VisitTorn(nItem, Fates(m_items.size(), {Fate::kThere}), nLeast);
    }
}

void Disk::VisitTorn(size_t nItem, Fates fates, size_t nLeastNames) {
    const Change& change = m_files[m_items[nItem].nFile].pending[m_items[nItem].nChange];
    if (change.bTruncate) return;
    const size_t nSectors = EndSector(change.pos + change.bytes.size()) - FirstSector(change.pos);
    const size_t nStep = nSectors / (m_nTears + 1) + 1;
    for (size_t n = 1; n < nSectors; n += nStep)
        for (const Fate::Kind kind : {Fate::kHead, Fate::kTail}) {
            fates[nItem] = {kind, n};
            VisitFates(fates, nLeastNames);
        }
}

void Disk::VisitFates(const Fates& fates, size_t nLeastNames) {
    for (const bool bGrown : {false, true}) {
        std::map<size_t, Content> changed;
        for (const Item& item : m_items)
            if (!changed.contains(item.nFile)) BuildContent(item.nFile, fates, bGrown, changed[item.nFile]);
        Names names = m_onDisk;
        for (size_t nNames = 0;; ++nNames) {
            if (nNames >= nLeastNames) {
                FileMap files;
                for (const auto& [strPath, nFile] : names) {
                    const auto it = changed.find(nFile);
                    files[strPath] = it == changed.end() ? &m_synced[nFile] : &it->second;
                }
                m_visitor(files);
            }
            if (nNames == m_nameChanges.size()) break;
            Apply(names, m_nameChanges[nNames]);
        }
    }
}

void Disk::BuildContent(size_t nFile, const Fates& fates, bool bGrown, Content& content) const {
    const File& file = m_files[nFile];
    Fates own;
    for (size_t i = 0; i < m_items.size(); ++i)
        if (m_items[i].nFile == nFile) own.push_back(fates[i]);
    // A lost truncation takes with it what came behind it.
    for (size_t i = 0; i < own.size(); ++i)
        if (file.pending[i].bTruncate && own[i].kind == Fate::kLost) own.resize(i);

    // From the last to the first: a sector that holds a later write holds the earlier ones too.
    std::vector<uint8_t> inLater(EndSector(std::max(file.live.size(), file.synced.size())) + 1);
    std::vector<std::vector<uint8_t>> arThere(own.size());
    for (size_t i = own.size(); i-- > 0;) {
        const Change& change = file.pending[i];
        if (change.bTruncate) continue;
        const size_t nFirst = FirstSector(change.pos), nEnd = EndSector(change.pos + change.bytes.size());
        if (inLater.size() < nEnd) inLater.resize(nEnd);
        arThere[i].resize(nEnd - nFirst);
        for (size_t n = nFirst; n < nEnd; ++n) {
            const bool bThere = own[i].kind == Fate::kThere ||
                                (own[i].kind == Fate::kHead && n - nFirst < own[i].nSectors) ||
                                (own[i].kind == Fate::kTail && nEnd - n <= own[i].nSectors);
            arThere[i][n - nFirst] = inLater[n] = bThere || inLater[n] != 0;
        }
    }
    content.bytes = file.synced;
    for (size_t i = 0; i < own.size(); ++i) {
        const Change& change = file.pending[i];
        if (change.bTruncate) content.bytes.resize(static_cast<size_t>(change.pos));
        const size_t nFirst = FirstSector(change.pos);
        for (size_t n = 0; n < arThere[i].size(); ++n) {
            if (arThere[i][n] == 0) continue;
            const uint64_t posFrom = std::max<uint64_t>(change.pos, (nFirst + n) * kSector);
            const uint64_t posTo =
                std::min<uint64_t>(change.pos + change.bytes.size(), (nFirst + n + 1) * kSector);
            PutAt(content.bytes, posFrom, change.bytes.data() + (posFrom - change.pos),
                  static_cast<size_t>(posTo - posFrom));
        }
    }
    if (bGrown && content.bytes.size() < file.live.size()) content.bytes.resize(file.live.size());
    content.nHash = HashOf(content.bytes);
}

}  // namespace Kestrova::Trust
