#include "app/DialogTables.h"

#include <algorithm>
#include <string_view>

#include "shared/System/kvAssert.h"

namespace Kestrova {
namespace {

constexpr char kSourceUnit[] = "app/DialogTables";

using Layouts = std::array<LayoutRow, kGuiTypeCount>;  // manager, install, uninstall, create
using Titles = std::array<const char*, kGuiTypeCount>;

constexpr LayoutRow kNoRow{0, 0, 0, 0};

constexpr Layouts InAllModes(LayoutRow row) { return {row, row, row, row}; }
constexpr Layouts InManagerOnly(LayoutRow row) { return {row, kNoRow, kNoRow, kNoRow}; }
constexpr Titles InAllModes(const char* psz) { return {psz, psz, psz, psz}; }
constexpr Titles InManagerOnly(const char* psz) { return {psz, "", "", ""}; }

constexpr std::array<Layouts, kDialogControlCount> kLayouts = {{
    InManagerOnly({0, 200, 16, 16}),  // source
    InManagerOnly({0, 396, 20, 0}),
    InManagerOnly({4, 32, 20, 32}),
    InAllModes({0, 200, 16, 16}),  // destination
    InAllModes({0, 396, 20, 0}),
    InAllModes({4, 32, 20, 32}),
    InAllModes({0, 432, 48, 20}),  // the group, and the rates inside it
    InAllModes({12, 62, 16, 0}),
    InAllModes({8, 62, 16, 0}),
    InAllModes({8, 62, 16, 0}),
    InAllModes({8, 62, 16, 0}),
    InAllModes({8, 62, 16, 0}),
    InAllModes({8, 62, 16, 40}),
    InAllModes({0, 104, 16, 0}),  // disk space
    InAllModes({4, 70, 16, 0}),
    {{{4, 144, 16, 0}, {4, 144, 16, 0}, kNoRow, {4, 144, 16, 0}}},
    {{{4, 70, 16, 24}, {4, 70, 16, 24}, {0, 0, 0, 24}, {4, 70, 16, 24}}},
    InAllModes({8, 300, 16, 0}),  // progress
    InAllModes({8, 42, 16, 16}),
    InAllModes({0, 360, 20, 0}),
    InAllModes({8, 60, 20, 32}),
    {{{252, 80, 24, 0}, {348, 80, 24, 0}, {348, 80, 24, 0}, {348, 80, 24, 0}}},  // buttons
    {{{16, 80, 24, 24}, {0, 0, 0, 24}, {0, 0, 0, 24}, {0, 0, 0, 24}}},
}};

constexpr std::array<Titles, kDialogControlCount> kTitles = {{
    InManagerOnly("Source bank file:"),
    InManagerOnly(" Not selected."),
    InManagerOnly("..."),
    {"Calderine banks destination folder:", "Calderine banks installation folder:",
     "Calderine banks folder to clean:", ""},
    InAllModes(" Not selected."),
    InAllModes("..."),
    {"Choose target sample rates:", "Choose target sample rates:", "Sample rates to clean:",
     "Creating Calderine bank"},
    InAllModes("44100"),
    InAllModes("48000"),
    InAllModes("88200"),
    InAllModes("96000"),
    InAllModes("176400"),
    InAllModes("192000"),
    {"Disk space required:", "Disk space required:", "Disk space to free:", "Disk space required:"},
    InAllModes(""),
    {"Free disk space available:", "Free disk space available:", "", "Free disk space available:"},
    InAllModes(""),
    InAllModes(""),
    InAllModes(""),
    InAllModes(""),
    InAllModes("Cancel"),
    {"Apply", "Install", "Uninstall", "Create"},
    InManagerOnly("Close"),
}};

constexpr Titles kWindowTitles = {"Calderine Bank Manager", "Calderine Bank Manager Installer",
                                  "Calderine Bank Manager Uninstaller", "Calderine Bank Manager"};

constexpr std::array<AlertText, kAlertCount> kAlerts = {{
    {"Bank(s) creation failed.", "Cancelled by user."},
    {"Bank(s) creation failed.", "Unexpected error occurred."},
    {"Access error.", "Cannot access target path."},
    {"Access error.", "Cannot access source/target path."},
    {"Select source.", "The file selected is invalid or corrupted."},
}};

// The names of the controls whose text does not say what they are.
constexpr const char* NameOf(int nControl) {
    switch (nControl) {
        case kSourcePath: return "Source bank file";
        case kSourceChooser: return "Choose source bank file";
        case kTargetPath: return "Banks folder";
        case kTargetChooser: return "Choose banks folder";
        case kRequiredSpace: return "Disk space required or to free";
        case kFreeSpace: return "Free disk space";
        case kProgressText: return "Status";
        case kProgressPercent:
        case kProgressBar: return "Progress";
        default: return "";
    }
}

constexpr int Scaled(int nUnits) { return nUnits * kLayoutScale / 100; }

}  // namespace

const std::array<int, kDialogControlCount> GuiCtrlTypes = {
    kStaticText, kReadOnlyEdit,      kPushButton, kStaticText, kReadOnlyEdit, kPushButton,
    kGroupBox,   kCheckBox,          kCheckBox,   kCheckBox,   kCheckBox,     kCheckBox,
    kCheckBox,   kStaticText,        kStaticText, kStaticText, kStaticText,   kStaticText,
    kStaticText, kProgressIndicator, kPushButton, kPushButton, kPushButton};

const std::array<int, kDialogControlCount> GuiCtrlStyles = [] {
    std::array<int, kDialogControlCount> styles{};
    styles[kSourcePath] = styles[kTargetPath] = kStylePathField;
    styles[kProgressPercent] = kStyleRightAligned;
    return styles;
}();

const LayoutRow& GuiCtrlLayout(GuiType mode, int nControl) {
    return kLayouts.at(static_cast<size_t>(nControl)).at(static_cast<size_t>(mode));
}

const char* GuiCtrlTitles(GuiType mode, int nControl) {
    return kTitles.at(static_cast<size_t>(nControl)).at(static_cast<size_t>(mode));
}

const char* WindowTitle(GuiType mode) { return kWindowTitles.at(static_cast<size_t>(mode)); }

String AccessibleName(int nControl) {
    if (nControl >= kFirstRateBox && nControl <= kLastRateBox)
        return String::NewWithFormat("Bank at %d Hz", iSPS[static_cast<size_t>(nControl - kFirstRateBox)]);
    return NameOf(nControl);
}

const AlertText& ErrTbl(int nAlert) {
    KV_ASSERT(nAlert >= 1 && nAlert <= kAlertCount);
    return kAlerts[static_cast<size_t>(nAlert - 1)];
}

std::array<Rect, kDialogControlCount> LayOutDialog(GuiType mode) {
    std::array<Rect, kDialogControlCount> places;
    int x = kWindowMargin, y = kWindowMargin;
    for (int i = 0; i < kDialogControlCount; ++i) {
        const LayoutRow& row = GuiCtrlLayout(mode, i);
        Rect& place = places[static_cast<size_t>(i)];
        place.left = x + Scaled(row.nGap);
        place.right = place.left + Scaled(row.nWidth);
        place.top = y;
        place.bottom = y + Scaled(row.nHeight);
        y += Scaled(row.nAdvance);
        x = row.nAdvance != 0 ? kWindowMargin : place.right;
    }
    return places;
}

void GuiGetWindowSize(GuiType mode, int& nWidth, int& nHeight) {
    nWidth = kWindowMargin + 1;
    nHeight = kWindowMargin;
    int x = kWindowMargin;
    for (int i = 0; i < kDialogControlCount; ++i) {
        const LayoutRow& row = GuiCtrlLayout(mode, i);
        x += Scaled(row.nGap) + Scaled(row.nWidth);
        if (row.nAdvance == 0) continue;
        nWidth = std::max(nWidth, x + kWindowMargin);
        nHeight += Scaled(row.nAdvance);
        x = kWindowMargin;
    }
    nHeight += kWindowMargin;
}

}  // namespace Kestrova
