// make_manual man TEMPLATE | bash | zsh | fish - writes the manual page of kvbank, or the completion of a
// shell, to the standard output. packaging/make-manual.sh calls it for all of them.
#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "tools/manual/CommandTable.h"

namespace {

using namespace Kestrova;

std::string TextOf(const char* pszFile) {
    std::ifstream in(pszFile, std::ios::binary);
    if (!in) throw std::runtime_error(std::string(pszFile) + ": cannot be opened");
    return {std::istreambuf_iterator<char>(in), {}};
}

std::string Made(int argc, char** argv) {
    const std::string strWhat = argc > 1 ? argv[1] : "";
    const CommandTable table = ReadCommandTable();
    if (strWhat == "man" && argc == 3) return ManPage(table, TextOf(argv[2]));
    if (strWhat == "bash" && argc == 2) return BashCompletion(table);
    if (strWhat == "zsh" && argc == 2) return ZshCompletion(table);
    if (strWhat == "fish" && argc == 2) return FishCompletion(table);
    throw std::runtime_error("usage: make_manual man TEMPLATE | bash | zsh | fish");
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const std::string strText = Made(argc, argv);
        std::fputs(strText.c_str(), stdout);
        return std::fflush(stdout) == 0 ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "make_manual: %s\n", error.what());
        return 1;
    }
}
