#include "tests/support/SoundFileMaker.h"

#include <sndfile.h>

#include <stdexcept>

namespace Kestrova::Test {
namespace {

// Numbers of at most 8 bytes.
void AddLittle(Bytes& bytes, uint64_t n, size_t nBytes) {
    for (size_t i = 0; i < nBytes; ++i) bytes.push_back(static_cast<uint8_t>(n >> (8 * i)));
}

void AddBig(Bytes& bytes, uint64_t n, size_t nBytes) {
    while (nBytes-- > 0) bytes.push_back(static_cast<uint8_t>(n >> (8 * nBytes)));
}

void AddText(Bytes& bytes, const std::string& strText) {
    bytes.insert(bytes.end(), strText.begin(), strText.end());
}

void AddChunk(Bytes& bytes, const std::string& strId, const Bytes& body,
              void (*addSize)(Bytes&, uint64_t, size_t)) {
    AddText(bytes, strId);
    addSize(bytes, body.size(), 4);
    bytes.insert(bytes.end(), body.begin(), body.end());
    if (body.size() % 2 == 1) bytes.push_back(0);
}

}  // namespace

Bytes MakeWav(const WavSpec& spec) {
    const uint32_t nFrameBytes = spec.nChannels * spec.nBits / 8u;
    Bytes format;
    AddLittle(format, spec.nTag, 2);
    AddLittle(format, spec.nChannels, 2);
    AddLittle(format, spec.nRate, 4);
    AddLittle(format, spec.nRate * nFrameBytes, 4);
    AddLittle(format, nFrameBytes, 2);
    AddLittle(format, spec.nBits, 2);
    Bytes form;
    AddText(form, "WAVE");
    AddChunk(form, "fmt ", format, AddLittle);
    for (const auto& [strId, body] : spec.chunks) AddChunk(form, strId, body, AddLittle);
    AddChunk(form, "data", spec.data, AddLittle);
    Bytes bytes;
    AddChunk(bytes, "RIFF", form, AddLittle);
    return bytes;
}

Bytes RampFrames(uint32_t nFirst, uint32_t nFrames) {
    Bytes bytes;
    for (uint32_t i = nFirst; i < nFirst + nFrames; ++i) AddLittle(bytes, i * 131, 2);
    return bytes;
}

Bytes MakeRampWav(uint32_t nFrames, const std::vector<std::pair<std::string, Bytes>>& chunks) {
    return MakeWav({.data = RampFrames(0, nFrames), .chunks = chunks});
}

Bytes SmplChunk(uint32_t nKey, uint32_t nFraction, const std::vector<SmplLoop>& loops) {
    Bytes body;
    body.resize(12);
    AddLittle(body, nKey, 4);
    AddLittle(body, nFraction, 4);
    AddLittle(body, 0, 8);
    AddLittle(body, loops.size(), 4);
    AddLittle(body, 0, 4);
    for (const SmplLoop& loop : loops) {
        AddLittle(body, 0, 4);
        AddLittle(body, loop.nType, 4);
        AddLittle(body, loop.nStart, 4);
        AddLittle(body, loop.nEnd, 4);
        AddLittle(body, 0, 8);
    }
    return body;
}

Bytes MakeAiff(const AiffSpec& spec) {
    Bytes common, markers, instrument, sound;
    AddBig(common, 1, 2);
    AddBig(common, spec.nFrames, 4);
    AddBig(common, 16, 2);
    AddBig(common, 0x400eac44, 4);  // 44100 as a number of 80 bits
    AddBig(common, 0, 6);
    AddBig(markers, 2, 2);
    for (const auto& [nMarker, pos] : {std::pair(1u, spec.nLoopStart), std::pair(2u, spec.nLoopEnd)}) {
        AddBig(markers, nMarker, 2);
        AddBig(markers, pos, 4);
        AddBig(markers, 0x0161, 2);  // a name of one letter
    }
    AddBig(instrument, spec.nKey, 1);
    AddBig(instrument, static_cast<uint8_t>(spec.nDetune), 1);
    AddBig(instrument, 0x007f017f0000, 6);  // keys, velocities, gain
    AddBig(instrument, spec.nLoopMode, 2);
    AddBig(instrument, 0x00010002, 4);
    AddBig(instrument, 0, 6);
    AddBig(sound, 0, 8);
    sound.resize(sound.size() + spec.nFrames * 2);
    Bytes form;
    AddText(form, "AIFF");
    AddChunk(form, "COMM", common, AddBig);
    AddChunk(form, "MARK", markers, AddBig);
    AddChunk(form, "INST", instrument, AddBig);
    AddChunk(form, "SSND", sound, AddBig);
    Bytes bytes;
    AddChunk(bytes, "FORM", form, AddBig);
    return bytes;
}

void WriteSound(const std::string& strPath, int nFormat, int nChannels, int nRate,
                const std::vector<int32_t>& numbers) {
    SF_INFO info{};
    info.samplerate = nRate;
    info.channels = nChannels;
    info.format = nFormat;
    SNDFILE* const pFile = sf_open(strPath.c_str(), SFM_WRITE, &info);
    if (pFile == nullptr) throw std::runtime_error(sf_strerror(nullptr));
    const auto nNumbers = static_cast<sf_count_t>(numbers.size());
    const bool bWritten = sf_write_int(pFile, numbers.data(), nNumbers) == nNumbers;
    if (sf_close(pFile) != 0 || !bWritten) throw std::runtime_error("cannot write " + strPath);
}

}  // namespace Kestrova::Test
