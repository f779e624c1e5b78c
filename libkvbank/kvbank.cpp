// The functions of kvbank.h. No exception leaves them.
#include "include/kvbank.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "SamplerDBDS/DataBase/SDBFormat.h"
#include "libkvbank/BankTree.h"
#include "libkvbank/FileImage.h"
#include "libkvbank/NoteList.h"

struct kvb_bank {
    Kestrova::FileImage image;
    Kestrova::BankTree tree;

    std::span<const uint8_t> Bytes() const { return image.Bytes(); }
};

namespace Kestrova {
namespace {

constexpr std::array kErrorTexts = {
    "no error",
    "an argument of the call is wrong",
    "the system refused to read the file",
    "there is not enough memory",
    "the file is not a bank",
    "the bank is being built, or its build was interrupted",
    "the file is damaged: it ends too early or contradicts itself",
    "there is no such program, or no region for this key and velocity",
    "the wave is compressed, as in a source bank; build a bank of it to play it",
    "the wave lies in another file, as a source bank may have it; build a bank of it to play it",
};
static_assert(kErrorTexts.size() == KVB_ERROR_EXTERNAL + 1);

// Names in structures: at most 255 characters, which no text of a record exceeds.
void CopyText(char (&szOut)[KVB_NAME_SIZE], std::string_view text) { text.copy(szOut, sizeof szOut - 1); }

// Fills the caller's structure as far as it goes, the part that this library does not know with zeros.
template <class TInfo>
int Give(const TInfo& info, TInfo* pOut, size_t nSize) {
    if (nSize > sizeof info) std::memset(reinterpret_cast<char*>(pOut) + sizeof info, 0, nSize - sizeof info);
    std::memcpy(pOut, &info, std::min(nSize, sizeof info));
    return KVB_OK;
}

// load: fills the image and returns a KVB_ result.
template <class TLoad>
int OpenImage(kvb_bank** ppBank, const TLoad& load) {
    try {
        auto pBank = std::make_unique<kvb_bank>();
        if (const int nResult = load(pBank->image); nResult != KVB_OK) return nResult;
        NoteList notes;
        if (const int nResult = notes.Read(pBank->Bytes()); nResult != KVB_OK) return nResult;
        if (const int nResult = pBank->tree.Build(pBank->Bytes(), notes); nResult != KVB_OK) return nResult;
        *ppBank = pBank.release();
        return KVB_OK;
    } catch (const std::bad_alloc&) {
        return KVB_ERROR_NO_MEMORY;
    }
}

// The record of a sample. Its wave lies within the file.
int ReadSample(const kvb_bank* pBank, uint32_t nSample, SampleRecord& record) {
    if (pBank == nullptr || nSample >= pBank->tree.samples.size()) return KVB_ERROR_ARGUMENT;
    const RecordBody& body = pBank->tree.samples[nSample].body;
    const bool bRead = pBank->tree.bEnriched ? record.ReadEnriched(pBank->Bytes(), body)
                                             : record.ReadPlain(pBank->Bytes(), body);
    return bRead ? KVB_OK : KVB_ERROR_DAMAGED;
}

uint32_t EncodingOf(const SampleRecord& record) {
    if (record.nStoredBytes == 0) return KVB_WAVE_EXTERNAL;
    return record.nStoredBytes == record.nWaveBytes ? KVB_WAVE_RAW : KVB_WAVE_COMPRESSED;
}

// The record of a sample whose frames are in the file as it states.
int ReadRawSample(const kvb_bank* pBank, uint32_t nSample, SampleRecord& record) {
    if (const int nResult = ReadSample(pBank, nSample, record); nResult != KVB_OK) return nResult;
    if (record.nStoredBytes == 0) return KVB_ERROR_EXTERNAL;
    if (record.nStoredBytes != record.nWaveBytes) return KVB_ERROR_COMPRESSED;
    const uint64_t nFrameBytes = record.FrameBytes();
    const bool bWhole = nFrameBytes != 0 && record.nFrames <= record.nStoredBytes / nFrameBytes;
    return bWhole ? KVB_OK : KVB_ERROR_DAMAGED;
}

}  // namespace
}  // namespace Kestrova

using namespace Kestrova;

const char* kvb_version(void) { return KVB_LIBRARY_VERSION; }

const char* kvb_error_text(int error) {
    const bool bKnown = error >= 0 && error < static_cast<int>(kErrorTexts.size());
    return bKnown ? kErrorTexts[static_cast<size_t>(error)] : "an error of a later version of the library";
}

