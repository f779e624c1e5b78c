#include "tests/gui/XScreen.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <stdexcept>

#include "tests/support/WaitUntil.h"

namespace Kestrova::Test {
namespace {

struct Colour {
    int nRed, nGreen, nBlue;
    int Light() const { return nRed + nGreen + nBlue; }
};
constexpr int kContrastOfInk = 330;  // of 765; what is disabled stands out by less than 200

Colour ColourOf(unsigned long nPixel) {
    return {static_cast<int>(nPixel >> 16 & 255), static_cast<int>(nPixel >> 8 & 255),
            static_cast<int>(nPixel & 255)};
}

// Windows come and go while the test looks. A question about one that has gone has an empty answer.
int IgnoreError(Display*, XErrorEvent*) { return 0; }

}  // namespace

XScreen::XScreen(int nWidth, int nHeight) {
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0) throw std::runtime_error("pipe");
    m_pServer = std::make_unique<ChildProcess>(
        std::vector<std::string>{"Xvfb", "-displayfd", std::to_string(pipeEnds[1]), "-screen", "0",
                                 std::to_string(nWidth) + "x" + std::to_string(nHeight) + "x24", "-nolisten",
                                 "tcp"},
        std::vector<std::string>{}, pipeEnds[1]);
    close(pipeEnds[1]);
    std::string strNumber;
    for (char ch = 0; read(pipeEnds[0], &ch, 1) == 1 && ch != '\n';) strNumber += ch;
    close(pipeEnds[0]);
    m_strName = ":" + strNumber;
    XSetErrorHandler(IgnoreError);
    m_pDisplay = XOpenDisplay(m_strName.c_str());
    if (m_pDisplay == nullptr) throw std::runtime_error("no X server at " + m_strName);
}

XScreen::~XScreen() { End(); }

void XScreen::End() {
    if (m_pDisplay != nullptr) XCloseDisplay(m_pDisplay);
    m_pDisplay = nullptr;
    m_pServer.reset();
}

XWindow XScreen::FindBelow(XWindow window, const std::string& strTitle) {
    char* pszName = nullptr;
    if (XFetchName(m_pDisplay, window, &pszName) != 0 && pszName != nullptr) {
        const bool bFound = strTitle == pszName;
        XFree(pszName);
        if (bFound && IsShown(window)) return window;
    }
    Window root = 0, parent = 0, *pChildren = nullptr;
    unsigned int nChildren = 0;
    if (XQueryTree(m_pDisplay, window, &root, &parent, &pChildren, &nChildren) == 0) return 0;
    XWindow found = 0;
    for (unsigned int i = 0; i < nChildren && found == 0; ++i) found = FindBelow(pChildren[i], strTitle);
    if (pChildren != nullptr) XFree(pChildren);
    return found;
}

XWindow XScreen::Find(const std::string& strTitle) {
    return FindBelow(DefaultRootWindow(m_pDisplay), strTitle);
}

bool XScreen::IsShown(XWindow window) {
    XWindowAttributes attributes;
    return XGetWindowAttributes(m_pDisplay, window, &attributes) != 0 && attributes.map_state == IsViewable;
}

bool XScreen::WaitForEnd(XWindow window) {
    return WaitUntil([&] { return !IsShown(window); });
}

void XScreen::Focus(XWindow window) {
    XSetInputFocus(m_pDisplay, window, RevertToPointerRoot, CurrentTime);
    XSync(m_pDisplay, False);
}

void XScreen::Click(XWindow window, int x, int y) {
    int xRoot = 0, yRoot = 0;
    Window child = 0;
    XTranslateCoordinates(m_pDisplay, window, DefaultRootWindow(m_pDisplay), x, y, &xRoot, &yRoot, &child);
    XTestFakeMotionEvent(m_pDisplay, -1, xRoot, yRoot, CurrentTime);
    XTestFakeButtonEvent(m_pDisplay, 1, True, CurrentTime);
    XTestFakeButtonEvent(m_pDisplay, 1, False, CurrentTime);
    XSync(m_pDisplay, False);
}

