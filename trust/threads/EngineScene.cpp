// Rounds on one engine: analysed, built, cancelled, asked and changed in between, destroyed while it works.
#include <array>
#include <atomic>
#include <chrono>
#include <climits>
#include <filesystem>
#include <thread>
#include <utility>

#include "bank/DBEUCreate.h"
#include "trust/threads/Rounds.h"

namespace Kestrova::Trust {
namespace {

namespace fs = std::filesystem;

constexpr std::array<unsigned, 3> kRates = {44100, 48000, 96000};
constexpr int kCreating = 2;  // the engine's state

// An engine whose jobs can be cancelled at a callback chosen beforehand, or at any moment.
class Client {
public:
    Client() { m_engine.SetCallback(OnCallback, reinterpret_cast<unsigned long>(this)); }

    CDBEUCreate& operator*() { return m_engine; }
    CDBEUCreate* operator->() { return &m_engine; }

    // Before a job is started: the answer 0 comes at that callback, counted from 0.
    void CancelAt(int nCall) {
        m_bCancel = false;
        m_nCallsLeft = nCall;
    }
    void CancelNow() { m_bCancel = true; }
    void Wait() {
        while (m_engine.GetState() != 0) std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    // A bank cancelled at its first callback leaves its file.
    bool MayLeaveFile() const { return m_bRefusedFirst; }

private:
    static int OnCallback(int nCode, unsigned, unsigned long nUser) {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the engine hands back the integer it was given
        Client& client = *reinterpret_cast<Client*>(nUser);
        const bool bGoOn = client.m_nCallsLeft.fetch_sub(1) > 0 && !client.m_bCancel;
        if (nCode == 1 && !bGoOn && client.m_engine.GetState() == kCreating) client.m_bRefusedFirst = true;
        return bGoOn;
    }

    std::atomic<int> m_nCallsLeft{INT_MAX};
    std::atomic<bool> m_bCancel{false};
    std::atomic<bool> m_bRefusedFirst{false};
    CDBEUCreate m_engine;  // last: its worker calls back until it is gone
};

class EngineScene : public Scene {
public:
    EngineScene();
    void PlayRound(Chance& chance) override;

private:
    struct Source {
        std::string strPath;
        Bytes bytes;
    };

    bool Play(Chance& chance);
    void Step(Chance& chance, Client& client);
    void Disturb(Chance& chance, Client& client);
    void BuildOne(const Source& source, const std::string& strFolder, unsigned nRate, int nPerKey);
    void CleanUp(const std::string& strFolder, bool bMayBeLeft);

