// WaveFileFuzz.cpp - sound files of every kind: one is refused, or its facts are in order and its frames are
// read without leaving the room they are given. Input: the file.
#include "import/wavefile/WaveFile.h"
#include "tests/fuzz/FuzzInput.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Test;

constexpr uint64_t kPiece = 4096;        // frames
constexpr uint64_t kMostRead = 1 << 22;  // frames of one input; there are formats that pack silence very well

void CheckFacts(const WaveFileFacts& facts) {
    KV_FUZZ_CHECK(facts.nRate > 0 && (facts.nChannels == 1 || facts.nChannels == 2));
    KV_FUZZ_CHECK(facts.nBits == 16 || facts.nBits == 24);
    KV_FUZZ_CHECK(facts.nFrames <= UINT32_MAX && facts.loops.size() <= 16);
}

// From the beginning on, and then one piece at the end.
void ReadFrames(WaveFile& file) {
    const WaveFileFacts& facts = file.GetFacts();
    const uint64_t nFrameBytes = uint64_t{facts.nChannels} * facts.nBits / 8;
    for (uint64_t nFirst = 0; nFirst < std::min(facts.nFrames, kMostRead); nFirst += kPiece) {
        const uint64_t nFrames = std::min(kPiece, facts.nFrames - nFirst);
        Bytes piece(nFrames * nFrameBytes);
        if (!file.ReadFrames(nFirst, nFrames, piece.data()).IsDone()) return;
        KV_FUZZ_CHECK(file.GetPosition() == nFirst + nFrames);
    }
    if (facts.nFrames == 0) return;
    const uint64_t nFrames = std::min(kPiece, facts.nFrames);
    Bytes piece(nFrames * nFrameBytes);
    file.ReadFrames(facts.nFrames - nFrames, nFrames, piece.data());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    static const TempDir dir;
    WriteFile(dir.File("sound"), Bytes(p, p + n));
    WaveFile file;
    if (!file.Open(dir.File("sound")).IsDone()) return 0;
    CheckFacts(file.GetFacts());
    ReadFrames(file);
    return 0;
}
