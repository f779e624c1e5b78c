#include <gtest/gtest.h>

#include <map>
#include <string>

#include "bank/Interpolator.h"
#include "bank/resample/FilterTables.h"
#include "tests/bank/Conversion.h"
#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

using Kernel = int (*)(char*, _Args*);

const std::map<std::string, Kernel> kMonoKernels = {
    {"_f0s161", Interpolator::_f0s161}, {"_f1s161", Interpolator::_f1s161},
    {"_f0l161", Interpolator::_f0l161}, {"_f1l161", Interpolator::_f1l161},
    {"_f0s241", Interpolator::_f0s241}, {"_f1s241", Interpolator::_f1s241},
    {"_f0l241", Interpolator::_f0l241}, {"_f1l241", Interpolator::_f1l241}};

const std::map<std::string, Kernel> kStereoKernels = {
    {"_f0s162", Interpolator::_f0s162}, {"_f1s162", Interpolator::_f1s162},
    {"_f0l162", Interpolator::_f0l162}, {"_f1l162", Interpolator::_f1l162},
    {"_f0s242", Interpolator::_f0s242}, {"_f1s242", Interpolator::_f1s242},
    {"_f0l242", Interpolator::_f0l242}, {"_f1l242", Interpolator::_f1l242}};

std::string StereoTwin(std::string strMono) {
    strMono.back() = '2';
    return strMono;
}

_Args StateOf(const GuardedWave& wave, int nPhase, int nTableStep, int nGain) {
    _Args state{};
    state.nPhase = nPhase;
    state.nTableStep = nTableStep;
    state.nGain = nGain;
    state.pSource = wave.Frame(0);
    state.pSourceEnd = wave.Frame(wave.Frames());
    return state;
}

int BitsOf(const std::string& strKernel) { return strKernel.find("16") != std::string::npos ? 16 : 24; }

TEST(InterpolatorTest, MonoKernelsGiveTheWorkedResults) {
    for (const auto& row : LoadVectors("kernels.json")) {
        const auto strKernel = row.at("kernel").get<std::string>();
        const auto samples = row.at("samples").get<std::vector<int>>();
        GuardedWave wave(static_cast<long>(samples.size()), BitsOf(strKernel) / 8);
        for (size_t i = 0; i < samples.size(); ++i) wave.Put(static_cast<long>(i), samples[i]);
        _Args state = StateOf(wave, row.at("phase"), row.at("table_step"), row.at("gain"));
        EXPECT_EQ(row.at("result").get<int>(), kMonoKernels.at(strKernel)(wave.Frame(row.at("at")), &state))
            << strKernel << " at " << row.at("at") << " phase " << row.at("phase");
    }
}

TEST(InterpolatorTest, StereoKernelsGiveTheMonoResultOfEachChannel) {
    for (const auto& [strMono, pMono] : kMonoKernels) {
        const int nSampleBytes = BitsOf(strMono) / 8;
        GuardedWave stereo(300, 2 * nSampleBytes);
        stereo.MakeLoud(17);
        for (int nChannel = 0; nChannel < 2; ++nChannel) {
            GuardedWave mono(300, nSampleBytes);
            for (long n = -kGuardFrames; n < 300 + kGuardFrames; ++n)
                std::memcpy(mono.Frame(n), stereo.Frame(n) + nChannel * nSampleBytes,
                            static_cast<size_t>(nSampleBytes));
            for (const long nFrame : {0L, 1L, 150L, 299L})
                for (const int nTableStep : {32768, 20000, 1200}) {
                    _Args forStereo = StateOf(stereo, 12345, nTableStep, 14746);
                    _Args forMono = StateOf(mono, 12345, nTableStep, 14746);
                    char* const pSample = stereo.Frame(nFrame) + nChannel * nSampleBytes;
                    EXPECT_EQ(pMono(mono.Frame(nFrame), &forMono),
                              kStereoKernels.at(StereoTwin(strMono))(pSample, &forStereo))
                        << StereoTwin(strMono) << " channel " << nChannel << " frame " << nFrame;
                }
        }
    }
}

// What a kernel makes of one sample: its term of the sum, with a gain of 1.
int ImpulseThrough(Kernel pKernel, long nFrame, int nPhase, int nSample = 16384) {
    GuardedWave wave(100, 2);
    wave.Put(50 + nFrame, nSample);
    _Args state = StateOf(wave, nPhase, 32768, 8192);
    return pKernel(wave.Frame(50), &state);
}

