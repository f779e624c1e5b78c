// FuzzSeedsTest.cpp - runs one fuzz target's body over its committed seeds, one test per seed, and over
// changed forms of them, which are the same in every run.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>

#include "tests/support/Vectors.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n);
// A target may have one of its own.
extern "C" __attribute__((weak)) size_t LLVMFuzzerCustomMutator(uint8_t* p, size_t n, size_t nMost,
                                                                unsigned nSeed);

// What libFuzzer has for such a target: here it changes a byte or a bit, or makes the end shorter or longer.
extern "C" size_t LLVMFuzzerMutate(uint8_t* p, size_t n, size_t nMost) {
    static std::minstd_rand random(1);
    const size_t nChoice = random() % 8;
    if (nChoice == 0) return n / 2;
    if ((nChoice == 1 || n == 0) && n < nMost) p[n++] = 0;
    if (n == 0) return 0;
    const auto nNew = static_cast<uint8_t>(random() >> 3);
    uint8_t& byte = p[random() % n];
    byte = nChoice < 5 ? nNew : static_cast<uint8_t>(byte ^ (1 << nNew % 8));
    return n;
}

#define KV_TEXT_OF(name) #name
#define KV_TEXT(name) KV_TEXT_OF(name)
#define KV_INSTANTIATE(prefix, ...) INSTANTIATE_TEST_SUITE_P(prefix, __VA_ARGS__)

namespace Kestrova::Test {
namespace {

std::vector<std::filesystem::path> Seeds() {
    std::vector<std::filesystem::path> folders = {SourceDir() / "tests/fuzz/seeds" / KV_TEXT(KV_FUZZ_NAME)};
    // What fuzzing has kept, for a count of what it reaches.
    const char* const pszCorpus = std::getenv("KV_FUZZ_CORPUS");
    if (pszCorpus != nullptr && std::filesystem::is_directory(pszCorpus)) folders.emplace_back(pszCorpus);
    std::vector<std::filesystem::path> seeds;
    for (const auto& folder : folders)
        for (const auto& entry : std::filesystem::directory_iterator(folder)) seeds.push_back(entry.path());
    std::sort(seeds.begin(), seeds.end());
    return seeds;
}

std::string SeedName(const testing::TestParamInfo<std::filesystem::path>& info) {
    return info.param.filename().string();
}

// Of each seed; more make a longer run.
unsigned VariantCount() {
    constexpr unsigned kUsual = 5;
    const char* const pszCount = std::getenv("KV_FUZZ_VARIANTS");
    return pszCount == nullptr ? kUsual : static_cast<unsigned>(std::strtoul(pszCount, nullptr, 10));
}

Bytes VariantOf(const Bytes& seed, unsigned nVariant) {
    Bytes bytes = seed;
    bytes.resize(seed.size() + 1024);
    size_t nSize = seed.size();
    for (unsigned nChanges = 1 + nVariant % 4; nChanges > 0; --nChanges)
        nSize = LLVMFuzzerCustomMutator != nullptr
                    ? LLVMFuzzerCustomMutator(bytes.data(), nSize, bytes.size(), nVariant)
                    : LLVMFuzzerMutate(bytes.data(), nSize, bytes.size());
    bytes.resize(nSize);
    return bytes;
}

class FuzzSeedsTest : public testing::TestWithParam<std::filesystem::path> {};

TEST_P(FuzzSeedsTest, RunsToItsEnd) {
    const Bytes seed = ReadFile(GetParam());
    EXPECT_EQ(0, LLVMFuzzerTestOneInput(seed.data(), seed.size()));
    for (unsigned n = 0; n < VariantCount(); ++n) {
        const Bytes variant = VariantOf(seed, n);
        EXPECT_EQ(0, LLVMFuzzerTestOneInput(variant.data(), variant.size()));
    }
}

KV_INSTANTIATE(KV_FUZZ_NAME, FuzzSeedsTest, testing::ValuesIn(Seeds()), SeedName);

}  // namespace
}  // namespace Kestrova::Test
