#include "import/soundfont/SoundFont.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "SamplerDBDS/DataBase/SDBFormat.h"
#include "bank/FileAnswer.h"

namespace Kestrova {
namespace {

// Rows of the tables, little-endian like this host.
namespace PresetRow {
constexpr FieldSpan kProgram{20, 2}, kBank{22, 2}, kFirstBag{24, 2};
constexpr size_t kBytes = 38;
}  // namespace PresetRow
namespace InstrumentRow {
constexpr FieldSpan kFirstBag{20, 2};
constexpr size_t kBytes = 22;
}  // namespace InstrumentRow
namespace BagRow {
constexpr FieldSpan kFirstGenerator{0, 2}, kFirstModulator{2, 2};
constexpr size_t kBytes = 4;
}  // namespace BagRow
namespace GeneratorRow {
constexpr FieldSpan kOperator{0, 2}, kAmount{2, 2};
constexpr size_t kBytes = 4;
}  // namespace GeneratorRow
namespace ModulatorRow {
constexpr size_t kBytes = 10;
}  // namespace ModulatorRow
namespace SampleRow {
constexpr FieldSpan kStart{20, 4}, kEnd{24, 4}, kLoopStart{28, 4}, kLoopEnd{32, 4}, kRate{36, 4};
constexpr FieldSpan kRootKey{40, 1}, kCorrection{41, 1}, kLink{42, 2}, kType{44, 2};
constexpr size_t kBytes = 46;
}  // namespace SampleRow

constexpr size_t kNameBytes = 20;          // a row's name, its first field
constexpr size_t kMostRows = 0x10000 + 1;  // 16-bit indexes reach no farther; one terminal row
constexpr uint64_t kMostTextBytes = 256;   // of a text of INFO, terminators included
constexpr uint64_t kFramesPerPiece = 16384;
constexpr uint16_t kMajorVersion = 2;
constexpr uint16_t kPackedMajorVersion = 3;
constexpr uint16_t kMinorVersionOf24Bits = 4;

// Up to the first zero byte, without the blanks that old files fill names with.
std::string TextOf(const uint8_t* p, size_t n) {
    std::string strText(p, std::find(p, p + n, uint8_t{0}));
    strText.erase(strText.find_last_not_of(' ') + 1);
    return strText;
}

std::string Quoted(FontChunk chunk) { return std::string{'"'} + SoundFontChunks::NameOf(chunk) + '"'; }

ImportOutcome OutOfOrder(const char* pszIndexes, FontChunk chunk) {
    return Refused(std::string("the ") + pszIndexes + " indexes of its chunk " + Quoted(chunk) +
                   " are out of order");
}

// Sets owners[i].*pList to the part of items from firsts[i] to firsts[i + 1]; false when the firsts fall or
// reach beyond the items.
template <class TOwner, class TItem>
bool Share(const std::vector<uint16_t>& firsts, const std::vector<TItem>& items, std::vector<TOwner>& owners,
           std::span<const TItem> TOwner::*pList) {
    for (size_t i = 0; i < owners.size(); ++i) {
        if (firsts[i] > firsts[i + 1] || firsts[i + 1] > items.size()) return false;
        owners[i].*pList = std::span(items).subspan(firsts[i], size_t{firsts[i + 1]} - firsts[i]);
    }
    return true;
}

}  // namespace

ImportOutcome SoundFont::Open(const std::string& strPath) {
    return CatchNoMemory([&] {
        m_strPath = strPath;
        const FileAnswer opened = AskFile(m_file, [&] { return m_file.Open(strPath.c_str(), 0); });
        return opened ? ReadAll() : Unreadable(opened.nError);
    });
}

ImportOutcome SoundFont::ReadAll() {
    ImportOutcome outcome = m_chunks.Find(m_file);
    if (m_chunks.IsHeaderCounted()) m_notes.push_back("the size of its RIFF chunk is 8 bytes too large");
    if (m_chunks.IsUnpadded()) m_notes.push_back("a chunk of an odd size is not padded");
    for (const auto step :
         {&SoundFont::ReadVersion, &SoundFont::ReadTexts, &SoundFont::FindWaves, &SoundFont::ReadPresets,
          &SoundFont::ReadInstruments, &SoundFont::ReadSamples, &SoundFont::FindPackedSamples})
        if (outcome.IsDone()) outcome = (this->*step)();
    return outcome;
}

ImportOutcome SoundFont::ReadAt(uint64_t pos, void* p, size_t n) const {
    const FileAnswer read = AskSharedFile(m_file, [&] { return m_file.ReadAtPos(pos, p, n); });
    return read ? ImportOutcome() : Unreadable(read.nError);
}

std::string SoundFont::GetVersion() const {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%u.%02u", unsigned{m_nMajor}, unsigned{m_nMinor});
    return text.data();
}

ImportOutcome SoundFont::ReadVersion() {
    const std::optional<ChunkBody>& body = m_chunks[FontChunk::Version];
    if (!body || body->nSize != 4) return Refused("it does not tell its SoundFont version");
    ImportOutcome outcome = ReadAt(body->pos, &m_nMajor, 2);
    if (outcome.IsDone()) outcome = ReadAt(body->pos + 2, &m_nMinor, 2);
    if (outcome.IsDone() && m_nMajor != kMajorVersion && m_nMajor != kPackedMajorVersion)
        return Refused("its SoundFont version is " + GetVersion() +
                       "; only versions 2 (2.01 to 2.04) and 3 are taken");
    return outcome;
}

ImportOutcome SoundFont::ReadText(FontChunk chunk, std::string& strText) {
    if (!m_chunks[chunk]) return {};
    std::array<uint8_t, kMostTextBytes> text{};
    const size_t nBytes = std::min(m_chunks[chunk]->nSize, kMostTextBytes);
    ImportOutcome outcome = ReadAt(m_chunks[chunk]->pos, text.data(), nBytes);
    strText = TextOf(text.data(), nBytes);
    return outcome;
}

ImportOutcome SoundFont::ReadTexts() {
    ImportOutcome outcome = ReadText(FontChunk::Name, m_strName);
    return outcome.IsDone() ? ReadText(FontChunk::Copyright, m_strCopyright) : outcome;
}

// The low bytes of 24-bit frames are used only when version and size are exactly right: if they belonged to
// other frames, the waves would be noise.
ImportOutcome SoundFont::FindWaves() {
    if (!m_chunks[FontChunk::Wave16]) return Refused("it has no waves");
    m_nFrames = m_chunks[FontChunk::Wave16]->nSize / 2;
    const std::optional<ChunkBody>& low = m_chunks[FontChunk::Wave24];
    if (!low) return {};
    const uint64_t nWanted = m_nFrames + (m_nFrames & 1);
    if (m_nMinor < kMinorVersionOf24Bits)
        m_strWarning = "24-bit part in a font of version " + GetVersion() + ": 16 bits are used";
    else if (low->nSize != nWanted)
        m_strWarning = "24-bit part of " + std::to_string(low->nSize) + " bytes instead of " +
                       std::to_string(nWanted) + ": 16 bits are used";
    else
        m_bWave24 = true;
    return {};
}

// Reads a table of whole rows, the terminal row included.
ImportOutcome SoundFont::ReadTable(FontChunk chunk, size_t nRowBytes, std::vector<uint8_t>& rows) {
    const std::optional<ChunkBody>& body = m_chunks[chunk];
    if (!body) return Refused("it has no chunk " + Quoted(chunk));
    if (body->nSize == 0) return Refused("its chunk " + Quoted(chunk) + " is empty");
    if (body->nSize % nRowBytes != 0)
        return Refused("its chunk " + Quoted(chunk) + " does not hold whole records");
    if (body->nSize / nRowBytes > kMostRows) return Refused("its chunk " + Quoted(chunk) + " is too long");
    rows.resize(body->nSize);
    return ReadAt(body->pos, rows.data(), rows.size());
}

// Modulators are only counted. Some programs leave out even the
// terminal record when a font has no modulators.
ImportOutcome SoundFont::ReadModulators(FontChunk chunk, size_t& nModulators) {
    if (m_chunks[chunk] && m_chunks[chunk]->nSize == 0) {
        m_notes.push_back("its chunk " + Quoted(chunk) + " is empty, without even the terminal record");
        return {};
    }
    std::vector<uint8_t> rows;
    ImportOutcome outcome = ReadTable(chunk, ModulatorRow::kBytes, rows);
    if (outcome.IsDone()) nModulators = rows.size() / ModulatorRow::kBytes - 1;
    return outcome;
}

ImportOutcome SoundFont::ReadGenerators(FontChunk chunk, std::vector<FontGenerator>& generators) {
    std::vector<uint8_t> rows;
    if (ImportOutcome outcome = ReadTable(chunk, GeneratorRow::kBytes, rows); !outcome.IsDone())
        return outcome;
    generators.resize(rows.size() / GeneratorRow::kBytes - 1);
    for (size_t i = 0; i < generators.size(); ++i) {
        const uint8_t* const pRow = rows.data() + i * GeneratorRow::kBytes;
        GetField<GeneratorRow::kOperator>(pRow, generators[i].nOperator);
        GetField<GeneratorRow::kAmount>(pRow, generators[i].nAmount);
    }
    return {};
}

ImportOutcome SoundFont::ReadZones(const OwnerChunks& chunks, ZoneTable& table) {
    std::vector<uint8_t> bags;
    size_t nModulators = 0;
    ImportOutcome outcome = ReadTable(chunks.bags, BagRow::kBytes, bags);
    if (outcome.IsDone()) outcome = ReadGenerators(chunks.generators, table.generators);
    if (outcome.IsDone()) outcome = ReadModulators(chunks.modulators, nModulators);
    if (!outcome.IsDone()) return outcome;
    const size_t nBags = bags.size() / BagRow::kBytes;
    std::vector<uint16_t> firstGenerators(nBags), firstModulators(nBags);
    for (size_t i = 0; i < nBags; ++i) {
        GetField<BagRow::kFirstGenerator>(bags.data() + i * BagRow::kBytes, firstGenerators[i]);
        GetField<BagRow::kFirstModulator>(bags.data() + i * BagRow::kBytes, firstModulators[i]);
    }
    table.zones.resize(nBags - 1);
    for (size_t i = 0; i + 1 < nBags; ++i) {
        if (firstModulators[i] > firstModulators[i + 1] || firstModulators[i + 1] > nModulators)
            return OutOfOrder("modulator", chunks.bags);
        table.zones[i].nModulators = uint32_t{firstModulators[i + 1]} - firstModulators[i];
    }
    const bool bShared = Share(firstGenerators, table.generators, table.zones, &FontZone::generators);
    return bShared ? ImportOutcome() : OutOfOrder("generator", chunks.bags);
}

// The rows of presets or instruments: name and zones of each, and what else `decode` takes from a row.
template <class TOwner>
ImportOutcome SoundFont::ReadOwners(const OwnerChunks& chunks, const RowLayout& layout, ZoneTable& table,
                                    std::vector<TOwner>& owners,
                                    void (*decode)(const uint8_t* pRow, TOwner& owner)) {
    std::vector<uint8_t> rows;
    ImportOutcome outcome = ReadTable(chunks.owners, layout.nBytes, rows);
    if (outcome.IsDone()) outcome = ReadZones(chunks, table);
    if (!outcome.IsDone()) return outcome;
    const size_t nRows = rows.size() / layout.nBytes;
    std::vector<uint16_t> firsts(nRows);
    owners.resize(nRows - 1);
    for (size_t i = 0; i < nRows; ++i) {
        const uint8_t* const pRow = rows.data() + i * layout.nBytes;
        std::memcpy(&firsts[i], pRow + layout.nFirstBag, sizeof firsts[i]);
        if (i + 1 == nRows) break;
        owners[i].strName = TextOf(pRow, kNameBytes);
        decode(pRow, owners[i]);
    }
    const bool bShared = Share(firsts, table.zones, owners, &TOwner::zones);
    return bShared ? ImportOutcome() : OutOfOrder("zone", chunks.owners);
}

ImportOutcome SoundFont::ReadPresets() {
    static constexpr OwnerChunks kChunks = {FontChunk::PresetHeaders, FontChunk::PresetBags,
                                            FontChunk::PresetModulators, FontChunk::PresetGenerators};
    return ReadOwners<FontPreset>(kChunks, {PresetRow::kBytes, PresetRow::kFirstBag.offset}, m_presetZones,
                                  m_presets, [](const uint8_t* pRow, FontPreset& preset) {
                                      GetField<PresetRow::kBank>(pRow, preset.nBank);
                                      GetField<PresetRow::kProgram>(pRow, preset.nProgram);
                                  });
}

ImportOutcome SoundFont::ReadInstruments() {
    static constexpr OwnerChunks kChunks = {FontChunk::Instruments, FontChunk::InstrumentBags,
                                            FontChunk::InstrumentModulators, FontChunk::InstrumentGenerators};
    return ReadOwners<FontInstrument>(kChunks, {InstrumentRow::kBytes, InstrumentRow::kFirstBag.offset},
                                      m_instrumentZones, m_instruments,
                                      [](const uint8_t*, FontInstrument&) {});
}

ImportOutcome SoundFont::ReadSamples() {
    std::vector<uint8_t> rows;
    if (ImportOutcome outcome = ReadTable(FontChunk::SampleHeaders, SampleRow::kBytes, rows);
        !outcome.IsDone())
        return outcome;
    m_samples.resize(rows.size() / SampleRow::kBytes - 1);
    for (size_t i = 0; i < m_samples.size(); ++i) {
        const uint8_t* const pRow = rows.data() + i * SampleRow::kBytes;
        FontSample& sample = m_samples[i];
        sample.strName = TextOf(pRow, kNameBytes);
        GetField<SampleRow::kStart>(pRow, sample.nStart);
        GetField<SampleRow::kEnd>(pRow, sample.nEnd);
        GetField<SampleRow::kLoopStart>(pRow, sample.nLoopStart);
        GetField<SampleRow::kLoopEnd>(pRow, sample.nLoopEnd);
        GetField<SampleRow::kRate>(pRow, sample.nRate);
        GetField<SampleRow::kRootKey>(pRow, sample.nRootKey);
        GetField<SampleRow::kCorrection>(pRow, sample.nCorrection);
        GetField<SampleRow::kLink>(pRow, sample.nLink);
        GetField<SampleRow::kType>(pRow, sample.nType);
    }
    return {};
}

// A sample is compressed when its type says so. Old fonts of version 3 do not say so of any sample, and then
// all are. Start and end of a compressed one are bytes of the wave data, and its loop counts from its first
// frame.
ImportOutcome SoundFont::FindPackedSamples() {
    const auto isMarked = [](const FontSample& sample) { return (sample.nType & kFontPacked) != 0; };
    const bool bAnyMarked = std::any_of(m_samples.begin(), m_samples.end(), isMarked);
    const bool bAll = m_nMajor == kPackedMajorVersion && !bAnyMarked;
    if (!bAll && !bAnyMarked) return {};
    if (m_bWave24) m_strWarning = "24-bit part in a font of compressed samples: 16 bits are used";
    m_bWave24 = false;
    const ChunkBody& waves = *m_chunks[FontChunk::Wave16];
    for (FontSample& sample : m_samples) {
        if (!bAll && !isMarked(sample)) continue;
        const uint32_t nBytes = sample.nEnd > sample.nStart ? sample.nEnd - sample.nStart : 0;
        sample.packed = ChunkBody{waves.pos + sample.nStart, nBytes};
        sample.nStart = sample.nEnd = 0;
    }
    return {};
}

ImportOutcome SoundFont::OpenSample(size_t nSample) {
    FontSample& sample = m_samples[nSample];
    if (!sample.packed || sample.packed->nSize == 0 || m_packedFiles.count(nSample) != 0) return {};
    const ChunkBody& waves = *m_chunks[FontChunk::Wave16];
    if (sample.packed->pos + sample.packed->nSize > waves.pos + waves.nSize)
        return Refused("its compressed sound reaches beyond the file's wave data");
    size_t nFile = 0;
    ImportOutcome outcome = m_packed.Add(m_strPath, nFile, {sample.packed->pos, sample.packed->nSize});
    if (!outcome.IsDone()) return outcome;
    const WaveFileFacts& facts = m_packed.GetFacts(nFile);
    if (facts.nChannels != 1 || facts.nBits != 16)
        return Refused("its compressed sound has " + std::to_string(facts.nChannels) + " channels of " +
                       std::to_string(facts.nBits) + " bits; only one of 16 is taken");
    if (facts.nFrames == 0) return Refused("its compressed sound has no frames");
    sample.nEnd = static_cast<uint32_t>(facts.nFrames);
    m_packedFiles.emplace(nSample, nFile);
    return outcome;
}

uint64_t SoundFont::GetFramesFor(size_t nSample) const {
    const FontSample& sample = m_samples[nSample];
    return sample.packed ? sample.nEnd : m_nFrames;
}

ImportOutcome SoundFont::ReadFramesFor(size_t nSample, uint64_t nFirst, uint64_t nFrames, uint8_t* pOut,
                                       size_t nStride) const {
    if (!m_samples[nSample].packed) return ReadFrames(nFirst, nFrames, pOut, nStride);
    std::array<uint8_t, kFramesPerPiece * 2> bytes;
    while (nFrames > 0) {
        const uint64_t nPiece = std::min(nFrames, kFramesPerPiece);
        ImportOutcome outcome = m_packed.ReadFrames(m_packedFiles.at(nSample), nFirst, nPiece, bytes.data());
        if (!outcome.IsDone()) return outcome;
        for (size_t i = 0; i < nPiece; ++i, pOut += nStride) std::memcpy(pOut, &bytes[2 * i], 2);
        nFirst += nPiece;
        nFrames -= nPiece;
    }
    return {};
}

ImportOutcome SoundFont::ReadFrames(uint64_t nFirst, uint64_t nFrames, uint8_t* pOut, size_t nStride) const {
    std::array<uint8_t, kFramesPerPiece * 2> high;
    std::array<uint8_t, kFramesPerPiece> low;
    while (nFrames > 0) {
        const uint64_t nPiece = std::min(nFrames, kFramesPerPiece);
        ImportOutcome outcome =
            ReadAt(m_chunks[FontChunk::Wave16]->pos + nFirst * 2, high.data(), nPiece * 2);
        if (outcome.IsDone() && m_bWave24)
            outcome = ReadAt(m_chunks[FontChunk::Wave24]->pos + nFirst, low.data(), nPiece);
        if (!outcome.IsDone()) return outcome;
        for (size_t i = 0; i < nPiece; ++i, pOut += nStride) {
            uint8_t* pByte = pOut;
            if (m_bWave24) *pByte++ = low[i];
            *pByte++ = high[2 * i];
            *pByte = high[2 * i + 1];
        }
        nFirst += nPiece;
        nFrames -= nPiece;
    }
    return {};
}

}  // namespace Kestrova
