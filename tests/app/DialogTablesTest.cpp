#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/DialogTables.h"

namespace Kestrova::Test {
namespace {

constexpr GuiType kModes[] = {kManager, kInstall, kUninstall, kCreate};

struct RowCase {
    int nKind;
    int nStyle;
    std::array<const char*, kGuiTypeCount> layouts;  // gap/width/height/advance
    std::array<const char*, kGuiTypeCount> titles;
};

constexpr std::array<const char*, kGuiTypeCount> All(const char* psz) { return {psz, psz, psz, psz}; }
constexpr std::array<const char*, kGuiTypeCount> Manager(const char* psz, const char* pszElse) {
    return {psz, pszElse, pszElse, pszElse};
}

constexpr RowCase kRows[] = {
    {0, 0, Manager("0/200/16/16", "0/0/0/0"), Manager("Source bank file:", "")},
    {5, 0x1200, Manager("0/396/20/0", "0/0/0/0"), Manager(" Not selected.", "")},
    {1, 0, Manager("4/32/20/32", "0/0/0/0"), Manager("...", "")},
    {0,
     0,
     All("0/200/16/16"),
     {"Calderine banks destination folder:", "Calderine banks installation folder:",
      "Calderine banks folder to clean:", ""}},
    {5, 0x1200, All("0/396/20/0"), All(" Not selected.")},
    {1, 0, All("4/32/20/32"), All("...")},
    {3,
     0,
     All("0/432/48/20"),
     {"Choose target sample rates:", "Choose target sample rates:", "Sample rates to clean:",
      "Creating Calderine bank"}},
    {2, 0, All("12/62/16/0"), All("44100")},
    {2, 0, All("8/62/16/0"), All("48000")},
    {2, 0, All("8/62/16/0"), All("88200")},
    {2, 0, All("8/62/16/0"), All("96000")},
    {2, 0, All("8/62/16/0"), All("176400")},
    {2, 0, All("8/62/16/40"), All("192000")},
    {0,
     0,
     All("0/104/16/0"),
     {"Disk space required:", "Disk space required:", "Disk space to free:", "Disk space required:"}},
    {0, 0, All("4/70/16/0"), All("")},
    {0,
     0,
     {"4/144/16/0", "4/144/16/0", "0/0/0/0", "4/144/16/0"},
     {"Free disk space available:", "Free disk space available:", "", "Free disk space available:"}},
    {0, 0, {"4/70/16/24", "4/70/16/24", "0/0/0/24", "4/70/16/24"}, All("")},
    {0, 0, All("8/300/16/0"), All("")},
    {0, 2, All("8/42/16/16"), All("")},
    {4, 0, All("0/360/20/0"), All("")},
    {1, 0, All("8/60/20/32"), All("Cancel")},
    {1, 0, Manager("252/80/24/0", "348/80/24/0"), {"Apply", "Install", "Uninstall", "Create"}},
    {1, 0, Manager("16/80/24/24", "0/0/0/24"), Manager("Close", "")},
};

std::string TextOf(const LayoutRow& row) {
    return std::to_string(row.nGap) + "/" + std::to_string(row.nWidth) + "/" + std::to_string(row.nHeight) +
           "/" + std::to_string(row.nAdvance);
}

TEST(DialogTablesTest, EveryRowIsAsAgreed) {
    ASSERT_EQ(23u, std::size(kRows));
    ASSERT_EQ(23, kDialogControlCount);
    for (int i = 0; i < kDialogControlCount; ++i) {
        const auto nRow = static_cast<size_t>(i);
        SCOPED_TRACE(i);
        EXPECT_EQ(kRows[nRow].nKind, GuiCtrlTypes[nRow]);
        EXPECT_EQ(kRows[nRow].nStyle, GuiCtrlStyles[nRow]);
        for (const GuiType mode : kModes) {
            const auto nMode = static_cast<size_t>(mode);
            EXPECT_EQ(kRows[nRow].layouts[nMode], TextOf(GuiCtrlLayout(mode, i))) << mode;
            EXPECT_STREQ(kRows[nRow].titles[nMode], GuiCtrlTitles(mode, i)) << mode;
        }
    }
}

TEST(DialogTablesTest, RowsWithoutWidthAndHeightAreHidden) {
    EXPECT_TRUE((LayoutRow{0, 0, 0, 24}).IsHidden());
    EXPECT_FALSE((LayoutRow{0, 1, 0, 0}).IsHidden());
    EXPECT_FALSE((LayoutRow{0, 0, 1, 0}).IsHidden());
}

TEST(DialogTablesTest, TheNamesOfTheRowsAreTheirNumbers) {
    EXPECT_EQ(0, kSourceLabel);
    EXPECT_EQ(1, kSourcePath);
    EXPECT_EQ(2, kSourceChooser);
    EXPECT_EQ(4, kTargetPath);
    EXPECT_EQ(5, kTargetChooser);
    EXPECT_EQ(6, kRateGroup);
    EXPECT_EQ(7, kFirstRateBox);
    EXPECT_EQ(12, kLastRateBox);
    EXPECT_EQ(14, kRequiredSpace);
    EXPECT_EQ(16, kFreeSpace);
    EXPECT_EQ(17, kProgressText);
    EXPECT_EQ(18, kProgressPercent);
    EXPECT_EQ(19, kProgressBar);
    EXPECT_EQ(20, kCancelButton);
    EXPECT_EQ(21, kMainButton);
    EXPECT_EQ(22, kCloseButton);
}

TEST(DialogTablesTest, WindowTitlesNameInstallerAndUninstaller) {
    EXPECT_STREQ("Calderine Bank Manager", WindowTitle(kManager));
    EXPECT_STREQ("Calderine Bank Manager Installer", WindowTitle(kInstall));
    EXPECT_STREQ("Calderine Bank Manager Uninstaller", WindowTitle(kUninstall));
    EXPECT_STREQ("Calderine Bank Manager", WindowTitle(kCreate));
}

TEST(DialogTablesTest, AlertsAreNumberedFromOne) {
    const AlertText expected[] = {{"Bank(s) creation failed.", "Cancelled by user."},
                                  {"Bank(s) creation failed.", "Unexpected error occurred."},
                                  {"Access error.", "Cannot access target path."},
                                  {"Access error.", "Cannot access source/target path."},
                                  {"Select source.", "The file selected is invalid or corrupted."}};
    for (int i = 1; i <= 5; ++i) {
        EXPECT_STREQ(expected[i - 1].pszTitle, ErrTbl(i).pszTitle) << i;
        EXPECT_STREQ(expected[i - 1].pszText, ErrTbl(i).pszText) << i;
    }
}

TEST(DialogTablesDeathTest, ThereIsNoAlertBelowOneOrAboveFive) {
    constexpr char kReport[] = "app/DialogTables.*nAlert >= 1 && nAlert <= kAlertCount";
    EXPECT_DEATH(ErrTbl(0), kReport);
    EXPECT_DEATH(ErrTbl(6), kReport);
}

// Every size is times 120 / 100, each truncated by itself: 16 is 19, 24 is 28, 32 is 38, 62 is 74.
TEST(DialogTablesTest, TheManagersControlsStandAtThesePixels) {
    const std::array<Rect, kDialogControlCount> expected = {{
        {9, 9, 249, 28},      {9, 28, 484, 52},     {488, 28, 526, 52},   {9, 66, 249, 85},
        {9, 85, 484, 109},    {488, 85, 526, 109},  {9, 123, 527, 180},   {23, 147, 97, 166},
        {106, 147, 180, 166}, {189, 147, 263, 166}, {272, 147, 346, 166}, {355, 147, 429, 166},
        {438, 147, 512, 166}, {9, 195, 133, 214},   {137, 195, 221, 214}, {225, 195, 397, 214},
        {401, 195, 485, 214}, {18, 223, 378, 242},  {387, 223, 437, 242}, {9, 242, 441, 266},
        {450, 242, 522, 266}, {311, 280, 407, 308}, {426, 280, 522, 308},
    }};
    const auto places = LayOutDialog(kManager);
    for (size_t i = 0; i < expected.size(); ++i) EXPECT_TRUE(expected[i] == places[i]) << i;
}

TEST(DialogTablesTest, TheOtherModesHaveNoSourceAndNoCloseButton) {
    for (const GuiType mode : {kInstall, kUninstall, kCreate}) {
        SCOPED_TRACE(mode);
        const auto places = LayOutDialog(mode);
        for (const int i : {kSourceLabel, kSourcePath, kSourceChooser})
            EXPECT_TRUE((Rect{9, 9, 9, 9}) == places[static_cast<size_t>(i)]) << i;
        EXPECT_TRUE((Rect{9, 9, 249, 28}) == places[kTargetLabel]);
        EXPECT_TRUE((Rect{9, 28, 484, 52}) == places[kTargetPath]);
        EXPECT_TRUE((Rect{488, 28, 526, 52}) == places[kTargetChooser]);
        EXPECT_TRUE((Rect{9, 66, 527, 123}) == places[kRateGroup]);
        EXPECT_TRUE((Rect{23, 90, 97, 109}) == places[kFirstRateBox]);
        EXPECT_TRUE((Rect{438, 90, 512, 109}) == places[kLastRateBox]);
        EXPECT_TRUE((Rect{137, 138, 221, 157}) == places[kRequiredSpace]);
        EXPECT_TRUE((Rect{18, 166, 378, 185}) == places[kProgressText]);
        EXPECT_TRUE((Rect{387, 166, 437, 185}) == places[kProgressPercent]);
        EXPECT_TRUE((Rect{9, 185, 441, 209}) == places[kProgressBar]);
        EXPECT_TRUE((Rect{450, 185, 522, 209}) == places[kCancelButton]);
        EXPECT_TRUE((Rect{426, 223, 522, 251}) == places[kMainButton]);
        EXPECT_TRUE((Rect{522, 223, 522, 223}) == places[kCloseButton]);
    }
}

TEST(DialogTablesTest, UninstallationShowsNoFreeSpaceButKeepsItsLine) {
    const auto installing = LayOutDialog(kInstall), removing = LayOutDialog(kUninstall);
    EXPECT_TRUE((Rect{225, 138, 397, 157}) == installing[kFreeLabel]);
    EXPECT_TRUE((Rect{401, 138, 485, 157}) == installing[kFreeSpace]);
    EXPECT_TRUE((Rect{221, 138, 221, 138}) == removing[kFreeLabel]);
    EXPECT_TRUE((Rect{221, 138, 221, 138}) == removing[kFreeSpace]);
}

TEST(DialogTablesTest, WindowsAreAsWideAsTheirWidestLine) {
    struct SizeCase {
        GuiType mode;
        int nWidth, nHeight;
    };
    for (const SizeCase& row :
         {SizeCase{kManager, 536, 317}, {kInstall, 536, 260}, {kUninstall, 536, 260}, {kCreate, 536, 260}}) {
        int nWidth = 0, nHeight = 0;
        GuiGetWindowSize(row.mode, nWidth, nHeight);
        EXPECT_EQ(row.nWidth, nWidth) << row.mode;
        EXPECT_EQ(row.nHeight, nHeight) << row.mode;
    }
}

TEST(DialogTablesTest, EveryControlLiesInsideItsWindow) {
    for (const GuiType mode : kModes) {
        int nWidth = 0, nHeight = 0;
        GuiGetWindowSize(mode, nWidth, nHeight);
        for (const Rect& place : LayOutDialog(mode)) {
            EXPECT_LE(place.right, nWidth - kWindowMargin);
            EXPECT_LE(place.bottom, nHeight - kWindowMargin);
        }
    }
}

TEST(DialogTablesTest, ControlsWhoseTextSaysTooLittleHaveAName) {
    const std::array<const char*, kDialogControlCount> names = {
        "",
        "Source bank file",
        "Choose source bank file",
        "",
        "Banks folder",
        "Choose banks folder",
        "",
        "Bank at 44100 Hz",
        "Bank at 48000 Hz",
        "Bank at 88200 Hz",
        "Bank at 96000 Hz",
        "Bank at 176400 Hz",
        "Bank at 192000 Hz",
        "",
        "Disk space required or to free",
        "",
        "Free disk space",
        "Status",
        "Progress",
        "Progress",
        "",
        "",
        "",
    };
    for (int i = 0; i < kDialogControlCount; ++i)
        EXPECT_STREQ(names[static_cast<size_t>(i)], AccessibleName(i)) << i;
}

}  // namespace
}  // namespace Kestrova::Test
