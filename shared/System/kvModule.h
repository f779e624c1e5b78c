// kvModule.h - the running module and its places in the file system.
#pragma once

namespace Kestrova {

class Module {
public:
    // Creates every folder along the path (permissions 0777 less the umask); existing ones are passed over.
    // The first failure ends the work and is reported on standard error as "mkdir error %d: path = \"%s\"\n"
    // with the error number and the folder that could not be made. A null path is left alone.
    static void EnsureFolderExists(const char* pszPath);
};

}  // namespace Kestrova
