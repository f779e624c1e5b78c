// DialogTables.h - the bank manager dialog as data: its 23 rows in four modes, its texts, and the rule that
// places the rows. Needs no window and no toolkit.
#pragma once

#include <array>
#include <cstdint>

#include "app/RunMode.h"
#include "bank/BankRates.h"
#include "shared/System/kvString.h"

namespace Kestrova {

// The controls by number, which is their row in every table and the number that events carry.
enum DialogControl : int {
    kSourceLabel = 0,
    kSourcePath = 1,
    kSourceChooser = 2,
    kTargetLabel = 3,
    kTargetPath = 4,
    kTargetChooser = 5,
    kRateGroup = 6,
    kFirstRateBox = 7,
    kLastRateBox = kFirstRateBox + kRateCount - 1,
    kRequiredLabel = 13,
    kRequiredSpace = 14,
    kFreeLabel = 15,
    kFreeSpace = 16,
    kProgressText = 17,
    kProgressPercent = 18,
    kProgressBar = 19,
    kCancelButton = 20,
    kMainButton = 21,
    kCloseButton = 22,
    kDialogControlCount = 23
};

enum GuiCtrlKind : int {
    kStaticText = 0,
    kPushButton = 1,
    kCheckBox = 2,
    kGroupBox = 3,
    kProgressIndicator = 4,  // determinate
    kReadOnlyEdit = 5
};

// Values of GuiCtrlStyles with a meaning; any other value is a plain control.
inline constexpr int kStylePathField = 0x1200;
inline constexpr int kStyleRightAligned = 2;

// Where the control of a row goes, in layout units; kLayoutScale / 100 of them make one pixel.
struct LayoutRow {
    int16_t nGap;    // free space before the control
    int16_t nWidth;  // 0 with a height of 0: a control this mode does not show
    int16_t nHeight;
    int16_t nAdvance;  // from this line down to the next one; 0: the next control is on the same line
    bool IsHidden() const { return nWidth == 0 && nHeight == 0; }
};
inline constexpr int kLayoutScale = 120;
inline constexpr int kWindowMargin = 9;  // pixels, on every side

// In pixels; right and bottom are the first pixels outside.
struct Rect {
    int left = 0, top = 0, right = 0, bottom = 0;
    int Width() const { return right - left; }
    int Height() const { return bottom - top; }
    bool operator==(const Rect&) const = default;
};

extern const std::array<int, kDialogControlCount> GuiCtrlTypes;   // GuiCtrlKind
extern const std::array<int, kDialogControlCount> GuiCtrlStyles;  // handed to the controls as they are
const LayoutRow& GuiCtrlLayout(GuiType mode, int nControl);
// Never null: a control without a title has the empty text.
const char* GuiCtrlTitles(GuiType mode, int nControl);
const char* WindowTitle(GuiType mode);

// The name that assistive programs read out for a control whose own text does not say what it is, such as
// "Choose source bank file" and "Bank at 48000 Hz"; empty for the other controls.
String AccessibleName(int nControl);

struct AlertText {
    const char* pszTitle;
    const char* pszText;
};
// Numbers of the alerts of ErrTbl.
enum DialogAlert : int {
    kAlertCancelled = 1,
    kAlertFailed = 2,
    kAlertTarget = 3,
    kAlertSourceOrTarget = 4,
    kAlertSource = 5,
    kAlertCount = 5
};
// REQUIRES: a number of DialogAlert.
const AlertText& ErrTbl(int nAlert);

// Where each control goes, from the window's top left corner: left to right with the gaps between them, until
// an advance ends the line.
std::array<Rect, kDialogControlCount> LayOutDialog(GuiType mode);

// The size of the window's inside for a mode, in pixels.
void GuiGetWindowSize(GuiType mode, int& nWidth, int& nHeight);

}  // namespace Kestrova
