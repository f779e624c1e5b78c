#include "codec/RotationSort.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>

namespace Kestrova {
namespace {

constexpr uint32_t kNone = ~0u;

// Words used below:
//   falling   a rotation that is greater than its right neighbour, the one that starts a symbol later
//   rising    one that is smaller than it
//   valley    a rising rotation whose left neighbour is falling
//   stretch   the symbols from one valley to the next, both included
// All rotations that begin with one symbol stand together, the falling ones in front.
template <class TSymbol>
class RotationSorter {
public:
    // scratch: two words for each symbol value
    RotationSorter(const TSymbol* pText, uint32_t nCount, uint32_t nAlphabet, uint32_t* order,
                   uint32_t* scratch)
        : m_text(pText),
          m_nCount(nCount),
          m_nAlphabet(nAlphabet),
          m_order(order),
          m_counts(scratch),
          m_places(scratch + nAlphabet) {}

    uint32_t Sort() {
        CountSymbols();
        PlaceValleys();
        if (m_nValleys == 0) {  // the same symbol everywhere
            std::iota(m_order, m_order + m_nCount, 0u);
            return m_nCount;
        }
        PlaceOthers();  // in the order of their stretches
        const uint32_t nCopies = SortValleys();
        CountSymbols();
        PlaceSortedValleys();
        PlaceOthers();  // in the order of the whole rotations
        return nCopies;
    }

private:
    uint32_t Before(uint32_t i) const { return i == 0 ? m_nCount - 1 : i - 1; }
    uint32_t After(uint32_t i) const { return i + 1 == m_nCount ? 0 : i + 1; }

    // From the last valley of the text to the first.
    template <class TVisit>
    void ForEachValley(TVisit visit) const {
        const TSymbol last = m_text[m_nCount - 1];
        const TSymbol* const pEnd = m_text + m_nCount;
        const TSymbol* const pOther = std::find_if(m_text, pEnd, [last](TSymbol ch) { return ch != last; });
        if (pOther == pEnd) return;
        const bool bLastRises = last < *pOther;
        bool bRises = bLastRises;
        for (uint32_t i = m_nCount - 1; i > 0; --i) {
            const bool bRisesBefore = m_text[i - 1] < m_text[i] || (m_text[i - 1] == m_text[i] && bRises);
            if (bRises && !bRisesBefore) visit(i);
            bRises = bRisesBefore;
        }
        if (bRises && !bLastRises) visit(0u);
    }

    void CountSymbols() {
        std::fill_n(m_counts, m_nAlphabet, 0u);
        for (uint32_t i = 0; i < m_nCount; ++i) ++m_counts[m_text[i]];
    }
    // The next free place of each symbol's rotations, counted up from their
    // first place, or down from their last one.
    void StartAtFirstPlaces() { std::exclusive_scan(m_counts, m_counts + m_nAlphabet, m_places, 0u); }
    void StartBehindLastPlaces() { std::partial_sum(m_counts, m_counts + m_nAlphabet, m_places); }

    void PlaceValleys() {
        std::fill_n(m_order, m_nCount, kNone);
        StartBehindLastPlaces();
        ForEachValley([this](uint32_t i) {
            m_order[--m_places[m_text[i]]] = i;
            ++m_nValleys;
        });
    }

    // Each placed rotation gives its left neighbour the next place of that neighbour's symbol. The first pass
    // goes upwards: it starts from the valleys and places the falling rotations. The second pass goes
    // downwards from those and places the rising ones, the valleys once more among them.
    void PlaceOthers() {
        StartAtFirstPlaces();
        for (uint32_t i = 0; i < m_nCount; ++i)
            if (m_order[i] != kNone) PlaceIfFalling(Before(m_order[i]), m_order[i]);
        StartBehindLastPlaces();
        for (uint32_t i = m_nCount; i-- > 0;) PlaceIfRising(Before(m_order[i]), i);
    }
    void PlaceIfFalling(uint32_t iStart, uint32_t iNext) {
        const TSymbol ch = m_text[iStart];
        if (ch >= m_text[iNext]) m_order[m_places[ch]++] = iStart;
    }
    void PlaceIfRising(uint32_t iStart, uint32_t iPlaceOfNext) {
        const TSymbol ch = m_text[iStart], next = m_text[m_order[iPlaceOfNext]];
        if (ch < next || (ch == next && IsRisingAt(iPlaceOfNext))) m_order[--m_places[ch]] = iStart;
    }
    // REQUIRES: the rising rotations from this place up have been placed.
    bool IsRisingAt(uint32_t iPlace) const { return iPlace >= m_places[m_text[m_order[iPlace]]]; }
    bool IsValleyAt(uint32_t iPlace) const {
        const uint32_t iStart = m_order[iPlace];
        return IsRisingAt(iPlace) && m_text[Before(iStart)] > m_text[iStart];
    }

