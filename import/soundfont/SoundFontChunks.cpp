#include "import/soundfont/SoundFontChunks.h"

#include <cerrno>
#include <cstring>
#include <string_view>

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
    uint64_t posNext() const { return posEnd() + (body.nSize & 1); }  // bodies are padded to even sizes
};

// The chunks between two positions, in order.
class ChunkWalk {
public:
    ChunkWalk(CXFile& file, uint64_t pos, uint64_t posEnd, std::string& strError)
        : m_file(file), m_pos(pos), m_posEnd(posEnd), m_strError(strError) {}

    // False at the end, where fewer bytes than a header's are left, and for a chunk that reaches beyond it.
    bool Next(Header& header) {
        if (m_pos > m_posEnd || m_posEnd - m_pos < kHeaderBytes) return false;
        if (!ReadTag(m_pos, header.strTag) || !ReadSize(header)) return false;
        if (header.posEnd() > m_posEnd) {
            m_strError = "its chunk \"" + Printable(header.strTag) + "\" is cut short: it claims " +
                         std::to_string(header.body.nSize) + " bytes, there are " +
                         std::to_string(m_posEnd - header.body.pos);
            return false;
        }
        m_pos = header.posNext();
        return true;
    }

    bool ReadTag(uint64_t pos, std::string& strTag) {
        strTag.resize(kTagBytes);
        return Read(pos, strTag.data());
    }

private:
    bool ReadSize(Header& header) {
        uint32_t nSize = 0;
        header.body.pos = m_pos + kHeaderBytes;
        if (!Read(m_pos + kTagBytes, &nSize)) return false;
        header.body.nSize = nSize;
        return true;
    }

    bool Read(uint64_t pos, void* p) {
        errno = 0;
        if (m_file.ReadAtPos(pos, p, kTagBytes)) return true;
        m_strError = errno != 0 ? std::strerror(errno) : "it is cut short";
        return false;
    }

    CXFile& m_file;
    uint64_t m_pos;
    const uint64_t m_posEnd;
    std::string& m_strError;
};

size_t IndexOf(std::string_view list, std::string_view tag) {
    size_t i = 0;
    while (i < kChunks.size() && (list != kChunks[i].pszList || tag != kChunks[i].pszTag)) ++i;
    return i;
}

}  // namespace

const char* SoundFontChunks::NameOf(FontChunk chunk) { return kChunks[static_cast<size_t>(chunk)].pszTag; }

bool SoundFontChunks::Find(CXFile& file, std::string& strError) {
    unsigned long long nFileSize = 0;
    if (!file.GetSize(nFileSize)) {
        strError = std::strerror(errno);
        return false;
    }
    Header riff, list, chunk;
    std::string strForm;
    ChunkWalk whole(file, 0, nFileSize, strError);
    if (!whole.Next(riff) || riff.strTag != "RIFF" || riff.body.nSize < kTagBytes ||
        !whole.ReadTag(riff.body.pos, strForm) || strForm != "sfbk") {
        if (strError.empty() || riff.strTag != "RIFF") strError = "it is not a SoundFont file";
        return false;
    }
    ChunkWalk lists(file, riff.body.pos + kTagBytes, riff.posEnd(), strError);
    while (lists.Next(list)) {
        if (list.strTag != "LIST" || list.body.nSize < kTagBytes) continue;
        if (!lists.ReadTag(list.body.pos, strForm)) return false;
        ChunkWalk chunks(file, list.body.pos + kTagBytes, list.posEnd(), strError);
        while (chunks.Next(chunk)) {
            const size_t nIndex = IndexOf(strForm, chunk.strTag);
            if (nIndex == kChunks.size()) continue;
            if (m_arChunks[nIndex]) {
                strError = "its chunk \"" + chunk.strTag + "\" is there twice";
                return false;
            }
            m_arChunks[nIndex] = chunk.body;
        }
        if (!strError.empty()) return false;
    }
    return strError.empty();
}

}  // namespace Kestrova
