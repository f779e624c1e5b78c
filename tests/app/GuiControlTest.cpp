#include <gtest/gtest.h>

#include <thread>

#include "app/GuiControl.h"
#include "tests/support/FakeGui.h"

namespace Kestrova::Test {
namespace {

class GuiControlTest : public testing::Test {
protected:
    FakeGui m_gui;
    GuiWindowRef m_window = GuiCreateWindow("window", {}, nullptr);
    GuiStaticBox m_text{m_window, {1, 2, 3, 4}, kStaticText, 7, 30, "title"};
    GuiValueBox m_check{m_window, {}, kCheckBox, 0, 31, "check"};
    GuiRangeBox m_bar{m_window, {}, kProgressIndicator, 0, 32, ""};

    void SetUp() override { m_gui.TakeCalls(); }
    CallList CallsOf(GuiControl& control) {
        control.UpdateData();
        return m_gui.TakeCalls();
    }
};

TEST_F(GuiControlTest, ItMakesAndDisposesOfItsPlatformControl) {
    const GuiWidget& made = m_gui.Control(30);
    EXPECT_TRUE((Rect{1, 2, 3, 4}) == made.rect);
    EXPECT_EQ(kStaticText, made.nKind);
    EXPECT_EQ(7, made.nStyle);
    EXPECT_EQ("title", made.strTitle);
    EXPECT_EQ(&made, m_text.GetControl());
    { const GuiStaticBox gone(m_window, {}, kPushButton, 0, 33, "gone"); }
    EXPECT_EQ((CallList{"create 33", "dispose 33"}), m_gui.TakeCalls());
}

TEST_F(GuiControlTest, WithoutAChangeNothingIsApplied) {
    for (GuiControl* const pControl : {static_cast<GuiControl*>(&m_text), static_cast<GuiControl*>(&m_check),
                                       static_cast<GuiControl*>(&m_bar)})
        EXPECT_TRUE(CallsOf(*pControl).empty());
}

TEST_F(GuiControlTest, SettersTouchNothingBeforeTheTick) {
    m_bar.SetShow(0);
    m_bar.SetEnable(0);
    m_bar.SetText("text");
    m_bar.SetRange(1, 2);
    m_bar.SetValue(3);
    m_bar.SetStatus(1);
    EXPECT_TRUE(m_gui.TakeCalls().empty());
    EXPECT_TRUE(m_gui.Alerts().empty());
}

TEST_F(GuiControlTest, EachChangeIsAppliedOnce) {
    m_text.SetText("a");
    EXPECT_EQ((CallList{"text 30 a"}), CallsOf(m_text));
    EXPECT_TRUE(CallsOf(m_text).empty());
    m_text.SetText("a");
    EXPECT_EQ((CallList{"text 30 a"}), CallsOf(m_text)) << "also when the value is the same";
}

TEST_F(GuiControlTest, OfTwoTextsOnlyTheLastIsSeen) {
    m_text.SetText("first");
    m_text.SetText("second");
    EXPECT_EQ((CallList{"text 30 second"}), CallsOf(m_text));
}

TEST_F(GuiControlTest, OfTwoStatesOnlyTheLastIsSeen) {
    m_text.SetShow(0);
    m_text.SetShow(1);
    m_text.SetEnable(0);
    m_text.SetEnable(1);
    EXPECT_EQ((CallList{"show 30 1", "enable 30 1"}), CallsOf(m_text));
}

TEST_F(GuiControlTest, VisibilityAndThenValueAreBothAppliedInOneTick) {
    m_check.SetShow(0);
    m_check.SetValue(1);
    EXPECT_EQ((CallList{"check 31 1", "show 31 0"}), CallsOf(m_check));
}

TEST_F(GuiControlTest, StateComesBeforeTextAndTextBeforeTheAlert) {
    m_text.SetStatus(2);
    m_text.SetText("t");
    m_text.SetEnable(0);
    m_text.SetShow(0);
    EXPECT_EQ((CallList{"show 30 0", "enable 30 0", "text 30 t", "alert Unexpected error occurred."}),
              CallsOf(m_text));
}

TEST_F(GuiControlTest, RangeComesBeforeValueAndValueBeforeTheRest) {
    m_bar.SetShow(1);
    m_bar.SetText("t");
    m_bar.SetValue(4);
    m_bar.SetRange(2, 9);
    EXPECT_EQ((CallList{"range 32 2 9", "value 32 4", "show 32 1", "text 32 t"}), CallsOf(m_bar));
}

TEST_F(GuiControlTest, ATextBoxHasNeitherValueNorRange) {
    m_text.SetValue(1);
    m_text.SetRange(1, 2);
    EXPECT_TRUE(CallsOf(m_text).empty());
}

TEST_F(GuiControlTest, ACheckBoxHasNoRange) {
    m_check.SetRange(1, 2);
    EXPECT_TRUE(CallsOf(m_check).empty());
    m_check.SetText("new");
    EXPECT_EQ((CallList{"text 31 new"}), CallsOf(m_check));
}

TEST_F(GuiControlTest, GetTextIsTheWantedText) {
    EXPECT_STREQ("title", m_text.GetText());
    EXPECT_STREQ("check", m_check.GetText());
    m_text.SetText("wanted");
    EXPECT_STREQ("wanted", m_text.GetText()) << "before the tick too";
    m_text.SetText(nullptr);
    EXPECT_STREQ("", m_text.GetText());
}

TEST_F(GuiControlTest, AlertOneIsACautionAndAllOthersStop) {
    for (int nCode = 1; nCode <= kAlertCount; ++nCode) {
        m_text.SetStatus(nCode);
        m_text.UpdateData();
        ASSERT_EQ(static_cast<size_t>(nCode), m_gui.Alerts().size());
        const FakeAlert& alert = m_gui.Alerts().back();
        EXPECT_EQ(nCode, alert.nCode);
        EXPECT_EQ(nCode == 1 ? 2 : 0, alert.nType);
        EXPECT_EQ(ErrTbl(nCode).pszTitle, alert.strTitle);
        EXPECT_EQ(ErrTbl(nCode).pszText, alert.strText);
    }
}

TEST_F(GuiControlTest, OfTwoAlertsOnlyTheLastIsShown) {
    m_text.SetStatus(1);
    m_text.SetStatus(3);
    m_text.UpdateData();
    ASSERT_EQ(1u, m_gui.Alerts().size());
    EXPECT_EQ(3, m_gui.Alerts()[0].nCode);
}
// Q133

// Q133
TEST_F(GuiControlTest, APostedAlertWaitsForTheQuestionThatIsOpenAndIsShownOnce) {
    m_text.SetStatus(4);
    m_gui.WhileNextQuestion([this] {
        EXPECT_TRUE(GuiIsAsking());
        m_text.SetText("shown under the question");
        m_text.UpdateData();
        m_text.UpdateData();
        EXPECT_EQ(1u, m_gui.Alerts().size());
    });
    AlertBox("title", "question", nullptr, "No", "Yes", kAlertCaution, kAlertDefaultButton);
    EXPECT_FALSE(GuiIsAsking());
    EXPECT_EQ("shown under the question", m_gui.Control(30).strText);
    EXPECT_EQ(1u, m_gui.Alerts().size());
    m_text.UpdateData();
    ASSERT_EQ(2u, m_gui.Alerts().size());
    EXPECT_EQ(4, m_gui.Alerts()[1].nCode);
    m_text.UpdateData();
    EXPECT_EQ(2u, m_gui.Alerts().size());
}

TEST_F(GuiControlTest, ItsOwnAlertIsNotShownAgainByTheTicksUnderIt) {
    m_text.SetStatus(2);
    m_gui.WhileNextQuestion([this] { m_text.UpdateData(); });
    m_text.UpdateData();
    m_text.UpdateData();
    EXPECT_EQ(1u, m_gui.Alerts().size());
}

TEST_F(GuiControlTest, AnAlertPostedUnderAnAlertComesAfterIt) {
    m_text.SetStatus(1);
    m_gui.WhileNextQuestion([this] {
        m_text.SetStatus(2);
        m_text.UpdateData();
        EXPECT_EQ(1u, m_gui.Alerts().size());
    });
    m_text.UpdateData();
    m_text.UpdateData();
    ASSERT_EQ(2u, m_gui.Alerts().size());
    EXPECT_EQ(2, m_gui.Alerts()[1].nCode);
}

TEST_F(GuiControlTest, AKindThePlatformDoesNotKnowIsLeftAlone) {
    GuiStaticBox none(m_window, {}, 6, 0, 40, "none");
    EXPECT_EQ(nullptr, none.GetControl());
    none.SetShow(0);
    none.SetEnable(0);
    none.SetText("text");
    EXPECT_TRUE(CallsOf(none).empty());
}

TEST_F(GuiControlTest, SettersOfOtherThreadsMeetTicksWithoutHarm) {
    constexpr int kRounds = 500;
    const auto Set = [this](int nFirst) {
        for (int i = nFirst; i < nFirst + kRounds; ++i) {
            m_bar.SetText(String::NewWithFormat("text %d", i));
            m_bar.SetRange(0, i);
            m_bar.SetValue(i);
            m_bar.SetShow(i % 2);
            m_bar.SetEnable(i % 2);
            EXPECT_EQ(0, m_bar.GetText().Find("text "));
        }
    };
    std::thread first(Set, 0), second(Set, kRounds);
    for (int i = 0; i < kRounds; ++i) m_bar.UpdateData();
    first.join();
    second.join();
    m_bar.SetText("last");
    m_bar.SetValue(-1);
    m_bar.UpdateData();
    EXPECT_EQ("last", m_gui.Control(32).strText);
    EXPECT_EQ(-1, m_gui.Control(32).nValue);
    m_gui.TakeCalls();
    EXPECT_TRUE(CallsOf(m_bar).empty());
}

TEST_F(GuiControlTest, ASetterDoesNotWaitForAnOpenAlert) {
    m_text.SetStatus(1);
    m_gui.WhileNextQuestion([this] {
        std::thread([this] {
            m_text.SetText("set meanwhile");
            m_text.SetStatus(2);
        }).join();
    });
    m_text.UpdateData();
    EXPECT_STREQ("set meanwhile", m_text.GetText());
}

using GuiControlDeathTest = GuiControlTest;

TEST_F(GuiControlDeathTest, ATickOnAnotherThreadIsAMistake) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    m_text.SetShow(0);
    EXPECT_DEATH(std::thread([this] { m_text.UpdateData(); }).join(), "bOnInterfaceThread");
}

}  // namespace
}  // namespace Kestrova::Test
