// PreferencesFuzz.cpp - a preferences file of any bytes: it counts as empty or its entries are read, and a
// change keeps them all. Input: the file.
#include "shared/System/kvPreferencesFile.h"
#include "tests/fuzz/FuzzInput.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Test;

constexpr char kKey[] = "a key of this test";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    static const TempDir dir;
    const std::string strPath = dir.File("domain.json");
    WriteFile(strPath, Bytes(p, p + n));
    const PreferencesFile file(strPath.c_str(), false);
    PreferencesDictionary entries, after;
    KV_FUZZ_CHECK(file.Read(entries));
    entries.erase(kKey);
    const bool bWritten = file.Write([](PreferencesDictionary& all) { all[kKey] = {.content = 7}; });
    if (!bWritten) return 0;
    KV_FUZZ_CHECK(file.Read(after));
    KV_FUZZ_CHECK(after.count(kKey) == 1 && std::get<int>(after[kKey].content) == 7);
    after.erase(kKey);
    KV_FUZZ_CHECK(after.size() == entries.size());
    for (const auto& [strName, value] : entries)
        KV_FUZZ_CHECK(after.count(strName) == 1 && after[strName].content.index() == value.content.index());
    return 0;
}
