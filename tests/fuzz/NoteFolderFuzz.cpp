// NoteFolderFuzz.cpp - a folder of sound files named by note: it is refused, or what is planned of it can be
// read. Input: files one behind the other: a name ended by a zero byte, two bytes of length, the content. A
// content of length 0 stands for a small sound file.
#include <filesystem>

#include "import/notefolder/NoteFolder.h"
#include "tests/fuzz/FuzzInput.h"
#include "tests/fuzz/PlanCheck.h"
#include "tests/support/SoundFileMaker.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Test;

constexpr int kMostFiles = 12;

void MakeFolder(const fs::path& folder, FuzzInput& input) {
    fs::remove_all(folder);
    fs::create_directory(folder);
    for (int n = 0; n < kMostFiles && !input.IsEmpty(); ++n) {
        const std::string strName = FileName(input.Text(), "C4.wav");
        const size_t nContent = input.Number(2);
        WriteFile(folder / strName, nContent == 0 ? MakeRampWav(20) : input.Take(nContent));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    static const TempDir dir;
    FuzzInput input(p, n);
    MakeFolder(dir.File("Piano"), input);
    NoteFolder folder;
    if (!folder.Open(dir.File("Piano")).IsDone()) return 0;
    ImportPlan plan;
    ImportReport report;
    if (folder.MakePlan({}, plan, report).IsDone()) CheckPlan(folder, plan);
    return 0;
}
