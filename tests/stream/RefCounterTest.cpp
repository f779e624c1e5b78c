#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <thread>
#include <vector>

#include "stream/RefCounter.h"

namespace Kestrova::Test {
namespace {

TEST(AtomicRefCountTest, StartsAtOneAndTellsTheNewCount) {
    AtomicRefCount refs;
    EXPECT_EQ(2u, refs.Increment());
    EXPECT_EQ(1u, refs.Decrement());
    EXPECT_EQ(0u, refs.Decrement());
}

TEST(AtomicRefCountTest, LosesNothingAmongThreads) {
    AtomicRefCount refs;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&refs] {
            for (int n = 0; n < 20000; ++n) {
                refs.Increment();
                refs.Increment();
                refs.Decrement();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(80002u, refs.Increment());
}

TEST(MemAllocatorTest, StartsWithOneReferenceAndTheLastReleaseEndsIt) {
    auto* pAllocator = new MemAllocator;
    EXPECT_EQ(2u, pAllocator->AddRef());
    EXPECT_EQ(1u, pAllocator->Release());
    EXPECT_EQ(0u, pAllocator->Release());  // a leak, or a second release, is for the sanitizer to find
}

TEST(MemAllocatorTest, ReallocKeepsTheContents) {
    MemAllocator allocator;
    void* p = allocator.Alloc(3);
    ASSERT_NE(nullptr, p);
    std::memcpy(p, "abc", 3);
    p = allocator.Realloc(p, 100000);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(0, std::memcmp(p, "abc", 3));
    p = allocator.Realloc(p, 2);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(0, std::memcmp(p, "ab", 2));
    allocator.Free(p);
}

TEST(MemAllocatorTest, ReallocOfNothingAllocatesAndToNothingFrees) {
    MemAllocator allocator;
    void* p = allocator.Realloc(nullptr, 10);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(nullptr, allocator.Realloc(p, 0));
}

TEST(MemAllocatorTest, WhatNoObjectCanSpanIsRefused) {
    MemAllocator allocator;
    EXPECT_EQ(nullptr, allocator.Alloc(std::numeric_limits<unsigned long>::max()));
    void* p = allocator.Alloc(1);
    EXPECT_EQ(nullptr, allocator.Realloc(p, std::numeric_limits<unsigned long>::max() / 2 + 1));
    allocator.Free(p);  // still valid
}

}  // namespace
}  // namespace Kestrova::Test
