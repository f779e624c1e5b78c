// stream_file - one long wave as a file, for programs that expand whole files.
//   stream_file make OURS BZ2 BYTES    writes a 16-bit stereo note of so many bytes as a stream of ours, and
//                                      its filtered bytes as libbz2 compresses them
//   stream_file expand OURS BYTES THREADS    writes the wave of a stream to standard output
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/BenchCodec.h"
#include "bench/BenchWaves.h"
#include "bench/compare/LibBz2.h"
#include "codec/ImpulseFilter.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Bench;

constexpr unsigned kBits = 16;

bool WriteFile(const char* pszPath, const void* pBytes, size_t nBytes) {
    std::FILE* const pFile = std::fopen(pszPath, "wb");
    if (pFile == nullptr) return false;
    const bool bDone = std::fwrite(pBytes, 1, nBytes, pFile) == nBytes;
    return std::fclose(pFile) == 0 && bDone;
}

bool Make(const char* pszOurs, const char* pszBz2, size_t nBytes) {
    Bytes wave = MakeLongNote(nBytes);
    StreamBuffer stream;
    const bool bCompressed = CompressWave(wave, kBits, stream);
    ApplyImpulse(kBits, wave.data(), wave.size());
    const Bytes bz2 = CompressWithLibBz2(wave);
    return bCompressed && !bz2.empty() && WriteFile(pszOurs, stream.GetBuffer(), stream.GetSize()) &&
           WriteFile(pszBz2, bz2.data(), bz2.size());
}

bool Expand(const char* pszOurs, size_t nBytes, unsigned nThreads) {
    const Bytes file = ReadWhole(pszOurs);
    StreamBuffer stream(file.data(), file.size());
    StreamBuffer wave;
    return ExpandWave(stream, kBits, nBytes, wave, nThreads) &&
           std::fwrite(wave.GetBuffer(), 1, nBytes, stdout) == nBytes && std::fflush(stdout) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    bool bDone = false;
    if (argc == 5 && std::strcmp(argv[1], "make") == 0)
        bDone = Make(argv[2], argv[3], std::strtoul(argv[4], nullptr, 10));
    else if (argc == 5 && std::strcmp(argv[1], "expand") == 0)
        bDone = Expand(argv[2], std::strtoul(argv[3], nullptr, 10),
                       static_cast<unsigned>(std::strtoul(argv[4], nullptr, 10)));
    else
        std::fputs("usage: stream_file make OURS BZ2 BYTES | expand OURS BYTES THREADS\n", stderr);
    return bDone ? 0 : 1;
}
