// Disk.h - a disk that promises no more than it must: what it may hold after a loss of power.
//
// - What was synced is there. fsync and fdatasync of a file bring its bytes and length, no name.
// - A write that was not synced is there, not there, or torn between two sectors of 512 bytes: only its first
//   or only its last sectors are there. A sector goes to the disk as it is in memory: with a later write to
//   it all earlier ones to the same sector are there.
// - A truncation that was not synced may be missing; what was written to the file behind it is then missing
// too.
// - The length of a file may be there before its bytes, which are zeros then.
// - Names (made, renamed, linked, removed) reach the disk in the order in which they were changed, as a file
//   system with a journal keeps them, and any number of the last ones may be missing; so a rename never loses
//   both names. A sync of a folder brings the changes in this folder and all before them. Names do not wait
//   for bytes, nor bytes for names.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace Kestrova::Trust {

using Bytes = std::vector<uint8_t>;

// A file's bytes with a hash of them.
struct Content {
    Bytes bytes;
    uint64_t nHash = 0;
};
uint64_t HashOf(const Bytes& bytes);

// The files of a state by their paths.
using FileMap = std::map<std::string, const Content*>;

class Disk {
public:
    // Called with every state; the contents are good during the call. Without one no states are made.
    using Visitor = std::function<void(const FileMap&)>;

    // nRandom: how many subsets are drawn at random for each change while more than 8 writes are pending
    // nTears: at how many sectors a write is torn at most, evenly spread over it
    Disk(unsigned nRandom, size_t nTears, Visitor visitor)
        : m_nRandom(nRandom), m_nTears(nTears), m_visitor(std::move(visitor)) {}

    // A file that is there, and on the disk, from the beginning.
    void Put(const std::string& strPath, Bytes bytes);

    // Operations of the program, in their order. A file is named by the number that Make gave.
    size_t Make();  // a file without a name
    void Name(const std::string& strPath, size_t nFile);
    void Rename(const std::string& strFrom, const std::string& strTo);
    void Remove(const std::string& strPath);
    void ChangeFolder(const std::string& strPath);  // made or removed
    void Write(size_t nFile, uint64_t pos, const std::string& bytes);
    void Truncate(size_t nFile, uint64_t nSize);
    void Sync(size_t nFile);
    void SyncFolder(const std::string& strFolder);

    // Visits all states once more; for the last ones, after the program has ended.
    void VisitAll() { VisitNames(0); }
    void SetVisitor(Visitor visitor) { m_visitor = std::move(visitor); }

    // As the running program sees it: the file of a path, or kNone; and a file's bytes.
    static constexpr size_t kNone = SIZE_MAX;
    size_t Find(const std::string& strPath) const;
    const Bytes& Live(size_t nFile) const { return m_files[nFile].live; }

private:
    struct Change {
        uint64_t pos = 0;  // of a truncation: the new length
        Bytes bytes;
        bool bTruncate = false;
    };
    struct File {
        Bytes synced, live;
        std::vector<Change> pending;
    };
    struct NameChange {
        std::string strFrom, strTo;  // empty: none
        size_t nFile = kNone;
    };
    // What has become of a pending change. Of a torn write the first or the last nSectors are there.
    struct Fate {
        enum Kind : uint8_t { kLost, kThere, kHead, kTail } kind = kLost;
        size_t nSectors = 0;
    };
    using Fates = std::vector<Fate>;  // of m_items
    struct Item {
        size_t nFile, nChange;
    };
    using Names = std::map<std::string, size_t>;

    void AddNameChange(NameChange change);
    static void Apply(Names& names, const NameChange& change);
    void AddChange(size_t nFile, Change change);
    void VisitNewest();
    void VisitNames(size_t nLeast);
    std::vector<Fates> Patterns(size_t nItems);
    void VisitTorn(size_t nItem, Fates fates, size_t nLeastNames);
    void VisitFates(const Fates& fates, size_t nLeastNames);
    void BuildContent(size_t nFile, const Fates& fates, bool bGrown, Content& content) const;

    const unsigned m_nRandom;
    const size_t m_nTears;
    Visitor m_visitor;
    std::mt19937 m_random{20261122};
    std::vector<File> m_files;
    std::vector<Content> m_synced;          // of m_files
    Names m_onDisk;                         // after the changes that are on the disk
    std::vector<NameChange> m_nameChanges;  // that are not
    Names m_live;
    std::vector<Item> m_items;
};

}  // namespace Kestrova::Trust
