#include "import/soundfont/SoundFontChunks.h"

#include <string>
#include <string_view>

#include "bank/FileAnswer.h"
#include "shared/System/kvPrintable.h"

namespace Kestrova {
namespace {

struct ChunkRow {
    const char* pszList;
    const char* pszTag;
};

// By FontChunk.
constexpr std::array<ChunkRow, static_cast<size_t>(FontChunk::Count)> kChunks = {{
    {"INFO", "ifil"},
    {"INFO", "INAM"},
    {"INFO", "ICOP"},
    {"sdta", "smpl"},
    {"sdta", "sm24"},
    {"pdta", "phdr"},
    {"pdta", "pbag"},
    {"pdta", "pmod"},
    {"pdta", "pgen"},
    {"pdta", "inst"},
    {"pdta", "ibag"},
    {"pdta", "imod"},
    {"pdta", "igen"},
    {"pdta", "shdr"},
}};

constexpr uint64_t kTagBytes = 4;
constexpr uint64_t kHeaderBytes = 8;  // tag and size

struct Header {
    std::string strTag;
    ChunkBody body;
    uint64_t posEnd() const { return body.pos + body.nSize; }
};

ImportOutcome Read(CXFile& file, uint64_t pos, void* p) {
    const FileAnswer read = AskFile(file, [&] { return file.ReadAtPos(pos, p, kTagBytes); });
    return read ? ImportOutcome() : Unreadable(read.nError);
}

ImportOutcome ReadTag(CXFile& file, uint64_t pos, std::string& strTag) {
    strTag.resize(kTagBytes);
    return Read(file, pos, strTag.data());
}

ImportOutcome ReadHeader(CXFile& file, uint64_t pos, Header& header) {
    uint32_t nSize = 0;
    ImportOutcome outcome = ReadTag(file, pos, header.strTag);
    if (outcome.IsDone()) outcome = Read(file, pos + kTagBytes, &nSize);
    header.body = {pos + kHeaderBytes, nSize};
    return outcome;
}

ImportOutcome CutShort(const Header& header, uint64_t posEnd) {
    return Refused("its chunk \"" + Printable(header.strTag) + "\" is cut short: it claims " +
                   std::to_string(header.body.nSize) + " bytes, there are " +
                   std::to_string(posEnd - header.body.pos));
}

// The chunks between two positions, in order.
class ChunkWalk {
public:
    ChunkWalk(CXFile& file, uint64_t pos, uint64_t posEnd) : m_file(file), m_pos(pos), m_posEnd(posEnd) {}

    // False at the end, where fewer bytes than a header's are left, and when the outcome is not done: a
    // chunk cannot be read or reaches beyond the end.
    bool Next(Header& header) {
        if (m_pos > m_posEnd || m_posEnd - m_pos < kHeaderBytes) return false;
        m_outcome = ReadHeader(m_file, m_pos, header);
        if (m_outcome.IsDone() && header.posEnd() > m_posEnd) m_outcome = CutShort(header, m_posEnd);
        if (m_outcome.IsDone()) m_outcome = GoBehind(header);
        return m_outcome.IsDone();
    }
    const ImportOutcome& Outcome() const { return m_outcome; }
    // A chunk of an odd size had no padding.
    bool IsUnpadded() const { return m_bUnpadded; }

private:
    // Bodies are padded to even sizes, with a zero. Where the four characters of a tag stand instead, the
    // padding was left out; some programs that compress samples do so.
    ImportOutcome GoBehind(const Header& header) {
        m_pos = header.posEnd();
        if (header.body.nSize % 2 == 0) return {};
        std::string strBehind;
        if (m_posEnd - m_pos >= kTagBytes)
            if (ImportOutcome outcome = ReadTag(m_file, m_pos, strBehind); !outcome.IsDone()) return outcome;
        const bool bTag = !strBehind.empty() && Printable(strBehind) == strBehind;
        m_bUnpadded = m_bUnpadded || bTag;
        m_pos += bTag ? 0 : 1;
        return {};
    }

    CXFile& m_file;
    uint64_t m_pos;
    const uint64_t m_posEnd;
    bool m_bUnpadded = false;
    ImportOutcome m_outcome;
};

size_t IndexOf(std::string_view list, std::string_view tag) {
    size_t i = 0;
    while (i < kChunks.size() && (list != kChunks[i].pszList || tag != kChunks[i].pszTag)) ++i;
    return i;
}

}  // namespace

const char* SoundFontChunks::NameOf(FontChunk chunk) { return kChunks[static_cast<size_t>(chunk)].pszTag; }

ImportOutcome SoundFontChunks::Find(CXFile& file) {
    unsigned long long nFileSize = 0;
    const FileAnswer measured = AskFile(file, [&] { return file.GetSize(nFileSize); });
    if (!measured) return Unreadable(measured.nError);
    const auto noFont = [] { return Refused("it is not a SoundFont file"); };
    if (nFileSize < kHeaderBytes) return noFont();
    Header riff;
    std::string strForm;
    ImportOutcome outcome = ReadHeader(file, 0, riff);
    if (!outcome.IsDone()) return outcome;
    if (riff.strTag != "RIFF") return noFont();
    m_bHeaderCounted = riff.posEnd() == nFileSize + kHeaderBytes;
    if (m_bHeaderCounted) riff.body.nSize -= kHeaderBytes;
    if (riff.posEnd() > nFileSize) return CutShort(riff, nFileSize);
    if (riff.body.nSize < kTagBytes) return noFont();
    outcome = ReadTag(file, riff.body.pos, strForm);
    if (!outcome.IsDone()) return outcome;
    if (strForm != "sfbk") return noFont();
    ChunkWalk lists(file, riff.body.pos + kTagBytes, riff.posEnd());
    for (Header list; lists.Next(list);) {
        if (list.strTag != "LIST" || list.body.nSize < kTagBytes) continue;
        outcome = FindInList(file, list.body);
        if (!outcome.IsDone()) return outcome;
    }
    m_bUnpadded = m_bUnpadded || lists.IsUnpadded();
    return lists.Outcome();
}

ImportOutcome SoundFontChunks::FindInList(CXFile& file, const ChunkBody& list) {
    std::string strList;
    if (ImportOutcome outcome = ReadTag(file, list.pos, strList); !outcome.IsDone()) return outcome;
    ChunkWalk chunks(file, list.pos + kTagBytes, list.pos + list.nSize);
    for (Header chunk; chunks.Next(chunk);) {
        const size_t nIndex = IndexOf(strList, chunk.strTag);
        if (nIndex == kChunks.size()) continue;
        if (m_arChunks[nIndex]) return Refused("its chunk \"" + chunk.strTag + "\" is there twice");
        m_arChunks[nIndex] = chunk.body;
    }
    m_bUnpadded = m_bUnpadded || chunks.IsUnpadded();
    return chunks.Outcome();
}

}  // namespace Kestrova
