// DialogFixture.h - a dialog on the fake desktop, driven by a storage manager that only keeps notes.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/StgManDlg.h"
#include "shared/System/kvCancelSignal.h"
#include "tests/support/FakeGui.h"

namespace Kestrova::Test {

inline constexpr GuiType kModes[] = {kManager, kInstall, kUninstall, kCreate};
inline constexpr const char* kModeWords[] = {"", "install", "uninstall", "create96000"};

class FakeStgMan final : public IStgMan {
public:
    std::atomic<int> nStatus{StgStatusReady};
    std::atomic<int> nBanksCreated{0};
    std::array<int, kRateCount> sizes = {1, 10, 100, 1000, 10000, 100000};  // MiB
    std::function<void()> onProcess;
    CallList calls;

    bool SetSourceBase() override { return Note("source"); }
    bool SetTargetPath(const char* pszPrevious) override {
        return Note(pszPrevious == nullptr ? "target" : std::string("target, not ") + pszPrevious);
    }
    int EstimateBaseSize(int* selected) override {
        int nSum = 0;
        for (size_t i = 0; i < sizes.size(); ++i)
            if (selected[i] != 0) nSum += sizes[i];
        return nSum;
    }
    void Process() override {
        Note("process");
        if (onProcess) onProcess();
    }
    void Cancel() override { Note("cancel"); }
    int GetStatus() override { return nStatus; }
    int GetBanksCreated() override { return nBanksCreated; }

private:
    bool Note(const std::string& strCall) {
        calls.push_back(strCall);
        return true;
    }
};

// The dialog and everything around it, for one mode.
struct DialogBench {
    FakeGui gui;
    FakeStgMan manager;
    String strSource, strTarget;
    std::unique_ptr<StgManDlg> pDialog;

    DialogBench() = default;
    explicit DialogBench(const char* pszModeWord, const char* pszSource = "/src/a.kvs",
                         const char* pszTarget = "/banks")
        : strSource(pszSource), strTarget(pszTarget) {
        pDialog = std::make_unique<StgManDlg>(&manager, pszModeWord, strSource, strTarget);
        gui.TakeCalls();
    }
    ~DialogBench() { SetCancelSignal(0); }
    DialogBench(const DialogBench&) = delete;
    DialogBench& operator=(const DialogBench&) = delete;

    StgManDlg& Dialog() { return *pDialog; }
    const GuiWidget& Control(int n) const { return gui.Control(n); }
    const GuiWidget& RateBox(int nRate) const { return Control(kFirstRateBox + nRate); }

    // As the storage manager does when it has listed the banks, and the tick that shows it.
    void List(std::array<int, kRateCount> existing) {
        Dialog().SetCheckBoxes(existing.data());
        Dialog().SetExistingInfo(existing.data());
        gui.Tick();
    }
    std::vector<int> Selected() {
        return FlagsOf([this](int n) { return Dialog().IsSelected(n); });
    }
    std::vector<int> Existing() {
        return FlagsOf([this](int n) { return Dialog().IsExisting(n); });
    }
    std::vector<int> BoxValues() {
        return FlagsOf([this](int n) { return RateBox(n).nValue; });
    }
    std::vector<int> BoxesEnabled() {
        return FlagsOf([this](int n) { return RateBox(n).bEnabled; });
    }

private:
    template <class TFlag>
    static std::vector<int> FlagsOf(TFlag flag) {
        std::vector<int> flags;
        for (int i = 0; i < kRateCount; ++i) flags.push_back(flag(i));
        return flags;
    }
};

// Runs a body in a process of its own, where nothing has happened yet that happens once in a process, and
// expects that it passes. Inside, failures are printed and fail the test.
template <class TBody>
void ExpectPassesInAFreshProcess(TBody body) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            body();
            std::exit(testing::Test::HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace Kestrova::Test
