// Where the frames and loops of a precisely converted wave lie.
#include <gtest/gtest.h>

#include <cmath>

#include "tools/kvbank/precise/WavePieces.h"

namespace Kestrova::Test {
namespace {

double CentsOf(const LoopFit& fit, uint64_t nLoopFrames, double ratio) {
    return std::abs(1200 * std::log2(static_cast<double>(fit.nFrames) * ratio /
                                     static_cast<double>(fit.nTimes * nLoopFrames)));
}

const double kRatios[] = {44100.0 / 48000,
                          48000.0 / 44100,
                          44100.0 / 192000,
                          192000.0 / 44100,
                          22050.0 / 176400,
                          0.5,
                          2.0,
                          std::exp2(1.0 / 12),
                          std::exp2(-5 / 12.0) * 44100 / 96000,
                          11.3};

TEST(FitLoopTest, TakesTheFewestRepeatsThatStayWithinHalfACent) {
    for (const double ratio : kRatios) {
        for (const uint64_t nLoop : {2u, 3u, 7u, 45u, 100u, 168u, 1000u, 44101u, 1000003u}) {
            const LoopFit fit = FitLoop(nLoop, ratio);
            const auto framesOf = [&](uint64_t nTimes) {
                return static_cast<uint64_t>(std::llround(static_cast<double>(nTimes * nLoop) / ratio));
            };
            EXPECT_EQ(framesOf(fit.nTimes), fit.nFrames) << nLoop << " " << ratio;
            EXPECT_LT(CentsOf(fit, nLoop, ratio), 0.5) << nLoop << " " << ratio;
            for (uint64_t nTimes = 1; nTimes < fit.nTimes; ++nTimes)
                EXPECT_GE(CentsOf({nTimes, framesOf(nTimes)}, nLoop, ratio), 0.4999) << nLoop << " " << ratio;
        }
    }
}

TEST(FitLoopTest, ALoopThatBecomesWholeFramesIsPlayedOnce) {
    const LoopFit fit = FitLoop(147, 44100.0 / 48000);
    EXPECT_EQ(1u, fit.nTimes);
    EXPECT_EQ(160u, fit.nFrames);
}

TEST(FitLoopTest, ALoopOfOneFrameIsNotRepeated) {
    EXPECT_EQ(1u, FitLoop(1, 0.91).nTimes);
    EXPECT_EQ(1u, FitLoop(1, 0.91).nFrames);
    EXPECT_EQ(1u, FitLoop(1, 1000).nFrames);
    EXPECT_EQ(8u, FitLoop(1, 0.125).nFrames);
}

TEST(FitLoopTest, AtTheBoundTheBestOfItsRepeatsIsTaken) {
    // Half a frame for all of them, so that one frame is nearest with the most.
    const LoopFit fit = FitLoop(2, 16001.0);
    EXPECT_EQ(4096u, fit.nTimes);
    EXPECT_EQ(1u, fit.nFrames);
    EXPECT_GT(CentsOf(fit, 2, 16001.0), 0.5);
}

class PlanPiecesTest : public testing::Test {
protected:
    std::vector<SDBLOOP> m_source, m_target;
    PiecePlan m_plan;

