// CommandRun.h - kvbank within the target's own process, in a folder that it cannot leave.
#pragma once

#include <sstream>

#include "tests/fuzz/FuzzInput.h"
#include "tools/kvbank/Command.h"

namespace Kestrova::Test {

// The texts that were printed, and the exit code, which is one of those documented.
struct CommandEnd {
    int nCode = 0;
    std::string strOut, strErr;
};

inline CommandEnd RunCommand(const std::vector<std::string>& arguments) {
    std::istringstream in;
    std::ostringstream out, err;
    Console console(in, out, err);
    const CommandEnd end{RunKvBank(arguments, console), out.str(), err.str()};
    KV_FUZZ_CHECK(end.nCode >= kExitDone && end.nCode <= kExitNoMemory);  // 70 is an internal error
    return end;
}

// The folder in which commands run is the current one while it lives; its neighbour must stay as it is.
class FencedFolder {
public:
    FencedFolder() : m_before(fs::current_path()) {
        WriteFile(m_dir.Path() / "untouched", m_untouched);
        Clear();
    }
    ~FencedFolder() { fs::current_path(m_before); }

    // Empties it.
    void Clear() const {
        fs::current_path(m_dir.Path());
        fs::remove_all(m_inside);
        fs::create_directory(m_inside);
        fs::current_path(m_inside);
    }
    void Check() const {
        KV_FUZZ_CHECK(ReadFile(m_dir.Path() / "untouched") == m_untouched);
        KV_FUZZ_CHECK(std::distance(fs::directory_iterator(m_dir.Path()), fs::directory_iterator()) == 2);
    }

private:
    fs::path m_before;
    TempDir m_dir;
    fs::path m_inside = m_dir.Path() / "inside";
    Bytes m_untouched = {1, 2, 3};
};

}  // namespace Kestrova::Test
