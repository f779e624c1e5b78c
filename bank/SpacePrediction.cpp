// How much disk space a bank at one rate will take, from what the analysis found.
#include <algorithm>
#include <limits>

#include "bank/SampleMaker.h"
#include "bank/SourceAnalysis.h"

namespace Kestrova {
namespace {

constexpr double kRecordBytes = 16;  // of the quick-load table

// The value as an integer. A value that is too large for the type becomes the largest one it holds.
uint64_t TruncateHeld(double value) {
    constexpr double kLimit = 18446744073709551616.0;  // 2^64
    return value < kLimit ? static_cast<uint64_t>(value) : std::numeric_limits<uint64_t>::max();
}

// Adds the single copy, or one copy for each key that plays the sample:
// the higher the key, the shorter the copy.
void AddSample(double& bytes, const tagSampleEntry& entry, unsigned int nRate, bool bPerKey) {
    if (!bPerKey) {
        bytes += static_cast<double>(entry.bytes) * nRate / entry.rate;
        return;
    }
    const double factor = static_cast<double>(nRate) / entry.rate;
    if (entry.playedKeys.none()) bytes += entry.bytes * factor;
    for (int nKey = 0; nKey < kKeyCount; ++nKey)
        if (entry.playedKeys[static_cast<size_t>(nKey)])
            bytes += entry.bytes * factor / double{PitchFactor(nKey, entry.rootKey)};
}

// Bytes of one copy as a converter makes it.
double PlannedBytes(const tagSampleEntry& entry, const SampleTarget& target, int nKey) {
    const double ratio = ConversionRatio(entry.rate, entry.rootKey, target, nKey);
    if (ratio == 1.0) return entry.bytes;
    std::vector<SDBLOOP> loops = entry.loops;
    const WaveOrder order{.idSample = entry.id,
                          .nKey = nKey,
                          .nFrames = entry.frames,
                          .nBits = 0,
                          .nChannels = 0,
                          .ratio = ratio,
                          .loops = entry.loops};
    uint64_t nFrames = 0;
    if (!target.pConverter->Plan(order, loops, nFrames).IsDone()) return entry.bytes / ratio;
    return static_cast<double>(nFrames) * entry.frameBytes;
}

// The same as AddSample when a converter makes the copies. The padding is told too, which the fixed formula
// leaves out.
void AddPlanned(double& bytes, const tagSampleEntry& entry, const SampleTarget& target) {
    const auto add = [&](int nKey) { bytes += PlannedBytes(entry, target, nKey) + kWaveAlignment; };
    if (!target.bPerKey || entry.playedKeys.none()) return add(kEveryKey);
    for (int nKey = 0; nKey < kKeyCount; ++nKey)
        if (entry.playedKeys[static_cast<size_t>(nKey)]) add(nKey);
}

}  // namespace

int64_t CountAddedByKeys(int64_t nLayers, int nLowKey, int nHighKey) {
    return (nLayers + 1) * std::max(nHighKey - nLowKey, -1);
}

int64_t CountKeyCopies(std::span<const tagSampleEntry> samples) {
    int64_t nCopies = 0;
    for (const tagSampleEntry& entry : samples)
        nCopies += std::max<int64_t>(static_cast<int64_t>(entry.playedKeys.count()), 1);
    return nCopies;
}

unsigned int MegabytesRoundedUp(uint64_t nBytes) {
    const uint64_t nMegabytes = (nBytes >> 20) + ((nBytes & 0xFFFFF) != 0);
    return static_cast<unsigned int>(
        std::min<uint64_t>(nMegabytes, std::numeric_limits<unsigned int>::max()));
}

// Deliberately (Q103) too large for the plain layout: there too the table is counted with the per-key
// records.
unsigned int PredictMegabytes(const BankAnalysis& counts, std::span<const tagSampleEntry> samples,
                              unsigned int nRate, bool bPerKey, const IWaveConverter* pConverter) {
    const double perKeyRecords = static_cast<double>(counts.nPerKeyRecords);
    const double overhead = static_cast<double>(counts.nOverheadBytes);
    double bytes = bPerKey ? perKeyRecords / counts.nRecords * overhead : overhead;
    bytes += kRecordBytes * perKeyRecords;
    for (const tagSampleEntry& entry : samples) {
        if (pConverter == nullptr)
            AddSample(bytes, entry, nRate, bPerKey);
        else
            AddPlanned(bytes, entry, {nRate, 0, bPerKey, pConverter});
    }
    return MegabytesRoundedUp(TruncateHeld(bytes));
}

unsigned int SourceAnalysis::PredictMegabytes(unsigned int nRate, bool bPerKey,
                                              const IWaveConverter* pConverter) const {
    return Kestrova::PredictMegabytes(m_counts, m_arSamples, nRate, bPerKey, pConverter);
}

}  // namespace Kestrova
