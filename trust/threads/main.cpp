// kv_trust_threads engine|batch|window ROUNDS [FIRST_SEED] - plays rounds of one kind and tells those that
// broke a promise. Every round has its seed; one is repeated with "KIND 1 SEED".
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "trust/threads/Rounds.h"
#ifdef __SANITIZE_THREAD__
#include <sanitizer/common_interface_defs.h>
#endif

namespace {

using namespace Kestrova::Trust;

constexpr unsigned kMostSeconds = 200;  // of a round; one that takes longer hangs
char g_szRound[64];                     // told when the process dies in it

void TellRound() {
    const ssize_t nIgnored = write(STDERR_FILENO, g_szRound, std::strlen(g_szRound));
    static_cast<void>(nIgnored);
}

void OnHang(int) {
    TellRound();
    std::abort();
}

std::unique_ptr<Scene> SceneOf(const std::string& strKind) {
    if (strKind == "engine") return MakeEngineScene();
    if (strKind == "batch") return MakeBatchScene();
    if (strKind == "window") return MakeWindowScene();
    return nullptr;
}

}  // namespace

int main(int nArguments, char** ppszArguments) {
    testing::InitGoogleTest(&nArguments, ppszArguments);
    const std::unique_ptr<Scene> pScene = nArguments >= 3 ? SceneOf(ppszArguments[1]) : nullptr;
    if (!pScene) {
        std::fputs("usage: kv_trust_threads engine|batch|window ROUNDS [FIRST_SEED]\n", stderr);
        return 2;
    }
    const auto nRounds = static_cast<unsigned>(std::strtoul(ppszArguments[2], nullptr, 10));
    const auto nFirst =
        static_cast<unsigned>(nArguments > 3 ? std::strtoul(ppszArguments[3], nullptr, 10) : 1);
    std::signal(SIGALRM, OnHang);
#ifdef __SANITIZE_THREAD__
    __sanitizer_set_death_callback(TellRound);
#endif
    unsigned nBroken = 0;
    for (unsigned nSeed = nFirst; nSeed < nFirst + nRounds; ++nSeed) {
        std::snprintf(g_szRound, sizeof g_szRound, "died or hung: %s 1 %u\n", ppszArguments[1], nSeed);
        alarm(kMostSeconds);
        Chance chance(nSeed);
        try {
            pScene->PlayRound(chance);
        } catch (const std::exception& error) {
            ++nBroken;
            std::printf("%s 1 %u: %s\n", ppszArguments[1], nSeed, error.what());
            std::fflush(stdout);
        }
    }
    alarm(0);
    std::strcpy(g_szRound, "died after its rounds\n");
    std::printf("%s\t%u\t%u\n", ppszArguments[1], nRounds, nBroken);
    return nBroken == 0 && !testing::UnitTest::GetInstance()->Failed() ? 0 : 1;
}
