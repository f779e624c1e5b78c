#include "tools/kvbank/tree/TreeReporter.h"

#include <utility>

#include "tools/kvbank/engine/RecordNames.h"

namespace Kestrova {
namespace {

template <class TRecord, class TTell>
std::string Told(NoteScan& scan, const SDBNOTE& note, const TTell& tell) {
    TRecord record(note.idNote, note.idParent);
    return scan.Read(note, record) ? tell(record.m_info) : "cannot be read whole";
}

std::string RangeText(const CSDBIRegion::Info& info) {
    return "keys " + std::to_string(info.nLowKey) + " to " + std::to_string(info.nHighKey);
}

std::string LayerText(const CSDBILayer::Info& info) {
    return info.nSampleID == kSdbNoID ? "plays no sample" : "plays sample " + std::to_string(info.nSampleID);
}

// What a record of the tree does; "" for the other kinds.
std::string DetailOf(NoteScan& scan, const SDBNOTE& note) {
    if (!scan.IsWhole(note)) return "cut short by the end of the file";
    switch (note.nType) {
        case kSdbRegion: return Told<CSDBIRegion>(scan, note, RangeText);
        case kSdbLayer: return Told<CSDBILayer>(scan, note, LayerText);
        default: return "";
    }
}

std::string FaultOf(const TreeRow& row) {
    switch (row.fault) {
        case TreeFault::None: return "";
        case TreeFault::MissingParent:
            return "its parent, record " + std::to_string(row.pNote->idParent) + ", is missing";
        case TreeFault::OwnAncestor: return "it is its own ancestor";
    }
    return "";
}

}  // namespace

TreeReporter::TreeReporter(Console& console, std::string strFile, const TreeOptions& options)
    : m_console(console), m_strFile(std::move(strFile)), m_options(options) {
    m_document["file"] = m_strFile;
}

uint64_t TreeReporter::Tell(NoteScan& scan, const std::vector<TreeRow>& rows) {
    uint64_t nShown = 0, nDeeper = 0, nFaults = 0;
    m_document["kind"] = scan.IsEnriched() ? "enriched" : "plain";
    m_document["records"] = Json::array();
    for (const TreeRow& row : rows) {
        nFaults += row.fault == TreeFault::None ? 0 : 1;
        if (m_options.nType && *m_options.nType != row.pNote->nType) continue;
        if (row.nLevel > m_options.nDepth) {
            ++nDeeper;
            continue;
        }
        ++nShown;
        Tell(scan, row);
    }
    m_document["not_shown"] = nDeeper;
    if (nDeeper > 0)
        m_console.Say(Counted(nDeeper, "record") + (nDeeper == 1 ? " is" : " are") + " deeper than " +
                      Counted(m_options.nDepth, "level") + ", not shown");
    if (nShown == 0 && nDeeper == 0) m_console.Say("no record");
    return nFaults;
}

void TreeReporter::Tell(NoteScan& scan, const TreeRow& row) {
    const SDBNOTE& note = *row.pNote;
    const std::string strDetail = DetailOf(scan, note);
    const std::string strFault = FaultOf(row);
    std::string strLine = std::string(2 * (size_t{row.nLevel} - 1), ' ') + DescribeNote(scan.File(), note) +
                          ", " + ReadableSize(note.nSize);
    if (!strDetail.empty()) strLine += ", " + strDetail;
    if (!strFault.empty()) strLine += " (" + strFault + ")";
    m_console.Say(strLine);
    if (!m_console.bJson) return;
    Json json = {{"level", row.nLevel}, {"type", TypeName(note.nType)}, {"id", note.idNote}};
    if (note.idParent != kSdbNoID) json["parent"] = note.idParent;
    if (std::string strName = NameOfNote(scan.File(), note); !strName.empty()) json["name"] = strName;
    json["bytes"] = note.nSize;
    if (!strDetail.empty()) json["detail"] = strDetail;
    if (!strFault.empty()) json["fault"] = strFault;
    m_document["records"].push_back(std::move(json));
}

int TreeReporter::Finish(const Ending& ending) {
    if (!ending.IsDone()) m_console.Error(m_strFile + ": " + ending.strError);
    return m_console.Finish("tree", ending.code, m_document);
}

}  // namespace Kestrova
