#include "codec/MoveToFront.h"

#include "codec/RecentBytes.h"

namespace Kestrova {
namespace {

using namespace WaveFormat;

// Counts the symbols it appends.
class SymbolSink {
public:
    SymbolSink(uint16_t* pSymbols, uint32_t* pFrequencies)
        : m_pSymbols(pSymbols), m_pFrequencies(pFrequencies) {}

    void Put(unsigned symbol) {
        m_pSymbols[m_nCount++] = static_cast<uint16_t>(symbol);
        ++m_pFrequencies[symbol];
    }

    // A run of n zeros in bijective base 2, its lowest digit first.
    void PutRun(uint32_t n) {
        for (; n > 0; n = (n - 1) / 2) Put(n % 2 == 1 ? kRunA : kRunB);
    }

    size_t GetCount() const { return m_nCount; }

private:
    uint16_t* m_pSymbols;
    uint32_t* m_pFrequencies;
    size_t m_nCount = 0;
};

// A move-to-front list the other way round: the place of each byte value. So nothing is searched. The loop
// over all values has no branch, and becomes a few vector operations; the bytes are signed because these are
// what every processor compares.
class FrontPlaces {
public:
    explicit FrontPlaces(const bool (&used)[kByteValues]) {
        int place = kFront;
        for (unsigned ch = 0; ch < kByteValues; ++ch)
            m_places[ch] = static_cast<int8_t>(used[ch] ? place++ : kLast);
    }

    // Moves a value to the front and returns the index it had.
    unsigned Take(uint8_t ch) {
        const int8_t place = m_places[ch];
        for (int8_t& other : m_places) other = static_cast<int8_t>(other + (other < place));
        m_places[ch] = static_cast<int8_t>(kFront);
        return static_cast<unsigned>(place - kFront);
    }

private:
    static constexpr int kFront = -128, kLast = 127;  // of the largest list

    int8_t m_places[kByteValues];
};

}  // namespace

SymbolList generateMTFValues(std::span<const uint32_t> order, const uint8_t* pBlock,
                             const bool (&used)[kByteValues], uint16_t* pSymbols) {
    FrontPlaces places(used);
    const RecentBytes firstList = RecentBytes::OfUsed(used);
    SymbolList result;
    result.nAlphabet = firstList.GetCount() + 2;
    SymbolSink sink(pSymbols, result.frequencies);
    uint32_t nRun = 0;
    uint8_t chFront = firstList.Front();
    for (const uint32_t iStart : order) {
        const uint8_t ch = (pBlock + iStart)[-1];
        if (ch == chFront) {
            ++nRun;
            continue;
        }
        sink.PutRun(nRun);
        nRun = 0;
        sink.Put(places.Take(ch) + 1);
        chFront = ch;
    }
    sink.PutRun(nRun);
    sink.Put(result.nAlphabet - 1);
    result.symbols = {pSymbols, sink.GetCount()};
    return result;
}

}  // namespace Kestrova
