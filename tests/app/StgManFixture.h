// StgManFixture.h - a storage manager with the real engine and small sources, on the fake desktop.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "app/StgMan.h"
#include "shared/System/kvMutex.h"
#include "tests/app/DialogFixture.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/PrivateHome.h"
#include "tests/support/SourceMaker.h"

namespace Kestrova::Test {

namespace fs = std::filesystem;

// Makes the file operations of other threads wait, so that a job stands still where a test wants it.
class GatedFileEnv final : public FaultyFileEnv {
public:
    // Operations of one kind, behind the first nPassing of them, or of every kind, wait until Release.
    void Hold(FileOp op, int nPassing = 0) { SetGate(op, false, nPassing); }
    void HoldAll() { SetGate(std::nullopt, true); }
    void Release() { SetGate(std::nullopt, false); }
    // Returns when an operation waits.
    void WaitUntilOneWaits() {
        MutexGuard guard(m_gate);
        m_changed.Wait(guard, [this]() KV_REQUIRES(m_gate) { return m_nWaiting > 0; });
    }

    int64_t ReadAt(int nFile, uint64_t pos, void* pData, size_t nBytes) override {
        Pass(FileOp::kRead);
        return FaultyFileEnv::ReadAt(nFile, pos, pData, nBytes);
    }
    int64_t WriteAt(int nFile, uint64_t pos, const void* pData, size_t nBytes) override {
        Pass(FileOp::kWrite);
        return FaultyFileEnv::WriteAt(nFile, pos, pData, nBytes);
    }
    bool Sync(int nFile) override {
        Pass(FileOp::kSync);
        return FaultyFileEnv::Sync(nFile);
    }
    bool GetFacts(int nFile, FileFacts& facts) override {
        Pass(FileOp::kFacts);
        return FaultyFileEnv::GetFacts(nFile, facts);
    }
    bool CheckPosition(int nFile, uint64_t pos) override {
        Pass(FileOp::kPosition);
        return FaultyFileEnv::CheckPosition(nFile, pos);
    }

private:
    bool Holds(FileOp op) const KV_REQUIRES(m_gate) { return m_bHoldsAll || m_held == op; }
    void SetGate(std::optional<FileOp> held, bool bAll, int nPassing = 0) {
        const MutexGuard guard(m_gate);
        m_nPassing = nPassing;
        m_held = held;
        m_bHoldsAll = bAll;
        m_changed.NotifyAll();
    }
    void Pass(FileOp op) {
        if (std::this_thread::get_id() == m_own) return;
        MutexGuard guard(m_gate);
        if (!Holds(op) || m_nPassing-- > 0) return;
        ++m_nWaiting;
        m_changed.NotifyAll();
        m_changed.Wait(guard, [&]() KV_REQUIRES(m_gate) { return !Holds(op); });
        --m_nWaiting;
    }

    const std::thread::id m_own = std::this_thread::get_id();
    Mutex m_gate;
    Condition m_changed;
    std::optional<FileOp> m_held KV_GUARDED_BY(m_gate);
    bool m_bHoldsAll KV_GUARDED_BY(m_gate) = false;
    int m_nWaiting KV_GUARDED_BY(m_gate) = 0;
    int m_nPassing KV_GUARDED_BY(m_gate) = 0;
};

// A source "Test.kvs", a folder "banks" and folders for the data of this user and of all, all in a temporary
// folder; and the storage manager, once opened.
struct StgManBench {
    TempDir dir;
    PrivateHome home{dir};
    FakeGui gui;
    GatedFileEnv files;
    const std::string strSource = dir.File("Test.kvs");
    const fs::path banks = dir.Path() / "banks";
    const fs::path settings = dir.Path() / "data/Kestrova/Calderine/kvsmple.ini";
    std::unique_ptr<StgMan> pMan;

    explicit StgManBench(const SourceSpec& spec = Spec()) { MakeSource(strSource, spec); }
    ~StgManBench() { SetCancelSignal(0); }
    StgManBench(const StgManBench&) = delete;
    StgManBench& operator=(const StgManBench&) = delete;

