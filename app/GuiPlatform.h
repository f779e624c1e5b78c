// GuiPlatform.h - everything that the program asks of the desktop: windows, controls, alerts, choosers, free
// space. The functions are written for a toolkit (app/qt) and, in tests, for a fake desktop; their callers do
// not know for which.
#pragma once

#include <functional>

#include "app/DialogTables.h"
#include "shared/System/kvString.h"

namespace Kestrova {

// The platform's own objects. A null reference is left alone by every function.
struct GuiWindow;
struct GuiWidget;
using GuiWindowRef = GuiWindow*;
using GuiControlRef = GuiWidget*;

// What happened in a window.
enum GuiEventClass : int { kGuiWindowEvent, kGuiControlEvent };
enum GuiWindowEventKind : int {
    kGuiWindowClose = 72,
    kGuiFileDropped = 1001,  // pszPath is the file
    kGuiFolderDropped = 1002
};
struct GuiEvent {
    int nClass = kGuiWindowEvent;
    int nKind = kGuiWindowClose;    // of a window event
    int nControl = -1;              // of a control event: the control's number
    int nValue = 0;                 // of a control event: the control's value now
    const char* pszPath = nullptr;  // of a drop, good during the call
};

// What WndProc answers: the event is handled (0), or the platform is to do what it usually does with it (the
// code for an event that was not handled).
inline constexpr int kGuiHandled = 0;
inline constexpr int kGuiNotHandled = -9874;

// The dialog, as the platform calls it; on the interface thread only.
class IGuiOwner {
public:
    virtual ~IGuiOwner() = default;
    virtual void OnTimer() = 0;  // every 0.1 s while the window is shown, also under an open alert or chooser
    virtual int WndProc(const GuiEvent& event) = 0;
    virtual bool AcceptsDrop(bool bFolder) = 0;  // asked while something is dragged over the window
};

inline constexpr int kTimerMilliseconds = 100;

// Connects to the desktop. It is called before anything else of this header; GuiStop ends the connection.
// Without a display one line goes to standard error and the process ends with status 255, where the toolkit
// would abort.
void GuiStart();
void GuiStop();

// Sets what is done when the display goes away later, because its server ends or closes the connection. The
// toolkit then ends the process, whatever the interface thread is doing. Before that one line goes to
// standard error, and the action runs on the interface thread. It must not call a function of this header
// that needs this thread, because the windows cannot be used any more. Then the process ends with status 255.
// Null: no action.
void GuiSetDisplayGone(std::function<void()> action);

// All that follows is for the interface thread only.

// Called when a dialog begins and when it has ended; nothing needs to be done there.
void GuiInitialize();
void GuiDeinitialize();

// A window of fixed size with close and minimise boxes, hidden; rect is its inside on the screen. Null on
// failure. The owner must outlive it.
GuiWindowRef GuiCreateWindow(const char* pszTitle, const Rect& rect, IGuiOwner* pOwner);
void GuiDisposeWindow(GuiWindowRef window);
void GuiSetWindowTitle(GuiWindowRef window, const char* pszTitle);
// Shows the window, starts the timer (first tick at once) and brings the program to the front; or hides it
// and stops the timer. bUpdate draws the window at once.
void GuiShowWindow(GuiWindowRef window, int bShow, int bUpdate);
// Runs the event loop, with the events of the window going to the owner, until GuiQuitLoop.
void GuiRunLoop(GuiWindowRef window, IGuiOwner* pOwner);
// Ends that loop, and the one of an open alert or chooser, which then counts as cancelled.
void GuiQuitLoop();
// The button that Enter presses while no other button has the keyboard, and the one that Escape presses;
// while that one is hidden or disabled, Escape closes the window.
void GuiSetKeyControls(GuiWindowRef window, GuiControlRef enter, GuiControlRef escape);

// A control of a kind (GuiCtrlKind; any other gives null) at its place in the window, shown and enabled; a
// progress bar has the range 0 to 10. The number is what its events carry.
GuiControlRef GuiCreateControl(GuiWindowRef window, const Rect& rect, int nKind, int nStyle, int nControl,
                               const char* pszTitle);
void GuiDisposeControl(GuiControlRef control);
void GuiEmbedControl(GuiControlRef parent, GuiControlRef child);  // the child keeps its place in the window
void GuiShowControl(GuiControlRef control, int bOn);
void GuiEnableControl(GuiControlRef control, int bOn);
void GuiSetControlText(GuiControlRef control, const char* pszText);
void GuiSetControlValue(GuiControlRef control, int nValue);
void GuiCheckControl(GuiControlRef control, int bOn);
void GuiSetControlRange(GuiControlRef control, int nMinimum, int nMaximum);
void GuiSetControlName(GuiControlRef control, const char* pszName);  // for assistive programs

// The desktop's choosers, modal on the window. They open where the given path is. When the user has
// confirmed, the answer is 1 and the path is the new one, whole whatever its length; else it is 0 and the
// path stays. All files are shown; label is the name of the filter that shows them.
int GuiSelectFileDialog(GuiWindowRef window, const char* pszTitle, String& strPath, const char* pszLabel);
int GuiSelectFolderDialog(GuiWindowRef window, const char* pszTitle, String& strPath);

enum AlertType : int { kAlertStop = 0, kAlertCaution = 2 };
enum AlertButton : int { kAlertDefaultButton = 1, kAlertCancelButton = 2, kAlertOtherButton = 3 };
// Shows an alert and waits for its end; the timer goes on ticking. The button texts are zero-terminated; null
// leaves a button out. nDefaultButton is the AlertButton that Enter presses. Returns the button that was
// pressed, or the cancel button's number when the alert could not be shown or was closed in another way.
int AlertBox(const char* pszTitle, const char* pszText, const char* pszOther, const char* pszCancel,
             const char* pszDefault, int nType, int nDefaultButton);
// Whether an alert or chooser waits for an answer.
bool GuiIsAsking();
// An alert of ErrTbl with the one button "Ok".
void GuiErrorBox(GuiWindowRef window, int nAlert);   // stop
void GuiNotifyBox(GuiWindowRef window, int nAlert);  // caution

// Both do what they can and return at once; a desktop that does not offer the service is no error.
// Tells the user with a notification of the desktop, unless the window is in front and so tells it itself.
void GuiNotifyUser(GuiWindowRef window, const char* pszTitle, const char* pszText);
// Keeps the computer from going to sleep by itself (1), until it is let go (0) or the program ends. The
// reason may be shown to the user.
void GuiKeepAwake(int bOn, const char* pszReason);

// The size of a mode's window (GuiGetWindowSize), centred on the main display.
void GuiGetWindowRect(GuiType mode, Rect* pRect);

// Free space, for this user, of the volume that holds the path, in MiB rounded up; 0 on any failure. Any
// thread.
int UtilGetFreeDiskSpace(const char* pszPath);

}  // namespace Kestrova
