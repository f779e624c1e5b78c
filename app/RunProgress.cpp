#include "app/RunProgress.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace Kestrova {
namespace {

constexpr std::chrono::seconds kFirstTold{3};
constexpr double kFirstTelling = 0.01;  // of the bytes
constexpr double kLastFraction = 0.99;  // a prediction is not exact

}  // namespace

RunProgress::RunProgress(std::vector<uint64_t> sizes, Clock::time_point start)
    : m_sizes(std::move(sizes)), m_start(start) {}

void RunProgress::Reached(size_t nBank, uint64_t nBytesOfBank) {
    m_nBank = std::min(nBank, m_sizes.empty() ? 0 : m_sizes.size() - 1);
    const uint64_t nTotal = std::accumulate(m_sizes.begin(), m_sizes.end(), uint64_t{0});
    if (nTotal == 0) return;
    const auto pBank = m_sizes.begin() + static_cast<std::ptrdiff_t>(m_nBank);
    const uint64_t nDone =
        std::accumulate(m_sizes.begin(), pBank, uint64_t{0}) + std::min(nBytesOfBank, *pBank);
    const double fraction = static_cast<double>(nDone) / static_cast<double>(nTotal);
    m_fraction = std::max(m_fraction, std::min(fraction, kLastFraction));
}

std::optional<std::chrono::seconds> RunProgress::GetTimeLeft(Clock::time_point now) const {
    const std::chrono::duration<double> soFar = now - m_start;
    if (soFar < kFirstTold || m_fraction < kFirstTelling) return std::nullopt;
    return std::chrono::seconds(static_cast<int64_t>(soFar.count() * (1 - m_fraction) / m_fraction));
}

}  // namespace Kestrova