    TempDir m_dir;
    std::array<Source, 2> m_sources;
    std::array<std::string, 2> m_folders;
    WholeFiles m_whole;
};

EngineScene::EngineScene() {
    for (unsigned i = 0; i < 2; ++i) {
        m_sources[i].strPath = m_dir.File(i == 0 ? "Alpha.kvs" : "Beta_0AC44.kvs");
        Test::MakeSource(m_sources[i].strPath, SmallSource(i));
        m_sources[i].bytes = Test::ReadFile(m_sources[i].strPath);
        m_folders[i] = m_dir.File(i == 0 ? "one" : "two");
        fs::create_directory(m_folders[i]);
    }
    // What every later bank must be: built by an engine of its own, without any helper thread.
    for (const Source& source : m_sources) {
        for (const unsigned nRate : kRates) {
            for (const int nPerKey : {0, 1}) {
                BuildOne(source, m_folders[0], nRate, nPerKey);
                for (const std::string& strName : NamesIn(m_folders[0])) {
                    m_whole.Keep(m_folders[0] + "/" + strName);
                    fs::remove(m_folders[0] + "/" + strName);
                }
            }
        }
    }
}

void EngineScene::BuildOne(const Source& source, const std::string& strFolder, unsigned nRate, int nPerKey) {
    Client client;
    client->SetHelperThreads(0);
    Demand(client->SetSrcFile(source.strPath.c_str()) == kBankDone, "a source is opened");
    client.Wait();
    Demand(client->SetDstDir(strFolder.c_str()) == kBankDone, "a folder is set");
    Demand(client->CreateDB(nRate, nPerKey, kHighestQuality) == kBankDone, "a build begins");
    client.Wait();
    Demand(client->GetFault().IsDone(), "a build that nobody disturbs succeeds");
}

// What a client may ask at any time; a job may have ended in between, so every answer is good.
void EngineScene::Disturb(Chance& chance, Client& client) {
    int kinds[kRateCount];
    unsigned nNumber = 0;
    switch (chance.Below(8)) {
        case 0: static_cast<void>(client->SetDstDir(chance.Of(m_folders).c_str())); break;
        case 1: client->Prediction(chance.Of(kRates), static_cast<int>(chance.Below(2)), nNumber); break;
        case 2: client->GetExisting(kinds, &nNumber); break;
        case 3: static_cast<void>(client->RemoveInterrupted(nNumber)); break;
        case 4: client->RemoveDB(chance.Of(kRates), static_cast<int>(chance.Below(4))); break;
        case 5: client->SetSrcFile(chance.Of(m_sources).strPath.c_str()); break;
        case 6:
            client->CreateDB(chance.Of(kRates), static_cast<int>(chance.Below(2)), kHighestQuality);
            break;
        default: client->GetStatus();
    }
}

// One job, perhaps cancelled, disturbed and waited for.
void EngineScene::Step(Chance& chance, Client& client) {
    client.CancelAt(chance.OneIn(3) ? static_cast<int>(chance.Below(12)) : INT_MAX);
    if (chance.OneIn(4))
        client->SetSrcFile(chance.Of(m_sources).strPath.c_str());
    else
        client->CreateDB(chance.Of(kRates), static_cast<int>(chance.Below(2)), kHighestQuality);
    for (unsigned n = chance.Below(4); n > 0; --n) {
        chance.Pause(400);
        Disturb(chance, client);
    }
    if (chance.OneIn(3)) {
        chance.Pause(800);
        client.CancelNow();
    }
    if (!chance.OneIn(6)) client.Wait();
}

// Whether a file of an unfinished build may be left.
bool EngineScene::Play(Chance& chance) {
    Client client;
    client->SetHelperThreads(chance.Below(3));
    Demand(client->SetDstDir(chance.Of(m_folders).c_str()) == kBankDone, "a folder is set");
    client->SetSrcFile(chance.Of(m_sources).strPath.c_str());
    if (!chance.OneIn(8)) client.Wait();
    for (unsigned n = 1 + chance.Below(4); n > 0; --n) Step(chance, client);
    if (chance.OneIn(2)) client.Wait();
    // The end of the engine refuses also a first callback.
    return client->GetState() != 0 || client.MayLeaveFile();
}

// Everything but whole banks is the file of an unfinished build, and one call removes it.
void EngineScene::CleanUp(const std::string& strFolder, bool bMayBeLeft) {
    for (const std::string& strName : NamesIn(strFolder)) {
        const std::string strPath = strFolder + "/" + strName;
        if (m_whole.IsUnfinished(strPath))
            Demand(bMayBeLeft, "nothing is left of a cancelled build, such as " + strPath);
        else
            m_whole.DemandWhole(strPath);
    }
    for (const Source& source : m_sources) {
        Client client;
        Demand(client->SetSrcFile(source.strPath.c_str()) == kBankDone, "a source is opened again");
        client.Wait();
        Demand(client->SetDstDir(strFolder.c_str()) == kBankDone, "a folder is set again");
        unsigned nRemoved = 0;
        Demand(client->RemoveInterrupted(nRemoved) == kBankDone, "what is left is removed");
    }
    m_whole.DemandOnlyThese(strFolder);
}

void EngineScene::PlayRound(Chance& chance) {
    const Handles handles;
    const bool bMayBeLeft = Play(chance);
    for (const std::string& strFolder : m_folders) CleanUp(strFolder, bMayBeLeft);
    for (const Source& source : m_sources)
        Demand(Test::ReadFile(source.strPath) == source.bytes, "the source is as it was");
    BuildOne(chance.Of(m_sources), m_folders[0], chance.Of(kRates), static_cast<int>(chance.Below(2)));
    for (const std::string& strFolder : m_folders) {
        m_whole.DemandOnlyThese(strFolder);
        for (const std::string& strName : NamesIn(strFolder)) fs::remove(strFolder + "/" + strName);
    }
    handles.DemandSame();
}

}  // namespace

std::unique_ptr<Scene> MakeEngineScene() { return std::make_unique<EngineScene>(); }

}  // namespace Kestrova::Trust
