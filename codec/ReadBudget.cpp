#include "codec/ReadBudget.h"

#include <algorithm>
#include <atomic>

namespace Kestrova {
namespace {

std::atomic<int> nInForce{0};

}  // namespace

ReadBudget::ReadBudget() { ++nInForce; }

ReadBudget::~ReadBudget() { --nInForce; }

uint64_t ReadBudget::MostFor(uint64_t nFileBytes) {
    if (nInForce == 0) return UINT64_MAX;
    const uint64_t nMultiple =
        nFileBytes > UINT64_MAX / kReadBudgetFactor ? UINT64_MAX : nFileBytes * kReadBudgetFactor;
    return std::max(kReadBudgetFloor, nMultiple);
}

}  // namespace Kestrova
