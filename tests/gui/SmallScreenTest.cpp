// A screen that is smaller than the window: its content scrolls.
#include <gtest/gtest.h>

#include <string>

#include "tests/gui/ManagerOnScreen.h"

namespace Kestrova::Test {
namespace {

struct SmallScreen {
    int nWidth, nHeight, nScale;
};

constexpr int kScrollBar = 14;  // about; a button is much larger than what this may be wrong by
constexpr int kStopsBeforeClose = 10;
constexpr int kInk = 12;

class SmallScreenTest : public testing::TestWithParam<SmallScreen> {
protected:
    Rect Scaled(Rect rect) const {
        const int n = GetParam().nScale;
        return {rect.left * n, rect.top * n, rect.right * n, rect.bottom * n};
    }
    bool HasInk(XWindow window, const Rect& rect) {
        return WaitUntil([&] { return m_user.Screen().InkPoints(window, rect) > kInk; });
    }
    // Where a control is when the content is scrolled to its end.
    Rect PlaceAtTheEnd(XWindow window, int nControl) {
        int nWidth = 0, nHeight = 0;
        GuiGetWindowSize(kManager, nWidth, nHeight);
        const int xMoved = m_user.Screen().WidthOf(window) - (nWidth + kScrollBar) * GetParam().nScale;
        const int yMoved = m_user.Screen().HeightOf(window) - (nHeight + kScrollBar) * GetParam().nScale;
        Rect place = Scaled(LayOutDialog(kManager)[static_cast<size_t>(nControl)]);
        place.left += xMoved;
        place.right += xMoved;
        place.top += yMoved;
        place.bottom += yMoved;
        return place;
    }

    UserOnScreen m_user{GetParam().nWidth, GetParam().nHeight};
};

TEST_P(SmallScreenTest, EveryButtonCanBeReached) {
    ManagerOnScreen manager(m_user, kManager, {"manager", m_user.Source(), m_user.BanksFolder()},
                            {"QT_SCALE_FACTOR=" + std::to_string(GetParam().nScale)});
    ASSERT_TRUE(manager.HasWindow());
    const XWindow window = manager.Window();
    EXPECT_LE(m_user.Screen().WidthOf(window), GetParam().nWidth);
    EXPECT_LE(m_user.Screen().HeightOf(window), GetParam().nHeight);

    // The box at the left is ready when all of them are.
    Rect box = LayOutDialog(kManager)[kFirstRateBox + 1];
    box.left += 17;
    ASSERT_TRUE(HasInk(window, Scaled(box)));
    for (int i = 0; i < kStopsBeforeClose; ++i) manager.Key("Tab");
    const Rect close = PlaceAtTheEnd(window, kCloseButton);
    ASSERT_TRUE(HasInk(window, close)) << "the button with the keyboard is scrolled into sight";
    m_user.Screen().Click(window, (close.left + close.right) / 2, (close.top + close.bottom) / 2);
    EXPECT_EQ(0, manager.Process().Wait());
}

INSTANTIATE_TEST_SUITE_P(Sizes, SmallScreenTest,
                         testing::Values(SmallScreen{480, 320, 1}, SmallScreen{800, 600, 2}),
                         [](const auto& param) {
                             return std::to_string(param.param.nWidth) + "AtScale" +
                                    std::to_string(param.param.nScale);
                         });

}  // namespace
}  // namespace Kestrova::Test
