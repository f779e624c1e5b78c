// guard_work - the work whose instructions bench/guard counts: small, the same on every run, one thread.
//   guard_work prepare    makes the inputs of all rows in the working folder
//   guard_work ROW        does the work of one row there
//   guard_work list       prints the names of the rows
// Making the inputs would otherwise be most of what is counted.
#include <cstdio>
#include <cstring>
#include <string>

#include "bank/resample/KernelDispatch.h"
#include "bench/BenchCodec.h"
#include "bench/BenchConversion.h"
#include "bench/BenchEngine.h"
#include "bench/BenchNotes.h"
#include "bench/BenchSource.h"
#include "bench/BenchWaves.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Bench;

constexpr uint32_t kNote = 3;  // the seed of the notes
constexpr size_t kConvertedBytes = 1200000, kCodedBytes = 1000000;
constexpr uint32_t kNotes = 20000;
constexpr SourceShape kSmallSource = {30, 60000};

bool Write(const char* pszPath, const Bytes& bytes) { return WriteDurably(pszPath, bytes); }

bool Prepare() {
    const Bytes coded = MakeNote(kCodedBytes / 4, 16, 2, kNote);
    StreamBuffer stream;
    if (!CompressWave(coded, 16, stream)) return false;
    const auto* const pStream = static_cast<const uint8_t*>(stream.GetBuffer());
    return Write("converted16", MakeNote(kConvertedBytes / 4, 16, 2, kNote)) &&
           Write("converted24", MakeNote(kConvertedBytes / 6, 24, 2, kNote)) && Write("wave", coded) &&
           Write("stream", Bytes(pStream, pStream + stream.GetSize())) &&
           WriteSource("Source.kvs", kSmallSource);
}

// One that lengthens and one that shortens.
bool Convert(const char* pszWave, unsigned nBits) {
    const Bytes wave = ReadWhole(pszWave);
    return BenchConversion(wave, nBits, 2, 44100.0 / 48000).Run() > 0 &&
           BenchConversion(wave, nBits, 2, 96000.0 / 44100).Run() > 0;
}

bool Expand() {
    const Bytes file = ReadWhole("stream");
    StreamBuffer stream(file.data(), file.size());
    StreamBuffer wave;
    return ExpandWave(stream, 16, kCodedBytes, wave);
}

bool Compress() {
    StreamBuffer stream;
    return CompressWave(ReadWhole("wave"), 16, stream);
}

// Added, committed, opened both ways, each note looked up.
bool UseContainer(bool bQuickLoad) {
    CSDB database;
    return MakeContainer("container", kNotes, bQuickLoad) &&
           database.Open("container", kSdbFormatPlain, false) &&
           FindEach(kNotes, [&](uint32_t id) { return database.GetNoteByID(id) != nullptr; });
}

bool Build() {
    Engine engine;
    (*engine).SetHelperThreads(0);
    return (*engine).SetDstDir(".") == kBankDone && engine.Analyse("Source.kvs") && engine.Build(48000, 0);
}

struct Row {
    const char* pszName;
    bool (*work)();
};
constexpr Row kRows[] = {
    {"resample_16_bit", [] { return Convert("converted16", 16); }},
    {"resample_24_bit", [] { return Convert("converted24", 24); }},
    {"expand", Expand},
    {"compress", Compress},
    {"container", [] { return UseContainer(false) && UseContainer(true); }},
    {"build", Build},
};

bool Do(const char* pszWhat) {
    if (std::strcmp(pszWhat, "prepare") == 0) return Prepare();
    if (std::strcmp(pszWhat, "list") == 0) {
        for (const Row& row : kRows) std::puts(row.pszName);
        return true;
    }
    for (const Row& row : kRows)
        if (std::strcmp(pszWhat, row.pszName) == 0) return ActiveKernels() == Isa::Avx2 && row.work();
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && Do(argv[1])) return 0;
    std::fputs("guard_work: this row failed, or does not run with KV_KERNELS=avx2 here\n", stderr);
    return 1;
}
