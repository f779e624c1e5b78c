// How a precisely converted wave sounds: noise, pitch, seams of loops, dither, refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <limits>
#include <new>
#include <numbers>

#include "tests/support/PosixFaults.h"
#include "tests/support/TempDir.h"
#include "tests/support/WaveMaker.h"
#include "tools/kvbank/precise/PreciseConverter.h"
#include "tools/kvbank/precise/StraightConversion.h"
#include "tools/kvbank/precise/WaveNumbers.h"
#include "tools/kvbank/precise/WavePieces.h"

namespace Kestrova::Test {
namespace {

constexpr double kTau = 2 * std::numbers::pi;

double FullScale(unsigned nBits) { return std::ldexp(1.0, static_cast<int>(nBits) - 1); }

// A sine of so many cycles per frame, rounded to integers; peak: of the full scale.
Bytes Sine(uint32_t nFrames, unsigned nBits, double cycles, double peak) {
    Bytes bytes(nFrames * nBits / 8);
    NumberWriter writer(bytes.data(), nBits, std::nullopt);
    for (uint32_t n = 0; n < nFrames; ++n) {
        const double number = peak * FullScale(nBits) * std::sin(kTau * cycles * n);
        writer.Write({&number, 1});
    }
    return bytes;
}

std::vector<double> NumbersOf(const Bytes& bytes, unsigned nBits) {
    std::vector<double> numbers(bytes.size() / (nBits / 8));
    TakeNumbers(bytes.data(), nBits, numbers);
    return numbers;
}

struct Converted {
    BankOutcome outcome;
    std::vector<SDBLOOP> loops;
    Bytes bytes;
};

Converted Convert(const Bytes& source, WaveOrder order, bool bDither = false) {
    const PreciseConverter converter(bDither);
    Converted made;
    order.nFrames = static_cast<uint32_t>(source.size() / order.FrameBytes());
    made.loops.assign(order.loops.begin(), order.loops.end());
    uint64_t nFrames = 0;
    made.outcome = converter.Plan(order, made.loops, nFrames);
    if (!made.outcome.IsDone()) return made;
    made.bytes.resize(nFrames * order.FrameBytes());
    made.outcome = converter.Convert(order, source.data(), made.bytes.data(), nFrames);
    return made;
}

// What is left of the numbers when the sine of that frequency that fits best is taken away, in dB of the
// sine.
// nFirst: where the numbers stand in the sine; its phase there is found, too.
double Residue(std::span<const double> numbers, double cycles) {
    double cc = 0, ss = 0, cs = 0, xc = 0, xs = 0;
    for (size_t n = 0; n < numbers.size(); ++n) {
        const double c = std::cos(kTau * cycles * static_cast<double>(n));
        const double s = std::sin(kTau * cycles * static_cast<double>(n));
        cc += c * c, ss += s * s, cs += c * s, xc += numbers[n] * c, xs += numbers[n] * s;
    }
    const double det = cc * ss - cs * cs;
    const double a = (xc * ss - xs * cs) / det, b = (xs * cc - xc * cs) / det;
    double rest = 0, tone = 0;
    for (size_t n = 0; n < numbers.size(); ++n) {
        const double fit = a * std::cos(kTau * cycles * static_cast<double>(n)) +
                           b * std::sin(kTau * cycles * static_cast<double>(n));
        rest += (numbers[n] - fit) * (numbers[n] - fit);
        tone += fit * fit;
    }
    return 10 * std::log10(rest / tone);
}

std::span<const double> Middle(const std::vector<double>& numbers) {
    return std::span(numbers).subspan(numbers.size() / 4, numbers.size() / 2);
}

constexpr double kMinusOneDecibel = 0.8912509381337456;

TEST(PreciseConverterTest, ASineOf16BitsHasNoMoreNoiseThanTwoRoundings) {
    for (const double rate : {48000.0, 96000.0, 22050.0}) {
        const double ratio = 44100 / rate;
        const Converted made =
            Convert(Sine(44100, 16, 997.0 / 44100, kMinusOneDecibel), {.nBits = 16, .ratio = ratio});
        ASSERT_TRUE(made.outcome.IsDone());
        EXPECT_LT(Residue(Middle(NumbersOf(made.bytes, 16)), 997 / rate), -93.5) << rate;
    }
}

TEST(PreciseConverterTest, ASineOf24BitsHasNoMoreNoiseThanTwoRoundings) {
    for (const double rate : {48000.0, 96000.0, 22050.0}) {
        const double ratio = 44100 / rate;
        const Converted made =
            Convert(Sine(44100, 24, 997.0 / 44100, kMinusOneDecibel), {.nBits = 24, .ratio = ratio});
        ASSERT_TRUE(made.outcome.IsDone());
        EXPECT_LT(Residue(Middle(NumbersOf(made.bytes, 24)), 997 / rate), -140) << rate;
    }
}

TEST(PreciseConverterTest, APitchThatIsNoQuotientDoesNotDriftEither) {
    const double ratio = std::exp2(1 / 12.0) * 44100 / 48000;
    const Converted made = Convert(Sine(200000, 24, 997.0 / 44100, 0.5), {.nBits = 24, .ratio = ratio});
    ASSERT_TRUE(made.outcome.IsDone());
    // A thousandth of a ppm over these frames would be 80 dB louder than the rounding.
    EXPECT_LT(Residue(Middle(NumbersOf(made.bytes, 24)), 997.0 / 44100 * ratio), -135);
}

TEST(PreciseConverterTest, EachChannelIsConvertedByItself) {
    const Bytes left = Sine(5000, 24, 0.01, 0.5), right = Sine(5000, 24, 0.037, 0.25);
    Bytes both;
    for (size_t n = 0; n < left.size(); n += 3) {
        both.insert(both.end(), left.begin() + static_cast<long>(n), left.begin() + static_cast<long>(n) + 3);
        both.insert(both.end(), right.begin() + static_cast<long>(n),
                    right.begin() + static_cast<long>(n) + 3);
    }
    const SDBLOOP loops[] = {{0, 2000, 2999, 0}};
    const WaveOrder mono{.nBits = 24, .ratio = 0.91875, .loops = loops};
    WaveOrder stereo = mono;
    stereo.nChannels = 2;
    const std::vector<double> made = NumbersOf(Convert(both, stereo).bytes, 24);
    const std::vector<double> madeLeft = NumbersOf(Convert(left, mono).bytes, 24);
    const std::vector<double> madeRight = NumbersOf(Convert(right, mono).bytes, 24);
    ASSERT_EQ(2 * madeLeft.size(), made.size());
    for (size_t n = 0; n < madeLeft.size(); ++n) {
        EXPECT_EQ(madeLeft[n], made[2 * n]) << n;
        EXPECT_EQ(madeRight[n], made[2 * n + 1]) << n;
    }
}

// A sine whose loop holds whole cycles, in phase at both ends.
class LoopSoundTest : public testing::TestWithParam<std::tuple<double, unsigned>> {
protected:
    static constexpr uint32_t kStart = 3001;
    const double m_ratio = std::get<0>(GetParam());
    const unsigned m_nBits = std::get<1>(GetParam());

