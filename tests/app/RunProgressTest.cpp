// How far a run is, by its bytes.
#include <gtest/gtest.h>

#include "app/RunProgress.h"

namespace Kestrova::Test {
namespace {

using std::chrono::seconds;

constexpr RunProgress::Clock::time_point kStart{};

TEST(RunProgressTest, TheShareIsThatOfTheBytesOfAllBanks) {
    RunProgress progress({100, 300}, kStart);
    EXPECT_EQ(2u, progress.GetBanks());
    EXPECT_EQ(0.0, progress.GetFraction());
    progress.Reached(0, 50);
    EXPECT_EQ(0.125, progress.GetFraction());
    progress.Reached(1, 0);
    EXPECT_EQ(0.25, progress.GetFraction());
    progress.Reached(1, 100);
    EXPECT_EQ(0.5, progress.GetFraction());
    EXPECT_EQ(1u, progress.GetBank());
}

TEST(RunProgressTest, ItNeverGoesBackAndIsNotDoneBeforeTheEnd) {
    RunProgress progress({100, 300}, kStart);
    progress.Reached(0, 1000);
    EXPECT_EQ(0.25, progress.GetFraction()) << "a bank that grows larger than predicted counts as predicted";
    progress.Reached(0, 10);
    EXPECT_EQ(0.25, progress.GetFraction());
    progress.Reached(1, 300);
    EXPECT_EQ(0.99, progress.GetFraction());
    progress.Reached(9, 300);
    EXPECT_EQ(1u, progress.GetBank());
}

TEST(RunProgressTest, BanksWithoutASizeHaveNoShare) {
    for (const std::vector<uint64_t>& sizes : {std::vector<uint64_t>{}, {0, 0}}) {
        RunProgress progress(sizes, kStart);
        progress.Reached(0, 10);
        EXPECT_EQ(0.0, progress.GetFraction());
        EXPECT_EQ(std::nullopt, progress.GetTimeLeft(kStart + seconds(100)));
    }
}

TEST(RunProgressTest, TheTimeLeftIsToldOnceItCanBeTold) {
    RunProgress progress({1000}, kStart);
    EXPECT_EQ(std::nullopt, progress.GetTimeLeft(kStart + seconds(10))) << "nothing is written";
    progress.Reached(0, 5);
    EXPECT_EQ(std::nullopt, progress.GetTimeLeft(kStart + seconds(10))) << "hardly anything is written";
    progress.Reached(0, 250);
    EXPECT_EQ(std::nullopt, progress.GetTimeLeft(kStart + seconds(2))) << "the first seconds tell little";
    EXPECT_EQ(seconds(30), progress.GetTimeLeft(kStart + seconds(10)));
}

}  // namespace
}  // namespace Kestrova::Test
