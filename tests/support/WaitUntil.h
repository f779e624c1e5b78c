// WaitUntil.h - waiting for what happens outside the test, in another process or on a screen.
#pragma once

#include <chrono>
#include <thread>

namespace Kestrova::Test {

// The time limit of a wait. Only a test that fails waits so long.
inline constexpr std::chrono::seconds kPatience{60};

inline void PauseBetweenLooks() { std::this_thread::sleep_for(std::chrono::milliseconds(15)); }

// Looks again and again until something is true; false when the time limit is reached.
template <class TCondition>
bool WaitUntil(TCondition condition) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    for (; !condition(); PauseBetweenLooks())
        if (std::chrono::steady_clock::now() > end) return false;
    return true;
}

}  // namespace Kestrova::Test