TEST(InterpolatorTest, AtPhaseZeroTheWingsTakeEvery256thEntry) {
    EXPECT_EQ(LargeFilterImp[0] >> 2, ImpulseThrough(Interpolator::_f1l161, 0, 0));
    EXPECT_EQ(LargeFilterImp[256] >> 2, ImpulseThrough(Interpolator::_f1l161, -1, 0));
    EXPECT_EQ(LargeFilterImp[512] >> 2, ImpulseThrough(Interpolator::_f1l161, -2, 0));
    EXPECT_EQ(LargeFilterImp[256] >> 2, ImpulseThrough(Interpolator::_f1l161, 1, 0));
    EXPECT_EQ(LargeFilterImp[512] >> 2, ImpulseThrough(Interpolator::_f1l161, 2, 0));
    EXPECT_EQ(SmallFilterImp[5 * 256] >> 2, ImpulseThrough(Interpolator::_f0s161, -5, 0));
    EXPECT_EQ(0, ImpulseThrough(Interpolator::_f0s161, -6, 0));
    EXPECT_EQ(SmallFilterImp[5 * 256] >> 2, ImpulseThrough(Interpolator::_f0s161, 5, 0));
    EXPECT_EQ(0, ImpulseThrough(Interpolator::_f0s161, 6, 0));
}

TEST(InterpolatorTest, OnlyTheInterpolatingKernelsReadBetweenEntries) {
    const int nPhase = 128 * 100 + 64;
    EXPECT_EQ(LargeFilterImp[100] >> 2, ImpulseThrough(Interpolator::_f0l161, 0, nPhase));
    EXPECT_EQ((LargeFilterImp[100] + ((LargeFilterImpD[100] * 64) >> 7)) >> 2,
              ImpulseThrough(Interpolator::_f1l161, 0, nPhase));
}
// Q93

// Q93
TEST(InterpolatorTest, TheRightWingStopsOneEntryBeforeTheLeftOne) {
    // Entry 1535 is -2: the left wing meets it at phase 255 * 128, the right one would at phase 128.
    ASSERT_EQ(-2, SmallFilterImp[1535]);
    EXPECT_EQ((-2 * 16384 + 8192) >> 14 >> 2, ImpulseThrough(Interpolator::_f0s161, -5, 255 * 128));
    EXPECT_EQ(0, ImpulseThrough(Interpolator::_f0s161, 6, 128));
    EXPECT_NE(0, ImpulseThrough(Interpolator::_f0s161, 6, 256, -32768));  // entry 1534
}

TEST(InterpolatorTest, AWholePhaseMovesTheRightWingByOneTableStep) {
    EXPECT_EQ(LargeFilterImp[256] >> 2, ImpulseThrough(Interpolator::_f1l161, 1, 32768));
}
// Q96

// Q96
TEST(InterpolatorTest, TheRoundingIsPerTerm) {
    // Entries 1 and 2 frames away are 3566 and -3349; a sample of 2 gives them 0.43 and -0.41 of a unit.
    GuardedWave wave(100, 2);
    for (long n = 0; n < 100; ++n) wave.Put(n, n == 50 ? 0 : 2);
    _Args state = StateOf(wave, 0, 32768, 8192);
    EXPECT_EQ(0, Interpolator::_f0l161(wave.Frame(50), &state));
    for (long n = 45; n < 56; ++n) wave.Put(n, n == 50 ? 0 : 3);  // 0.65: rounds up at either side
    EXPECT_EQ(((1 + 1) - (1 + 1)) >> 2, Interpolator::_f0l161(wave.Frame(50), &state));
}
// Q95

// Q95
TEST(InterpolatorTest, TheLastProductWrapsFor16BitsAndNotFor24) {
    // A table step far below what the gain was made for: about eleven times the full scale.
    GuardedWave narrow(2000, 2);
    GuardedWave wide(2000, 3);
    for (long n = 0; n < 2000; ++n) {
        narrow.Put(n, 32767);
        wide.Put(n, 32767 * 256);
    }
    _Args stateNarrow = StateOf(narrow, 0, 3000, 14746);
    _Args stateWide = StateOf(wide, 0, 3000, 14746);
    const int nWide = Interpolator::_f1l241(wide.Frame(1000), &stateWide);
    const int nNarrow = Interpolator::_f1l161(narrow.Frame(1000), &stateNarrow);
    EXPECT_GT(nWide, 10 * 32767 * 256);
    EXPECT_NEAR(nWide / 256.0 - 524288, nNarrow, 100);  // less 2^32 >> 13
}

TEST(InterpolatorTest, FramesBeyondTheGuardsAreSilence) {
    // Room for 2000 frames around a wave of ten; only the nearest 256 count.
    for (const auto& [strName, pKernel] : kMonoKernels) {
        GuardedWave room(4010, BitsOf(strName) / 8);
        room.MakeLoud(5);
        GuardedWave wave(10, BitsOf(strName) / 8);
        std::memcpy(wave.Frame(-kGuardFrames), room.Frame(2000 - kGuardFrames),
                    static_cast<size_t>(wave.Frame(10 + kGuardFrames) - wave.Frame(-kGuardFrames)));
        _Args inRoom = StateOf(room, 77, 300, 135);
        inRoom.pSource = room.Frame(2000);
        inRoom.pSourceEnd = room.Frame(2010);
        _Args alone = StateOf(wave, 77, 300, 135);
        for (long n = 0; n < 10; ++n)
            EXPECT_EQ(pKernel(wave.Frame(n), &alone), pKernel(room.Frame(2000 + n), &inRoom)) << strName << n;
    }
}

