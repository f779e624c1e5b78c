// SampleBodies.h - plain sample records as bytes, and waves put into records.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "SamplerDBDS/DataBase/SDBISample.h"
#include "codec/RawCompress.h"
#include "stream/StreamBuffer.h"
#include "tests/support/RecordBytes.h"

namespace Kestrova::Test {
inline Bytes Packed(const Bytes& wave, uint32_t nFormat) {
    StreamBuffer in, out;
    in.Write(wave.data(), wave.size());
    CRawCompress(&in, &out, nFormat);
    const uint8_t* p = static_cast<const uint8_t*>(out.GetBuffer());
    return {p, p + out.GetSize()};
}

// A plain body with everything in it; what a test changes is a member.
struct PlainBody {
    std::string strName = "Sample";
    std::string strFile = "wave.wav";
    uint32_t nFormat = 16;
    uint32_t nChannels = 2;
    Bytes params = BodyBuilder().Word(12).Word(7).Word(8).Get();
    uint32_t nLoops = 2;
    Bytes loops = BodyBuilder().Word(1).Word(2).Word(3).Word(4).Word(5).Word(6).Word(7).Word(8).Get();
    Bytes stored;
    uint32_t nStored = 0;
    uint32_t nExpanded = 0;
    Bytes tail = Counting(5);

    // The wave raw, or compressed.
    PlainBody& Raw(const Bytes& wave) {
        stored = wave;
        nStored = nExpanded = static_cast<uint32_t>(wave.size());
        return *this;
    }
    PlainBody& Compressed(const Bytes& wave) {
        stored = Packed(wave, nFormat);
        nStored = static_cast<uint32_t>(stored.size());
        nExpanded = static_cast<uint32_t>(wave.size());
        return *this;
    }

    Bytes Get() const {
        BodyBuilder body;
        body.Text(strName).Text(strFile).Word(48000).Word(nFormat).Word(nChannels).Word(25).Word(60);
        body.Word(0xFFFFFFCF)
            .Word(0xCAFE)
            .Counted(params)
            .Word(nLoops)
            .Raw(loops)
            .Word(nStored)
            .Word(nExpanded);
        return body.Raw(stored).Counted(tail).Get();
    }
};

inline Bytes WaveOf(const CSDBISampleBase& sample) {
    const uint8_t* p = sample.m_info.pWave;
    return p ? Bytes(p, p + sample.m_info.lWave) : Bytes();
}

inline void LoadWave(CSDBISampleBase& sample, const Bytes& wave) {
    sample.m_info.lWave = static_cast<uint32_t>(wave.size());
    ASSERT_TRUE(sample.SmplMemAlloc());
    std::memcpy(sample.m_info.pWave, wave.data(), wave.size());
}

}  // namespace Kestrova::Test
