// SDBIWaveFile.h - the form of RIFF WAVE files: a walk over the chunks of one, and what both the reading and
// the writing of samples need to know of it. Reading is in SDBISampleExtern.cpp, writing in
// SDBIWaveExport.cpp.
#pragma once

#include <cstdint>

#include "SamplerDBDS/DataBase/SDBFormat.h"

namespace Kestrova {

class CXFile;

inline constexpr uint32_t kChunkFormat = ChunkId("fmt ");
inline constexpr uint32_t kChunkData = ChunkId("data");
inline constexpr uint32_t kChunkSampler = ChunkId("smpl");

inline constexpr uint32_t kFormatBytes = 16;   // of a "fmt " body, as far as it is looked at
inline constexpr uint32_t kSamplerBytes = 36;  // of a "smpl" body in front of its loops
inline constexpr uint32_t kLoopBytes = 24;     // of one loop in it

// Format tags of a "fmt " body.
inline constexpr uint32_t kWaveTagInteger = 1;
inline constexpr uint32_t kWaveTagFloat = 3;

// Little-endian numbers at any address.
inline uint32_t Word16(const uint8_t* p) { return p[0] | uint32_t{p[1]} << 8; }
inline uint32_t Word32(const uint8_t* p) { return Word16(p) | Word16(p + 2) << 16; }

// The chunks of an open file, one after the other. Quirk (Q88): no pad byte is skipped after a chunk of odd
// size, so what follows such a chunk in a padded file is not found; the accepted files depend on it.
// Threads: one. Owner: the file is the caller's. Errors: false.
class CWaveChunks {
public:
    explicit CWaveChunks(CXFile& file) : m_file(file) {}

    // Checks the head of the file: "RIFF", a size that the file has, "WAVE".
    bool Begin();

    // Moves on to the next chunk and reads its id and size; false when there is no whole chunk header left.
    bool Next();

    CXFile& GetFile() { return m_file; }
    uint32_t GetId() const { return m_id; }
    uint32_t GetSize() const { return m_nSize; }  // as stated; the file may have less

    // Whether the chunk, and the file, have n bytes of body from offset on.
    bool HasBody(uint64_t nOffset, uint64_t n) const;

    // The next n bytes of the file; they begin at the chunk's body after Next.
    bool Read(void* pData, unsigned long n);

private:
    CXFile& m_file;
    uint64_t m_nFileSize = 0;
    uint64_t m_posBody = 0;
    uint64_t m_posNext = 0;
    uint32_t m_id = 0;
    uint32_t m_nSize = 0;
};

// The fine tune, -49 to 50 cents, that a pitch fraction (in 1/2^32 semitones) stands for, and the fraction of
// a fine tune. Formula: fraction * 100 / 4294967295 + 0.5, truncated, less 100 above 50; computed in
// integers.
int32_t FineTuneOfFraction(uint32_t nFraction);
uint32_t FractionOfFineTune(int32_t nCents);

}  // namespace Kestrova
