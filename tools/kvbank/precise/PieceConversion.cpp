#include "tools/kvbank/precise/PieceConversion.h"

#include <algorithm>
#include <cmath>

#include "tools/kvbank/precise/SincTable.h"

namespace Kestrova {
namespace {

constexpr uint64_t kBlockFrames = 1024;  // of the target
constexpr double kFilterFrames = 2048;   // of the lower rate: more than libsoxr looks ahead

// The source as a piece hears it: endless in both directions.
class HeardWave {
public:
    HeardWave(const WavePiece& piece, unsigned nChannels, uint64_t nFrames, const FrameSource& wave)
        : m_piece(piece), m_nChannels(nChannels), m_nFrames(static_cast<int64_t>(nFrames)), m_wave(wave) {}

    // Puts frames from nFirst on into the numbers, run by run.
    void Take(int64_t nFirst, std::span<double> numbers) const {
        while (!numbers.empty()) {
            const Run run = RunAt(nFirst);
            const auto nWanted = static_cast<int64_t>(numbers.size() / m_nChannels);
            const int64_t nRun = std::min(run.nFrames, nWanted);
            const std::span<double> part = numbers.first(static_cast<size_t>(nRun) * m_nChannels);
            if (run.nFrom < 0)
                std::fill(part.begin(), part.end(), 0);
            else
                m_wave(run.nFrom, part);
            nFirst += nRun;
            numbers = numbers.subspan(part.size());
        }
    }

private:
    // Frames of the source that follow each other; from -1: silence.
    struct Run {
        int64_t nFrom;
        int64_t nFrames;
    };

    Run RunAt(int64_t nFrame) const {
        const int64_t nLoopEnd = m_piece.nLoopStart + m_piece.nLoopFrames;
        const bool bRepeats = m_piece.hearing == WavePiece::Hearing::Circle ||
                              (m_piece.hearing == WavePiece::Hearing::Entry && nFrame >= nLoopEnd);
        if (bRepeats) {
            const int64_t nRest = (nFrame - m_piece.nLoopStart) % m_piece.nLoopFrames;
            const int64_t nInLoop = nRest < 0 ? nRest + m_piece.nLoopFrames : nRest;
            return {m_piece.nLoopStart + nInLoop, m_piece.nLoopFrames - nInLoop};
        }
        if (nFrame < 0) return {-1, -nFrame};
        const int64_t nEnd = m_piece.hearing == WavePiece::Hearing::Entry ? nLoopEnd : m_nFrames;
        return nFrame < nEnd ? Run{nFrame, nEnd - nFrame} : Run{-1, INT64_MAX};
    }

    const WavePiece& m_piece;
    const unsigned m_nChannels;
    const int64_t m_nFrames;
    const FrameSource& m_wave;
};

// Places the filter at one target frame after the other.
class FilteredPiece {
public:
    FilteredPiece(const WavePiece& piece, double ratio, unsigned nChannels, const HeardWave& wave)
        : m_piece(piece), m_nChannels(nChannels), m_wave(wave), m_pTable(TakeSincTable(ratio)) {}

    void Convert(const FrameSink& sink) {
        std::vector<double> out;
        for (uint64_t nDone = 0; nDone < m_piece.nFrames; nDone += kBlockFrames) {
            const uint64_t nBlock = std::min(kBlockFrames, m_piece.nFrames - nDone);
            Load(nDone, nBlock);
            out.clear();
            for (uint64_t i = 0; i < nBlock; ++i) {
                const double place = PlaceOf(nDone + i);
                const double whole = std::floor(place);
                const auto nOffset = static_cast<size_t>(static_cast<int64_t>(whole) - m_nWholeFirst);
                for (unsigned n = 0; n < m_nChannels; ++n)
                    out.push_back(m_pTable->At(place - whole, &m_channels[n * m_nLoaded + nOffset]));
            }
            sink(out);
        }
    }

private:
    double PlaceOf(uint64_t nFrame) const {
        return m_piece.position + static_cast<double>(nFrame) * m_piece.step;
    }

    // The frames that a block's places need, channel by channel.
    void Load(uint64_t nFirst, uint64_t nBlock) {
        m_nWholeFirst = static_cast<int64_t>(std::floor(PlaceOf(nFirst)));
        const auto nWholeLast = static_cast<int64_t>(std::floor(PlaceOf(nFirst + nBlock - 1)));
        m_nLoaded = static_cast<size_t>(nWholeLast - m_nWholeFirst) + m_pTable->Taps();
        m_frames.resize(m_nLoaded * m_nChannels);
        m_channels.resize(m_nLoaded * m_nChannels);
        m_wave.Take(m_nWholeFirst + m_pTable->FirstTap(), m_frames);
        for (size_t i = 0; i < m_frames.size(); ++i)
            m_channels[i % m_nChannels * m_nLoaded + i / m_nChannels] = m_frames[i];
    }

    const WavePiece& m_piece;
    const unsigned m_nChannels;
    const HeardWave& m_wave;
    const std::shared_ptr<const SincTable> m_pTable;
    std::vector<double> m_frames, m_channels;
    size_t m_nLoaded = 0;       // frames of the block's source
    int64_t m_nWholeFirst = 0;  // the whole part of the block's first place
};

}  // namespace

BankOutcome ConvertPiece(const WavePiece& piece, double ratio, unsigned nChannels, uint64_t nFrames,
                         const FrameSource& wave, const FrameSink& sink) {
    const HeardWave heard(piece, nChannels, nFrames, wave);
    const bool bCircle = piece.hearing == WavePiece::Hearing::Circle;
    if (piece.position > 0 || bCircle) {
        FilteredPiece(piece, ratio, nChannels, heard).Convert(sink);
        return {};
    }
    if (piece.hearing == WavePiece::Hearing::Entry)
        nFrames = static_cast<uint64_t>(static_cast<double>(piece.nFrames) * ratio +
                                        kFilterFrames * std::max(ratio, 1.0));
    return ConvertStraight(
        ratio, nChannels, nFrames, piece.nFrames,
        [&](int64_t nFirst, std::span<double> numbers) { heard.Take(nFirst, numbers); }, sink);
}

}  // namespace Kestrova
