#include "tools/kvbank/LeftoverReporter.h"

#include <cstring>
#include <string>

namespace Kestrova {
namespace {

Json RowOf(const FoundLeftover& leftover) {
    return {{"file", leftover.path.string()}, {"kind", KindName(leftover.kind)}};
}

}  // namespace

Json TellLeftovers(Console& console, const std::string& strFolder, const std::vector<FoundLeftover>& found) {
    Json rows = Json::array();
    bool bFirst = true;
    for (const FoundLeftover& leftover : found) {
        if (leftover.bHeld) continue;
        rows.push_back(RowOf(leftover));
        if (leftover.kind == LeftoverKind::Bank) continue;
        if (bFirst)
            console.Say("left by interrupted runs ('kvbank remove " + strFolder +
                        " --leftovers' removes them):");
        bFirst = false;
        console.Say(leftover.path.string() + " (" + KindName(leftover.kind) + ")");
    }
    return rows;
}

ExitCode TellRemoved(Console& console, const std::string& strFolder, const std::vector<FoundLeftover>& found,
                     Json& rows) {
    ExitCode worst = kExitDone;
    if (found.empty()) console.Say("no leftovers of interrupted runs in " + strFolder);
    for (const FoundLeftover& leftover : found) {
        const std::string strPath = leftover.path.string();
        Json row = RowOf(leftover);
        row["removed"] = !leftover.bHeld && leftover.nError == 0;
        rows.push_back(row);
        if (leftover.bHeld) {
            console.Say(strPath + ": left as it is, because a process is using it");
        } else if (leftover.nError == 0) {
            console.Say("removed " + strPath);
        } else {
            console.Error(strPath + ": " + std::strerror(leftover.nError));
            worst = kExitOutput;
        }
    }
    return worst;
}

}  // namespace Kestrova
