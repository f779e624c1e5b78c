#include "tools/kvbank/listing/LeftoverReporter.h"

#include <cstring>
#include <string>

namespace Kestrova {
namespace {

constexpr const char* kNotTold = "the file system does not tell whether a run is at work on it";

Json RowOf(const FoundLeftover& leftover) {
    Json row = {{"file", leftover.path.string()}, {"kind", KindName(leftover.kind)}};
    if (leftover.hold == Hold::Unknown) row["may_be_in_use"] = true;
    return row;
}

std::string NameAndKind(const FoundLeftover& leftover) {
    return leftover.path.string() + " (" + KindName(leftover.kind) + ")";
}

}  // namespace

Json TellLeftovers(Console& console, const std::string& strFolder, const std::vector<FoundLeftover>& found) {
    Json rows = Json::array();
    bool bFirst = true;
    for (const FoundLeftover& leftover : found) {
        if (leftover.hold == Hold::Held) continue;
        rows.push_back(RowOf(leftover));
        if (leftover.kind == LeftoverKind::Bank) continue;
        if (leftover.hold == Hold::Unknown) {
            console.Say(NameAndKind(leftover) + ": " + kNotTold);
            continue;
        }
        if (bFirst)
            console.Say("left by interrupted runs ('kvbank remove " + strFolder +
                        " --leftovers' removes them):");
        bFirst = false;
        console.Say(NameAndKind(leftover));
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
        row["removed"] = leftover.hold == Hold::Free && leftover.nError == 0;
        rows.push_back(row);
        if (leftover.hold == Hold::Held) {
            console.Say(strPath + ": left as it is, because a process is using it");
        } else if (leftover.hold == Hold::Unknown) {
            console.Say(strPath + ": left as it is, because " + kNotTold +
                        "; delete it yourself when none is");
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