    void Plan(uint32_t nFrames, double ratio, const std::vector<SDBLOOP>& loops) {
        m_source = m_target = loops;
        const WaveOrder order{.nFrames = nFrames, .ratio = ratio, .loops = m_source};
        m_plan = PlanPieces(order);
        PlaceLoops(order, m_plan, m_target);
    }
    // The pieces follow each other without a gap.
    void ExpectWhole() const {
        uint64_t nNext = 0;
        for (const WavePiece& piece : m_plan.pieces) {
            EXPECT_EQ(nNext, piece.nFirst);
            EXPECT_GT(piece.nFrames, 0u);
            nNext += piece.nFrames;
        }
        EXPECT_EQ(m_plan.nFrames, nNext);
    }
};

TEST_F(PlanPiecesTest, AWaveWithoutLoopsHasTheNearestWholeFrames) {
    for (const double ratio : kRatios) {
        for (const uint32_t nFrames : {1u, 2u, 999u, 100000u, 0xFFFFFFFFu}) {
            Plan(nFrames, ratio, {});
            ASSERT_EQ(1u, m_plan.pieces.size());
            EXPECT_EQ(std::max<uint64_t>(static_cast<uint64_t>(std::llround(nFrames / ratio)), 1),
                      m_plan.nFrames);
        }
    }
}

TEST_F(PlanPiecesTest, AWaveWithoutFramesStillHasOne) {
    Plan(0, 0.9, {});
    EXPECT_EQ(1u, m_plan.nFrames);
}

TEST_F(PlanPiecesTest, LoopsLieWhereTheFormulaPutsThem) {
    for (const double ratio : kRatios) {
        for (const uint32_t nStart : {0u, 1u, 10u, 777u, 12345u}) {
            for (const uint32_t nLoop : {2u, 100u, 168u, 5000u, 44100u}) {
                for (const uint32_t nBehind : {0u, 1u, 3000u}) {
                    const uint32_t nFrames = nStart + nLoop + nBehind;
                    Plan(nFrames, ratio, {{7, nStart, nStart + nLoop - 1, 9}});
                    const auto nFirst = static_cast<uint64_t>(std::ceil(nStart / ratio));
                    const LoopFit fit = FitLoop(nLoop, ratio);
                    const double entered = static_cast<double>(nFirst) * ratio - nStart;
                    const auto nTail = std::max<int64_t>(std::llround((nBehind - entered) / ratio), 0);
                    EXPECT_EQ(nFirst, m_target[0].nStart);
                    EXPECT_EQ(nFirst + fit.nFrames - 1, m_target[0].nEnd);
                    EXPECT_EQ(7u, m_target[0].nCueID);
                    EXPECT_EQ(9u, m_target[0].nPlayCount);
                    EXPECT_EQ(nFirst + fit.nFrames + static_cast<uint64_t>(nTail), m_plan.nFrames);
                    EXPECT_GE(entered, 0);
                    EXPECT_LT(entered, ratio + 1e-9);
                    ExpectWhole();
                }
            }
        }
    }
}

TEST_F(PlanPiecesTest, ALoopGoesRoundTheSourcesAndTheWaveLeavesItAsItEntered) {
    const double ratio = 44100.0 / 48000;
    Plan(20000, ratio, {{0, 1000, 1099, 0}});
    ASSERT_EQ(3u, m_plan.pieces.size());
    const WavePiece &entry = m_plan.pieces[0], &circle = m_plan.pieces[1], &rest = m_plan.pieces[2];
    EXPECT_EQ(WavePiece::Hearing::Entry, entry.hearing);
    EXPECT_EQ(WavePiece::Hearing::Circle, circle.hearing);
    EXPECT_EQ(WavePiece::Hearing::Wave, rest.hearing);
    EXPECT_EQ(1000, circle.nLoopStart);
    EXPECT_EQ(100, circle.nLoopFrames);
    EXPECT_EQ(static_cast<double>(entry.nFrames) * ratio, circle.position);
    const LoopFit fit = FitLoop(100, ratio);
    EXPECT_EQ(100.0 * static_cast<double>(fit.nTimes) / static_cast<double>(fit.nFrames), circle.step);
    EXPECT_EQ(circle.position + 100, rest.position);
    EXPECT_EQ(ratio, rest.step);
}

TEST_F(PlanPiecesTest, LoopsThatAreApartAreAllKeptWhateverTheirOrder) {
    const double ratio = 44100.0 / 48000;
    Plan(9000, ratio, {{0, 5000, 5999, 0}, {0, 100, 999, 0}, {0, 1000, 1100, 0}});
    ASSERT_EQ(3u, m_plan.kept.size());
    EXPECT_EQ((std::vector<size_t>{1, 2, 0}),
              (std::vector<size_t>{m_plan.kept[0].nIndex, m_plan.kept[1].nIndex, m_plan.kept[2].nIndex}));
    for (size_t i = 0; i < 3; ++i) {
        const uint64_t nLoop = m_source[i].nEnd - m_source[i].nStart + 1;
        EXPECT_EQ(FitLoop(nLoop, ratio).nFrames, m_target[i].nEnd - m_target[i].nStart + 1u);
    }
    EXPECT_LT(m_target[1].nEnd, m_target[2].nStart);
    EXPECT_LT(m_target[2].nEnd, m_target[0].nStart);
    ExpectWhole();
}

TEST_F(PlanPiecesTest, LoopsThatOverlapAreOnlyScaled) {
    Plan(10000, 0.5, {{0, 100, 299, 0}, {0, 299, 500, 0}, {0, 1000, 1999, 0}, {0, 1000, 1999, 0}});
    EXPECT_TRUE(m_plan.kept.empty());
    EXPECT_EQ(20000u, m_plan.nFrames);
    EXPECT_EQ(200u, m_target[0].nStart);
    EXPECT_EQ(598u, m_target[0].nEnd);
    EXPECT_EQ(2000u, m_target[3].nStart);
    EXPECT_EQ(3998u, m_target[3].nEnd);
}

TEST_F(PlanPiecesTest, ReversedLoopsAndThoseOutsideTheWaveAreOnlyScaled) {
    Plan(1000, 0.5,
         {{0, 500, 499, 0}, {0, 10, 1000, 0}, {0, 0xFFFFFFFF, 0xFFFFFFFF, 0}, {0, 900, 4000000000, 0}});
    EXPECT_TRUE(m_plan.kept.empty());
    EXPECT_EQ(2000u, m_plan.nFrames);
    EXPECT_EQ(1000u, m_target[0].nStart);
    EXPECT_EQ(998u, m_target[0].nEnd);
    EXPECT_EQ(2000u, m_target[1].nEnd);
    EXPECT_EQ(0xFFFFFFFFu, m_target[2].nStart);
    EXPECT_EQ(0xFFFFFFFFu, m_target[3].nEnd);
}

TEST_F(PlanPiecesTest, ALoopThatIsOnlyScaledFollowsTheFramesThatAnUnrolledOneMovesBack) {
    const double ratio = 44100.0 / 48000;
    Plan(5000, ratio, {{0, 100, 107, 0}, {0, 3000, 9000, 0}});
    ASSERT_EQ(1u, m_plan.kept.size());
    const WavePiece& rest = m_plan.pieces.back();
    EXPECT_GT(FitLoop(8, ratio).nTimes, 1u);
    EXPECT_EQ(std::llround(static_cast<double>(rest.nFirst) + (3000 - rest.position) / ratio),
              m_target[1].nStart);
}

TEST_F(PlanPiecesTest, MoreThanSixteenLoopsAreOnlyScaled) {
    std::vector<SDBLOOP> loops;
    for (uint32_t i = 0; i < 16; ++i) loops.push_back({i, i * 100, i * 100 + 49, 0});
    Plan(10000, 0.91875, loops);
    EXPECT_EQ(16u, m_plan.kept.size());
    loops.push_back({16, 9000, 9100, 0});
    Plan(10000, 0.91875, loops);
    EXPECT_TRUE(m_plan.kept.empty());
    EXPECT_EQ(10884u, m_plan.nFrames);
}

}  // namespace
}  // namespace Kestrova::Test
