#include "tools/kvbank/engine/RecordNames.h"

#include <array>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "tools/kvbank/terminal/Console.h"

namespace Kestrova {

std::string TypeName(uint8_t nType) {
    switch (nType) {
        case kSdbInfo: return "information record";
        case kSdbPreset: return "preset";
        case kSdbBank: return "bank";
        case kSdbProgram: return "program";
        case kSdbRegion: return "region";
        case kSdbLayer: return "layer";
        case kSdbSample: return "sample";
        case kSdbAny: return "source";
        case kSdbQuickLoad: return "quick-load table";
        default: return "record of type " + std::to_string(nType);
    }
}

std::string NameOfNote(CXFile& file, const SDBNOTE& note) {
    const bool bNamed = note.nType == kSdbInfo || (note.nType >= kSdbPreset && note.nType <= kSdbRegion) ||
                        note.nType == kSdbSample;
    if (!bNamed) return "";
    std::array<char, 256> text{};
    uint8_t nLength = 0;
    const bool bRead = note.nSize > 0 && file.ReadAtPos(note.PosBody(), &nLength, 1) &&
                       nLength < note.nSize && file.ReadAtPos(note.PosBody() + 1, text.data(), nLength);
    return bRead ? text.data() : "";
}

std::string DescribeNote(CXFile& file, const SDBNOTE& note) {
    const std::string strName = Printable(NameOfNote(file, note));
    const std::string strText = TypeName(note.nType) + " " + std::to_string(note.idNote);
    return strName.empty() ? strText : strText + " \"" + strName + "\"";
}

std::string DescribeRecord(CSDB* pDatabase, uint8_t nType, uint32_t id) {
    const SDBNOTE* const pNote = pDatabase == nullptr ? nullptr : pDatabase->GetNoteByID(id);
    if (pNote == nullptr || pNote->nType != nType) return TypeName(nType) + " " + std::to_string(id);
    return DescribeNote(pDatabase->GetFile(), *pNote);
}

}  // namespace Kestrova
