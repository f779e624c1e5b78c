// IniFileFuzz.cpp - a settings file of any bytes: what is set is found again after it was written, and what
// was there stays. Input: a section, a key and a value, each ended by a zero byte, then the file.
#include "shared/System/kvIniFile.h"
#include "tests/fuzz/FuzzInput.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Test;

using Texts = FifoList<LinkedString>;

int CountAll(const IniFile& file) {
    Texts sections, items;
    file.GetSections(sections);
    int nItems = 0;
    for (const LinkedString& section : sections) nItems += file.GetItems(items, section.strText.c_str());
    return nItems;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    static const TempDir dir;
    const std::string strPath = dir.File("settings.ini");
    FuzzInput input(p, n);
    const std::string strSection = input.Text(), strKey = input.Text(), strText = input.Text();
    WriteFile(strPath, input.Rest());
    IniFile file;
    KV_FUZZ_CHECK(file.Open(strPath.c_str(), "r") == 1);
    const int nItems = CountAll(file);
    String strValue;
    const int nFound = file.GetKeyValue(strSection.c_str(), strKey.c_str(), strValue);
    const int nSet = file.SetKeyValue(strSection.c_str(), strKey.c_str(), strText.c_str());
    file.Close();
    KV_FUZZ_CHECK(file.Open(strPath.c_str(), "r") == 1);
    const int nAdded = CountAll(file) - nItems;
    KV_FUZZ_CHECK(nAdded >= 0 && nAdded <= (nSet == 1 && nFound == 0 ? 1 : 0));
    if (nSet == 1) KV_FUZZ_CHECK(file.GetKeyValue(strSection.c_str(), strKey.c_str(), strValue) == 1);
    file.SetItem(strSection.c_str(), strText.c_str());
    file.RemoveItem(strSection.c_str(), strText.c_str());
    file.Close();
    return 0;
}