void XScreen::PressKey(unsigned long nSymbol, bool bShift) {
    const KeyCode code = XKeysymToKeycode(m_pDisplay, nSymbol);
    const KeyCode shift = XKeysymToKeycode(m_pDisplay, XK_Shift_L);
    if (bShift) XTestFakeKeyEvent(m_pDisplay, shift, True, CurrentTime);
    XTestFakeKeyEvent(m_pDisplay, code, True, CurrentTime);
    XTestFakeKeyEvent(m_pDisplay, code, False, CurrentTime);
    if (bShift) XTestFakeKeyEvent(m_pDisplay, shift, False, CurrentTime);
    XSync(m_pDisplay, False);
}

void XScreen::Key(const char* pszKey) { PressKey(XStringToKeysym(pszKey), false); }

// The symbols of printable characters are their codes.
void XScreen::Type(const std::string& strText) {
    for (const char ch : strText)
        PressKey(static_cast<unsigned char>(ch),
                 std::isupper(static_cast<unsigned char>(ch)) != 0 || ch == '_');
}

void XScreen::Close(XWindow window) {
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = XInternAtom(m_pDisplay, "WM_PROTOCOLS", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = static_cast<long>(XInternAtom(m_pDisplay, "WM_DELETE_WINDOW", False));
    XSendEvent(m_pDisplay, window, False, NoEventMask, &event);
    XSync(m_pDisplay, False);
}

template <class TVisit>
void XScreen::ForEachPoint(XWindow window, const Rect& rect, TVisit visit) {
    XImage* const pImage =
        XGetImage(m_pDisplay, window, rect.left, rect.top, static_cast<unsigned int>(rect.Width()),
                  static_cast<unsigned int>(rect.Height()), AllPlanes, ZPixmap);
    if (pImage == nullptr) return;
    for (int y = 0; y < rect.Height(); ++y)
        for (int x = 0; x < rect.Width(); ++x) visit(ColourOf(XGetPixel(pImage, x, y)));
    XDestroyImage(pImage);
}

// The corner of a window is bare.
int XScreen::Background(XWindow window) {
    int nLight = 0;
    ForEachPoint(window, Rect{2, 2, 3, 3}, [&](Colour c) { nLight = c.Light(); });
    return nLight;
}

bool XScreen::IsDrawn(XWindow window) { return Background(window) > 0; }

int XScreen::InkPoints(XWindow window, const Rect& rect) {
    const int nBackground = Background(window);
    int nInk = 0;
    ForEachPoint(window, rect, [&](Colour c) { nInk += std::abs(c.Light() - nBackground) > kContrastOfInk; });
    return nInk;
}

int XScreen::ColouredPoints(XWindow window, const Rect& rect) {
    int nColoured = 0;
    ForEachPoint(window, rect, [&](Colour c) {
        nColoured += std::max({c.nRed, c.nGreen, c.nBlue}) - std::min({c.nRed, c.nGreen, c.nBlue}) > 80;
    });
    return nColoured;
}

bool XScreen::IsBlank(XWindow window, const Rect& rect) {
    int nLowest = 3 * 255, nHighest = 0;
    ForEachPoint(window, rect, [&](Colour c) {
        nLowest = std::min(nLowest, c.Light());
        nHighest = std::max(nHighest, c.Light());
    });
    return nHighest - nLowest < 12;
}

std::vector<uint32_t> XScreen::Picture(XWindow window) {
    std::vector<uint32_t> points;
    XWindowAttributes attributes;
    if (XGetWindowAttributes(m_pDisplay, window, &attributes) == 0) return points;
    ForEachPoint(window, Rect{0, 0, attributes.width, attributes.height}, [&](Colour c) {
        points.push_back(0xff000000U | static_cast<uint32_t>(c.nRed << 16 | c.nGreen << 8 | c.nBlue));
    });
    return points;
}

int XScreen::WidthOf(XWindow window) {
    XWindowAttributes attributes;
    return XGetWindowAttributes(m_pDisplay, window, &attributes) != 0 ? attributes.width : 0;
}

int XScreen::HeightOf(XWindow window) {
    XWindowAttributes attributes;
    return XGetWindowAttributes(m_pDisplay, window, &attributes) != 0 ? attributes.height : 0;
}

}  // namespace Kestrova::Test
