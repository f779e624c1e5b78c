// HelperThreads.h - how many threads help at work that many can share.
#pragma once

#include <algorithm>
#include <thread>

namespace Kestrova {

// One for each processor; 1 where the system does not tell how many there are.
inline unsigned HelperThreadCount() { return std::max(1u, std::thread::hardware_concurrency()); }

}  // namespace Kestrova
