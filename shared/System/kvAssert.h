// kvAssert.h - the one way to report a broken assumption inside the program. It is always on, also in release
// builds: bad input gets an error value, and only our own mistakes end here.
#pragma once

namespace Kestrova {

// Writes one line to standard error (function, source unit, line, failed expression) and aborts.
// Any thread. The source unit is the documented name of the unit, also when it spans several files.
[[noreturn]] void AssertFailed(const char* pszExpression, const char* pszFunction, const char* pszSourceUnit,
                               int nLine);

// The same for an allocation whose caller can neither throw nor answer. No mistake of ours is at fault, so
// it calls std::terminate where a program has a new-handler, whose end for this may have an exit code of its
// own.
[[noreturn]] void AllocationFailed(const char* pszExpression, const char* pszFunction,
                                   const char* pszSourceUnit, int nLine);

}  // namespace Kestrova

// The place of use must see a constant named kSourceUnit, such as "SamplerDBDS/DataBase/SDBEngine".
// KV_ASSERT_TEXT is for a report whose text is fixed and differs from the C++ that tests it.
#define KV_ASSERT(expression) KV_ASSERT_TEXT(expression, #expression)
#define KV_ASSERT_TEXT(expression, text) \
    ((expression) ? void(0) : ::Kestrova::AssertFailed(text, __func__, kSourceUnit, __LINE__))
#define KV_ASSERT_ALLOCATED(pointer, text) \
    ((pointer) != nullptr ? void(0) : ::Kestrova::AllocationFailed(text, __func__, kSourceUnit, __LINE__))
