// Replays the recorded job of a program with every loss of power, and judges what is left.
//   kv_trust_powerloss LOG ROOT BEFORE AFTER RANDOM TEARS
// LOG: of strace; ROOT: the folder that was watched; BEFORE, AFTER: copies of it; RANDOM, TEARS: see Disk.
// Prints one line: operations, syncs, states, then states by verdict (old, new, unsettled, interrupted,
// broken), then how many states are left after the end that are not the new one. Then a line for each fault.
// Exit code 1 when a state is broken.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iterator>

#include "trust/powerloss/Replay.h"

namespace {

namespace fs = std::filesystem;
using namespace Kestrova::Trust;

StateJudge::Files FilesIn(const fs::path& folder, const std::string& strRoot) {
    StateJudge::Files files;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file()) continue;
        std::ifstream file(entry.path(), std::ios::binary);
        files[strRoot + "/" + entry.path().lexically_relative(folder).string()] =
            Bytes(std::istreambuf_iterator<char>(file), {});
    }
    return files;
}

int Run(char** argv) {
    const fs::path log = argv[1];
    const std::string strRoot = argv[2];
    const StateJudge::Files before = FilesIn(argv[3], strRoot), after = FilesIn(argv[4], strRoot);
    StateJudge judge(before, after);
    const auto replay = [&](Disk& disk) {
        for (const auto& [strPath, bytes] : before) disk.Put(strPath, bytes);
        Replay player(strRoot, disk, judge);
        ReadTrace(log, [&](const SystemCall& call) { player.Call(call); });
        return player;
    };
    Disk plain(0, 0, nullptr);  // learns what files are when they get their names
    replay(plain);
    judge.BeginAgain();

    const auto nRandom = static_cast<unsigned>(std::atoi(argv[5]));
    Disk disk(nRandom, static_cast<size_t>(std::atoi(argv[6])),
              [&](const FileMap& files) { judge.Judge(files); });
    const Replay player = replay(disk);
    for (const auto& [strPath, bytes] : after)
        if (disk.Find(strPath) == Disk::kNone || disk.Live(disk.Find(strPath)) != bytes)
            throw std::runtime_error("the replay does not end with the files of the job: " + strPath);

    StateJudge end(before, after);
    disk.SetVisitor([&](const FileMap& files) { end.Judge(files); });
    disk.VisitAll();

    std::printf("%u %u %llu", player.GetOperations(), player.GetSyncs(),
                static_cast<unsigned long long>(judge.GetStates()));
    for (size_t n = 0; n < kVerdictCount; ++n)
        std::printf(" %llu", static_cast<unsigned long long>(judge.GetCount(static_cast<Verdict>(n))));
    std::printf(" %llu\n", static_cast<unsigned long long>(end.GetStates() - end.GetCount(Verdict::kNew)));
    for (const std::string& strFault : judge.GetFaults()) std::printf("%s\n", strFault.c_str());
    return judge.GetCount(Verdict::kBroken) == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (argc == 7) return Run(argv);
        std::fprintf(stderr, "usage: kv_trust_powerloss LOG ROOT BEFORE AFTER RANDOM TEARS\n");
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kv_trust_powerloss: %s\n", error.what());
    }
    return 2;
}