int kvb_open(const char* path, unsigned flags, kvb_bank** bank) {
    if (path == nullptr || bank == nullptr || flags > KVB_OPEN_COPY) return KVB_ERROR_ARGUMENT;
    return OpenImage(
        bank, [&](FileImage& image) { return flags == KVB_OPEN_COPY ? image.Copy(path) : image.Map(path); });
}

int kvb_open_memory(const void* bytes, size_t size, kvb_bank** bank) {
    if (bytes == nullptr || bank == nullptr) return KVB_ERROR_ARGUMENT;
    return OpenImage(bank, [&](FileImage& image) {
        image.Borrow(bytes, size);
        return KVB_OK;
    });
}

void kvb_close(kvb_bank* bank) { delete bank; }

int kvb_get_bank(const kvb_bank* bank, kvb_bank_info* info, size_t size) {
    if (bank == nullptr || info == nullptr) return KVB_ERROR_ARGUMENT;
    const BankTree& tree = bank->tree;
    kvb_bank_info filled{};
    CopyText(filled.name, tree.info.name);
    CopyText(filled.description, tree.info.description);
    std::memcpy(filled.identity, bank->Bytes().data() + FileHeader::kIdentity.offset, sizeof filled.identity);
    filled.kind = tree.bEnriched ? KVB_KIND_BUILT : KVB_KIND_SOURCE;
    filled.rate = tree.info.nRate;
    filled.per_key = tree.info.nPerKey != 0 ? 1 : 0;
    filled.program_count = static_cast<uint32_t>(tree.programs.size());
    filled.sample_count = static_cast<uint32_t>(tree.samples.size());
    return Give(filled, info, size);
}

int kvb_get_program(const kvb_bank* bank, uint32_t program, kvb_program* info, size_t size) {
    if (bank == nullptr || info == nullptr || program >= bank->tree.programs.size())
        return KVB_ERROR_ARGUMENT;
    const TreeProgram& row = bank->tree.programs[program];
    ProgramRecord record;
    if (!record.Read(bank->Bytes(), row.body)) return KVB_ERROR_DAMAGED;
    kvb_program filled{};
    CopyText(filled.name, record.name);
    filled.bank = row.nBank;
    filled.number = row.nNumber;
    filled.split = record.IsSplit() ? 1 : 0;
    filled.first_region = row.regions.nFirst;
    filled.region_count = row.regions.nCount;
    return Give(filled, info, size);
}

int kvb_find_program(const kvb_bank* bank, uint32_t bank_number, uint32_t number, uint32_t* program) {
    if (bank == nullptr || program == nullptr) return KVB_ERROR_ARGUMENT;
    const std::vector<TreeProgram>& programs = bank->tree.programs;
    const auto it = std::find_if(programs.begin(), programs.end(), [&](const TreeProgram& row) {
        return row.nBank == bank_number && row.nNumber == number;
    });
    if (it == programs.end()) return KVB_ERROR_NOT_FOUND;
    *program = static_cast<uint32_t>(it - programs.begin());
    return KVB_OK;
}

int kvb_get_region(const kvb_bank* bank, uint32_t region, kvb_region* info, size_t size) {
    if (bank == nullptr || info == nullptr || region >= bank->tree.regions.size()) return KVB_ERROR_ARGUMENT;
    const TreeRegion& row = bank->tree.regions[region];
    RegionRecord record;
    if (!record.Read(bank->Bytes(), row.body)) return KVB_ERROR_DAMAGED;
    kvb_region filled{};
    CopyText(filled.name, record.name);
    filled.low_key = row.nLowKey;
    filled.high_key = row.nHighKey;
    filled.low_velocity = row.nLowVelocity;
    filled.high_velocity = row.nHighVelocity;
    filled.program = row.nProgram;
    filled.layer_count = row.layers.nCount;
    return Give(filled, info, size);
}

int kvb_find_region(const kvb_bank* bank, uint32_t program, int key, int velocity, uint32_t after,
                    uint32_t* region) {
    if (bank == nullptr || region == nullptr || program >= bank->tree.programs.size())
        return KVB_ERROR_ARGUMENT;
    const Rows& rows = bank->tree.programs[program].regions;
    const uint32_t nEnd = rows.nFirst + rows.nCount;
    const uint32_t nStart = after == KVB_NONE ? rows.nFirst : after + 1;
    if (nStart < rows.nFirst || nStart > nEnd) return KVB_ERROR_ARGUMENT;
    for (uint32_t n = nStart; n < nEnd; ++n) {
        if (!bank->tree.regions[n].Sounds(key, velocity)) continue;
        *region = n;
        return KVB_OK;
    }
    return KVB_ERROR_NOT_FOUND;
}

