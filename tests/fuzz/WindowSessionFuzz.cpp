// WindowSessionFuzz.cpp - a session of the window on the desktop in memory: any settings, a folder of any
// files, and whatever its user does. No source goes or changes, nothing else does but banks, and what is
// built is whole. Input: a byte for the mode, lines of the settings, the files of the folder, then a byte for
// each act, with its arguments behind it.
#include <set>
#include <thread>

#include "app/StgMan.h"
#include "shared/System/kvCancelSignal.h"
#include "tests/fuzz/AnyFolder.h"
#include "tests/support/FakeGui.h"
#include "tests/support/PrivateHome.h"
#include "tests/support/SoundFontMaker.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Test;

constexpr const char* kModeWords[] = {"", "install", "uninstall", "create96000"};
constexpr char kFontName[] = "Piano.sf2";
constexpr size_t kMostActs = 24;
constexpr int kMuchSpace = 1000;  // MiB

// The folders of a user, outside the one in which the window works.
struct User {
    TempDir dir;
    PrivateHome home{dir};
    const fs::path settings = dir.Path() / "data/Kestrova/Calderine/kvsmple.ini";

    // Folders in the current one: a name that led out of it would be that of another's files.
    void PutSettings(FuzzInput& input) const {
        std::string strText = "[AdditionalBankPaths]\n";
        for (size_t n = input.Below(3); n > 0; --n)
            strText += FileName(Expanded(input.Text()), "banks") + "\n";
        fs::create_directories(settings.parent_path());
        WriteFile(settings, strText);
    }
};

class Session {
public:
    Session(FuzzInput& input, const char* pszMode)
        : m_input(input),
          m_man(pszMode, Absolute(kSourceName).c_str(), Absolute(".").c_str()),
          m_bApplied(*pszMode != 0) {
        m_gui.SetFreeSpace(kMuchSpace);
        AddSource(kSourceName);
        m_before = TakeSnapshot();
    }
    ~Session() { SetCancelSignal(0); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    void Run() {
        m_gui.SetLoop([this] {
            for (size_t n = 0; n < kMostActs && !m_input.IsEmpty() && !m_gui.LoopWasQuit(); ++n) Act();
        });
        m_man.Routine();
        m_man.Cancel();
        Settle();
    }

    void CheckFiles() const {
        for (const std::string& strPath : WhatChanged(m_before))
            KV_FUZZ_CHECK(IsBankOfASource(strPath) && (m_bApplied || IsLeft(m_before.at(strPath))));
        for (const auto& [strPath, content] : TakeSnapshot()) {
            const bool bNew = m_before.count(strPath) == 0 || m_before.at(strPath) != content;
            if (bNew && fs::is_regular_file(strPath) && IsBankOfASource(strPath)) CheckBank(strPath);
        }
    }

private:
    static std::string Absolute(const fs::path& path) {
        return fs::absolute(path).lexically_normal().string();
    }

    std::string AnyPath() { return Absolute(PathOf(Expanded(m_input.Text()))); }

    void AddSource(const fs::path& path) { m_stems.insert(path.stem().string()); }

    void Act() {
        const int nByte = m_input.Byte();
        switch (m_input.Below(12)) {
            case 0: Settle(); break;
            case 1: Tick(); break;
            case 2: Apply(); break;
            case 3: Click(kCancelButton); break;
            case 4: m_gui.Drop(true, AnyPath()); break;
            case 5: DropSource(AnyPath()); break;
            case 6: DropSource(Absolute(kFontName)); break;
            case 7: m_gui.AnswerNextAlert(1 + nByte % 3); break;
            case 8: m_gui.SetFreeSpace(nByte); break;
            case 9: m_gui.Close(); break;
            case 10: Choose(nByte % 2 != 0); break;
            default: TickRate(nByte / 2 % kRateCount, nByte % 2);
        }
    }

    // The window enables its button at the tick that follows.
    void TickRate(int nRate, int nValue) {
        Settle();
        Click(kFirstRateBox + nRate, nValue);
        Tick();
    }

    void DropSource(const std::string& strPath) {
        AddSource(strPath);
        m_gui.Drop(false, strPath);
    }

    void Choose(bool bSource) {
        const std::string strPath = AnyPath();
        if (bSource) AddSource(strPath);
        m_gui.ChooseNext(strPath);
        Click(bSource ? kSourceChooser : kTargetChooser);
    }

    void Click(int nControl, int nValue = 0) {
        const GuiWidget& control = m_gui.Control(nControl);
        if (control.bEnabled && control.bShown) m_gui.Press(nControl, nValue);
    }

    void Apply() {
        m_strAtWork = m_man.GetSource().c_str();
        m_atWork = BytesOf(m_strAtWork);
        m_bApplied = true;
        Click(kMainButton);
    }

    static Bytes BytesOf(const std::string& strPath) {
        return fs::is_regular_file(strPath) ? ReadFile(strPath) : Bytes();
    }

    // Waits for the job, and lets the window see that it has ended.
    void Settle() {
        while (IsBusy(m_man.GetStatus())) {
            Tick();
            std::this_thread::yield();
        }
        Tick();
        KV_FUZZ_CHECK(BytesOf(m_strAtWork) == m_atWork);
    }

    void Tick() {
        if (m_gui.HasWindow() && m_gui.Window().bShown) m_gui.Tick();
    }

    // One that an earlier session began, or that lost its bytes with the power.
    static bool IsLeft(const Bytes& file) {
        return std::all_of(file.begin(), file.end(), [](uint8_t byte) { return byte == 0; });
    }

    // An imported source may have a number behind its name.
    bool IsBankOfASource(const fs::path& path) const {
        const std::string strName = path.filename().string();
        return IsBank(strName) &&
               std::any_of(m_stems.begin(), m_stems.end(), [&](const std::string& strStem) {
                   return strName.starts_with(strStem.substr(0, strStem.rfind('_')));
               });
    }

    static void CheckBank(const std::string& strPath) {
        if (CSDB::IsUnfinishedBuild(strPath.c_str(), kSdbFormatEnriched)) return;
        KV_FUZZ_CHECK(RunCommand({"verify", "./" + strPath}).nCode == kExitDone);
    }

    FuzzInput& m_input;
    FakeGui m_gui;
    StgMan m_man;
    Snapshot m_before;
    std::set<std::string> m_stems;  // of the sources so far
    std::string m_strAtWork;        // the source when the button was pressed last
    Bytes m_atWork;
    bool m_bApplied;  // something was, at once in all modes but the manager's
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    static const FencedFolder folder;
    folder.Clear();
    static const Contents contents;
    folder.Clear();
    static const User user;
    FuzzInput input(p, n);
    const char* const pszMode = kModeWords[input.Below(std::size(kModeWords))];
    user.PutSettings(input);
    WriteFile(kFontName, MakeFont(SimpleFont()));
    MakeFolder(input, contents, input.Below(6));
    Session session(input, pszMode);
    session.Run();
    session.CheckFiles();
    KV_FUZZ_CHECK(ReadFile(kSourceName) == contents.Source());
    folder.Check();
    return 0;
}
