// Creation of one bank without asking.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/gui/ManagerOnScreen.h"

namespace Kestrova::Test {
namespace {

using testing::ElementsAre;

TEST(CreateModeTest, ItStartsAndClosesByItself) {
    UserOnScreen user;
    ManagerOnScreen manager(user, kCreate, {"create96000", user.Source(), user.BanksFolder()});
    EXPECT_EQ(0, manager.Process().Wait());
    EXPECT_THAT(user.FilesInBanksFolder(), ElementsAre("Demo_17700.kvn"));
}

}  // namespace
}  // namespace Kestrova::Test