    // Brings the valleys, sorted, to the front of the order. They compare like the rotations of a shorter
    // text that has one symbol, a name, for each stretch. Until then the end of the order holds that text.
    uint32_t SortValleys() {
        uint32_t nFound = 0;
        for (uint32_t i = 0; i < m_nCount; ++i)
            if (IsValleyAt(i)) m_order[nFound++] = m_order[i];
        uint32_t* const valleys = m_order + m_nCount - m_nValleys;
        const uint32_t nNames = NameStretches(valleys);
        uint32_t nCopies = 1;
        if (nNames < m_nValleys)
            nCopies = RotationSorter<uint32_t>(valleys, m_nValleys, nNames, m_order, m_counts).Sort();
        else
            for (uint32_t i = 0; i < m_nValleys; ++i) m_order[valleys[i]] = i;
        uint32_t* pValley = m_order + m_nCount;
        ForEachValley([&pValley](uint32_t i) { *--pValley = i; });
        for (uint32_t i = 0; i < m_nValleys; ++i) m_order[i] = valleys[m_order[i]];
        return nCopies;
    }

    // Fills `valleys` with the names of the stretches in the order of the text. The smallest stretch is 0,
    // equal ones have the same name. Returns how many names there are.
    uint32_t NameStretches(uint32_t* valleys) {
        // Two valleys are never side by side, so that half a place for each position is enough.
        uint32_t* const names = m_order + m_nValleys;
        const uint32_t nPlaces = m_nCount - m_nValleys;
        std::fill_n(names, nPlaces, kNone);
        PutLengths(names);
        uint32_t nNames = 0, nLengthBefore = 0;
        for (uint32_t i = 0; i < m_nValleys; ++i) {
            uint32_t& name = names[m_order[i] / 2];
            const uint32_t nLength = name;
            if (nLength != nLengthBefore || !AreEqual(m_order[i - 1], m_order[i], nLength)) ++nNames;
            name = nNames - 1;
            nLengthBefore = nLength;
        }
        uint32_t* pName = valleys + m_nValleys;
        for (uint32_t i = nPlaces; i-- > 0;)
            if (names[i] != kNone) *--pName = names[i];
        return nNames;
    }

    // How many symbols each valley is before the next.
    void PutLengths(uint32_t* lengths) const {
        uint32_t iLast = kNone, iNext = kNone;
        ForEachValley([&](uint32_t i) {
            if (iNext == kNone)
                iLast = i;
            else
                lengths[i / 2] = iNext - i;
            iNext = i;
        });
        lengths[iLast / 2] = m_nCount - iLast + iNext;
    }

    bool AreEqual(uint32_t i1, uint32_t i2, uint32_t nLength) const {
        for (; m_text[i1] == m_text[i2]; i1 = After(i1), i2 = After(i2))
            if (nLength-- == 0) return true;
        return false;
    }

    void PlaceSortedValleys() {
        StartBehindLastPlaces();
        std::fill(m_order + m_nValleys, m_order + m_nCount, kNone);
        for (uint32_t i = m_nValleys; i-- > 0;) {
            const uint32_t iStart = std::exchange(m_order[i], kNone);
            m_order[--m_places[m_text[iStart]]] = iStart;
        }
    }

    const TSymbol* const m_text;
    const uint32_t m_nCount, m_nAlphabet;
    uint32_t* const m_order;   // starts of rotations; kNone: nothing placed here yet
    uint32_t* const m_counts;  // of each symbol in the text
    uint32_t* const m_places;  // for each symbol, the next place or the last one given away
    uint32_t m_nValleys = 0;
};

}  // namespace

template <class TSymbol>
uint32_t SortRotations(std::span<const TSymbol> text, uint32_t* order, uint32_t* scratch) {
    constexpr uint32_t kAlphabet = std::numeric_limits<TSymbol>::max() + 1u;
    const auto nCount = static_cast<uint32_t>(text.size());
    return RotationSorter<TSymbol>(text.data(), nCount, kAlphabet, order, scratch).Sort();
}

template uint32_t SortRotations(std::span<const uint8_t>, uint32_t*, uint32_t*);
template uint32_t SortRotations(std::span<const uint16_t>, uint32_t*, uint32_t*);

}  // namespace Kestrova
