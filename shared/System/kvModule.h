// kvModule.h - the running module and its places in the file system.
#pragma once

#include "shared/System/kvPath.h"
#include "shared/System/kvString.h"

namespace Kestrova {

// The one module of this process. The program's start calls Init before there are other threads; after that
// the values are only read, from any thread. Texts passed in may be null, which counts as empty.
class Module {
public:
    // The base folders. Functions take any int: a value that is not listed has no folder.
    enum AppPathType : int {
        kAppPathModule = 0,     // the module's own folder
        kAppPathUser = 1,       // application data of this user
        kAppPathUserAgain = 2,  // the same; settings are asked for by this value
        kAppPathLocal = 3,      // application data of all users
    };

    // Fills name, version, the executable's folder (once in a process) and the preferences domain
    // ("com.kestrova." + name, and "." + version unless that is empty).
    static void Init(const char* pszName, const char* pszVersion);
    // The same; then the module's path is the folder part of the executable's given path (deliberately the
    // whole text when that has no "/"), and the location is the folder four levels above the executable. A
    // path without "/" was found by the shell: the climb then begins at the program's own file. A failure on
    // the way leaves the location as it was.
    static void Init(const char* pszExecutablePath, const char* pszName, const char* pszVersion);

    static String GetName() { return sName; }
    static String GetVersion() { return sVersion; }
    static String GetModulePath() { return sModulePath; }  // the executable's folder, ending in "/"

    // The folder above the module's path, ending in "/"; empty when there is none.
    static String GetContentsPath();
    // The name of the folder two above the module's path; empty when there is none.
    static String GetModuleName();
    // The folder of the program's own file, absolute and ending in "/", whatever path it was started by.
    static String GetFolderPath();

    static String GetAppSubfolderAnyVersion();  // "Kestrova/<name>/"; without a name "Kestrova/"
    static String GetAppSubfolder();            // the same and "<version>/", unless the version is empty

    // The base folder of a type in unified form, ending in "/" and made when
    // missing; empty when there is no such folder.
    static String GetPath(int nType);
    // The base folder and each non-empty component of the sub-path, with "/" after each; nothing below the
    // base folder is made. Empty when the base folder is.
    static String GetPathSubfolder(int nType, const char* pszSubPath);
    // The same, making every component (permissions 0777 less the umask). When that fails, the failure is
    // reported as EnsureFolderExists does and the next lower type is tried, down to the module's own folder;
    // empty when all fail. Deliberately (Q25, Q26), types 2 and 1 are the same folder, so its failure is
    // reported twice, and a folder that is there passes even when it cannot be written to.
    static String GetPathCreateSubfolder(int nType, const char* pszSubPath);

    // Creates every folder along the path (permissions 0777 less the umask); existing ones are passed over.
    // The first failure ends the work and is reported on standard error as "mkdir error %d: path = \"%s\"\n"
    // with the error number and the folder that could not be made. A null path is left alone.
    static void EnsureFolderExists(const char* pszPath);

    // A value of the module's preferences domain (kvPreferences.h), that of this user or that of all users.
    //   pszKey:   the dictionary the entry is in; null or empty for none
    //   pszEntry: the entry's path there
    // The default when there is no such value or no such domain. REQUIRES: Init.
    static int GetProfileInt(const char* pszKey, const char* pszEntry, int nDefault, bool bAnyUser);
    static String GetProfileString(const char* pszKey, const char* pszEntry, const char* pszDefault,
                                   bool bAnyUser);
    // Writes it there at once; 0, or -1 on failure. REQUIRES: Init.
    static int WriteProfileInt(const char* pszKey, const char* pszEntry, int nValue, bool bAnyUser);
    static int WriteProfileString(const char* pszKey, const char* pszEntry, const char* pszValue,
                                  bool bAnyUser);

    // The folder that holds the whole installation, as far as it is known.
    static FSSpec GetLocation() { return sModLocation; }
    static void SetLocation(const FSSpec& spec) { sModLocation = spec; }

    // The absolute path of the program's own file, which takes the place of a bundle here.
    static String getMainBundle();

private:
    static constexpr char kSourceUnit[] = "shared/System/kvModule";

    static void LocateExecutable();
    static void LocateInstallation(const char* pszExecutablePath);

    // Released with the other statics when the process ends.
    static String sName;
    static String sVersion;
    static String sModulePath;
    static String sProfileRoot;
    static FSSpec sModLocation;
    static bool sInited;
    static bool sLocated;  // the executable's folder is known
};

}  // namespace Kestrova