TEST(InterpolatorTest, WithoutAWaveTheFilterReadsAsFarAsItReaches) {
    // A table step of 300 takes 3496 frames on each side.
    for (const auto& [strName, pKernel] : kMonoKernels) {
        GuardedWave wave(8000, BitsOf(strName) / 8);
        wave.MakeLoud(6);
        _Args inWave = StateOf(wave, 77, 300, 135);
        _Args alone = inWave;
        alone.pSource = alone.pSourceEnd = nullptr;
        EXPECT_EQ(pKernel(wave.Frame(4000), &inWave), pKernel(wave.Frame(4000), &alone)) << strName;
    }
}

TEST(InterpolatorTest, NoGainGivesSilenceWithoutASum) {
    GuardedWave wave(10, 2);
    wave.MakeLoud(3);
    _Args state = StateOf(wave, 0, 0, 0);
    EXPECT_EQ(0, Interpolator::_f1l161(wave.Frame(5), &state));
}

TEST(InterpolatorTest, LinearKernelsGoFromFrameToFrame) {
    GuardedWave mono16(4, 2), stereo16(4, 4), mono24(4, 3), stereo24(4, 6);
    for (GuardedWave* pWave : {&mono16, &mono24}) {
        pWave->Put(0, -32768);
        pWave->Put(1, 32767);
    }
    for (GuardedWave* pWave : {&stereo16, &stereo24}) {
        pWave->Put(0, 1000);
        pWave->Put(1, -3);
        pWave->Put(2, 2000);
        pWave->Put(3, -6);
    }
    EXPECT_EQ(-32768, Interpolator::_lin161(mono16.Frame(0), 0));
    EXPECT_EQ(-32768 + ((65535 * 32767) >> 15), Interpolator::_lin161(mono16.Frame(0), 32767));
    EXPECT_EQ(-32768 + ((65535 * 32767) >> 15), Interpolator::_lin241(mono24.Frame(0), 32767));
    EXPECT_EQ(1500, Interpolator::_lin162(stereo16.Frame(0), 16384));
    EXPECT_EQ(1500, Interpolator::_lin242(stereo24.Frame(0), 16384));
    EXPECT_EQ(-3 - 2, Interpolator::_lin162(stereo16.Frame(0) + 2, 16384));  // -1.5 is shifted to -2
    EXPECT_EQ(-3 - 2, Interpolator::_lin242(stereo24.Frame(0) + 3, 16384));
    mono24.Put(0, -8388608);
    mono24.Put(1, 8388607);
    EXPECT_EQ(-8388608 + static_cast<int>((16777215LL * 32767) >> 15),
              Interpolator::_lin241(mono24.Frame(0), 32767));
}

struct CubicRow {
    const char* pszWhy;
    int y[4];  // frames -1..2
    int nPhase;
    int nResult16;
    int nResult24;
};
constexpr CubicRow kCubicRows[] = {
    {"phase 0 gives the frame", {5, -7, 100, 200}, 0, -7, -7},
    {"a straight line stays one", {0, 100, 200, 300}, 16384, 150, 150},
    // A = (0 + 3 * (0 - 0) - 1) / 2: 0 toward zero, -1 downwards; C = (0 - 1) / 2 likewise; B = 1.
    {"16-bit halves go toward zero, 24-bit ones down", {1, 0, 0, 0}, 16384, 0, -1},
    {"overshoot is not clamped by the kernel", {-32768, 32767, 32767, -32768}, 16384, 40958, 40958},
    // A = (y2 + 3 * (y0 - y1) - y-1) / 2 = 131070; its product with the phase passes 2^31.
    {"16-bit products wrap, 24-bit ones do not", {-32768, 32767, -32768, 32767}, 20000, 20498, -10673},
};
// Q94

// Q94
TEST(InterpolatorTest, CubicKernelsFollowTheCurve) {
    for (const CubicRow& row : kCubicRows) {
        SCOPED_TRACE(row.pszWhy);
        GuardedWave mono16(4, 2), stereo16(4, 4), mono24(4, 3), stereo24(4, 6);
        for (long n = 0; n < 4; ++n) {
            mono16.Put(n, row.y[n]);
            mono24.Put(n, row.y[n]);
            stereo16.Put(2 * n + 1, row.y[n]);
            stereo24.Put(2 * n + 1, row.y[n]);
        }
        EXPECT_EQ(row.nResult16, Interpolator::_cub161(mono16.Frame(1), row.nPhase));
        EXPECT_EQ(row.nResult16, Interpolator::_cub162(stereo16.Frame(1) + 2, row.nPhase));
        EXPECT_EQ(row.nResult24, Interpolator::_cub241(mono24.Frame(1), row.nPhase));
        EXPECT_EQ(row.nResult24, Interpolator::_cub242(stereo24.Frame(1) + 3, row.nPhase));
    }
}

}  // namespace
}  // namespace Kestrova::Test
