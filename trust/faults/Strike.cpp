#include "trust/faults/Strike.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace Kestrova::Trust {
namespace {

constexpr std::array<std::string_view, static_cast<size_t>(Group::Memory) + 1> kGroupNames = {
    "open", "read",  "write",  "sync",   "rename", "truncate", "lock",   "stat",  "unlink",
    "map",  "close", "folder", "access", "space",  "thread",   "output", "memory"};

enum class Kind { Error, Short, Kill, Tear };

// The file that the driving script reads. It is mapped, so that it also tells what a killed process had done.
struct Report {
    std::atomic<uint64_t> nOperations;
    std::atomic<uint64_t> nStruck;
    char szCall[64];  // of the first that was struck
    char szPath[PATH_MAX];
};

// A range of addresses: the code of the program itself, or of the C++ library that works for it.
struct CodeRange {
    uintptr_t nBegin = 0, nEnd = 0;
};

struct Settings {
    uint64_t nGroups = 0;
    uint64_t nAt = 0;  // 0: the calls are only counted
    bool bForGood = false;
    Kind kind = Kind::Error;
    int nError = EIO;
    std::string_view below;  // only calls at paths that begin so are counted
    bool bOwnCode = false;   // only allocations by ownCode are counted
    std::array<CodeRange, 2> ownCode;
};

Settings s_settings;
Report* s_pReport = nullptr;
std::atomic<bool> s_bInMain{false};

std::string_view Variable(const char* pszName) {
    const char* const pszValue = getenv(pszName);
    return pszValue != nullptr ? pszValue : "";
}

// The names of groups, with commas between.
uint64_t GroupsOf(std::string_view names) {
    uint64_t nGroups = 0;
    while (!names.empty()) {
        const std::string_view name = names.substr(0, names.find(','));
        const auto* const pFound = std::find(kGroupNames.begin(), kGroupNames.end(), name);
        if (pFound == kGroupNames.end()) abort();
        nGroups |= uint64_t{1} << (pFound - kGroupNames.begin());
        names.remove_prefix(std::min(names.size(), name.size() + 1));
    }
    return nGroups;
}

Kind KindOf(std::string_view name) {
    if (name == "short") return Kind::Short;
    if (name == "kill") return Kind::Kill;
    return name == "tear" ? Kind::Tear : Kind::Error;
}

// The first object is the program.
int FindOwnCode(dl_phdr_info* pInfo, size_t, void*) {
    const bool bProgram = s_settings.ownCode[0].nEnd == 0;
    if (!bProgram && std::string_view(pInfo->dlpi_name).find("/libstdc++.") == std::string_view::npos)
        return 0;
    CodeRange& range = s_settings.ownCode[bProgram ? 0 : 1];
    range.nBegin = pInfo->dlpi_addr;
    for (size_t n = 0; n < pInfo->dlpi_phnum; ++n)
        range.nEnd = std::max(range.nEnd,
                              pInfo->dlpi_addr + pInfo->dlpi_phdr[n].p_vaddr + pInfo->dlpi_phdr[n].p_memsz);
    return 0;
}

bool IsOwnCode(const void* pCaller) {
    const auto nCaller = reinterpret_cast<uintptr_t>(pCaller);
    return std::any_of(
        s_settings.ownCode.begin(), s_settings.ownCode.end(),
        [nCaller](const CodeRange& range) { return nCaller >= range.nBegin && nCaller < range.nEnd; });
}

void ReadSettings() {
    s_settings.nGroups = GroupsOf(Variable("KV_FAULT_GROUPS"));
    s_settings.nAt = strtoull(Variable("KV_FAULT_AT").data(), nullptr, 10);
    s_settings.bForGood = !Variable("KV_FAULT_FOR_GOOD").empty();
    s_settings.kind = KindOf(Variable("KV_FAULT_KIND"));
    if (const std::string_view error = Variable("KV_FAULT_ERROR"); !error.empty())
        s_settings.nError = atoi(error.data());
    s_settings.below = Variable("KV_FAULT_BELOW");
    s_settings.bOwnCode = !Variable("KV_FAULT_OWN_CODE").empty();
    dl_iterate_phdr(FindOwnCode, nullptr);
    const int nFile = open(Variable("KV_FAULT_REPORT").data(), O_RDWR | O_CLOEXEC);
    void* const pMap = mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED, nFile, 0);
    if (pMap == MAP_FAILED) abort();
    s_pReport = static_cast<Report*>(pMap);
    syscall(SYS_close, nFile);
}