int kvb_get_layer(const kvb_bank* bank, uint32_t region, uint32_t layer, kvb_layer* info, size_t size) {
    if (bank == nullptr || info == nullptr || region >= bank->tree.regions.size() ||
        layer >= bank->tree.regions[region].layers.nCount)
        return KVB_ERROR_ARGUMENT;
    const TreeLayer& row = bank->tree.layers[bank->tree.regions[region].layers.nFirst + layer];
    kvb_layer filled{};
    filled.sample = row.nSample;
    std::copy(row.values.begin(), row.values.end(), filled.values);
    return Give(filled, info, size);
}

int kvb_get_sample(const kvb_bank* bank, uint32_t sample, kvb_sample* info, size_t size) {
    if (info == nullptr) return KVB_ERROR_ARGUMENT;
    SampleRecord record;
    if (const int nResult = ReadSample(bank, sample, record); nResult != KVB_OK) return nResult;
    if (record.FrameBytes() > UINT32_MAX) return KVB_ERROR_DAMAGED;
    kvb_sample filled{};
    CopyText(filled.name, record.name);
    filled.id = bank->tree.samples[sample].id;
    filled.rate = record.nRate;
    filled.bits = record.Bits();
    filled.is_float = record.IsFloat() ? 1 : 0;
    filled.channels = record.nChannels;
    filled.frame_bytes = static_cast<uint32_t>(record.FrameBytes());
    filled.root_key = record.nRootKey;
    filled.fine_tune = record.nFineTune;
    filled.loop_count = record.nLoops;
    filled.encoding = EncodingOf(record);
    filled.frames = record.nFrames;
    filled.wave_bytes = record.nWaveBytes;
    filled.stored_bytes = record.nStoredBytes;
    filled.file_offset = record.posWave;
    return Give(filled, info, size);
}

int kvb_get_loop(const kvb_bank* bank, uint32_t sample, uint32_t loop, kvb_loop* info, size_t size) {
    if (info == nullptr) return KVB_ERROR_ARGUMENT;
    SampleRecord record;
    if (const int nResult = ReadSample(bank, sample, record); nResult != KVB_OK) return nResult;
    if (loop >= record.nLoops) return KVB_ERROR_ARGUMENT;
    uint32_t arWords[4];  // cue point id, start, end, play count
    std::memcpy(arWords, bank->Bytes().data() + record.posLoops + sizeof arWords * loop, sizeof arWords);
    return Give(kvb_loop{arWords[1], arWords[2], arWords[3], arWords[0]}, info, size);
}

int kvb_get_frames(const kvb_bank* bank, uint32_t sample, const void** frames, uint64_t* count) {
    if (frames == nullptr || count == nullptr) return KVB_ERROR_ARGUMENT;
    SampleRecord record;
    if (const int nResult = ReadRawSample(bank, sample, record); nResult != KVB_OK) return nResult;
    *frames = bank->Bytes().data() + record.posWave;
    *count = record.nFrames;
    return KVB_OK;
}

int kvb_get_stored(const kvb_bank* bank, uint32_t sample, const void** bytes, uint64_t* size) {
    if (bytes == nullptr || size == nullptr) return KVB_ERROR_ARGUMENT;
    SampleRecord record;
    if (const int nResult = ReadSample(bank, sample, record); nResult != KVB_OK) return nResult;
    if (record.nStoredBytes == 0) return KVB_ERROR_EXTERNAL;
    *bytes = bank->Bytes().data() + record.posWave;
    *size = record.nStoredBytes;
    return KVB_OK;
}

int kvb_prefetch(const kvb_bank* bank, uint32_t sample, uint64_t first_frame, uint64_t count) {
    SampleRecord record;
    if (const int nResult = ReadRawSample(bank, sample, record); nResult != KVB_OK) return nResult;
    const uint64_t nFirst = std::min<uint64_t>(first_frame, record.nFrames);
    const uint64_t nFrames = std::min<uint64_t>(count, record.nFrames - nFirst);
    bank->image.Prefetch(static_cast<size_t>(record.posWave + nFirst * record.FrameBytes()),
                         static_cast<size_t>(nFrames * record.FrameBytes()));
    return KVB_OK;
}

double kvb_pitch_ratio(const kvb_sample* sample, int key) {
    const double cents = 100.0 * (static_cast<double>(key) - sample->root_key) - sample->fine_tune;
    return std::exp2(cents / 1200.0);
}
