#include "tests/app/qt/ProgramRun.h"

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>

namespace Kestrova::Test {
namespace {

std::string TakeFile(const std::string& strPath) {
    const Bytes bytes = ReadFile(strPath);
    std::filesystem::remove(strPath);
    return {bytes.begin(), bytes.end()};
}

}  // namespace

// The shell becomes the command, so that a signal that ends the one is seen to end the other.
ProgramRun RunCommand(const std::string& strCommand, const TempDir& dir) {
    const std::string strOut = dir.File("out"), strErr = dir.File("err");
    const int nState = std::system(("exec " + strCommand + " >" + strOut + " 2>" + strErr).c_str());
    ProgramRun run;
    run.nStatus = WIFEXITED(nState) ? WEXITSTATUS(nState) : 128 + WTERMSIG(nState);
    run.strOut = TakeFile(strOut);
    run.strErr = TakeFile(strErr);
    return run;
}

}  // namespace Kestrova::Test
