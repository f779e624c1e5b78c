#include "tools/kvbank/compare/NoteScan.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "SamplerDBDS/BaseClasses/XFileHold.h"
#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "SamplerDBDS/DataBase/SDBNoteWalk.h"
#include "tools/kvbank/engine/EngineRun.h"
#include "tools/kvbank/folder/BankFolder.h"

namespace Kestrova {

NoteScan::Outcome NoteScan::Open(const std::string& strPath) {
    m_strPath = strPath;
    FileFacts facts;
    if (!m_file.Open(strPath.c_str(), 0) || !m_file.GetFacts(facts)) return Outcome::Unreadable;
    m_nFileSize = facts.nSize;
    if (m_nFileSize < FileHeader::kBytes) return Outcome::NotABank;
    if (!m_file.ReadAtPos(0, &m_nFormat, sizeof m_nFormat)) return Outcome::Unreadable;
    if (m_nFormat != kSdbFormatEnriched && m_nFormat != kSdbFormatPlain) return Outcome::NotABank;
    CSDBNoteWalk walk(m_file);
    for (SDBNOTE note; walk.Next(note);) {
        const auto nIndex = static_cast<uint32_t>(m_arNotes.size());
        if (nIndex == CSDBIdMap::kNone) break;
        m_arNotes.push_back(note);
        if (!note.IsLive()) continue;
        uint32_t& nFirst = m_mapLive.At(note.idNote);
        if (nFirst == CSDBIdMap::kNone) nFirst = nIndex;
    }
    return walk.HasFailed() ? Outcome::Unreadable : Outcome::Scanned;
}

uint64_t NoteScan::SurplusBytes() const {
    const uint64_t posEnd = m_arNotes.empty() ? FileHeader::kBytes : m_arNotes.back().PosEnd();
    return m_nFileSize > posEnd ? m_nFileSize - posEnd : 0;
}

const SDBNOTE* NoteScan::Find(uint32_t id) const {
    const uint32_t nIndex = m_mapLive.Find(id);
    return nIndex == CSDBIdMap::kNone ? nullptr : &m_arNotes[nIndex];
}

const SDBNOTE* NoteScan::FindType(uint8_t nType) const {
    const auto pFound = std::find_if(m_arNotes.begin(), m_arNotes.end(), [nType](const SDBNOTE& note) {
        return note.IsLive() && note.nType == nType;
    });
    return pFound == m_arNotes.end() ? nullptr : &*pFound;
}

bool NoteScan::Read(CXFile& file, const SDBNOTE& note, CSDBInterpreter& record) {
    const CXFileHold hold(file);
    return file.SeekToPos(note.PosBody()) && record.Read(&file, note.nSize);
}

std::string WhyUnread(const CXFile& file) {
    const int nError = file.GetFirstError();
    if (nError == ENOMEM) throw std::bad_alloc();
    return nError != 0 ? std::strerror(nError) : "it cannot be read whole";
}

std::string ScanOrWhyNot(NoteScan& scan, const std::string& strPath) {
    switch (scan.Open(strPath)) {
        case NoteScan::Outcome::Scanned: return "";
        case NoteScan::Outcome::Unreadable: return WhyUnread(scan.File());
        case NoteScan::Outcome::NotABank: break;
    }
    return WhyNoBank(strPath);
}

Ending OpenScan(NoteScan& scan, const std::string& strPath) {
    if (Ending held = AskHeld(strPath); !held.IsDone()) return held;
    std::string strWhy = ScanOrWhyNot(scan, strPath);
    if (strWhy.empty()) return {};
    return {kExitBadInput, std::move(strWhy)};
}

}  // namespace Kestrova
