// BankFolderFuzz.cpp - a folder of any files, in which kvbank lists banks, removes them and what interrupted
// runs have left, and builds: nothing else there goes or changes. Input: a byte of choices, then the files.
#include "tests/fuzz/AnyFolder.h"
#include "tests/support/Vectors.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Test;

bool IsPrivateFolder(const std::string& strName) {
    return strName.size() == 14 && strName.starts_with(".kvbank-") &&
           std::all_of(strName.begin() + 8, strName.end(),
                       [](unsigned char ch) { return std::isalnum(ch) != 0; });
}

// A private folder, or a bank in it.
bool IsOfPrivateFolder(const fs::path& path) {
    if (!path.has_parent_path()) return IsPrivateFolder(path.string());
    return IsPrivateFolder(path.parent_path().string()) && IsBank(path.filename().string());
}

// A name that is no UTF-8 is told byte by byte.
std::string PathIn(const Json& row) {
    std::string strPath = row["file"];
    if (row.contains("file_bytes")) {
        const Bytes bytes = HexBytes(row["file_bytes"]);
        strPath.assign(bytes.begin(), bytes.end());
    }
    return fs::path(strPath).lexically_normal().string();
}

void CheckRemovalOfLeftovers() {
    const Snapshot before = TakeSnapshot();
    std::vector<std::string> listed;
    const Json list = Json::parse(RunCommand({"list", "--json", "."}).strOut);
    for (const Json& row : list["leftovers"]) listed.push_back(PathIn(row));
    RunCommand({"remove", "--leftovers", "."});
    for (const std::string& strPath : WhatChanged(before)) {
        const bool bListed = std::find(listed.begin(), listed.end(), strPath) != listed.end();
        KV_FUZZ_CHECK(bListed || IsOfPrivateFolder(strPath));
    }
}

void CheckCommand(const std::vector<std::string>& command) {
    const Snapshot before = TakeSnapshot();
    RunCommand(command);
    for (const std::string& strPath : WhatChanged(before))
        KV_FUZZ_CHECK(IsPianosBank(strPath) || IsOfPrivateFolder(strPath));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    static const FencedFolder folder;
    folder.Clear();
    static const Contents contents;
    folder.Clear();
    FuzzInput input(p, n);
    const uint8_t nChoices = input.Byte();
    MakeFolder(input, contents);
    if ((nChoices & 1) != 0) CheckRemovalOfLeftovers();
    std::vector<std::string> build = {"build", "-r", "44100", "-d", ".", kSourceName};
    if ((nChoices & 2) != 0) build.emplace_back("-f");
    if ((nChoices & 4) != 0) build.insert(build.end(), {"--layout", "per-key"});
    CheckCommand(build);
    CheckCommand({"remove", "-y", "-r", "all", "--source", kSourceName, "."});
    KV_FUZZ_CHECK(ReadFile(kSourceName) == contents.Source());
    folder.Check();
    return 0;
}