    // Two samples, of which the jobs must read the second from the file.
    static SourceSpec Spec() {
        SourceSpec spec;
        spec.samples.resize(2);
        spec.samples[0].nFrames = 40000;
        spec.samples[1].nFrames = 40000;
        spec.programs = {{true, {{60, 61, {0, 1}}}}};
        return spec;
    }

    StgMan& Open(const char* pszMode = "") { return Open(pszMode, strSource, banks.string()); }
    StgMan& Open(const char* pszMode, const std::string& strFile, const std::string& strFolder) {
        pMan = std::make_unique<StgMan>(pszMode, strFile.c_str(), strFolder.c_str());
        return *pMan;
    }
    // The exit status after an event loop that is this script.
    int Run(std::function<void()> script) {
        gui.SetLoop(std::move(script));
        return pMan->Routine();
    }
    // The same when the source is analysed and the banks are listed.
    int RunReady(std::function<void()> script) {
        return Run([this, script] {
            Settle();
            script();
        });
    }

    void WaitIdle() {
        while (IsBusy(pMan->GetStatus())) std::this_thread::yield();
    }
    void Settle() {
        WaitIdle();
        gui.Tick();
    }
    void Select(int nRate, bool bOn) { gui.Press(kFirstRateBox + nRate, bOn); }
    void Apply() { gui.Press(kMainButton); }
    // Ticks the rates and presses the main button; the first bank stands still in its middle until
    // files.Release.
    void BuildAndHold(const std::vector<int>& rates) {
        for (const int nRate : rates) Select(nRate, true);
        ApplyAndHold(FileOp::kRead);
    }
    // Presses the main button; the job stands still in its first operation of this kind until files.Release.
    // Of syncs it is the one of the commit: the first brings the bank's beginning to the disk.
    void ApplyAndHold(FileOp op) {
        files.Hold(op, op == FileOp::kSync ? 1 : 0);
        Apply();
        files.WaitUntilOneWaits();
    }
    // Ticks the rates, presses the main button and waits for the end of the run.
    void Build(const std::vector<int>& rates) {
        for (const int nRate : rates) Select(nRate, true);
        Apply();
        Settle();
    }

    const GuiWidget& Control(int n) const { return gui.Control(n); }
    const std::string& StatusText() const { return Control(kProgressText).strText; }
    bool WasCalled(const std::string& strCall) const {
        return std::find(gui.Calls().begin(), gui.Calls().end(), strCall) != gui.Calls().end();
    }
    fs::path BankPath(int nRate) const {
        static constexpr const char* kNames[] = {"Test_0AC44.kvn", "Test_0BB80.kvn", "Test_15888.kvn",
                                                 "Test_17700.kvn", "Test_2B110.kvn", "Test_2EE00.kvn"};
        return banks / kNames[nRate];
    }
    fs::path PerKeyBankPath(int nRate) const { return BankPath(nRate).replace_extension(".kvr"); }
    bool HasBank(int nRate) const { return fs::exists(BankPath(nRate)); }
    // Something under a bank's name that nobody would take for an interrupted build.
    void PutBank(int nRate) const { PutBank(BankPath(nRate)); }
    void PutPerKeyBank(int nRate) const { PutBank(PerKeyBankPath(nRate)); }
    void PutBank(const fs::path& file) const {
        fs::create_directories(banks);
        WriteFile(file, std::string("a bank"));
    }
    std::vector<int> Boxes() const {
        std::vector<int> values;
        for (int i = 0; i < kRateCount; ++i) values.push_back(Control(kFirstRateBox + i).nValue);
        return values;
    }
    std::vector<int> AlertCodes() const {
        std::vector<int> codes;
        for (const FakeAlert& alert : gui.Alerts()) codes.push_back(alert.nCode);
        return codes;
    }
    std::string Settings() const {
        const Bytes bytes = ReadFile(settings);
        return {bytes.begin(), bytes.end()};
    }
    void PutSettings(const std::string& strText) const {
        fs::create_directories(settings.parent_path());
        WriteFile(settings, strText);
    }
};

}  // namespace Kestrova::Test
