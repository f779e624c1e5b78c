#include "app/qt/DesktopServices.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QFile>
#include <QGuiApplication>
#include <QVariant>
#include <array>
#include <optional>

namespace Kestrova {
namespace {

constexpr char kProgram[] = "Calderine Bank Manager";

// A service that keeps the computer awake: its names, and the flags and the window that one of them asks for.
struct Keeper {
    const char* pszService;
    const char* pszPath;
    const char* pszTake;
    const char* pszLeave;
    bool bWantsFlags;
};
// A desktop has one of them. Who has both may take both.
constexpr std::array kKeepers = {
    Keeper{"org.freedesktop.PowerManagement.Inhibit", "/org/freedesktop/PowerManagement/Inhibit", "Inhibit",
           "UnInhibit", false},
    Keeper{"org.gnome.SessionManager", "/org/gnome/SessionManager", "Inhibit", "Uninhibit", true},
};
constexpr uint kNoWindow = 0, kNoSuspend = 4;  // of the second one

// Without an address the library would start a bus of its own.
bool HasBus() {
    if (!qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")) return true;
    const QString strFolder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return !strFolder.isEmpty() && QFile::exists(strFolder + "/bus");
}

QDBusMessage CallOf(const Keeper& keeper, const char* pszMethod) {
    return QDBusMessage::createMethodCall(keeper.pszService, keeper.pszPath, keeper.pszService, pszMethod);
}

QDBusMessage TakeCall(const Keeper& keeper, const QString& strReason) {
    QDBusMessage call = CallOf(keeper, keeper.pszTake);
    if (keeper.bWantsFlags)
        call << QString(kProgram) << kNoWindow << strReason << kNoSuspend;
    else
        call << QString(kProgram) << strReason;
    return call;
}

void Leave(const Keeper& keeper, uint nCookie) {
    QDBusMessage call = CallOf(keeper, keeper.pszLeave);
    call << nCookie;
    QDBusConnection::sessionBus().send(call);
}

// The service's answer may come when nobody wants it any more; then what it granted is given back at once. So
// this object lives until both have happened: the answer, and the release.
class Grip final : public QObject {
public:
    Grip(const Keeper& keeper, const QString& strReason) : m_keeper(keeper) {
        auto* const pWatcher = new QDBusPendingCallWatcher(
            QDBusConnection::sessionBus().asyncCall(TakeCall(keeper, strReason)), this);
        connect(pWatcher, &QDBusPendingCallWatcher::finished, this,
                [this](QDBusPendingCallWatcher* pCall) { OnAnswer(*pCall); });
    }
    void Release() {
        m_bReleased = true;
        EndIfDone();
    }

private:
    void OnAnswer(const QDBusPendingReply<uint>& answer) {
        m_bAnswered = true;
        if (answer.isValid()) m_cookie = answer.value();
        EndIfDone();
    }
    void EndIfDone() {
        if (!m_bReleased || !m_bAnswered) return;
        if (m_cookie) Leave(m_keeper, *m_cookie);
        deleteLater();
    }

    const Keeper& m_keeper;
    std::optional<uint> m_cookie;
    bool m_bAnswered = false, m_bReleased = false;
};

}  // namespace

void ShowNotification(const QString& strTitle, const QString& strText) {
    if (!HasBus()) return;
    constexpr uint kReplacesNone = 0;
    constexpr int kUsualTime = -1;
    QDBusMessage call =
        QDBusMessage::createMethodCall("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                                       "org.freedesktop.Notifications", "Notify");
    call << QString(kProgram) << kReplacesNone << QGuiApplication::desktopFileName() << strTitle
         << strText.toHtmlEscaped() << QStringList() << QVariantMap() << kUsualTime;
    QDBusConnection::sessionBus().send(call);
}

struct SleepInhibitor::Grips {
    std::array<Grip*, kKeepers.size()> all;
};

SleepInhibitor::SleepInhibitor(const QString& strReason) {
    if (!HasBus()) return;
    m_pGrips = std::make_unique<Grips>();
    for (size_t i = 0; i < kKeepers.size(); ++i) m_pGrips->all.at(i) = new Grip(kKeepers.at(i), strReason);
}

SleepInhibitor::~SleepInhibitor() {
    if (!m_pGrips) return;
    for (Grip* const pGrip : m_pGrips->all) pGrip->Release();
}

}  // namespace Kestrova
