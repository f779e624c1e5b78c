// kvPlatform.h - the standard folders of the system and the running program's own path.
// Folders are given as the user's environment spells them, but without a "/" at the end. A variable that is
// empty or no absolute path counts as unset. Nothing throws; any thread, as long as none changes the
// environment meanwhile.
#pragma once

#include <sys/types.h>

#include "shared/System/kvString.h"

namespace Kestrova {

// Application data of this user: $XDG_DATA_HOME, else ".local/share" in the home folder. Made when missing;
// empty when there is no such folder after all.
String GetUserDataFolder();
// Application data of all users: the first absolute path of $XDG_DATA_DIRS, else "/usr/local/share". Made
// when missing; empty when there is no such folder after all.
String GetLocalDataFolder();

// Settings of this user: $XDG_CONFIG_HOME, else ".config" in the home folder. Not
// made. Empty when the user has no home folder.
String GetUserConfigFolder();
// Settings of all users. Not made.
String GetLocalConfigFolder();

// $HOME, else the home folder the user database knows; empty when neither is an absolute path.
String GetHomeFolder();

// The absolute path of the running program's file, free of links; empty when the system does not tell.
// Without /proc, a program that was started by a relative path is found only as long as the working folder is
// the one in which it was started.
String GetExecutablePath();

// Makes the folders of an absolute path that are missing, with these permissions less the umask. Whether the
// whole path is a folder now.
bool MakeMissingFolders(const char* pszPath, mode_t nMode);

}  // namespace Kestrova
