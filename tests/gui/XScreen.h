// XScreen.h - an X server of a test's own, with what a user does to its windows and sees of them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "app/DialogTables.h"
#include "tests/support/ChildProcess.h"

struct _XDisplay;  // NOLINT(bugprone-reserved-identifier): the library's own name

namespace Kestrova::Test {

using XWindow = unsigned long;  // 0: none

// There is no window manager: windows have no frames, and get the keyboard by Focus.
class XScreen {
public:
    explicit XScreen(int nWidth = 1280, int nHeight = 900);
    ~XScreen();

    // ":N", for the DISPLAY of the programs that are to show themselves here.
    const std::string& Name() const { return m_strName; }

    // Ends the X server, as a session does that goes down. Nothing else may be asked of this object then.
    void End();

    // The window on the screen with this title now; 0 when there is none.
    XWindow Find(const std::string& strTitle);
    bool IsShown(XWindow window);
    bool WaitForEnd(XWindow window);

    void Focus(XWindow window);
    void Click(XWindow window, int x, int y);
    void Key(const char* pszKey);           // by its X name, such as "Escape"
    void Type(const std::string& strText);  // letters, digits and "/._-"
    void Close(XWindow window);             // as the close box does

    // Whether the window has been drawn; it is black before.
    bool IsDrawn(XWindow window);
    // How many points of a rectangle of the window stand out from its background, as enabled text does, or
    // are of a strong colour; and whether all points are alike. Points off the screen do not count.
    int InkPoints(XWindow window, const Rect& rect);
    int ColouredPoints(XWindow window, const Rect& rect);
    bool IsBlank(XWindow window, const Rect& rect);

    // All points of the window, line by line, as 0xffRRGGBB; empty for one that is not on the screen.
    std::vector<uint32_t> Picture(XWindow window);
    int WidthOf(XWindow window);
    int HeightOf(XWindow window);

private:
    void PressKey(unsigned long nSymbol, bool bShift);
    int Background(XWindow window);
    template <class TVisit>
    void ForEachPoint(XWindow window, const Rect& rect, TVisit visit);
    XWindow FindBelow(XWindow window, const std::string& strTitle);

    std::string m_strName;
    std::unique_ptr<ChildProcess> m_pServer;
    _XDisplay* m_pDisplay = nullptr;
};

}  // namespace Kestrova::Test