    // What the endless repetition of the target's loop adds to an endless sine, in dB.
    double SeamOf(uint32_t nLoop, unsigned nCycles, uint32_t nBehind) {
        const double cycles = static_cast<double>(nCycles) / nLoop;
        const SDBLOOP loops[] = {{0, kStart, kStart + nLoop - 1, 0}};
        const Converted made = Convert(Sine(kStart + nLoop + nBehind, m_nBits, cycles, kMinusOneDecibel),
                                       {.nBits = m_nBits, .ratio = m_ratio, .loops = loops});
        EXPECT_TRUE(made.outcome.IsDone());
        const std::vector<double> numbers = NumbersOf(made.bytes, m_nBits);
        const uint32_t nMade = made.loops[0].nEnd - made.loops[0].nStart + 1;
        std::vector<double> repeated;
        while (repeated.size() < 60000 || repeated.size() < 3 * nMade)
            repeated.insert(repeated.end(), numbers.begin() + made.loops[0].nStart,
                            numbers.begin() + made.loops[0].nEnd + 1);
        const LoopFit fit = FitLoop(nLoop, m_ratio);
        EXPECT_EQ(fit.nFrames, nMade);
        return Residue(repeated, static_cast<double>(nCycles) * static_cast<double>(fit.nTimes) / nMade);
    }
};

TEST_P(LoopSoundTest, ALoopRepeatsWithoutASeam) {
    const double limit = m_nBits == 24 ? -138 : -93;
    EXPECT_LT(SeamOf(168, 1, 5000), limit);
    EXPECT_LT(SeamOf(100, 3, 0), limit);
    EXPECT_LT(SeamOf(4410, 100, 700), limit);
    EXPECT_LT(SeamOf(44101, 1003, 10), limit);
}

INSTANTIATE_TEST_SUITE_P(RatiosAndBits, LoopSoundTest,
                         testing::Combine(testing::Values(44100.0 / 48000, 44100.0 / 192000, 96000.0 / 44100,
                                                          std::exp2(4 / 12.0) * 44100 / 48000),
                                          testing::Values(16u, 24u)));

TEST(PreciseConverterTest, WaveLoopAndReleaseAreOneSine) {
    const double ratio = 44100.0 / 48000;
    // The loop becomes a whole number of frames, so its pitch does not change at all.
    const SDBLOOP loops[] = {{0, 5000, 5000 + 147 * 20 - 1, 0}};
    const Converted made =
        Convert(Sine(20000, 24, 1.0 / 49, 0.5), {.nBits = 24, .ratio = ratio, .loops = loops});
    ASSERT_TRUE(made.outcome.IsDone());
    const std::vector<double> numbers = NumbersOf(made.bytes, 24);
    EXPECT_EQ(21769u, numbers.size());
    EXPECT_LT(Residue(std::span(numbers).subspan(1000, numbers.size() - 2000), ratio / 49), -135);
}

TEST(PreciseConverterTest, WhatLiesBehindALoopIsNotHeardInIt) {
    Bytes wave = Sine(10000, 24, 1.0 / 100, 0.5);
    const SDBLOOP loops[] = {{0, 4000, 4999, 0}};
    const WaveOrder order{.nBits = 24, .ratio = 0.91875, .loops = loops};
    const Converted before = Convert(wave, order);
    std::fill(wave.begin() + 5000 * 3, wave.end(), 0x55);
    const Converted after = Convert(wave, order);
    const size_t nEnd = (before.loops[0].nEnd + size_t{1}) * 3;
    EXPECT_EQ(Bytes(before.bytes.begin(), before.bytes.begin() + static_cast<long>(nEnd)),
              Bytes(after.bytes.begin(), after.bytes.begin() + static_cast<long>(nEnd)));
    EXPECT_NE(before.bytes, after.bytes);
}

TEST(PreciseConverterTest, WhatIsTooLoudIsHeldToTheFullScale) {
    for (const unsigned nBits : {16u, 24u}) {
        Bytes square(4000 * nBits / 8);
        NumberWriter writer(square.data(), nBits, std::nullopt);
        for (int n = 0; n < 4000; ++n) {
            const double number = (n / 40 % 2 == 0 ? 1 : -1) * FullScale(nBits);
            writer.Write({&number, 1});
        }
        const std::vector<double> numbers =
            NumbersOf(Convert(square, {.nBits = nBits, .ratio = 0.5}).bytes, nBits);
        EXPECT_EQ(FullScale(nBits) - 1, *std::max_element(numbers.begin(), numbers.end()));
        EXPECT_EQ(-FullScale(nBits), *std::min_element(numbers.begin(), numbers.end()));
        for (size_t n = 440; n + 400 < numbers.size(); n += 80)  // an overshoot that wrapped changes the sign
            for (size_t i = 4; i < 76; ++i)
                EXPECT_GT((n / 80 % 2 == 0 ? 1 : -1) * numbers[n / 80 * 80 + i], 0) << n << " " << i;
    }
}

TEST(PreciseConverterTest, DitherIsTheSameForTheSameSampleAndKeyAlone) {
    const Bytes wave = Sine(3000, 16, 0.01, 0.5);
    const WaveOrder order{.idSample = 5, .nKey = 60, .nBits = 16, .ratio = 0.9};
    WaveOrder otherSample = order, otherKey = order;
    otherSample.idSample = 6;
    otherKey.nKey = 61;
    const Bytes made = Convert(wave, order, true).bytes;
    EXPECT_EQ(made, Convert(wave, order, true).bytes);
    EXPECT_NE(made, Convert(wave, otherSample, true).bytes);
    EXPECT_NE(made, Convert(wave, otherKey, true).bytes);
}

TEST(PreciseConverterTest, DitherChangesAtMostTheLastBitAndFreesASilentToneOfItsHarmonics) {
    // A sine of half a step is silence without dither.
    const Bytes wave = Sine(100000, 24, 0.01, 0.5 / 32768);
    std::vector<double> deep = NumbersOf(wave, 24);
    Bytes shallow(deep.size() * 2);
    const std::vector<double> zeros =
        NumbersOf(Convert(shallow, {.nBits = 16, .ratio = 0.9}, true).bytes, 16);
    double sum = 0, power = 0;
    for (const double number : zeros) {
        EXPECT_LE(std::abs(number), 1);
        sum += number;
        power += number * number;
    }
    // Rounded triangular noise of silence: -1 and 1 with one eighth each.
    EXPECT_NEAR(0, sum / static_cast<double>(zeros.size()), 0.01);
    EXPECT_NEAR(0.25, power / static_cast<double>(zeros.size()), 0.01);
}

TEST(PreciseConverterTest, ARatioThatIsTooFarIsRefused) {
    for (const double ratio : {0.0, -1.0, 1 / 1025.0, 1025.0, std::numeric_limits<double>::infinity(),
                               std::numeric_limits<double>::quiet_NaN()}) {
        const Converted made = Convert(Sine(100, 16, 0.01, 0.5), {.nBits = 16, .ratio = ratio});
        EXPECT_EQ(kBankConversionFailed, made.outcome.result);
        EXPECT_STREQ("its sample rate or root key is too far from the target's", made.outcome.pszCause);
    }
}

TEST(PreciseConverterTest, TheFarthestRatiosAreConverted) {
    EXPECT_EQ(1024u * 3,
              Convert(Sine(3, 16, 0.01, 0.5), {.nBits = 16, .ratio = 1 / 1024.0}).bytes.size() / 2);
    EXPECT_EQ(3u, Convert(Sine(3072, 16, 0.01, 0.5), {.nBits = 16, .ratio = 1024}).bytes.size() / 2);
    const SDBLOOP loops[] = {{0, 5000, 9999, 0}};
    EXPECT_TRUE(
        Convert(Sine(10000, 16, 0.01, 0.5), {.nBits = 16, .ratio = 1024, .loops = loops}).outcome.IsDone());
}

TEST(PreciseConverterTest, AWaveWithoutFramesGivesNone) {
    const Converted made = Convert({}, {.nBits = 16, .ratio = 0.9});
    EXPECT_EQ(kBankConversionFailed, made.outcome.result);
    EXPECT_STREQ("the conversion gave no frames", made.outcome.pszCause);
}

TEST(PreciseConverterTest, HostileLoopsEndInFiniteTime) {
    std::vector<SDBLOOP> loops;
    for (uint32_t i = 0; i < 16; ++i) loops.push_back({0, 2 * i, 2 * i + 1, 0});
    const Bytes wave = MakeNoise(2000, 3);
    for (const double ratio : {1023.7, 4.3537, 0.91875, 1 / 1000.3})
        EXPECT_TRUE(Convert(wave, {.nBits = 16, .ratio = ratio, .loops = loops}).outcome.IsDone()) << ratio;
    const std::vector<SDBLOOP> many(100000, SDBLOOP{0, 0xFFFFFFFF, 0, 0});
    EXPECT_TRUE(Convert(wave, {.nBits = 16, .ratio = 0.9, .loops = many}).outcome.IsDone());
}

TEST(PreciseConverterTest, WantOfMemoryIsThrown) {
    const Bytes wave = Sine(3000, 16, 0.01, 0.5);
    const SDBLOOP loops[] = {{0, 1000, 1099, 0}};
    const WaveOrder order{.nFrames = 3000, .nBits = 16, .ratio = 3.71, .loops = loops};
    Bytes target(20000);
    int nFailed = 0;
    for (int nFault = 1;; ++nFault) {
        const PosixFault fault(kAnyAllocation, ENOMEM, nFault);
        try {
            PreciseConverter(true).Convert(order, wave.data(), target.data(), 0);
        } catch (const std::bad_alloc&) {
            ++nFailed;
        }
        if (fault.Calls() < nFault) break;
    }
    EXPECT_GT(nFailed, 5);
}

TEST(ConvertStraightTest, WhatTheLibraryRefusesIsAFailedConversion) {
    const BankOutcome outcome = ConvertStraight(
        -1, 1, 100, 100, [](int64_t, std::span<double>) {}, [](std::span<const double>) {});
    EXPECT_EQ(kBankConversionFailed, outcome.result);
    EXPECT_STREQ("libsoxr cannot convert it", outcome.pszCause);
}

TEST(WaveNumbersTest, EveryIntegerComesBack) {
    for (const unsigned nBits : {16u, 24u}) {
        for (const double number : {0.0, 1.0, -1.0, 1000.0, -FullScale(nBits), FullScale(nBits) - 1}) {
            Bytes bytes(nBits / 8);
            NumberWriter(bytes.data(), nBits, std::nullopt).Write({&number, 1});
            EXPECT_EQ(number, NumbersOf(bytes, nBits)[0]);
        }
    }
    EXPECT_EQ(-256.0, NumbersOf({0x00, 0xFF}, 16)[0]);
    EXPECT_EQ(-65536.0, NumbersOf({0x00, 0x00, 0xFF}, 24)[0]);
}

TEST(WaveNumbersTest, NumbersAreRoundedToTheNearest) {
    Bytes bytes(8);
    const double numbers[] = {0.49, 0.51, -0.51, 1e9};
    NumberWriter(bytes.data(), 16, std::nullopt).Write(numbers);
    EXPECT_EQ((std::vector<double>{0, 1, -1, 32767}), NumbersOf(bytes, 16));
}

}  // namespace
}  // namespace Kestrova::Test
