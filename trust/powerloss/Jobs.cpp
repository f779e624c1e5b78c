// Jobs for a proof that no program of the product does alone.
//   kv_trust_powerloss_jobs make-journal FILE       a database with committed notes
//   kv_trust_powerloss_jobs journal FILE            notes are appended, committed, appended, rolled back
//   kv_trust_powerloss_jobs long-journal FILE       the same with more notes
//   kv_trust_powerloss_jobs settings FILE           a settings file is written five times
//   kv_trust_powerloss_jobs preferences DOMAIN      so is a preferences file
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <string>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "shared/System/kvIniFile.h"
#include "shared/System/kvPreferences.h"

namespace {

using namespace Kestrova;

// Tells the trace that what this file holds is settled: a file that is not there is asked for.
void Settled(const std::string& strPath) {
    const std::filesystem::path path(strPath);
    const std::string strMark = (path.parent_path() / (".settled-" + path.filename().string())).string();
    if (open(strMark.c_str(), O_RDONLY | O_CLOEXEC) >= 0) std::perror("a mark is there");
}

bool Append(CSDB& database, int nNotes, uint8_t nFill) {
    for (int n = 0; n < nNotes; ++n) {
        const std::string strBody(static_cast<size_t>(700 + 4900 * (n % 7)), static_cast<char>(nFill + n));
        SDBNOTE note;
        note.nType = static_cast<uint8_t>(1 + n);
        note.idParent = kSdbNoID;
        note.nSize = static_cast<uint32_t>(strBody.size());
        if (!database.AddNewNote(&note, strBody.data())) return false;
    }
    return true;
}

bool Step(const std::string& strPath, int nNotes, uint8_t nFill, bool bCommit) {
    CSDB database;
    const bool bDone = database.Open(strPath.c_str(), kSdbFormatPlain, true) &&
                       Append(database, nNotes, nFill) && database.Close(bCommit);
    if (bDone) Settled(strPath);
    return bDone;
}

bool MakeJournal(const std::string& strPath) {
    CSDB database;
    return database.Create(strPath.c_str(), kSdbFormatPlain) && Append(database, 4, 0x11) &&
           database.Close(true);
}

bool Journal(const std::string& strPath) {
    Settled(strPath);
    return Step(strPath, 6, 0x21, true) && Step(strPath, 3, 0x41, true) && Step(strPath, 5, 0x61, false);
}

bool LongJournal(const std::string& strPath) {
    Settled(strPath);
    return Step(strPath, 20, 0x21, true) && Step(strPath, 30, 0x41, true) && Step(strPath, 25, 0x61, false) &&
           Step(strPath, 12, 0x81, true);
}

bool Settings(const std::string& strPath) {
    for (int nRound = 0; nRound < 5; ++nRound) {
        IniFile file;
        if (file.Open(strPath.c_str(), "a") == 0) return false;
        for (int nKey = 0; nKey < 300; ++nKey)
            file.SetKeyValue(
                "Section", ("key" + std::to_string(nKey)).c_str(),
                std::string(static_cast<size_t>(4 + nRound), static_cast<char>('a' + nRound)).c_str());
        file.Close();
    }
    return true;
}

bool WritePreferences(const std::string& strDomain) {
    Preferences preferences(strDomain.c_str());
    preferences.SetTrace(false);
    for (int n = 0; n < 5; ++n) {
        const std::string strText(3000, static_cast<char>('a' + n));
        if (preferences.SetProfileString("window", "text", strText.c_str()) == 0) return false;
        if (preferences.SetProfileInt("window", "number", &n) == 0) return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const std::map<std::string, std::function<bool(const std::string&)>> jobs{
        {"make-journal", MakeJournal},
        {"journal", Journal},
        {"long-journal", LongJournal},
        {"settings", Settings},
        {"preferences", WritePreferences}};
    const auto it = argc == 3 ? jobs.find(argv[1]) : jobs.end();
    if (it != jobs.end() && it->second(argv[2])) return 0;
    std::fprintf(stderr, "kv_trust_powerloss_jobs: the job is not known, or failed\n");
    return 1;
}
