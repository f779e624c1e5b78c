#include "import/notefolder/NoteFolder.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>

#include "import/notefolder/NoteFolderPlanner.h"
#include "shared/System/kvDirectory.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

constexpr size_t kProgramsPerBank = 128;
constexpr size_t kMostPrograms = 128 * kProgramsPerBank;  // bank 128 would be percussion

constexpr char kRule[] =
    "The last word of a file's name that is a note, as C#4, Db4 or A-1, tells its key (C4 is 60);\n"
    "without one the last number from 0 to 127. A word as v3 or vel64 tells its velocity layer. The\n"
    "other words name the preset. Keys between two notes go to the nearer one, the key in the middle to\n"
    "the lower one. The layers of a note share the velocities 1 to 127 in equal parts, in the order of\n"
    "their numbers.";

std::string LowerCase(std::string strText) {
    for (char& c : strText)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return strText;
}

bool IsSoundName(const std::string& strName) {
    constexpr std::array kExtensions = {".wav", ".wave", ".aif", ".aiff", ".aifc", ".flac",
                                        ".ogg", ".oga",  ".au",  ".caf",  ".w64",  ".rf64"};
    return std::count(kExtensions.begin(), kExtensions.end(), LowerCase(fs::path(strName).extension())) > 0;
}

}  // namespace

ImportOutcome NoteFolder::Open(const std::string& strPath) {
    return CatchNoMemory([&] {
        std::vector<std::string> names;
        if (ImportOutcome outcome = ListFiles(strPath, names); !outcome.IsDone()) return outcome;
        fs::path path = fs::path(strPath).lexically_normal();
        if (!path.has_filename()) path = path.parent_path();  // it ended with a slash
        m_strName = path.filename();
        Group(strPath, names);
        if (m_groups.empty())
            return Refused(
                "no sound file in this folder is named by note, as \"Piano C#4.wav\" or \"60.wav\"");
        if (m_groups.size() > kMostPrograms)
            return Refused("its files have more than " + std::to_string(kMostPrograms) +
                           " names besides their notes");
        return ImportOutcome();
    });
}

ImportOutcome NoteFolder::ListFiles(const std::string& strPath, std::vector<std::string>& names) {
    std::vector<std::string> all;
    if (const int nError = ReadFolderNames(strPath.c_str(), all); nError != 0) return Unreadable(nError);
    for (std::string& strName : all) {
        std::error_code unknown;  // what cannot be looked at is told when it is read
        const fs::file_status status = fs::status(fs::path(strPath) / strName, unknown);
        if (fs::is_regular_file(status) || status.type() == fs::file_type::none)
            names.push_back(std::move(strName));
    }
    return {};
}

void NoteFolder::Group(const std::string& strPath, const std::vector<std::string>& names) {
    std::map<std::string, NoteGroup> groups;  // by the name in lower case
    for (const std::string& strName : names) {
        const std::string strStem = fs::path(strName).stem();
        const std::optional<NoteName> note = ParseNoteName(strStem);
        if (!IsSoundName(strName))
            m_arOthers.push_back(strName);
        else if (!note)
            m_arUnnamed.push_back(strName);
        else {
            const std::string strShown = note->strInstrument.empty() ? m_strName : note->strInstrument;
            const auto [place, bNew] = groups.try_emplace(LowerCase(note->strInstrument));
            if (bNew) place->second.strName = strShown;
            place->second.files.push_back({(fs::path(strPath) / strName).string(), strStem, *note});
        }
    }
    for (auto& [strLower, group] : groups) {
        group.number = {static_cast<uint16_t>(m_groups.size() / kProgramsPerBank),
                        static_cast<uint16_t>(m_groups.size() % kProgramsPerBank)};
        m_groups.push_back(std::move(group));
    }
}

InstrumentFacts NoteFolder::GetFacts() const {
    return {.strFormat = "folder of samples", .strName = m_strName, .nBits = 0, .strRule = kRule};
}

std::vector<InstrumentProgram> NoteFolder::GetPrograms() const {
    std::vector<InstrumentProgram> programs;
    for (const NoteGroup& group : m_groups)
        programs.push_back({group.number, group.strName, group.files.size()});
    return programs;
}

ImportOutcome NoteFolder::MakePlan(const std::set<ProgramNumber>& chosen, ImportPlan& plan,
                                   ImportReport& report, const ImportWatch& watch) {
    return CatchNoMemory([&] {
        for (const std::string& strName : m_arUnnamed)
            report.Note(ImportEvent::Dropped, "file \"" + strName + "\"", "its name tells no note");
        for (const std::string& strName : m_arOthers)
            report.Note(ImportEvent::LeftOut, "file \"" + strName + "\"", "it is no sound file");
        NoteFolderPlanner planner(m_files, report);
        plan = {};
        plan.strName = m_strName;
        for (const NoteGroup& group : m_groups) {
            if (!chosen.empty() && chosen.count(group.number) == 0) continue;
            if (ImportOutcome outcome = planner.Add(group, plan, watch); !outcome.IsDone()) return outcome;
        }
        m_arWaves = planner.GetFiles();
        return ImportOutcome();
    });
}

ImportOutcome NoteFolder::ReadFrames(size_t nWave, uint64_t nFirst, uint64_t nFrames, uint8_t* pOut) const {
    return m_files.ReadFrames(m_arWaves[nWave], nFirst, nFrames, pOut);
}

}  // namespace Kestrova
