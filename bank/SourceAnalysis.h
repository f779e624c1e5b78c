// SourceAnalysis.h - what the engine must know of a source: its counts, its samples and the keys that play
// them, and from that the space its banks will take.
#pragma once

#include <bitset>
#include <cstdint>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

#include "SamplerDBDS/DataBase/SDBISample.h"
#include "bank/BankProgress.h"
#include "bank/SourceBank.h"

namespace Kestrova {

class IWaveConverter;

inline constexpr int kKeyCount = 256;
inline constexpr int kEveryKey = -1;  // in place of a key: the plain layout's single copy

// One sample record of the source, in file order.
struct tagSampleEntry {
    uint32_t id = kSdbNoID;
    uint32_t bytes = 0;  // of the wave as played (expanded)
    uint32_t rate = 0;   // Hz
    uint32_t rootKey = 0;
    std::bitset<kKeyCount> playedKeys;  // MIDI keys that play it in a split program
    // What a converter needs to tell how long the sample becomes.
    uint32_t frames = 0;
    uint32_t frameBytes = 0;
    std::vector<SDBLOOP> loops = {};
};

// What the analysis counts.
struct BankAnalysis {
    uint32_t nRecords = 0;        // of the source, free records left out
    int64_t nPerKeyRecords = 0;   // that a bank in the per-key layout holds; below 2^32
    uint64_t nOverheadBytes = 0;  // the source file less the space of its waves
    uint32_t nSamples = 0;
    uint32_t nRegions = 0;
};

// Threads: Run from one; the rest is good while it does not run.
// Errors:  an outcome; Run may throw std::bad_alloc. What was found until then stays.
class SourceAnalysis {
public:
    // Both must outlive the analysis.
    SourceAnalysis(SourceBank& source, const BankProgress& progress)
        : m_source(source), m_progress(progress) {}

    // Analyses the source that is open now; reports one step for each sample and each region read.
    BankOutcome Run();

    const BankAnalysis& GetCounts() const { return m_counts; }
    // The sample table as far as it was filled.
    std::span<const tagSampleEntry> GetSamples() const { return m_arSamples; }
    // The index in the table of the sample with an id; none for an id that no sample has, kSdbNoID included.
    std::optional<uint32_t> FindSample(uint32_t id) const;

    // Space for a bank of the source at one rate, in MiB rounded up.
    unsigned int PredictMegabytes(unsigned int nRate, bool bPerKey,
                                  const IWaveConverter* pConverter = nullptr) const;

private:
    void Forget();
    bool MeasureSource();
    BankOutcome ReadSampleHeaders();
    template <class TSampleInfo>
    BankOutcome ReadSampleHeader(uint32_t id);
    BankOutcome MarkPlayedKeys();
    BankOutcome MarkKeysOfProgram(uint32_t idProgram);
    BankOutcome MarkKeysOfRegion(uint32_t idRegion);
    BankOutcome MarkKeysOfLayer(uint32_t idLayer, int nLowKey, int nHighKey);
    BankOutcome CountPerKeyRecords();

    SourceBank& m_source;
    const BankProgress& m_progress;
    BankAnalysis m_counts;
    std::vector<tagSampleEntry> m_arSamples;
    std::unordered_map<uint32_t, uint32_t> m_mapSamples;  // source id -> its first entry
};

// The records that a region of a split program adds to the per-key layout. A region of n keys becomes n
// regions with their layers; one without keys (high below low) is left out.
int64_t CountAddedByKeys(int64_t nLayers, int nLowKey, int nHighKey);
// The copies of all samples in the per-key layout: one for each key that plays it, at least one.
int64_t CountKeyCopies(std::span<const tagSampleEntry> samples);

// Space for a bank at one rate, in MiB rounded up, from the counts and the samples (SpacePrediction.cpp).
// With a converter each sample takes what the converter plans for it, and its padding; one that it cannot
// convert counts as without it. May then throw std::bad_alloc.
unsigned int PredictMegabytes(const BankAnalysis& counts, std::span<const tagSampleEntry> samples,
                              unsigned int nRate, bool bPerKey, const IWaveConverter* pConverter = nullptr);

// Bytes as the user sees them: MiB, rounded up.
unsigned int MegabytesRoundedUp(uint64_t nBytes);

}  // namespace Kestrova
