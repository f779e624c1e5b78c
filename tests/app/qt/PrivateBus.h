// PrivateBus.h - a session bus of the tests' own, and services on it that keep notes.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {

// Is the session's bus of this process while it lives. Make it before anything uses the bus.
class PrivateBus {
public:
    PrivateBus();

private:
    const TempDir m_dir;
    std::unique_ptr<ChildProcess> m_pDaemon;
};

// A service at one path of the bus. It answers every call that waits for an answer with the number 7.
class FakeService final : public QDBusVirtualObject {
public:
    FakeService(const char* pszName, const char* pszPath);
    ~FakeService() override;

    // Each as "Method(text, 5)", without the values that are neither texts nor numbers.
    const std::vector<std::string>& Calls() const { return m_calls; }
    // Calls get no answer until AnswerNow.
    void Hold() { m_bHolds = true; }
    void AnswerNow();

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    const QString m_strName;
    QDBusConnection m_connection;
    std::vector<std::string> m_calls;
    std::vector<QDBusMessage> m_waiting;
    bool m_bHolds = false;
};

}  // namespace Kestrova::Test
