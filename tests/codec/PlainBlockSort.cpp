#include "tests/codec/PlainBlockSort.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace Kestrova::Test {
namespace {

class PlainSorter {
public:
    explicit PlainSorter(const Bytes& block)
        : m_block(block), m_circle(3 * block.size() + 30), m_ranks(m_circle.size()), m_order(block.size()) {
        for (size_t i = 0; i < m_circle.size(); ++i) m_circle[i] = block[Wrapped(i)];
    }

    PlainOrder Sort() {
        std::iota(m_order.begin(), m_order.end(), 0u);
        const bool bDone = m_block.size() > 4000 ? SortGroups() : ShellSort({0, End() - 1, 0});
        return {bDone ? std::optional(m_order) : std::nullopt, m_nWork};
    }

private:
    struct Range {
        int lo, hi, depth;
    };

    int End() const { return static_cast<int>(m_block.size()); }
    size_t Wrapped(size_t i) const { return i % m_block.size(); }
    uint8_t At(size_t i) const { return m_circle[i]; }
    unsigned BucketAt(size_t i) const { return At(i) * 256u + At(i + 1); }

    bool SortGroups() {
        std::vector<int> starts(65537);
        for (size_t i = 0; i < m_block.size(); ++i) ++starts[BucketAt(i)];
        std::partial_sum(starts.begin(), starts.end(), starts.begin());
        for (size_t i = 0; i < m_block.size(); ++i)
            m_order[static_cast<size_t>(--starts[BucketAt(i)])] = static_cast<uint32_t>(i);
        const auto size = [&](unsigned group) { return starts[(group + 1) * 256] - starts[group * 256]; };
        bool sorted[65536] = {}, done[256] = {};
        for (const unsigned group : BySize(size)) {
            for (unsigned bucket = group * 256; bucket < (group + 1) * 256; ++bucket)
                if (!sorted[bucket] && !SortBucket({starts[bucket], starts[bucket + 1] - 1, 2})) return false;
            done[group] = true;
            int nShift = 0;
            while (size(group) >> nShift > 65534) ++nShift;
            std::vector<int> next(256);
            for (unsigned ch = 0; ch < 256; ++ch) next[ch] = starts[ch * 256 + group];
            for (int i = starts[group * 256]; i < starts[(group + 1) * 256]; ++i) {
                const size_t iStart = Place(i), iBefore = Wrapped(iStart + m_block.size() - 1);
                for (size_t j = iStart; j < m_ranks.size(); j += m_block.size())
                    m_ranks[j] = (i - starts[group * 256]) >> nShift;
                if (!done[m_block[iBefore]]) Place(next[m_block[iBefore]]++) = static_cast<uint32_t>(iBefore);
            }
            for (unsigned ch = 0; ch < 256; ++ch) sorted[ch * 256 + group] = true;
        }
        return true;
    }

    template <class TSize>
    static std::vector<unsigned> BySize(TSize size) {
        std::vector<unsigned> groups(256);
        std::iota(groups.begin(), groups.end(), 0u);
        for (const size_t step : {121u, 40u, 13u, 4u, 1u})
            for (size_t i = step; i < groups.size(); ++i)
                for (size_t j = i; j >= step && size(groups[j - step]) > size(groups[j]); j -= step)
                    std::swap(groups[j], groups[j - step]);
        return groups;
    }

    bool SortBucket(Range bucket) {
        std::vector<Range> ranges{bucket};
        while (!ranges.empty()) {
            const Range range = ranges.back();
            ranges.pop_back();
            if (range.hi - range.lo < 20 || range.depth > 10)
                ShellSort(range);
            else if (!Partition(range, ranges))
                return false;
        }
        return true;
    }

    bool Partition(Range range, std::vector<Range>& ranges) {
        const auto [lo, hi, depth] = range;
        const auto keyAt = [this, nDepth = static_cast<size_t>(depth)](int i) {
            return At(Place(i) + nDepth);
        };
        const auto swap = [this](int i, int j) { std::swap(Place(i), Place(j)); };
        uint8_t keys[] = {keyAt(lo), keyAt(hi), keyAt((lo + hi) / 2)};
        std::sort(std::begin(keys), std::end(keys));
        int unLo = lo, ltLo = lo, unHi = hi, gtHi = hi;
        for (;;) {
            for (; unLo <= unHi && keyAt(unLo) <= keys[1]; ++unLo)
                if (keyAt(unLo) == keys[1]) swap(unLo, ltLo++);
            for (; unLo <= unHi && keyAt(unHi) >= keys[1]; --unHi)
                if (keyAt(unHi) == keys[1]) swap(unHi, gtHi--);
            if (unLo > unHi) break;
            swap(unLo++, unHi--);
        }
        if (gtHi < ltLo) return Push(ranges, {lo, hi, depth + 1});
        const int nLess = unLo - ltLo, nGreater = gtHi - unHi;
        const int nLow = std::min(ltLo - lo, nLess), nHigh = std::min(hi - gtHi, nGreater);
        for (int i = 0; i < nLow; ++i) swap(lo + i, unLo - nLow + i);
        for (int i = 0; i < nHigh; ++i) swap(unLo + i, hi - nHigh + 1 + i);
        return Push(ranges, {lo, lo + nLess - 1, depth}) &&
               Push(ranges, {lo + nLess, hi - nGreater, depth + 1}) &&
               Push(ranges, {hi - nGreater + 1, hi, depth});
    }

    static bool Push(std::vector<Range>& ranges, Range range) {
        if (ranges.size() == 1000) return false;
        ranges.push_back(range);
        return true;
    }

    bool ShellSort(Range range) {
        int step = 1;
        while (step < range.hi - range.lo + 1) step = 3 * step + 1;
        while ((step /= 3) > 0)
            for (int i = range.lo + step; i <= range.hi; ++i) {
                const uint32_t iMoved = Place(i);
                int j = i;
                for (; j - step >= range.lo && IsGreater(Place(j - step), iMoved, range.depth); j -= step)
                    Place(j) = Place(j - step);
                Place(j) = iMoved;
            }
        return true;
    }

    // Six bytes, then byte and rank by turns, all around the block. Behind the six each four equal positions
    // count as work.
    bool IsGreater(size_t i1, size_t i2, int depth) {
        i1 += static_cast<size_t>(depth);
        i2 += static_cast<size_t>(depth);
        const size_t nRanks = m_block.size() * sizeof(m_ranks[0]);
        if (std::memcmp(&m_circle[i1], &m_circle[i2], m_block.size()) == 0 &&
            std::memcmp(&m_ranks[i1 + 6], &m_ranks[i2 + 6], nRanks) == 0) {
            m_nWork += m_block.size() / 4 + 1;
            return false;
        }
        for (size_t i = 0;; ++i) {
            m_nWork += i > 6 && (i - 6) % 4 == 0;
            if (At(i1 + i) != At(i2 + i)) return At(i1 + i) > At(i2 + i);
            const int rank1 = m_ranks[i1 + i], rank2 = m_ranks[i2 + i];
            if (i >= 6 && rank1 != rank2) return rank1 > rank2;
        }
    }

    uint32_t& Place(int i) { return m_order[static_cast<size_t>(i)]; }

    const Bytes& m_block;
    Bytes m_circle;            // the block several times over, so that no index needs wrapping
    std::vector<int> m_ranks;  // likewise; 0: none yet
    std::vector<uint32_t> m_order;
    uint64_t m_nWork = 0;
};

}  // namespace

PlainOrder PlainBlockSort(const Bytes& block) { return PlainSorter(block).Sort(); }

}  // namespace Kestrova::Test
