#include "tests/app/qt/Answer.h"

#include <QApplication>
#include <QEvent>
#include <QTimer>
#include <utility>

#include "tests/app/qt/WindowFixture.h"

namespace Kestrova::Test {

Answer::Answer(std::function<void(QDialog&)> act) : m_act(std::move(act)) { qApp->installEventFilter(this); }

Answer::~Answer() { EXPECT_TRUE(m_bAsked) << "nothing was asked"; }

bool Answer::eventFilter(QObject* pReceiver, QEvent* pEvent) {
    auto* const pDialog = dynamic_cast<QDialog*>(pReceiver);
    if (m_bAsked || pDialog == nullptr || pEvent->type() != QEvent::Show) return false;
    m_bAsked = true;
    QTimer::singleShot(0, pDialog, [this, pDialog] {
        EXPECT_TRUE(QTest::qWaitForWindowActive(pDialog));
        m_act(*pDialog);
    });
    return false;
}

}  // namespace Kestrova::Test
