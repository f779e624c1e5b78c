// DesktopServices.h - what the program asks of services on the session's bus. All of it is done as well as it
// can be: nothing waits for an answer, and without a bus or a service nothing happens.
#pragma once

#include <QString>
#include <memory>

namespace Kestrova {

// Shows a notification (org.freedesktop.Notifications).
void ShowNotification(const QString& strTitle, const QString& strText);

// Keeps the computer from going to sleep by itself while it lives.
class SleepInhibitor {
public:
    explicit SleepInhibitor(const QString& strReason);
    ~SleepInhibitor();
    SleepInhibitor(const SleepInhibitor&) = delete;
    SleepInhibitor& operator=(const SleepInhibitor&) = delete;

private:
    struct Grips;
    std::unique_ptr<Grips> m_pGrips;  // null without a bus
};

}  // namespace Kestrova
