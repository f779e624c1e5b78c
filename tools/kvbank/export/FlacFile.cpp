#include "tools/kvbank/export/FlacFile.h"

#include <sndfile.h>

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <vector>

#include "tools/kvbank/export/WaveForm.h"

namespace Kestrova {
namespace {

CXFile& FileOf(void* pUser) { return *static_cast<CXFile*>(pUser); }

sf_count_t GetLength(void* pUser) {
    unsigned long long nSize = 0;
    return FileOf(pUser).GetSize(nSize) ? static_cast<sf_count_t>(nSize) : -1;
}

sf_count_t Tell(void* pUser) {
    unsigned long long pos = 0;
    return FileOf(pUser).GetCurrentPos(pos) ? static_cast<sf_count_t>(pos) : -1;
}

sf_count_t Seek(sf_count_t nOffset, int nWhence, void* pUser) {
    const sf_count_t nFrom = nWhence == SF_SEEK_CUR   ? Tell(pUser)
                             : nWhence == SF_SEEK_END ? GetLength(pUser)
                                                      : sf_count_t{0};
    const sf_count_t pos = nFrom + nOffset;
    return pos >= 0 && FileOf(pUser).SeekToPos(static_cast<unsigned long long>(pos)) ? pos : -1;
}

sf_count_t Read(void* pData, sf_count_t nBytes, void* pUser) {
    const sf_count_t nWanted = std::min(nBytes, GetLength(pUser) - Tell(pUser));
    return nWanted > 0 && FileOf(pUser).Read(pData, static_cast<unsigned long>(nWanted)) ? nWanted : 0;
}

sf_count_t Write(const void* pData, sf_count_t nBytes, void* pUser) {
    return FileOf(pUser).Write(pData, static_cast<unsigned long>(nBytes)) ? nBytes : 0;
}

struct CloseSound {
    void operator()(SNDFILE* pSound) const { sf_close(pSound); }
};
using Sound = std::unique_ptr<SNDFILE, CloseSound>;

Sound Open(const CSDBISampleBase::Info& info, CXFile& file) {
    constexpr uint32_t kMost = std::numeric_limits<int>::max();
    if (info.nSampleRate > kMost || info.nChannels > kMost) return nullptr;
    SF_VIRTUAL_IO io = {GetLength, Seek, Read, Write, Tell};
    SF_INFO form{};
    form.samplerate = static_cast<int>(info.nSampleRate);
    form.channels = static_cast<int>(info.nChannels);
    form.format = SF_FORMAT_FLAC | (info.nFormat == 16 ? SF_FORMAT_PCM_16 : SF_FORMAT_PCM_24);
    return Sound(sf_open_virtual(&io, SFM_WRITE, &form, &file));
}

bool WriteFrames(const CSDBISampleBase& sample, SNDFILE* pSound) {
    constexpr uint64_t kAtOnce = 16384;  // frames
    const uint64_t nChannels = sample.m_info.nChannels;
    const uint64_t nFrame = sample.GetFrameBytes();
    std::vector<int> piece(kAtOnce * nChannels);
    uint64_t nExact = 0;
    for (uint64_t nLeft = sample.m_info.lWave / nFrame, nDone = 0; nLeft > 0;) {
        const uint64_t nNow = std::min(nLeft, kAtOnce);
        const uint8_t* const pFrom = sample.m_info.pWave + nDone * nFrame;
        for (uint64_t i = 0; i < nNow * nChannels; ++i)
            piece[i] = SampleAt(pFrom + i * sample.GetSampleBytes(), sample.m_info.nFormat,
                                sample.m_info.nFormat, nExact);
        const auto nFrames = static_cast<sf_count_t>(nNow);
        if (sf_writef_int(pSound, piece.data(), nFrames) != nFrames) return false;
        nLeft -= nNow;
        nDone += nNow;
    }
    return true;
}

}  // namespace

std::string WriteFlac(const CSDBISampleBase& sample, CXFile& file) {
    Sound pSound = Open(sample.m_info, file);
    if (pSound == nullptr) return "its rate or number of channels does not fit a FLAC file";
    const bool bWritten = WriteFrames(sample, pSound.get());
    // The end of the file, and its header once more, are written by the close.
    const bool bClosed = sf_close(pSound.release()) == 0;
    if (bWritten && bClosed && file.Flush() && file.GetFirstError() == 0) return "";
    return "it cannot be written as FLAC";
}

}  // namespace Kestrova
