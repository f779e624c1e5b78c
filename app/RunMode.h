// RunMode.h - the four ways the program runs, chosen by the first word of the command line.
#pragma once

namespace Kestrova {

// Also the index of the dialog's layout and titles.
enum GuiType : int {
    kManager = 0,    // choose source, destination and any set of rates
    kInstall = 1,    // started by an installer: choose destination and rates, build, end
    kUninstall = 2,  // started by an uninstaller: remove the plain banks, end
    kCreate = 3      // build the bank of one rate without asking, end
};
inline constexpr int kGuiTypeCount = 4;

struct RunMode {
    GuiType type = kManager;
    int nCreateRate = -1;  // create mode: the index of the rate asked for in the rate table
};

// "install" and "uninstall" are compared as whole words, "create" with the first six characters; letter case
// is ignored. Anything else, and null, is the manager. What follows "create" is the rate in Hz; for a rate
// that is not in the table the first one is taken.
RunMode ParseModeWord(const char* pszWord);

}  // namespace Kestrova
