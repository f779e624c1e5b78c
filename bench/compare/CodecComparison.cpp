// codec_comparison - the wave codec beside libbz2, one thread: millions of bytes of wave a second. libbz2
// gets the bytes behind the delta filter; ours applies and undoes the filter as well. What is expanded is
// compared with the wave once, before anything is timed.
#include <algorithm>
#include <memory>

#include "bench/BenchCodec.h"
#include "bench/BenchWaves.h"
#include "bench/compare/Comparison.h"
#include "bench/compare/LibBz2.h"
#include "codec/ImpulseFilter.h"

namespace Kestrova::Bench {
namespace {

constexpr size_t kShortWave = 75000;
constexpr uint32_t kNote = 3;  // the seed of the notes

struct Material {
    const char* pszName;
    unsigned nBits;
    Bytes (*make)(size_t nBytes);
    size_t nPiece;  // the wave is cut into streams of so many bytes; 0: one stream
};
constexpr Material kNote16 = {"16-bit stereo note", 16,
                              [](size_t n) { return MakeNote(n / 4, 16, 2, kNote); }, 0};
constexpr Material kNote24 = {"24-bit mono note", 24, [](size_t n) { return MakeNote(n / 3, 24, 1, kNote); },
                              0};
constexpr Material kNoise = {"16-bit noise", 16, [](size_t n) { return MakeNoise(n); }, 0};
constexpr Material kSine = {"16-bit sine", 16, [](size_t n) { return MakeSine(n / 2, 16); }, 0};
constexpr Material kZeros = {"16-bit zeros", 16, [](size_t n) { return Bytes(n); }, 0};
constexpr Material kPeriod = {"exact period of 1000 frames", 16,
                              [](size_t n) { return MakePeriodic(n, 2000); }, 0};
constexpr Material kFont = {"waves of TimGM6mb", 16, [](size_t n) { return ReadSoundFontSamples(n); }, 0};
constexpr Material kShortNotes = {"16-bit stereo note in waves of 75 kB", 16,
                                  [](size_t n) { return MakeNote(n / 4, 16, 2, kNote); }, kShortWave};

// The same wave in all its forms, cut into pieces.
struct Pieces {
    unsigned nBits;
    std::vector<Bytes> waves, filtered;
    double nBytes = 0;  // millions, of all waves

    Pieces(const Material& material, size_t nWave) : nBits(material.nBits) {
        const Bytes whole = material.make(nWave);
        const size_t nPiece = material.nPiece == 0 ? whole.size() : material.nPiece;
        for (size_t n = 0; n < whole.size(); n += nPiece) {
            const auto itEnd =
                whole.begin() + static_cast<std::ptrdiff_t>(std::min(n + nPiece, whole.size()));
            waves.emplace_back(whole.begin() + static_cast<std::ptrdiff_t>(n), itEnd);
            filtered.push_back(waves.back());
            ApplyImpulse(nBits, filtered.back().data(), filtered.back().size());
        }
        nBytes = static_cast<double>(whole.size()) / 1e6;
    }
};

bool ExpandsTo(StreamBuffer& stream, unsigned nBits, const Bytes& wave) {
    StreamBuffer out;
    return ExpandWave(stream, nBits, wave.size(), out) &&
           std::equal(wave.begin(), wave.end(), static_cast<const uint8_t*>(out.GetBuffer()));
}

// Streams of ours, each of which has been seen to hold its wave; none when one does not.
std::vector<std::unique_ptr<StreamBuffer>> StreamsOf(const Pieces& pieces) {
    std::vector<std::unique_ptr<StreamBuffer>> streams;
    for (const Bytes& wave : pieces.waves) {
        streams.push_back(std::make_unique<StreamBuffer>());
        if (!CompressWave(wave, pieces.nBits, *streams.back()) ||
            !ExpandsTo(*streams.back(), pieces.nBits, wave))
            return {};
    }
    return streams;
}

// The same of libbz2.
std::vector<Bytes> LibBz2StreamsOf(const Pieces& pieces, int nLevel) {
    std::vector<Bytes> streams;
    for (const Bytes& filtered : pieces.filtered) {
        streams.push_back(CompressWithLibBz2(filtered, nLevel));
        Bytes expanded(filtered.size());
        if (!ExpandWithLibBz2(streams.back(), expanded) || expanded != filtered) return {};
    }
    return streams;
}

Turn ExpandOurs(ComparisonSize size, const std::shared_ptr<Pieces>& pPieces) {
    const auto pStreams = std::make_shared<std::vector<std::unique_ptr<StreamBuffer>>>(StreamsOf(*pPieces));
    return RateTurn(size, pPieces->nBytes, [=] {
        bool bDone = !pStreams->empty();
        for (size_t n = 0; bDone && n < pStreams->size(); ++n) {
            StreamBuffer out;
            bDone = ExpandWave(*(*pStreams)[n], pPieces->nBits, pPieces->waves[n].size(), out);
        }
        return bDone;
    });
}

// Each stream into memory of its own, as ours does it.
Turn ExpandLibBz2(ComparisonSize size, const std::shared_ptr<Pieces>& pPieces, int nLevel) {
    const auto pStreams = std::make_shared<std::vector<Bytes>>(LibBz2StreamsOf(*pPieces, nLevel));
    return RateTurn(size, pPieces->nBytes, [=] {
        bool bDone = !pStreams->empty();
        for (size_t n = 0; bDone && n < pStreams->size(); ++n) {
            Bytes out(pPieces->waves[n].size());
            bDone = ExpandWithLibBz2((*pStreams)[n], out);
        }
        return bDone;
    });
}

ComparisonRow ExpandRow(ComparisonSize size, const Material& material) {
    return {std::string("expand, ") + material.pszName, "MB/s", [=] {
                const auto pPieces = std::make_shared<Pieces>(material, size.bQuick ? 300000 : 6000000);
                std::vector<Contender> contenders = {{"ours", ExpandOurs(size, pPieces)},
                                                     {"libbz2 -9", ExpandLibBz2(size, pPieces, 9)}};
                // Blocks that are as small as the waves are what suits it best.
                if (material.nPiece != 0) contenders.push_back({"libbz2 -1", ExpandLibBz2(size, pPieces, 1)});
                return contenders;
            }};
}

ComparisonRow CompressRow(ComparisonSize size, const Material& material) {
    return {std::string("compress, ") + material.pszName, "MB/s", [=] {
                const auto pPieces = std::make_shared<Pieces>(material, size.bQuick ? 300000 : 6000000);
                const auto ours = [=] {
                    StreamBuffer out;
                    return CompressWave(pPieces->waves[0], pPieces->nBits, out);
                };
                const auto libbz2 = [=] { return !CompressWithLibBz2(pPieces->filtered[0]).empty(); };
                return std::vector<Contender>{{"ours", RateTurn(size, pPieces->nBytes, ours)},
                                              {"libbz2 -9", RateTurn(size, pPieces->nBytes, libbz2)}};
            }};
}

std::vector<ComparisonRow> RowsOf(ComparisonSize size) {
    std::vector<ComparisonRow> rows;
    for (const Material& material : {kNote16, kNote24, kNoise, kFont, kZeros, kShortNotes, kPeriod})
        rows.push_back(ExpandRow(size, material));
    for (const Material& material : {kNote16, kNote24, kNoise, kSine, kFont, kZeros, kPeriod})
        rows.push_back(CompressRow(size, material));
    return rows;
}

}  // namespace
}  // namespace Kestrova::Bench

int main(int argc, char** argv) {
    return Kestrova::Bench::RunComparison(argc, argv, Kestrova::Bench::RowsOf);
}
