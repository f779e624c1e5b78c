#include "tools/kvbank/render/WavFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "SamplerDBDS/DataBase/SDBFormat.h"

namespace Kestrova {
namespace {

constexpr uint32_t kHeaderBytes = 44, kFormatBytes = 16, kIntegers = 1;

void PutNumber(std::vector<uint8_t>& bytes, uint32_t n, size_t nWidth) {
    for (size_t i = 0; i < nWidth; ++i) bytes.push_back(static_cast<uint8_t>(n >> (8 * i)));
}

std::vector<uint8_t> WholeFile(const WaveForm& form, std::span<const uint8_t> frames) {
    const auto nData = static_cast<uint32_t>(frames.size());
    const uint32_t nPadding = nData % 2;
    std::vector<uint8_t> bytes;
    bytes.reserve(kHeaderBytes + nData + nPadding);
    PutNumber(bytes, ChunkId("RIFF"), 4);
    PutNumber(bytes, kHeaderBytes - 8 + nData + nPadding, 4);
    PutNumber(bytes, ChunkId("WAVE"), 4);
    PutNumber(bytes, ChunkId("fmt "), 4);
    PutNumber(bytes, kFormatBytes, 4);
    PutNumber(bytes, kIntegers, 2);
    PutNumber(bytes, form.nChannels, 2);
    PutNumber(bytes, form.nRate, 4);
    PutNumber(bytes, form.nRate * form.FrameBytes(), 4);
    PutNumber(bytes, form.FrameBytes(), 2);
    PutNumber(bytes, form.nBits, 2);
    PutNumber(bytes, ChunkId("data"), 4);
    PutNumber(bytes, nData, 4);
    bytes.insert(bytes.end(), frames.begin(), frames.end());
    bytes.resize(bytes.size() + nPadding);
    return bytes;
}

int WriteAll(int nFile, std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t nWritten = write(nFile, bytes.data(), bytes.size());
        if (nWritten < 0 && errno != EINTR) return errno;
        if (nWritten > 0) bytes = bytes.subspan(static_cast<size_t>(nWritten));
    }
    return fsync(nFile) == 0 ? 0 : errno;
}

}  // namespace

int WriteWavFile(const std::string& strPath, const WaveForm& form, std::span<const uint8_t> frames) {
    const std::vector<uint8_t> bytes = WholeFile(form, frames);
    const int nFile = open(strPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (nFile < 0) return errno;
    const int nError = WriteAll(nFile, bytes);
    const bool bClosed = close(nFile) == 0;
    return nError == 0 && !bClosed ? errno : nError;
}

}  // namespace Kestrova
