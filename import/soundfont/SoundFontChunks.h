// SoundFontChunks.h - the RIFF chunks of a SoundFont file: where each lies, before anything in it is
// believed.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "SamplerDBDS/BaseClasses/XFile.h"

namespace Kestrova {

// The chunks that an import looks at; all others are passed over.
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

// The places of the chunks. Sizes are checked as they are read: each chunk lies within its list, each list
// within the file's RIFF chunk, and that within the file. Nothing is read or allocated by a declared size.
class SoundFontChunks {
public:
    // Walks the file's chunks. False: `strError` says why it is no SoundFont file, or not a whole one.
    bool Find(CXFile& file, std::string& strError);

    const std::optional<ChunkBody>& operator[](FontChunk chunk) const {
        return m_arChunks[static_cast<size_t>(chunk)];
    }

    static const char* NameOf(FontChunk chunk);  // its four characters

private:
    std::array<std::optional<ChunkBody>, static_cast<size_t>(FontChunk::Count)> m_arChunks;
};

}  // namespace Kestrova