// A path, held in itself because nothing here may take memory.
class PathText {
public:
    explicit PathText(const Place& place) {
        if (place.pszPath == nullptr || *place.pszPath != '/') AppendFolder(place);
        if (place.pszPath != nullptr) Append(place.pszPath);
    }
    const char* c_str() const { return m_text.data(); }

private:
    void AppendFolder(const Place& place) {
        std::array<char, 40> link{"/proc/self/cwd"};
        if (place.nFile != AT_FDCWD) NameLink(place.nFile, link);
        const long nBytes = syscall(SYS_readlinkat, AT_FDCWD, link.data(), m_text.data(), m_text.size() / 2);
        m_nLength = nBytes > 0 ? static_cast<size_t>(nBytes) : 0;
        if (place.pszPath != nullptr) Append("/");
    }
    static void NameLink(int nFile, std::array<char, 40>& link) {
        std::strcpy(link.data(), "/proc/self/fd/");
        char* pch = link.data() + std::strlen(link.data());
        int nScale = 1;
        while (nFile / nScale >= 10) nScale *= 10;
        for (; nScale > 0; nScale /= 10) *pch++ = static_cast<char>('0' + nFile / nScale % 10);
        *pch = '\0';
    }
    void Append(std::string_view text) {
        const size_t nBytes = std::min(text.size(), m_text.size() - 1 - m_nLength);
        std::memcpy(m_text.data() + m_nLength, text.data(), nBytes);
        m_nLength += nBytes;
        m_text[m_nLength] = '\0';
    }

    std::array<char, PATH_MAX> m_text{};
    size_t m_nLength = 0;
};

bool IsCounted(Group group) {
    return s_bInMain.load(std::memory_order_relaxed) &&
           (s_settings.nGroups >> static_cast<int>(group) & 1) != 0;
}

// Counts one more operation; whether it is one to strike.
bool CountIsReached() {
    const uint64_t nOperation = ++s_pReport->nOperations;
    const uint64_t nAt = s_settings.nAt;
    return nAt != 0 && (nOperation == nAt || (s_settings.bForGood && nOperation > nAt));
}

template <size_t N>
void CopyText(char (&place)[N], std::string_view text) {
    const size_t nBytes = std::min(text.size(), N - 1);
    std::memcpy(place, text.data(), nBytes);
    place[nBytes] = '\0';
}

void Note(const char* pszCall, const char* pszPath) {
    if (s_pReport->nStruck.fetch_add(1) != 0) return;
    CopyText(s_pReport->szCall, pszCall);
    CopyText(s_pReport->szPath, pszPath);
}

Fate FateOf(Group group) {
    const bool bMovesBytes = group == Group::Read || group == Group::Write;
    switch (s_settings.kind) {
        case Kind::Error: return Fate::Fails;
        case Kind::Short: return bMovesBytes ? Fate::Short : Fate::Passes;
        case Kind::Tear: return bMovesBytes ? Fate::TornKilled : Fate::Passes;
        case Kind::Kill: KillProcess();
    }
    return Fate::Passes;
}

}  // namespace

Fate AskFate(Group group, const char* pszCall, Place place) {
    if (!IsCounted(group)) return Fate::Passes;
    const int nError = errno;
    const PathText path(place);
    const bool bCounts =
        group == Group::Thread || std::string_view(path.c_str()).starts_with(s_settings.below);
    Fate fate = Fate::Passes;
    if (bCounts && CountIsReached()) {
        Note(pszCall, path.c_str());
        fate = FateOf(group);
    }
    errno = fate == Fate::Fails ? s_settings.nError : nError;
    return fate;
}

bool AllocationFails(const char* pszCall, const void* pCaller) {
    if (!IsCounted(Group::Memory) || (s_settings.bOwnCode && !IsOwnCode(pCaller)) || !CountIsReached())
        return false;
    Dl_info info{};
    Note(pszCall, dladdr(pCaller, &info) != 0 ? info.dli_fname : "");  // whose code it was
    if (s_settings.kind == Kind::Kill) KillProcess();
    errno = ENOMEM;
    return true;
}

void* NextFunction(const char* pszCall) { return dlsym(RTLD_NEXT, pszCall); }

void KillProcess() {
    raise(SIGKILL);
    abort();
}

namespace {

using MainFunction = int (*)(int, char**, char**);

MainFunction s_pfnMain = nullptr;

// What the loader and the libraries do before main, and behind it, is not the program's.
int CountedMain(int nArguments, char** ppszArguments, char** ppszVariables) {
    ReadSettings();
    s_bInMain = true;
    const int nCode = s_pfnMain(nArguments, ppszArguments, ppszVariables);
    s_bInMain = false;
    return nCode;
}

using VoidFunction = void (*)();
using StartFunction = int (*)(MainFunction, int, char**, VoidFunction, VoidFunction, VoidFunction, void*);

}  // namespace

// The program's first code calls this with its main.
extern "C" int KvTrustStart(MainFunction pfnMain, int nArguments, char** ppszArguments, VoidFunction pfnInit,
                            VoidFunction pfnFini, VoidFunction pfnLoaderFini,
                            void* pStackEnd) __asm__("__libc_start_main");
int KvTrustStart(MainFunction pfnMain, int nArguments, char** ppszArguments, VoidFunction pfnInit,
                 VoidFunction pfnFini, VoidFunction pfnLoaderFini, void* pStackEnd) {
    s_pfnMain = pfnMain;
    const auto pfnStart = reinterpret_cast<StartFunction>(NextFunction("__libc_start_main"));
    return pfnStart(CountedMain, nArguments, ppszArguments, pfnInit, pfnFini, pfnLoaderFini, pStackEnd);
}

}  // namespace Kestrova::Trust
