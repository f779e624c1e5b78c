// Rounds of the window on the desktop in memory: what a user presses at any moment, and the end at any
// moment.
#include <array>
#include <chrono>
#include <filesystem>
#include <thread>

#include "tests/app/StgManFixture.h"
#include "tests/support/SoundFontMaker.h"
#include "trust/threads/Rounds.h"

namespace Kestrova::Trust {
namespace {

using Test::StgManBench;

constexpr std::array<int, 3> kRates = {0, 1, 3};

// The desktop with two sources, two folders and an instrument to import.
struct Bench : StgManBench {
    const std::string strOther = dir.File("Other.kvs");
    const std::string strFont = dir.File("Piano.sf2");
    const std::string strOtherFolder = dir.File("others");

    Bench() : StgManBench(SmallSource(0)) {
        Test::MakeSource(strOther, SmallSource(2));
        Test::WriteFile(strFont, Test::MakeFont(Test::SimpleFont()));
        std::filesystem::create_directories(banks);
        std::filesystem::create_directories(strOtherFolder);
    }

    std::array<std::string, 2> Folders() const { return {banks.string(), strOtherFolder}; }

    void WaitAndTick() {
        while (IsBusy(pMan->GetStatus())) {
            gui.Tick();
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        }
        gui.Tick();
    }
    // A click on what looks enabled.
    bool Click(int nControl, int nValue = 0) {
        if (!Control(nControl).bEnabled || !Control(nControl).bShown) return false;
        gui.Press(nControl, nValue);
        return true;
    }
    // A session in a folder, whatever the settings say, that ends where the script ends.
    void Session(const std::string& strFile, const std::function<void()>& script) {
        Open("", strFile, banks.string());
        Run([&] {
            WaitAndTick();
            script();
        });
        pMan.reset();
    }
};

class WindowScene : public Scene {
public:
    WindowScene();
    void PlayRound(Chance& chance) override;

private:
    void Act(Chance& chance, Bench& bench);
    void CleanUp(Bench& bench, const std::string& strFolder) const;

    WholeFiles m_whole;
};

WindowScene::WindowScene() {
    Bench bench;
    for (const std::string& strSource : {bench.strSource, bench.strOther, bench.strFont}) {
        bench.Session(strSource, [&] { bench.Build({0, 1, 3}); });
        for (const std::string& strName : NamesIn(bench.banks.string()))
            m_whole.Keep(bench.banks.string() + "/" + strName);
    }
}

void WindowScene::Act(Chance& chance, Bench& bench) {
    switch (chance.Below(9)) {
        case 0: bench.gui.Drop(false, chance.OneIn(2) ? bench.strOther : bench.strSource); break;
        case 1: bench.gui.Drop(false, bench.strFont); break;
        case 2: bench.gui.Drop(true, chance.OneIn(2) ? bench.strOtherFolder : bench.banks.string()); break;
        case 3: bench.Click(kCancelButton); break;
        case 4: bench.WaitAndTick(); break;
        case 5: bench.Click(kFirstRateBox + chance.Of(kRates), chance.OneIn(2)); break;
        default: bench.Click(kFirstRateBox + chance.Of(kRates), 1); bench.Click(kMainButton);
    }
    chance.Pause(1500);
    if (chance.OneIn(2)) bench.gui.Tick();
}

// A bank cancelled at its first callback leaves its file; the next window on its source and folder removes
// it.
void WindowScene::CleanUp(Bench& bench, const std::string& strFolder) const {
    for (const std::string& strName : NamesIn(strFolder)) {
        const std::string strPath = strFolder + "/" + strName;
        if (!m_whole.IsUnfinished(strPath)) {
            m_whole.DemandWhole(strPath);
            continue;
        }
        const std::string strSource = strName.substr(0, strName.find('_')) + ".kvs";
        const bool bImported = std::filesystem::exists(strFolder + "/" + strSource);
        bench.Session(bImported ? strFolder + "/" + strSource : bench.dir.File(strSource), [&] {
            bench.gui.Drop(true, strFolder);
            bench.WaitAndTick();
        });
        Demand(!std::filesystem::exists(strPath), "the next window removes " + strPath);
    }
}

void WindowScene::PlayRound(Chance& chance) {
    const Handles handles;
    {
        Bench bench;
        const Bytes source = Test::ReadFile(bench.strSource), other = Test::ReadFile(bench.strOther);
        const Bytes font = Test::ReadFile(bench.strFont);
        bench.Open();
        bench.Run([&] {
            if (!chance.OneIn(4)) bench.WaitAndTick();
            for (unsigned n = 2 + chance.Below(7); n > 0; --n) Act(chance, bench);
        });
        bench.pMan.reset();  // whatever still runs
        Demand(Test::ReadFile(bench.strSource) == source && Test::ReadFile(bench.strOther) == other &&
                   Test::ReadFile(bench.strFont) == font,
               "every source is as it was");
        for (const std::string& strFolder : bench.Folders()) CleanUp(bench, strFolder);
        const int nRate = chance.Of(kRates);
        bench.Session(bench.strSource, [&] {
            bench.gui.Drop(true, bench.banks.string());
            bench.Build({nRate});
        });
        Demand(bench.HasBank(nRate), "the next session builds a bank");
        m_whole.DemandWhole(bench.BankPath(nRate).string());
    }
    handles.DemandSame();
}

}  // namespace

std::unique_ptr<Scene> MakeWindowScene() { return std::make_unique<WindowScene>(); }

}  // namespace Kestrova::Trust
