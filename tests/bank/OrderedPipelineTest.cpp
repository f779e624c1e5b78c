#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <new>

#include "bank/OrderedPipeline.h"
#include "tests/support/PosixFaults.h"

namespace Kestrova::Test {
namespace {

TEST(OrderedPipelineTest, ItemsComeInOrderWhoeverMadeThem) {
    for (const unsigned nHelpers : {0u, 1u, 2u, 7u}) {
        std::atomic<size_t> nMade{0};
        OrderedPipeline<size_t> pipeline(500, nHelpers, nHelpers + 1, [&](size_t nIndex, unsigned nHelper) {
            EXPECT_LT(nHelper, std::max(nHelpers, 1u));
            ++nMade;
            return nIndex * 3;
        });
        for (size_t i = 0; i < 500; ++i) ASSERT_EQ(i * 3, pipeline.Take());
        EXPECT_EQ(500u, nMade) << "each is made once";
    }
}

TEST(OrderedPipelineTest, NoMoreIsMadeAheadThanAllowed) {
    std::atomic<size_t> nMade{0};
    size_t nTaken = 0;
    OrderedPipeline<int> pipeline(100, 3, 4, [&](size_t, unsigned) { return static_cast<int>(++nMade); });
    for (; nTaken < 100; ++nTaken) {
        EXPECT_LE(nMade, nTaken + 4);
        pipeline.Take();
    }
}

TEST(OrderedPipelineTest, ItemsNeverTakenAreDropped) {
    const auto pCounted = std::make_shared<int>(0);
    {
        OrderedPipeline<std::shared_ptr<int>> pipeline(50, 2, 3, [&](size_t, unsigned) { return pCounted; });
        pipeline.Take();
    }
    EXPECT_EQ(1, pCounted.use_count());
}

TEST(OrderedPipelineTest, WhatMakingAnItemThrowsIsThrownWhereItIsTaken) {
    for (const unsigned nHelpers : {0u, 1u, 3u}) {
        OrderedPipeline<size_t> pipeline(20, nHelpers, nHelpers + 1, [](size_t nIndex, unsigned) {
            if (nIndex % 5 == 2) throw std::bad_alloc();
            return nIndex;
        });
        for (size_t i = 0; i < 20; ++i) {
            if (i % 5 == 2)
                EXPECT_THROW(pipeline.Take(), std::bad_alloc) << i;
            else
                EXPECT_EQ(i, pipeline.Take()) << "the helper goes on";
        }
    }
}

// The first allocations that fail are those that the pipeline itself needs; each one after them costs a
// helper.
TEST(OrderedPipelineTest, WithoutMemoryFewerHelpersMakeTheSameItems) {
    const OrderedPipeline<size_t>::Make make = [](size_t nIndex, unsigned) { return nIndex; };
    int nMade = 0;
    for (int nNth = 1;; ++nNth) {
        SCOPED_TRACE(nNth);
        const PosixFault fault(kAnyAllocation, ENOMEM, nNth);
        try {
            OrderedPipeline<size_t> pipeline(50, 3, 4, make);
            for (size_t i = 0; i < 50; ++i) EXPECT_EQ(i, pipeline.Take());
            ++nMade;
        } catch (const std::bad_alloc&) {
            // the caller's to handle: no thread was started
        }
        if (fault.Calls() < nNth) break;
    }
    EXPECT_LE(4, nMade) << "one for each helper that was refused, and the last";
}

TEST(OrderedPipelineTest, WithNothingToMakeNothingIsMade) {
    std::atomic<int> nMade{0};
    {
        OrderedPipeline<int> pipeline(0, 2, 3, [&](size_t, unsigned) { return ++nMade; });
    }
    EXPECT_EQ(0, nMade);
}

TEST(OrderedPipelineTest, WithoutHelpersTheTakerMakesEachItemWhenItIsAskedFor) {
    size_t nMade = 0;
    OrderedPipeline<size_t> pipeline(3, 0, 1, [&](size_t nIndex, unsigned nHelper) {
        EXPECT_EQ(0u, nHelper);
        ++nMade;
        return nIndex;
    });
    EXPECT_EQ(0u, nMade);
    EXPECT_EQ(0u, pipeline.Take());
    EXPECT_EQ(1u, nMade);
}

}  // namespace
}  // namespace Kestrova::Test
