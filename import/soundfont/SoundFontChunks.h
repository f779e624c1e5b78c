// SoundFontChunks.h - where the RIFF chunks of a SoundFont file lie. Their contents are not
// read here, except for the names of lists.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "import/ImportOutcome.h"

namespace Kestrova {

// The chunks that an import uses; all others are ignored.
enum class FontChunk {
    Version,
    Name,
    Copyright,
    Wave16,
    Wave24,
    PresetHeaders,
    PresetBags,
    PresetModulators,
    PresetGenerators,
    Instruments,
    InstrumentBags,
    InstrumentModulators,
    InstrumentGenerators,
    SampleHeaders,
    Count
};

// The body of a chunk in the file.
struct ChunkBody {
    uint64_t pos = 0;
    uint64_t nSize = 0;
};

// The places of the chunks. Sizes are checked as they are read: each chunk lies within its
// list, each list within the file's RIFF chunk, and that within the file. A declared size
// alone never makes anything read or allocated.
class SoundFontChunks {
public:
    // Walks the file's chunks. The outcome says why it is no SoundFont file, or not a whole one.
    ImportOutcome Find(CXFile& file);

    // Some programs count the header of the RIFF chunk, 8 bytes, in its size.
    // Such a size is taken as the end of the file.
    bool IsHeaderCounted() const { return m_bHeaderCounted; }

    // A chunk of an odd size had no padding; the next one is taken to begin right behind it.
    bool IsUnpadded() const { return m_bUnpadded; }

    const std::optional<ChunkBody>& operator[](FontChunk chunk) const {
        return m_arChunks[static_cast<size_t>(chunk)];
    }

    static const char* NameOf(FontChunk chunk);  // its four characters

private:
    ImportOutcome FindInList(CXFile& file, const ChunkBody& list);

    std::array<std::optional<ChunkBody>, static_cast<size_t>(FontChunk::Count)> m_arChunks;
    bool m_bHeaderCounted = false;
    bool m_bUnpadded = false;
};

}  // namespace Kestrova
