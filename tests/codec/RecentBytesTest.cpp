#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "codec/RecentBytes.h"
#include "tests/codec/CodecTestSupport.h"

namespace Kestrova::Test {
namespace {

// Takes the same places from the list and from a plain model of it, and finds the same values in another
// list.
void TakeFromBoth(RecentBytes list, Bytes model, const std::vector<unsigned>& places) {
    RecentBytes found = list;
    ASSERT_EQ(model.size(), list.GetCount());
    for (const unsigned iPlace : places) {
        const uint8_t ch = model[iPlace];
        std::rotate(model.begin(), model.begin() + iPlace, model.begin() + iPlace + 1);
        ASSERT_EQ(ch, list.TakeAt(iPlace)) << iPlace;
        ASSERT_EQ(ch, list.Front()) << iPlace;
        ASSERT_EQ(iPlace, found.Find(ch)) << iPlace;
        ASSERT_EQ(ch, list.TakeAt(0)) << iPlace;
    }
}

Bytes Ascending(size_t n) {
    Bytes bytes(n);
    std::iota(bytes.begin(), bytes.end(), uint8_t{0});
    return bytes;
}

std::vector<unsigned> PlacesBelow(size_t nLimit) {
    std::vector<unsigned> places;
    for (unsigned i = 0; i < nLimit; ++i) places.push_back(i);
    for (const uint8_t ch : Noise(3000)) places.push_back(static_cast<unsigned>(ch % nLimit));
    return places;
}

TEST(RecentBytesTest, TakingMovesToTheFrontInListsOfEveryLength) {
    for (unsigned n = 1; n <= 256; ++n) TakeFromBoth(RecentBytes::OfNumbers(n), Ascending(n), PlacesBelow(n));
}

TEST(RecentBytesTest, EveryPlaceFollowsEveryOther) {
    std::vector<unsigned> places;
    for (unsigned i = 0; i < 256; ++i)
        for (unsigned j = 0; j < 256; ++j) places.insert(places.end(), {i, j});
    TakeFromBoth(RecentBytes::OfNumbers(256), Ascending(256), places);
}

TEST(RecentBytesTest, HoldsTheUsedBytesInAscendingOrder) {
    bool used[256] = {};
    Bytes model;
    for (const uint8_t ch : Bytes{0, 3, 9, 10, 11, 77, 78, 200, 201, 254, 255}) {
        used[ch] = true;
        model.push_back(ch);
    }
    TakeFromBoth(RecentBytes::OfUsed(used), model, PlacesBelow(model.size()));
}

}  // namespace
}  // namespace Kestrova::Test
