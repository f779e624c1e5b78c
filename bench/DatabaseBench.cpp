// DatabaseBench - one database of 250,000 to 1,000,000 notes of 100 bytes; items are notes. Each row has its
// twin: plain stdio with indexes in std::unordered_map (StdioTwin.h). The BigO rows tell the cost of a note
// and how far the sizes lie off a straight line.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "SamplerDBDS/DataBase/SDBRecord.h"
#include "bench/BenchFolder.h"
#include "bench/StdioTwin.h"

namespace Kestrova {
namespace {

using namespace Bench;

// Two trees whose notes alternate in the file: each of the first two notes is the root of one half, and a
// note has ten children. The roots are banks, then come programs, regions and layers.
constexpr uint32_t kTrees = 2, kChildren = 10;
constexpr uint32_t kBodyBytes = 100;

// idFirst: the id of note 0, which with a quick-load table in front is 1
SDBNOTE DescribeNote(uint32_t nNote, uint32_t idFirst) {
    static constexpr uint8_t kTypes[] = {kSdbBank, kSdbProgram, kSdbRegion, kSdbLayer};
    const auto parentOf = [](uint32_t n) { return (n / kTrees - 1) / kChildren * kTrees + n % kTrees; };
    SDBNOTE note;
    note.nSize = kBodyBytes;
    note.idParent = nNote < kTrees ? kSdbNoID : idFirst + parentOf(nNote);
    size_t nDepth = 0;
    for (uint32_t n = nNote; n >= kTrees; n = parentOf(n)) ++nDepth;
    note.nType = kTypes[std::min(nDepth, std::size(kTypes) - 1)];
    return note;
}

// For CSDB and its twin: both add notes.
template <class TAdd>
bool AddNotes(uint32_t nNotes, uint32_t idFirst, TAdd add) {
    static constexpr char kBody[kBodyBytes] = "the body of a small note";
    for (uint32_t n = 0; n < nNotes; ++n) {
        SDBNOTE note = DescribeNote(n, idFirst);
        if (!add(note, kBody)) return false;
    }
    return true;
}

bool AddNotes(CSDB& db, uint32_t nNotes) {
    return AddNotes(nNotes, db.GetNextID(),
                    [&](SDBNOTE& note, const void* p) { return db.AddNewNote(&note, p); });
}

bool AddNotes(StdioTwin& twin, uint32_t nNotes) {
    return AddNotes(nNotes, 0, [&](SDBNOTE& note, const void* p) { return twin.Add(note, p); });
}

const BenchFolder& Folder() {
    static const BenchFolder folder;
    return folder;
}

// A committed file of so many notes, made once.
std::string FileOf(uint32_t nNotes, bool bQuickLoad) {
    const std::string strPath = Folder().File(std::to_string(nNotes) + (bQuickLoad ? "-quick" : "-scan"));
    CSDB db;
    if (db.Open(strPath.c_str(), kSdbFormatPlain, false)) return strPath;
    const bool bMade = db.Create(strPath.c_str(), kSdbFormatPlain) &&
                       (!bQuickLoad || db.ReserveQuickLoad(nNotes)) && AddNotes(db, nNotes) &&
                       (!bQuickLoad || db.CreateQuickLoad()) && db.Close(true);
    return bMade ? strPath : std::string();
}

uint32_t NotesOf(const benchmark::State& state) { return static_cast<uint32_t>(state.range(0)); }

void Finish(benchmark::State& state, bool bDone) {
    if (!bDone) return state.SkipWithError("failed");
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

// The scratch file of rows that write.
std::string Scratch() { return Folder().File("scratch"); }

// --- Add and commit ---

void BM_Add(benchmark::State& state) {
    bool bDone = true;
    for (auto _ : state) {
        CSDB db;
        bDone = bDone && db.Create(Scratch().c_str(), kSdbFormatPlain) && AddNotes(db, NotesOf(state));
        state.PauseTiming();
        db.Close(false);
        state.ResumeTiming();
    }
    Finish(state, bDone);
}

void BM_AddStdio(benchmark::State& state) {
    bool bDone = true;
    for (auto _ : state) {
        StdioTwin twin;
        bDone = bDone && twin.Create(Scratch()) && AddNotes(twin, NotesOf(state));
        state.PauseTiming();
        twin.Close();
        state.ResumeTiming();
    }
    Finish(state, bDone);
}

void BM_Commit(benchmark::State& state) {
    bool bDone = true;
    for (auto _ : state) {
        state.PauseTiming();
        CSDB db;
        bDone = bDone && db.Create(Scratch().c_str(), kSdbFormatPlain) && AddNotes(db, NotesOf(state));
        state.ResumeTiming();
        bDone = db.Close(true) && bDone;
    }
    Finish(state, bDone);
}

void BM_CommitStdio(benchmark::State& state) {
    bool bDone = true;
    for (auto _ : state) {
        state.PauseTiming();
        StdioTwin twin;
        bDone = bDone && twin.Create(Scratch()) && AddNotes(twin, NotesOf(state));
        state.ResumeTiming();
        bDone = bDone && twin.CommitByCopy(Scratch());
        twin.Close();
    }
    Finish(state, bDone);
}

// --- Open ---

template <bool kQuickLoad>
void BM_Open(benchmark::State& state) {
    const std::string strPath = FileOf(NotesOf(state), kQuickLoad);
    bool bDone = true;
    for (auto _ : state) {
        CSDB db;
        bDone =
            bDone && db.Open(strPath.c_str(), kSdbFormatPlain, false) && db.GetNoteCount() >= NotesOf(state);
        state.PauseTiming();
        db.Close(false);
        state.ResumeTiming();
    }
    Finish(state, bDone);
}

template <bool kQuickLoad>
void BM_OpenStdio(benchmark::State& state) {
    const std::string strPath = FileOf(NotesOf(state), kQuickLoad);
    bool bDone = true;
    for (auto _ : state) {
        StdioTwin twin;
        bDone =
            bDone && (kQuickLoad ? twin.ReadTable(strPath) : twin.Scan(strPath)) && twin.Find(1) != nullptr;
        state.PauseTiming();
        twin.Close();
        state.ResumeTiming();
    }
    Finish(state, bDone);
}

// --- Work on an open database ---

// `work` returns whether it succeeded.
template <class TWork>
void OnOpenDatabase(benchmark::State& state, TWork work) {
    CSDB db;
    bool bDone = db.Open(FileOf(NotesOf(state), true).c_str(), kSdbFormatPlain, false);
    for (auto _ : state) bDone = bDone && work(db);
    Finish(state, bDone);
}

template <class TWork>
void OnTwin(benchmark::State& state, TWork work) {
    StdioTwin twin;
    bool bDone = twin.ReadTable(FileOf(NotesOf(state), true));
    for (auto _ : state) bDone = bDone && work(twin);
    Finish(state, bDone);
}

size_t CountBelow(const CSDB& db, uint32_t idParent) {
    size_t nCount = 0;
    std::vector<const SDBNOTE*> arOpen;
    const SDBNOTE* note = db.GetFirstNote(idParent, kSdbAny);
    while (note != nullptr || !arOpen.empty()) {
        if (note != nullptr) {
            ++nCount;
            arOpen.push_back(note);
            note = db.GetFirstNote(note->idNote, kSdbAny);
        } else {
            note = db.GetNextNote(arOpen.back(), kSdbAny);
            arOpen.pop_back();
        }
    }
    return nCount;
}

// The notes without a parent: the roots of both trees, and the quick-load table.
void BM_WalkTree(benchmark::State& state) {
    OnOpenDatabase(state, [&](CSDB& db) { return CountBelow(db, kSdbNoID) == NotesOf(state) + 1; });
}
void BM_WalkTreeStdio(benchmark::State& state) {
    OnTwin(state, [&](StdioTwin& twin) { return twin.CountBelow(kSdbNoID) == NotesOf(state) + 1; });
}

// As many lookups as there are notes, in no order.
template <class TFind>
bool FindAll(uint32_t nNotes, TFind find) {
    std::minstd_rand random(1);
    bool bAll = true;
    for (uint32_t n = 0; n < nNotes; ++n)
        bAll = find(static_cast<uint32_t>(random() % nNotes)) != nullptr && bAll;
    return bAll;
}
void BM_FindID(benchmark::State& state) {
    OnOpenDatabase(state, [&](CSDB& db) {
        return FindAll(NotesOf(state), [&](uint32_t id) { return db.GetNoteByID(id); });
    });
}
void BM_FindIDStdio(benchmark::State& state) {
    OnTwin(state, [&](StdioTwin& twin) {
        return FindAll(NotesOf(state), [&](uint32_t id) { return twin.Find(id); });
    });
}

void BM_NewIDs(benchmark::State& state) {
    OnOpenDatabase(state, [&](CSDB& db) {
        uint32_t id = 0;
        for (uint32_t n = 0; n < NotesOf(state); ++n) db.GetNewID(id);
        return id > NotesOf(state);
    });
}
void BM_NewIDsStdio(benchmark::State& state) {
    OnTwin(state, [&](StdioTwin& twin) {
        uint32_t id = 0;
        for (uint32_t n = 0; n < NotesOf(state); ++n) id = twin.TakeNewID();
        return id > NotesOf(state);
    });
}

// --- Delete one of the two trees, and the commit that drops it; items are all notes ---

void CopyToScratch(uint32_t nNotes) {
    std::filesystem::copy_file(FileOf(nNotes, false), Scratch(),
                               std::filesystem::copy_options::overwrite_existing);
}

void BM_DeleteHalf(benchmark::State& state) {
    bool bDone = true;
    for (auto _ : state) {
        state.PauseTiming();
        CSDB db;
        CopyToScratch(NotesOf(state));
        bDone = bDone && db.Open(Scratch().c_str(), kSdbFormatPlain, true);
        state.ResumeTiming();
        bDone = bDone && db.DeleteNoteByID(0) && db.GetFile().Flush();
        state.PauseTiming();
        bDone = bDone && CountBelow(db, kSdbNoID) == NotesOf(state) / kTrees;
        db.Close(false);
        state.ResumeTiming();
    }
    Finish(state, bDone);
}

void BM_DeleteHalfStdio(benchmark::State& state) {
    bool bDone = true;
    for (auto _ : state) {
        state.PauseTiming();
        StdioTwin twin;
        CopyToScratch(NotesOf(state));
        bDone = bDone && twin.Scan(Scratch());
        state.ResumeTiming();
        bDone = bDone && twin.DeleteBranch(0);
        state.PauseTiming();
        twin.Close();
        state.ResumeTiming();
    }
    Finish(state, bDone);
}

void BM_CommitDeleted(benchmark::State& state) {
    bool bDone = true;
    for (auto _ : state) {
        state.PauseTiming();
        CSDB db;
        CopyToScratch(NotesOf(state));
        bDone = bDone && db.Open(Scratch().c_str(), kSdbFormatPlain, true) && db.DeleteNoteByID(0);
        state.ResumeTiming();
        bDone = db.Close(true) && bDone;
    }
    Finish(state, bDone);
}

void BM_CommitDeletedStdio(benchmark::State& state) {
    bool bDone = true;
    for (auto _ : state) {
        state.PauseTiming();
        StdioTwin twin;
        CopyToScratch(NotesOf(state));
        bDone = bDone && twin.Scan(Scratch()) && twin.DeleteBranch(0);
        state.ResumeTiming();
        bDone = bDone && twin.CommitByCopy(Scratch());
        twin.Close();
    }
    Finish(state, bDone);
}

// --- Memory ---

// A value of /proc/self/status in bytes.
double StatusBytes(const char* pszField) {
    std::ifstream status("/proc/self/status");
    for (std::string strLine; std::getline(status, strLine);)
        if (strLine.rfind(pszField, 0) == 0) return 1024 * std::stod(strLine.substr(std::strlen(pszField)));
    return 0;
}

// What an open takes for each note: heap bytes that stay, and the growth of the resident set at its peak.
template <class TOpen>
void MeasureMemory(benchmark::State& state, TOpen open) {
    bool bDone = true;
    for (auto _ : state) {
        malloc_trim(0);
        std::ofstream("/proc/self/clear_refs") << "5";  // the peak starts again
        const double nResident = StatusBytes("VmRSS:");
        const struct mallinfo2 before = mallinfo2();
        const auto pOpened = open();
        const struct mallinfo2 after = mallinfo2();
        bDone = bDone && pOpened != nullptr;
        const auto nNotes = static_cast<double>(state.range(0));
        const size_t nHeap = after.uordblks + after.hblkhd - before.uordblks - before.hblkhd;
        state.counters["heap_bytes_per_note"] = static_cast<double>(nHeap) / nNotes;
        state.counters["peak_rss_per_note"] = (StatusBytes("VmHWM:") - nResident) / nNotes;
    }
    Finish(state, bDone);
}

template <bool kQuickLoad>
void BM_Memory(benchmark::State& state) {
    const std::string strPath = FileOf(NotesOf(state), kQuickLoad);
    MeasureMemory(state, [&] {
        auto pDatabase = std::make_unique<CSDB>();
        return pDatabase->Open(strPath.c_str(), kSdbFormatPlain, false) ? std::move(pDatabase) : nullptr;
    });
}

template <bool kQuickLoad>
void BM_MemoryStdio(benchmark::State& state) {
    const std::string strPath = FileOf(NotesOf(state), kQuickLoad);
    MeasureMemory(state, [&] {
        auto pTwin = std::make_unique<StdioTwin>();
        return (kQuickLoad ? pTwin->ReadTable(strPath) : pTwin->Scan(strPath)) ? std::move(pTwin) : nullptr;
    });
}

// Shapes of a tree, for the key table alone: the parent and the type of note n, whose id is n.
struct FlatShape {  // no parents, one type
    static uint32_t Parent(uint32_t) { return kSdbNoID; }
    static uint8_t Type(uint32_t) { return kSdbBank; }
};
struct TensShape {  // ten children of one type each
    static uint32_t Parent(uint32_t n) { return n == 0 ? kSdbNoID : (n - 1) / 10; }
    static uint8_t Type(uint32_t n) { return n <= 10 ? kSdbBank : kSdbProgram; }
};
struct ChainShape {  // one child each
    static uint32_t Parent(uint32_t n) { return n == 0 ? kSdbNoID : n - 1; }
    static uint8_t Type(uint32_t) { return kSdbBank; }
};
struct PairsShape {  // two children of different types each
    static uint32_t Parent(uint32_t n) { return n == 0 ? kSdbNoID : (n - 1) / 2; }
    static uint8_t Type(uint32_t n) { return n % 2 != 0 ? kSdbBank : kSdbProgram; }
};

template <class TShape>
void BM_MemoryOfShape(benchmark::State& state) {
    MeasureMemory(state, [&] {
        auto pTable = std::make_unique<CSDBKeyTable>();
        for (uint32_t n = 0; n < NotesOf(state); ++n) {
            SDBNOTE note;
            note.idNote = n;
            note.idParent = TShape::Parent(n);
            note.nType = TShape::Type(n);
            if (!pTable->Append(note)) pTable.reset();
            if (!pTable) break;
        }
        return pTable;
    });
}

// --- Rows ---

constexpr int64_t kLargest = 1000000;

void ForEachSize(benchmark::internal::Benchmark* pBenchmark) {
    pBenchmark->ArgName("notes")->Arg(kLargest / 4)->Arg(kLargest / 2)->Arg(kLargest);
    pBenchmark->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond)->Complexity(benchmark::oN);
}
void Once(benchmark::internal::Benchmark* pBenchmark) {
    pBenchmark->ArgName("notes")->Arg(kLargest)->Iterations(1)->Unit(benchmark::kMillisecond);
}

// First, while the heap is fresh.
BENCHMARK(BM_Memory<false>)->Name("Memory/scan")->Apply(Once);
BENCHMARK(BM_MemoryStdio<false>)->Name("Memory/scan/stdio")->Apply(Once);
BENCHMARK(BM_Memory<true>)->Name("Memory/quick_load")->Apply(Once);
BENCHMARK(BM_MemoryStdio<true>)->Name("Memory/quick_load/stdio")->Apply(Once);

BENCHMARK(BM_MemoryOfShape<FlatShape>)->Name("Memory/flat")->Apply(Once);
BENCHMARK(BM_MemoryOfShape<TensShape>)->Name("Memory/ten_children")->Apply(Once);
BENCHMARK(BM_MemoryOfShape<ChainShape>)->Name("Memory/chain")->Apply(Once);
BENCHMARK(BM_MemoryOfShape<PairsShape>)->Name("Memory/pairs_of_two_types")->Apply(Once);

BENCHMARK(BM_Add)->Name("Add")->Apply(ForEachSize);
BENCHMARK(BM_AddStdio)->Name("Add/stdio")->Apply(ForEachSize);
BENCHMARK(BM_Commit)->Name("Commit")->Apply(ForEachSize);
BENCHMARK(BM_CommitStdio)->Name("Commit/stdio")->Apply(ForEachSize);
BENCHMARK(BM_Open<false>)->Name("Open/scan")->Apply(ForEachSize);
BENCHMARK(BM_OpenStdio<false>)->Name("Open/scan/stdio")->Apply(ForEachSize);
BENCHMARK(BM_Open<true>)->Name("Open/quick_load")->Apply(ForEachSize);
BENCHMARK(BM_OpenStdio<true>)->Name("Open/quick_load/stdio")->Apply(ForEachSize);
BENCHMARK(BM_WalkTree)->Name("WalkTree")->Apply(ForEachSize);
BENCHMARK(BM_WalkTreeStdio)->Name("WalkTree/stdio")->Apply(ForEachSize);
BENCHMARK(BM_FindID)->Name("FindID")->Apply(ForEachSize);
BENCHMARK(BM_FindIDStdio)->Name("FindID/stdio")->Apply(ForEachSize);
BENCHMARK(BM_NewIDs)->Name("NewIDs")->Apply(ForEachSize);
BENCHMARK(BM_NewIDsStdio)->Name("NewIDs/stdio")->Apply(ForEachSize);
BENCHMARK(BM_DeleteHalf)->Name("DeleteHalf")->Apply(ForEachSize);
BENCHMARK(BM_DeleteHalfStdio)->Name("DeleteHalf/stdio")->Apply(ForEachSize);
BENCHMARK(BM_CommitDeleted)->Name("CommitDeleted")->Apply(ForEachSize);
BENCHMARK(BM_CommitDeletedStdio)->Name("CommitDeleted/stdio")->Apply(ForEachSize);

}  // namespace
}  // namespace Kestrova
