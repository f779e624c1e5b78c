// Files and folders dragged onto the window.
#include <QDropEvent>
#include <QMimeData>
#include <QUrl>
#include <filesystem>

#include "tests/app/qt/WindowFixture.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

class WindowDropTest : public WindowTest {
protected:
    WindowDropTest() {
        WriteFile(m_strFile, "x");
        WriteFile(m_strSecond, "x");
        std::filesystem::create_directory(m_strFolder);
        Show();
    }
    void TearDown() override { EXPECT_TRUE(m_owner.events.empty()) << "an event nobody looked at"; }

    static QUrl Local(const std::string& strPath) {
        return QUrl::fromLocalFile(QString::fromStdString(strPath));
    }
    // Drags over a widget: whether the drag is accepted.
    static bool Drag(QWidget& over, const QList<QUrl>& urls) {
        QMimeData data;
        data.setUrls(urls);
        return Drag(over, data);
    }
    static bool Drag(QWidget& over, const QMimeData& data) {
        QDragEnterEvent event(QPoint(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        event.ignore();
        QCoreApplication::sendEvent(&over, &event);
        return event.isAccepted();
    }
    static bool Drop(QWidget& over, const QList<QUrl>& urls) {
        QMimeData data;
        data.setUrls(urls);
        QDropEvent event(QPointF(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        event.ignore();
        QCoreApplication::sendEvent(&over, &event);
        return event.isAccepted();
    }
    void Accept(bool bFile, bool bFolder) {
        m_owner.bAcceptsFile = bFile;
        m_owner.bAcceptsFolder = bFolder;
    }
    // The events once the drop has been delivered. Ticks come through the same queue.
    std::vector<SeenEvent> TakeDelivered() {
        const int nTicks = m_owner.nTicks;
        EXPECT_TRUE(SpinUntil([&] { return m_owner.nTicks > nTicks + 1; }));
        return std::exchange(m_owner.events, {});
    }

    const TempDir m_dir;
    const std::string m_strFile = m_dir.File(
        "Gr\xc3\xb6\xc3\x9f"
        "e & a space.kvs");
    const std::string m_strSecond = m_dir.File("second.kvs");
    const std::string m_strFolder = m_dir.File("fold\xc3\xa9r %41");
};

TEST_F(WindowDropTest, AFileIsDelivered) {
    Accept(true, false);
    EXPECT_TRUE(Drag(*m_window, {Local(m_strFile)}));
    EXPECT_TRUE(Drop(*m_window, {Local(m_strFile)}));
    EXPECT_EQ(std::vector<SeenEvent>{WindowEvent(kGuiFileDropped, m_strFile)}, TakeDelivered());
    EXPECT_EQ((std::vector<bool>{false, false}), m_owner.questions);
}

TEST_F(WindowDropTest, AFolderIsDelivered) {
    Accept(false, true);
    EXPECT_TRUE(Drag(*m_window, {Local(m_strFolder)}));
    EXPECT_TRUE(Drop(*m_window, {Local(m_strFolder)}));
    EXPECT_EQ(std::vector<SeenEvent>{WindowEvent(kGuiFolderDropped, m_strFolder)}, TakeDelivered());
    EXPECT_EQ((std::vector<bool>{true, true}), m_owner.questions);
}

// Otherwise the program that the drag comes from would wait as long as the owner does.
TEST_F(WindowDropTest, TheOwnerHearsOfItWhenTheDropIsOver) {
    Accept(true, true);
    EXPECT_TRUE(Drag(*m_window, {Local(m_strFile)}));
    EXPECT_TRUE(Drop(*m_window, {Local(m_strFile)}));
    EXPECT_TRUE(m_owner.events.empty());
    EXPECT_EQ(1u, TakeDelivered().size());
}

TEST_F(WindowDropTest, WhatTheOwnerRefusesIsRefused) {
    Accept(false, true);
    EXPECT_FALSE(Drag(*m_window, {Local(m_strFile)}));
    EXPECT_FALSE(Drop(*m_window, {Local(m_strFile)}));
    Accept(true, false);
    EXPECT_FALSE(Drag(*m_window, {Local(m_strFolder)}));
    EXPECT_FALSE(Drop(*m_window, {Local(m_strFolder)}));
    EXPECT_TRUE(TakeDelivered().empty());
}

TEST_F(WindowDropTest, TheOwnerMayChangeItsMindBeforeTheDrop) {
    Accept(true, true);
    EXPECT_TRUE(Drag(*m_window, {Local(m_strFile)}));
    Accept(false, false);
    EXPECT_FALSE(Drop(*m_window, {Local(m_strFile)}));
    EXPECT_TRUE(TakeDelivered().empty());
}

TEST_F(WindowDropTest, AnythingElseIsRefusedUnasked) {
    Accept(true, true);
    const QList<QUrl> drags[] = {{Local(m_strFile), Local(m_strSecond)},
                                 {Local(m_strFile), Local(m_strFolder)},
                                 {QUrl("https://example.org/a.kvs")},
                                 {}};
    for (const QList<QUrl>& urls : drags) {
        EXPECT_FALSE(Drag(*m_window, urls));
        EXPECT_FALSE(Drop(*m_window, urls));
    }
    QMimeData text;
    text.setText(QString::fromStdString(m_strFile));
    EXPECT_FALSE(Drag(*m_window, text));
    EXPECT_TRUE(m_owner.questions.empty());
    EXPECT_TRUE(TakeDelivered().empty());
}

TEST_F(WindowDropTest, ADragOverAControlIsOneOverTheWindow) {
    Accept(true, false);
    for (const int nKind : {kStaticText, kPushButton, kCheckBox, kGroupBox, kReadOnlyEdit}) {
        QWidget& widget = Make(nKind, "text")->Widget();
        widget.show();
        EXPECT_TRUE(Drag(widget, {Local(m_strFile)})) << "kind " << nKind;
        EXPECT_TRUE(Drop(widget, {Local(m_strFile)})) << "kind " << nKind;
        EXPECT_EQ(std::vector<SeenEvent>{WindowEvent(kGuiFileDropped, m_strFile)}, TakeDelivered())
            << "kind " << nKind;
    }
}

TEST_F(WindowDropTest, AWindowThatIsGoneHearsOfNothing) {
    RecordingOwner owner;
    owner.bAcceptsFile = true;
    const GuiWindowRef window = GuiCreateWindow("Other", Rect{0, 0, 100, 100}, &owner);
    EXPECT_TRUE(Drag(*window, {Local(m_strFile)}));
    EXPECT_TRUE(Drop(*window, {Local(m_strFile)}));
    GuiDisposeWindow(window);
    EXPECT_TRUE(TakeDelivered().empty());
    EXPECT_TRUE(owner.events.empty());
}

}  // namespace
}  // namespace Kestrova::Test
