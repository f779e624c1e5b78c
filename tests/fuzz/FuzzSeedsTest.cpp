// FuzzSeedsTest.cpp - runs one fuzz target's body over its committed seeds, one test per seed.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/Vectors.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n);

#define KV_TEXT_OF(name) #name
#define KV_TEXT(name) KV_TEXT_OF(name)
#define KV_INSTANTIATE(prefix, ...) INSTANTIATE_TEST_SUITE_P(prefix, __VA_ARGS__)

namespace Kestrova::Test {
namespace {

std::vector<std::filesystem::path> Seeds() {
    std::vector<std::filesystem::path> seeds;
    for (const auto& entry :
         std::filesystem::directory_iterator(SourceDir() / "tests/fuzz/seeds" / KV_TEXT(KV_FUZZ_NAME)))
        seeds.push_back(entry.path());
    std::sort(seeds.begin(), seeds.end());
    return seeds;
}

std::string SeedName(const testing::TestParamInfo<std::filesystem::path>& info) {
    return info.param.filename().string();
}

class FuzzSeedsTest : public testing::TestWithParam<std::filesystem::path> {};

TEST_P(FuzzSeedsTest, RunsToItsEnd) {
    const Bytes seed = ReadFile(GetParam());
    EXPECT_EQ(0, LLVMFuzzerTestOneInput(seed.data(), seed.size()));
}

KV_INSTANTIATE(KV_FUZZ_NAME, FuzzSeedsTest, testing::ValuesIn(Seeds()), SeedName);

}  // namespace
}  // namespace Kestrova::Test
