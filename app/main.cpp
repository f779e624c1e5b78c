#include <cstdio>

#include "app/CommandLine.h"
#include "app/GuiPlatform.h"
#include "app/StgMan.h"
#include "bank/BankOutcome.h"
#include "codec/ReadBudget.h"
#include "shared/Process/kvOutOfMemory.h"
#include "shared/System/kvCancelSignal.h"
#include "shared/System/kvModule.h"

int main(int argc, char** argv) {
    using namespace Kestrova;
    if (const char* const pszText = InformationFor(argc > 1 ? argv[1] : nullptr)) {
        std::fputs(pszText, stdout);
        return std::fflush(stdout) == 0 ? 0 : 1;
    }
    EndCleanlyWithoutMemory({"kvbankmgr: out of memory\n", kBankNoMemory});
    CatchCancelSignals();
    GuiStart();
    Module::Init(argc > 0 ? argv[0] : "", "StgMan", "1.0");
    const CommandLine line = ReadCommandLine(argc, argv);
    int nStatus = 0;
    const ReadBudget budget;  // the window has no option that raises it: kvbank has
    {
        StgMan manager(line.strMode, line.strSource, line.strTarget);
        GuiSetDisplayGone([&manager] { manager.Abandon(); });
        nStatus = manager.Routine();
        GuiSetDisplayGone(nullptr);
    }
    GuiStop();
    return ExitCode(nStatus);
}
