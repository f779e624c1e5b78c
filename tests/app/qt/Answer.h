// Answer.h - answers alerts and choosers in place of a user; what to do is said beforehand.
#pragma once

#include <QDialog>
#include <QObject>
#include <functional>

namespace Kestrova::Test {

// Acts in the next dialog that opens, once it waits and has the keyboard. One that never opened fails the
// test.
class Answer final : public QObject {
public:
    explicit Answer(std::function<void(QDialog&)> act);
    ~Answer() override;

protected:
    bool eventFilter(QObject* pReceiver, QEvent* pEvent) override;

private:
    std::function<void(QDialog&)> m_act;
    bool m_bAsked = false;
};

}  // namespace Kestrova::Test
