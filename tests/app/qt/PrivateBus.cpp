#include "tests/app/qt/PrivateBus.h"

#include <QDBusConnectionInterface>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "tests/support/WaitUntil.h"

namespace Kestrova::Test {
namespace {

constexpr uint kCookie = 7;

// It starts no services by itself.
std::string Configuration(const std::string& strSocket) {
    return "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
           "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n<busconfig><type>session</type>"
           "<listen>unix:path=" +
           strSocket +
           "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\"/>"
           "<allow receive_sender=\"*\"/><allow own=\"*\"/></policy></busconfig>\n";
}

std::string TextOf(const QVariant& value) {
    const int nType = value.typeId();
    if (nType == QMetaType::QString) return value.toString().toStdString();
    if (nType == QMetaType::UInt || nType == QMetaType::Int) return std::to_string(value.toLongLong());
    return "";
}

std::string TextOf(const QDBusMessage& message) {
    std::string strValues;
    for (const QVariant& value : message.arguments()) {
        const std::string strValue = TextOf(value);
        if (!strValue.empty()) strValues += (strValues.empty() ? "" : ", ") + strValue;
    }
    return message.member().toStdString() + "(" + strValues + ")";
}

}  // namespace

PrivateBus::PrivateBus() {
    const std::string strSocket = m_dir.File("bus"), strConfiguration = m_dir.File("bus.conf");
    WriteFile(strConfiguration, Configuration(strSocket));
    m_pDaemon = std::make_unique<ChildProcess>(std::vector<std::string>{
        "dbus-daemon", "--config-file=" + strConfiguration, "--nofork", "--nopidfile"});
    if (!WaitUntil([&] { return std::filesystem::exists(strSocket) || m_pDaemon->HasEnded(); }) ||
        m_pDaemon->HasEnded())
        throw std::runtime_error("no bus");
    setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + strSocket).c_str(), 1);
}

FakeService::FakeService(const char* pszName, const char* pszPath)
    : m_strName(pszName),
      m_connection(QDBusConnection::connectToBus(QDBusConnection::SessionBus, "fake " + m_strName)) {
    if (!m_connection.registerVirtualObject(pszPath, this) || !m_connection.registerService(m_strName))
        throw std::runtime_error("no service");
}

FakeService::~FakeService() {
    m_connection.unregisterService(m_strName);
    QDBusConnection::disconnectFromBus("fake " + m_strName);
}

bool FakeService::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    m_calls.push_back(TextOf(message));
    if (m_bHolds)
        m_waiting.push_back(message);
    else if (message.isReplyRequired())
        connection.send(message.createReply(QVariant(kCookie)));
    return true;
}

void FakeService::AnswerNow() {
    m_bHolds = false;
    for (const QDBusMessage& message : m_waiting) m_connection.send(message.createReply(QVariant(kCookie)));
    m_waiting.clear();
}

}  // namespace Kestrova::Test
