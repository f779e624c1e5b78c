#include "bench/compare/ResamplePeers.h"

#include <samplerate.h>
#include <soxr.h>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <memory>

#include "bench/BenchWaves.h"

namespace Kestrova::Bench {
namespace {

// The peers are fed as a player would feed them: their own working memory then stays in the cache, which is
// faster for each of them than the whole wave in one call.
constexpr size_t kFramesAtOnce = 16384;

struct FreeSoxr {
    void operator()(soxr_t pSoxr) const { soxr_delete(pSoxr); }
};
struct FreeSwr {
    void operator()(SwrContext* pSwr) const { swr_free(&pSwr); }
};
using SwrHandle = std::unique_ptr<SwrContext, FreeSwr>;

SwrHandle MakeSwr(const Conversion& conversion) {
    const WaveShape& shape = conversion.shape;
    AVChannelLayout layout{};
    av_channel_layout_default(&layout, static_cast<int>(shape.nChannels));
    const AVSampleFormat format = conversion.Is16() ? AV_SAMPLE_FMT_S16 : AV_SAMPLE_FMT_S32;
    SwrContext* pSwr = nullptr;
    const int nResult = swr_alloc_set_opts2(&pSwr, &layout, format, static_cast<int>(shape.nToRate), &layout,
                                            format, static_cast<int>(shape.nFromRate), 0, nullptr);
    SwrHandle swr(pSwr);
    const bool bReady =
        nResult == 0 && av_opt_set_int(pSwr, "filter_size", 64, 0) == 0 && swr_init(pSwr) == 0;
    return bReady ? std::move(swr) : SwrHandle();
}

}  // namespace

size_t WaveShape::ToFrames() const { return static_cast<size_t>(static_cast<double>(nFrames) / Ratio()); }

std::vector<int32_t> MakeResampleSource(const WaveShape& shape) {
    const Bytes wave = MakeNote(shape.nFrames, 24, shape.nChannels, 3);
    std::vector<int32_t> source(wave.size() / 3);
    for (size_t n = 0; n < source.size(); ++n) {
        const uint32_t nSample =
            uint32_t{wave[3 * n]} << 8 | uint32_t{wave[3 * n + 1]} << 16 | uint32_t{wave[3 * n + 2]} << 24;
        source[n] = static_cast<int32_t>(nSample) / 512 * 256;
    }
    return source;
}

Conversion::Conversion(const WaveShape& waveShape) : shape(waveShape) {
    source32 = MakeResampleSource(shape);
    constexpr size_t kSpareFrames = 4096;
    const size_t nOut = (shape.ToFrames() + kSpareFrames) * shape.nChannels;
    if (!Is16()) {
        out32.resize(nOut);
        return;
    }
    out16.resize(nOut);
    source16.resize(source32.size());
    std::transform(source32.begin(), source32.end(), source16.begin(),
                   [](int32_t n) { return static_cast<int16_t>(n >> 16); });
    source32 = {};
}

const void* Conversion::Source() const {
    return Is16() ? static_cast<const void*>(source16.data()) : source32.data();
}

void* Conversion::Out() { return Is16() ? static_cast<void*>(out16.data()) : out32.data(); }

size_t Conversion::OutFrames() const { return (out16.size() + out32.size()) / shape.nChannels; }

size_t ResampleWithSoxr(Conversion& conversion, SoxrQuality quality) {
    const WaveShape& shape = conversion.shape;
    const soxr_datatype_t type = conversion.Is16() ? SOXR_INT16_I : SOXR_INT32_I;
    soxr_io_spec_t io = soxr_io_spec(type, type);
    io.flags |= SOXR_NO_DITHER;
    const soxr_quality_spec_t spec = soxr_quality_spec(quality == SoxrQuality::Hq ? SOXR_HQ : SOXR_VHQ, 0);
    const soxr_runtime_spec_t runtime = soxr_runtime_spec(1);
    const std::unique_ptr<soxr, FreeSoxr> soxr(
        soxr_create(shape.nFromRate, shape.nToRate, shape.nChannels, nullptr, &io, &spec, &runtime));
    const auto* pFrom = static_cast<const uint8_t*>(conversion.Source());
    auto* const pOut = static_cast<uint8_t*>(conversion.Out());
    const size_t nFrameBytes = conversion.FrameBytes();
    size_t nMade = 0;
    for (size_t nDone = 0; soxr && nDone <= shape.nFrames; nDone += kFramesAtOnce) {
        const bool bLast = nDone + kFramesAtOnce > shape.nFrames;
        const size_t nFrames = bLast ? shape.nFrames - nDone : kFramesAtOnce;
        size_t nNow = 0;
        // The complement of a length says that no more follows.
        if (soxr_process(soxr.get(), pFrom + nDone * nFrameBytes, bLast ? ~nFrames : nFrames, nullptr,
                         pOut + nMade * nFrameBytes, conversion.OutFrames() - nMade, &nNow) != nullptr)
            return 0;
        nMade += nNow;
    }
    return nMade;
}

size_t ResampleWithSwr(Conversion& conversion) {
    const SwrHandle swr = MakeSwr(conversion);
    if (!swr) return 0;
    const auto* pFrom = static_cast<const uint8_t*>(conversion.Source());
    auto* const pOut = static_cast<uint8_t*>(conversion.Out());
    const size_t nFrameBytes = conversion.FrameBytes();
    size_t nMade = 0;
    // It takes memory for all the room that it is given, so it is told no more than a piece needs.
    const auto nPieceRoom =
        static_cast<size_t>(static_cast<double>(kFramesAtOnce) / conversion.shape.Ratio()) + 256;
    const auto convert = [&](const uint8_t* p, size_t nFrames) {
        uint8_t* pTo = pOut + nMade * nFrameBytes;
        const size_t nRoom = std::min(conversion.OutFrames() - nMade, nPieceRoom);
        const int nNow = swr_convert(swr.get(), &pTo, static_cast<int>(nRoom), p != nullptr ? &p : nullptr,
                                     static_cast<int>(nFrames));
        nMade += nNow > 0 ? static_cast<size_t>(nNow) : 0;
        return nNow >= 0;
    };
    for (size_t nDone = 0; nDone < conversion.shape.nFrames; nDone += kFramesAtOnce)
        if (!convert(pFrom + nDone * nFrameBytes, std::min(kFramesAtOnce, conversion.shape.nFrames - nDone)))
            return 0;
    return convert(nullptr, 0) ? nMade : 0;
}

size_t ResampleWithSampleRate(Conversion& conversion, SampleRateQuality quality) {
    const WaveShape& shape = conversion.shape;
    std::vector<float> from(shape.nFrames * shape.nChannels);
    std::vector<float> to(conversion.OutFrames() * shape.nChannels);
    if (conversion.Is16())
        src_short_to_float_array(conversion.source16.data(), from.data(), static_cast<int>(from.size()));
    else
        src_int_to_float_array(conversion.source32.data(), from.data(), static_cast<int>(from.size()));
    SRC_DATA data{};
    data.data_in = from.data();
    data.data_out = to.data();
    data.input_frames = static_cast<long>(shape.nFrames);
    data.output_frames = static_cast<long>(conversion.OutFrames());
    data.src_ratio = 1 / shape.Ratio();
    const int nType = quality == SampleRateQuality::Best ? SRC_SINC_BEST_QUALITY : SRC_SINC_MEDIUM_QUALITY;
    if (src_simple(&data, nType, static_cast<int>(shape.nChannels)) != 0) return 0;
    const int nSamples = static_cast<int>(data.output_frames_gen) * static_cast<int>(shape.nChannels);
    if (conversion.Is16())
        src_float_to_short_array(to.data(), conversion.out16.data(), nSamples);
    else
        src_float_to_int_array(to.data(), conversion.out32.data(), nSamples);
    return static_cast<size_t>(data.output_frames_gen);
}

}  // namespace Kestrova::Bench
