// open_bench READER FILE BANK PROGRAM KEY cold|warm - one process that opens one file and makes the first
// frames of one note. Prints microseconds from the start of opening to the first frames: elapsed, and of
// processor time. open_bench.sh runs it many times and makes the table of README.md.
//   READER  kvbank: our reader library; fluidsynth, fluidsynth-dynamic: FluidSynth, which loads all waves, or
//           those of a program when it is chosen
//   cold    the file's pages are dropped from the system's cache before
#include <fcntl.h>
#include <fluidsynth.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "include/kvbank.h"

namespace {

constexpr int kFirstFrames = 64;  // a block of FluidSynth
constexpr int kVelocity = 100;

struct Note {
    const char* pszFile;
    int nBank, nProgram, nKey;
};

double Microseconds(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

// From its making on.
class Stopwatch {
public:
    void Print() const {
        std::printf("%.0f %.0f\n", Microseconds(CLOCK_MONOTONIC) - m_elapsed,
                    Microseconds(CLOCK_PROCESS_CPUTIME_ID) - m_cpu);
    }

private:
    const double m_elapsed = Microseconds(CLOCK_MONOTONIC);
    const double m_cpu = Microseconds(CLOCK_PROCESS_CPUTIME_ID);
};

void Fail(const char* pszWhat) {
    std::fprintf(stderr, "open_bench: %s\n", pszWhat);
    std::exit(1);
}

void DropFromCache(const char* pszFile) {
    const int nFile = open(pszFile, O_RDONLY | O_CLOEXEC);
    if (nFile < 0 || fsync(nFile) != 0 || posix_fadvise(nFile, 0, 0, POSIX_FADV_DONTNEED) != 0) Fail(pszFile);
    close(nFile);
}

// Keeps the reads of the frames.
volatile unsigned g_nSum = 0;

void ReadFirstFrames(const kvb_bank* pBank, uint32_t nRegion) {
    kvb_layer layer;
    for (uint32_t n = 0; kvb_get_layer(pBank, nRegion, n, &layer, sizeof layer) == KVB_OK; ++n) {
        kvb_sample sample;
        const void* pFrames = nullptr;
        uint64_t nFrames = 0;
        if (kvb_get_sample(pBank, layer.sample, &sample, sizeof sample) != KVB_OK ||
            kvb_get_frames(pBank, layer.sample, &pFrames, &nFrames) != KVB_OK)
            Fail("no frames");
        for (uint32_t i = 0; i < kFirstFrames * sample.frame_bytes; ++i)
            g_nSum = g_nSum + static_cast<const uint8_t*>(pFrames)[i];
    }
}

void OpenWithKvbank(const Note& note) {
    const Stopwatch watch;
    kvb_bank* pBank = nullptr;
    uint32_t nProgram = 0, nRegion = KVB_NONE;
    if (kvb_open(note.pszFile, KVB_OPEN_MAP, &pBank) != KVB_OK ||
        kvb_find_program(pBank, static_cast<uint32_t>(note.nBank), static_cast<uint32_t>(note.nProgram),
                         &nProgram) != KVB_OK)
        Fail("no program");
    while (kvb_find_region(pBank, nProgram, note.nKey, kVelocity, nRegion, &nRegion) == KVB_OK)
        ReadFirstFrames(pBank, nRegion);
    if (nRegion == KVB_NONE) Fail("no region");
    watch.Print();
    kvb_close(pBank);
}

// Only loading and playing are measured; the synthesizer is there before.
void OpenWithFluidSynth(const Note& note, bool bDynamic) {
    fluid_settings_t* const pSettings = new_fluid_settings();
    fluid_settings_setint(pSettings, "synth.dynamic-sample-loading", bDynamic ? 1 : 0);
    fluid_synth_t* const pSynth = new_fluid_synth(pSettings);
    const Stopwatch watch;
    const int nFont = fluid_synth_sfload(pSynth, note.pszFile, 0);
    int16_t frames[2 * kFirstFrames];
    if (nFont == FLUID_FAILED ||
        fluid_synth_program_select(pSynth, 0, nFont, note.nBank, note.nProgram) != FLUID_OK ||
        fluid_synth_noteon(pSynth, 0, note.nKey, kVelocity) != FLUID_OK ||
        fluid_synth_write_s16(pSynth, kFirstFrames, frames, 0, 2, frames, 1, 2) != FLUID_OK)
        Fail("FluidSynth cannot play it");
    watch.Print();
    delete_fluid_synth(pSynth);
    delete_fluid_settings(pSettings);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 7) Fail("usage: open_bench READER FILE BANK PROGRAM KEY cold|warm");
    const std::string strReader = argv[1];
    const Note note{argv[2], std::atoi(argv[3]), std::atoi(argv[4]), std::atoi(argv[5])};
    if (std::strcmp(argv[6], "cold") == 0) DropFromCache(note.pszFile);
    if (strReader == "kvbank")
        OpenWithKvbank(note);
    else
        OpenWithFluidSynth(note, strReader == "fluidsynth-dynamic");
    return 0;
}
