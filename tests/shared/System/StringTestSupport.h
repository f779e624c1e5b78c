// StringTestSupport.h - what the String tests ask about blocks and failed assertions.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "shared/System/kvString.h"

namespace Kestrova::Test {

inline int Refs(const String& str) { return str.GetData()->nRefs; }

// The block of a locked String is never freed: hand it back to its one owner before the test ends.
inline void MakeFreeable(String& strLocked) { strLocked.GetData()->nRefs = 1; }

// The bytes of a String, zero bytes included.
inline std::string Bytes(const String& str) {
    return std::string(str.c_str(), static_cast<size_t>(str.GetLength()));
}

inline bool IsTerminated(const String& str) { return str.c_str()[str.GetLength()] == '\0'; }

// The end of a report: the operation, the unit and exactly this text.
inline auto ReportOf(const std::string& strOperation, const std::string& strExpression) {
    return testing::AllOf(testing::HasSubstr(strOperation + ": shared/System/kvString, line "),
                          testing::EndsWith(": assertion failed: " + strExpression + "\n"));
}

}  // namespace Kestrova::Test
