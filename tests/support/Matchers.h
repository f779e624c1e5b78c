// Matchers.h - the matchers that tests call by their short names.
#pragma once

#include <gmock/gmock.h>

namespace Kestrova::Test {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

}  // namespace Kestrova::Test
