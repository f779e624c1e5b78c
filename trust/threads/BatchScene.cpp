// Rounds of batches: several engines at once on one folder, two batches at a time, stopped by a signal.
#include <array>
#include <csignal>
#include <filesystem>
#include <optional>
#include <sstream>
#include <thread>

#include "shared/System/kvCancelSignal.h"
#include "tools/kvbank/build/BuildBatch.h"
#include "trust/threads/Rounds.h"

namespace Kestrova::Trust {
namespace {

namespace fs = std::filesystem;

class NoWatcher : public BatchWatcher {
public:
    void OnProgress(size_t, double, uint64_t) override {}
    void OnEnd(const SourceOutcome&) override {}
};

class BatchScene : public Scene {
public:
    BatchScene();
    void PlayRound(Chance& chance) override;

private:
    ExitCode Build(BankLayout layout, unsigned nAtOnce, bool bForce) const;
    void DemandUntouched() const;

    TempDir m_dir;
    std::vector<std::string> m_sources;
    std::vector<Bytes> m_bytes;  // of the sources
    std::string m_strFolder = m_dir.File("banks");
    WholeFiles m_whole;
};

BatchScene::BatchScene() {
    fs::create_directory(m_strFolder);
    for (unsigned i = 0; i < 3; ++i) {
        m_sources.push_back(m_dir.File(std::array{"Alpha.kvs", "Beta_0AC44.kvs", "Gamma.kvs"}[i]));
        Test::MakeSource(m_sources[i], SmallSource(i));
        m_bytes.push_back(Test::ReadFile(m_sources[i]));
    }
    for (const BankLayout layout : {BankLayout::Plain, BankLayout::PerKey}) {
        Demand(Build(layout, 1, true) == kExitDone, "banks that nobody disturbs are built");
        for (const std::string& strName : NamesIn(m_strFolder)) m_whole.Keep(m_strFolder + "/" + strName);
    }
}

ExitCode BatchScene::Build(BankLayout layout, unsigned nAtOnce, bool bForce) const {
    std::istringstream in;
    std::ostringstream out, errors;
    const Console console(in, out, errors);
    BuildOptions options;
    options.strFolder = m_strFolder;
    options.arRates = {44100, 96000};
    options.layout = layout;
    options.bForce = bForce;
    options.bIgnoreSpace = true;
    BuildBatch batch(console, options, m_sources);
    NoWatcher watcher;
    return batch.Run(nAtOnce, watcher);
}

void BatchScene::DemandUntouched() const {
    for (size_t i = 0; i < m_sources.size(); ++i)
        Demand(Test::ReadFile(m_sources[i]) == m_bytes[i], "the source is as it was");
}

void BatchScene::PlayRound(Chance& chance) {
    const Handles handles;
    const BankLayout layout = chance.OneIn(2) ? BankLayout::Plain : BankLayout::PerKey;
    for (const std::string& strName : NamesIn(m_strFolder))
        if (chance.OneIn(2)) fs::remove(m_strFolder + "/" + strName);
    const std::array<unsigned, 2> atOnce = {1 + chance.Below(3), 1 + chance.Below(3)};
    const bool bForce = chance.OneIn(2);
    const unsigned nBeforeSignal = chance.OneIn(3) ? 0 : 1 + chance.Below(15000);  // microseconds
    std::array<ExitCode, 2> codes = {kExitDone, kExitDone};
    {
        std::optional<std::jthread> other;
        if (chance.OneIn(2)) other.emplace([&] { codes[1] = Build(layout, atOnce[1], bForce); });
        std::optional<std::jthread> signal;
        if (nBeforeSignal != 0) {
            signal.emplace([nBeforeSignal] {
                std::this_thread::sleep_for(std::chrono::microseconds(nBeforeSignal));
                SetCancelSignal(SIGINT);
            });
        }
        codes[0] = Build(layout, atOnce[0], bForce);
    }
    SetCancelSignal(0);
    for (const ExitCode code : codes)
        Demand(code == kExitDone || code == kExitProblem || code == kExitBusy,
               "a batch is done, stopped or finds the folder busy, not " + std::to_string(code));
    m_whole.DemandOnlyThese(m_strFolder);
    DemandUntouched();
    Demand(Build(layout, 2, false) == kExitDone, "the next batch makes what is missing");
    m_whole.DemandOnlyThese(m_strFolder);
    Demand(NamesIn(m_strFolder).size() == 2 * m_sources.size(), "every bank is there, in one layout");
    handles.DemandSame();
}

}  // namespace

std::unique_ptr<Scene> MakeBatchScene() { return std::make_unique<BatchScene>(); }

}  // namespace Kestrova::Trust
