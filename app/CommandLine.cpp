#include "app/CommandLine.h"

#include <cstring>
#include <filesystem>
#include <system_error>

#include "bank/DBEUCreate.h"
#include "shared/System/kvCompare.h"
#include "shared/System/kvPath.h"

namespace Kestrova {
namespace {

constexpr char kLauncherMark[] = "-psn";

constexpr char kHelp[] =
    "Usage: kvbankmgr [MODE [SOURCE [FOLDER]]]\n"
    "Builds, lists and removes the banks of a Calderine source bank, in a window.\n"
    "\n"
    "  MODE    install    choose rates, build their banks and end\n"
    "          uninstall  remove the plain banks and end\n"
    "          createN    build the bank at N Hz and end, such as create48000\n"
    "          any other word, or none: the bank manager\n"
    "  SOURCE  the source bank file\n"
    "  FOLDER  the folder in which banks are built and removed\n"
    "\n"
    "Exit status: 0 when nothing failed, 255 without a display, else the number of the last failure.\n"
    "The same work without a window: kvbank --help.\n";

constexpr char kVersion[] = "kvbankmgr 1.0\n";

// The path in unified form and, unless it is empty, absolute, so that it means the same file when the folder
// of the process changes. When that folder cannot be found out, a relative path stays as it is.
// Deliberate (Q141): drives and hosts of other systems on the command line are relative names.
String FullPath(const char* pszPath) {
    String strPath(pszPath);
    MakeUnifiedPath(strPath);
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::current_path(error);
    if (strPath.IsEmpty() || error) return strPath;
    return (folder / strPath.c_str()).c_str();
}

}  // namespace

CommandLine ReadCommandLine(int argc, const char* const* argv) {
    CommandLine line;
    // Deliberate (Q115): a launcher's mark in the first argument drops all arguments.
    if (argc > 1 && std::strstr(argv[1], kLauncherMark) == nullptr) {
        line.strMode = argv[1];
        if (argc > 2) line.strSource = FullPath(argv[2]);
        if (argc > 3) line.strTarget = FullPath(argv[3]);
    }
    return line;
}

// Deliberate (Q134): --help and --version as the first word print, need no display, and end.
const char* InformationFor(const char* pszWord) {
    if (CompareStringCase(pszWord, "--help") == 0) return kHelp;
    if (CompareStringCase(pszWord, "--version") == 0) return kVersion;
    return nullptr;
}

// Deliberate (Q135): the exit code of a job refused at its start is that of one that failed later: 9 or 10.
int ExitCode(int nStatus) {
    switch (nStatus) {
        case kBankBadArgument:  // the name is no source's
        case kBankSourceNotOpened: return kBankReadFailed;
        case kBankTargetNotCreated: return kBankWriteFailed;
        default: return nStatus;
    }
}

}  // namespace Kestrova
