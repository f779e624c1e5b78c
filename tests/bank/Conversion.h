// Conversion.h - waves and conversions for the resampler's tests.
#pragma once

#include <cstdint>
#include <cstring>
#include <ostream>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "bank/Resampler.h"
#include "bank/resample/KernelDispatch.h"
#include "tests/support/FencedBytes.h"
#include "tests/support/TempDir.h"

namespace Kestrova {

inline void PrintTo(Isa isa, std::ostream* pOut) { *pOut << NameOf(isa); }  // in GoogleTest's messages

namespace Test {

inline constexpr uint8_t kUntouched = 0xA5;  // what destinations hold before a conversion

// A wave with its two guards.
class GuardedWave {
public:
    GuardedWave(long nFrames, int nBytesPerFrame, Fence fence = Fence::After)
        : m_nFrames(nFrames),
          m_nBytesPerFrame(nBytesPerFrame),
          m_bytes(static_cast<size_t>((nFrames + 2 * kGuardFrames) * nBytesPerFrame), fence) {}

    long Frames() const { return m_nFrames; }
    int BytesPerFrame() const { return m_nBytesPerFrame; }
    // First byte of a frame; the guards are frames -256..-1 and Frames()..Frames() + 255.
    char* Frame(long nFrame) const { return m_bytes.Data() + (nFrame + kGuardFrames) * m_nBytesPerFrame; }

    void Fill(const Bytes& bytes) { std::memcpy(Frame(0), bytes.data(), bytes.size()); }
    // Sample nSample of the wave, counted over all channels.
    void Put(long nSample, int nValue) {
        std::memcpy(Frame(0) + nSample * static_cast<long>(SampleBytes()), &nValue, SampleBytes());
    }

    // Full-scale noise, also in the guards; every third sample at an extreme.
    void MakeLoud(unsigned nSeed) {
        std::mt19937 noise(nSeed);
        const int nHighest = SampleBytes() == 2 ? 0x7FFF : 0x7FFFFF;
        const long nChannels = m_nBytesPerFrame / static_cast<long>(SampleBytes());
        for (long n = -kGuardFrames * nChannels; n < (m_nFrames + kGuardFrames) * nChannels; ++n) {
            const auto nRandom = static_cast<uint32_t>(noise());
            const int nExtreme = nRandom & 8 ? nHighest : -nHighest - 1;
            Put(n, nRandom % 3 == 0 ? nExtreme : static_cast<int>(nRandom) >> 8);
        }
    }

    // A square wave at full scale, all channels alike, silence around it.
    void MakeSquare(long nHalfPeriod) {
        const int nHighest = SampleBytes() == 2 ? 0x7FFF : 0x7FFFFF;
        const long nChannels = m_nBytesPerFrame / static_cast<long>(SampleBytes());
        for (long n = 0; n < m_nFrames * nChannels; ++n)
            Put(n, n / nChannels / nHalfPeriod % 2 == 0 ? nHighest : -nHighest - 1);
    }

    size_t SampleBytes() const { return m_nBytesPerFrame % 3 == 0 ? 3 : 2; }

private:
    long m_nFrames;
    int m_nBytesPerFrame;
    FencedBytes m_bytes;
};

struct Outcome {
    long nProduced = -2;
    Bytes bytes;  // the whole destination
    _Args state{};

    bool operator==(const Outcome& other) const {
        return nProduced == other.nProduced && bytes == other.bytes;
    }
};

// Into a destination of exactly nDestinationFrames, with a fence on either side in turn.
inline Outcome Convert(const GuardedWave& wave, double ratio, int nQuality, long nDestinationFrames) {
    const auto nBytes = static_cast<size_t>(nDestinationFrames * wave.BytesPerFrame());
    Outcome outcome;
    for (const Fence fence : {Fence::Before, Fence::After}) {
        const FencedBytes destination(nBytes, fence);
        std::memset(destination.Data(), kUntouched, nBytes);
        const Resampler resampler(ratio, wave.Frame(0), wave.Frames(), destination.Data(), nDestinationFrames,
                                  wave.BytesPerFrame(), nQuality, &outcome.nProduced);
        outcome.bytes.assign(destination.Data(), destination.Data() + nBytes);
        outcome.state = resampler.State();
    }
    return outcome;
}

inline Outcome Convert(const GuardedWave& wave, double ratio, int nQuality) {
    const auto nFrames = static_cast<unsigned long>(wave.Frames());
    return Convert(wave, ratio, nQuality,
                   static_cast<long>(Resampler::GetReciprocalEstimatedSize(nFrames, ratio)));
}

// The same conversion on several threads at a time, the outcome of each.
inline std::vector<Outcome> ConvertOnThreads(const GuardedWave& wave, double ratio, int nQuality) {
    std::vector<Outcome> arOutcomes(4);
    std::vector<std::thread> threads;
    for (Outcome& outcome : arOutcomes)
        threads.emplace_back([&] { outcome = Convert(wave, ratio, nQuality); });
    for (std::thread& thread : threads) thread.join();
    return arOutcomes;
}

// Sample n of a destination, counted over all channels.
inline int SampleAt(const Bytes& bytes, size_t n, size_t nSampleBytes) {
    uint32_t nValue = 0;
    for (size_t i = 0; i < nSampleBytes; ++i)
        nValue |= uint32_t{bytes.at(n * nSampleBytes + i)} << (8 * (i + 4 - nSampleBytes));
    return static_cast<int32_t>(nValue) >> (32 - 8 * nSampleBytes);
}

inline std::vector<Isa> SupportedIsas() {
    std::vector<Isa> arIsas;
    for (const Isa isa : kAllIsas)
        if (IsSupported(isa)) arIsas.push_back(isa);
    return arIsas;
}

}  // namespace Test
}  // namespace Kestrova
