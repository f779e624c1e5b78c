// HostileSourceFuzz.cpp - any file as the source of the engine: analysed, and built in both layouts by both
// conversions. It is refused with a result, or becomes a bank that the reader library opens; the source is
// never changed. Input: the file. It is written to TMPDIR.
#include "tests/bank/EngineDriver.h"
#include "tests/fuzz/FuzzInput.h"
#include "tests/libkvbank/ReadAll.h"
#include "tests/support/FolderNames.h"
#include "tools/kvbank/precise/PreciseConverter.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Test;

constexpr unsigned kRate = 44100;
constexpr unsigned kMostMegabytes = 8;  // of a bank that is built; a hostile rate can ask for thousands
constexpr uint64_t kMostRecords = 4000;

// What was built is a whole bank.
void CheckBank(const std::string& strFolder) {
    const auto names = NamesIn(strFolder);
    KV_FUZZ_CHECK(names.size() == 1);
    kvb_bank* pBank = nullptr;
    KV_FUZZ_CHECK(kvb_open((fs::path(strFolder) / *names.begin()).c_str(), KVB_OPEN_MAP, &pBank) == KVB_OK);
    ReadAll(pBank);
    kvb_close(pBank);
}

void Build(EngineDriver& driver, int nPerKey, const std::string& strFolder) {
    unsigned nMegabytes = 0;
    if (driver.Engine().Prediction(kRate, nPerKey, nMegabytes) != kBankDone || nMegabytes > kMostMegabytes ||
        driver.Engine().GetAnalysis().nPerKeyRecords > int64_t{kMostRecords})
        return;
    const BankResult result = driver.Build(kRate, nPerKey);
    KV_FUZZ_CHECK(result <= kBankConversionFailed && result != kBankCancelled);
    if (result == kBankDone)
        CheckBank(strFolder);
    else
        KV_FUZZ_CHECK(NamesIn(strFolder).empty());
    fs::remove_all(strFolder);
    fs::create_directory(strFolder);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    static const TempDir dir;
    const std::string strSource = dir.File("Source.kvn"), strFolder = dir.File("banks");
    const Bytes source(p, p + n);
    WriteFile(strSource, source);
    fs::create_directory(strFolder);
    EngineDriver driver;
    driver.Engine().SetHelperThreads(1);
    KV_FUZZ_CHECK(driver.Engine().SetDstDir(strFolder.c_str()) == kBankDone);
    const BankResult analysed = driver.Analyse(strSource);
    KV_FUZZ_CHECK(analysed <= kBankConversionFailed);
    const PreciseConverter precise(/*bDither=*/true);
    const IWaveConverter* const converters[] = {nullptr, &precise};  // the first is the standard one
    if (analysed == kBankDone)
        for (const IWaveConverter* const pConverter : converters) {
            driver.Engine().SetWaveConverter(pConverter);
            for (const int nPerKey : {0, 1}) Build(driver, nPerKey, strFolder);
        }
    KV_FUZZ_CHECK(ReadFile(strSource) == source);
    return 0;
}
