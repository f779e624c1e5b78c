// Notifications, and keeping the computer awake, on a bus of the tests' own.
#include "tests/app/qt/PrivateBus.h"
#include "tests/app/qt/WindowFixture.h"

namespace Kestrova::Test {
namespace {

using Calls = std::vector<std::string>;

constexpr char kNotifications[] = "org.freedesktop.Notifications";
constexpr char kPower[] = "org.freedesktop.PowerManagement.Inhibit";
constexpr char kPowerPath[] = "/org/freedesktop/PowerManagement/Inhibit";
constexpr char kSession[] = "org.gnome.SessionManager";
constexpr char kSessionPath[] = "/org/gnome/SessionManager";

class DesktopServicesTest : public WindowTest {
protected:
    ~DesktopServicesTest() override { GuiKeepAwake(0, ""); }
};

void ExpectCalls(const FakeService& service, const Calls& expected) {
    EXPECT_TRUE(SpinUntil([&] { return service.Calls().size() >= expected.size(); }));
    EXPECT_EQ(expected, service.Calls());
}

TEST_F(DesktopServicesTest, AWindowThatIsNotInFrontTellsByANotification) {
    const FakeService service(kNotifications, "/org/freedesktop/Notifications");
    GuiNotifyUser(m_window, "A title", "Banks for <48000> are ready.");
    ExpectCalls(service, {"Notify(Calderine Bank Manager, 0, com.kestrova.kvbankmgr, A title, "
                          "Banks for &lt;48000&gt; are ready., -1)"});
}

// The second call is the first that comes.
TEST_F(DesktopServicesTest, AWindowInFrontTellsByItselfOnly) {
    const FakeService service(kNotifications, "/org/freedesktop/Notifications");
    Show();
    GuiNotifyUser(m_window, "A title", "In front");
    m_window->hide();
    ASSERT_TRUE(SpinUntil([] { return QApplication::activeWindow() == nullptr; }));
    GuiNotifyUser(m_window, "A title", "Behind");
    ExpectCalls(service, {"Notify(Calderine Bank Manager, 0, com.kestrova.kvbankmgr, A title, Behind, -1)"});
}

TEST_F(DesktopServicesTest, TheComputerIsKeptAwakeAndLetGo) {
    const FakeService power(kPower, kPowerPath);
    const FakeService session(kSession, kSessionPath);
    GuiKeepAwake(1, "Banks are being built.");
    ExpectCalls(power, {"Inhibit(Calderine Bank Manager, Banks are being built.)"});
    ExpectCalls(session, {"Inhibit(Calderine Bank Manager, 0, Banks are being built., 4)"});
    GuiKeepAwake(0, "");
    ExpectCalls(power, {"Inhibit(Calderine Bank Manager, Banks are being built.)", "UnInhibit(7)"});
    ExpectCalls(session, {"Inhibit(Calderine Bank Manager, 0, Banks are being built., 4)", "Uninhibit(7)"});
}

TEST_F(DesktopServicesTest, WhatIsGrantedTooLateIsGivenBack) {
    FakeService power(kPower, kPowerPath);
    power.Hold();
    GuiKeepAwake(1, "Why");
    ExpectCalls(power, {"Inhibit(Calderine Bank Manager, Why)"});
    GuiKeepAwake(0, "");
    power.AnswerNow();
    ExpectCalls(power, {"Inhibit(Calderine Bank Manager, Why)", "UnInhibit(7)"});
}

// What was asked of nobody is not asked again of the service that comes later.
TEST_F(DesktopServicesTest, WithoutServicesNothingHappens) {
    GuiKeepAwake(1, "Asked of nobody");
    GuiKeepAwake(0, "");
    GuiNotifyUser(m_window, "A title", "Told to nobody");
    const FakeService power(kPower, kPowerPath);
    GuiKeepAwake(1, "Why");
    ExpectCalls(power, {"Inhibit(Calderine Bank Manager, Why)"});
}

}  // namespace
}  // namespace Kestrova::Test
