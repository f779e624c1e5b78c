#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <limits>

#include "bank/PitchTables.h"
#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

// Taken while static objects are constructed, wherever this file stands in the link order.
const int g_nInitAtStart = __kv_pitch_scaler_init;
const float g_fOctaveAtStart = midiSemitonesToFactor(12);
const float g_fBendAtStart = pscBndsToFctr[kBendEntries - 1];

uint32_t WordOf(float f) { return std::bit_cast<uint32_t>(f); }

TEST(PitchTablesTest, AreBuiltBeforeStaticObjects) {
    EXPECT_EQ(1, g_nInitAtStart);
    EXPECT_EQ(2.0f, g_fOctaveAtStart);
    EXPECT_EQ(exp2f(8191.0f / 98304.0f), g_fBendAtStart);
    EXPECT_EQ(1, __kv_pitch_scaler_init);
}

TEST(PitchTablesTest, SemitonesGiveTheWorkedWords) {
    const auto vectors = LoadVectors("numbers.json");
    for (const auto& [strSemitones, word] : vectors.at("semitone_words").items()) {
        const int n = std::stoi(strSemitones);
        EXPECT_EQ(word.get<uint32_t>(), WordOf(midiSemitonesToFactor(n))) << n;
        EXPECT_EQ(word.get<uint32_t>(), WordOf(pscSemiToFctr[n + 96])) << n;
    }
}

TEST(PitchTablesTest, BendsGiveTheWorkedWords) {
    const auto vectors = LoadVectors("numbers.json");
    for (const auto& [strBends, word] : vectors.at("bend_words").items())
        EXPECT_EQ(word.get<uint32_t>(), WordOf(midiBendsToFactor(std::stoi(strBends)))) << strBends;
}

TEST(PitchTablesTest, OctavesAndUnisonAreExact) {
    EXPECT_EQ(2.0f, midiSemitonesToFactor(12));
    EXPECT_EQ(0.5f, midiSemitonesToFactor(-12));
    EXPECT_EQ(1.0f, midiSemitonesToFactor(0));
    EXPECT_EQ(1.0f, midiBendsToFactor(0));
}

TEST(PitchTablesTest, EveryEntryIsSinglePrecision) {
    for (int n = -96; n <= 95; ++n) EXPECT_EQ(exp2f(static_cast<float>(n) / 12.0f), pscSemiToFctr[n + 96]);
    for (int b = -8192; b <= 8191; ++b)
        EXPECT_EQ(exp2f(static_cast<float>(b) / 98304.0f), pscBndsToFctr[b + 8192]);
}

TEST(PitchTablesTest, SemitonesOutsideTheTableFollowItsFormula) {
    for (const int n : {96, -97, 97, 120, -1000, 1535, 100000})
        EXPECT_EQ(exp2f(static_cast<float>(n) / 12.0f), midiSemitonesToFactor(n)) << n;
    EXPECT_EQ(std::numeric_limits<float>::infinity(), midiSemitonesToFactor(INT_MAX));
    EXPECT_EQ(0.0f, midiSemitonesToFactor(INT_MIN));
}

TEST(PitchTablesTest, BendsSplitTowardZeroIntoSemitonesAndRest) {
    EXPECT_EQ(midiSemitonesToFactor(1), midiBendsToFactor(8192));
    EXPECT_EQ(midiSemitonesToFactor(-1) * pscBndsToFctr[-1 + 8192], midiBendsToFactor(-8193));
    EXPECT_EQ(pscBndsToFctr[4096 + 8192], midiBendsToFactor(4096));
    EXPECT_EQ(pscBndsToFctr[-8191 + 8192], midiBendsToFactor(-8191));
    EXPECT_EQ(midiSemitonesToFactor(-1), midiBendsToFactor(-8192));
    EXPECT_EQ(midiSemitonesToFactor(3) * pscBndsToFctr[5 + 8192], midiBendsToFactor(3 * 8192 + 5));
}

TEST(PitchTablesTest, ExtremeBendsReadNoTableOutOfRange) {
    EXPECT_EQ(0.0f, midiBendsToFactor(INT_MIN));
    EXPECT_EQ(0.0f, midiBendsToFactor(INT_MIN + 1));
    EXPECT_EQ(std::numeric_limits<float>::infinity(), midiBendsToFactor(INT_MAX));
    EXPECT_EQ(exp2f(8.0f), midiBendsToFactor(96 * 8192));
    EXPECT_EQ(exp2f(8.0f) * pscBndsToFctr[8191 + 8192], midiBendsToFactor(97 * 8192 - 1));
}

TEST(PitchTablesTest, BendsScaleTheBase) {
    EXPECT_EQ(440.0f, midiBendsToFactor(0, 440.0f));
    EXPECT_EQ(440.0f * midiBendsToFactor(8193), midiBendsToFactor(8193, 440.0f));
    EXPECT_TRUE(std::isnan(midiBendsToFactor(0, NAN)));
}

}  // namespace
}  // namespace Kestrova::Test
