#include "trust/threads/Rounds.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

#include "SamplerDBDS/DataBase/SDBEngine.h"

namespace Kestrova::Trust {
namespace {

namespace fs = std::filesystem;

size_t CountIn(const char* pszFolder) {
    return static_cast<size_t>(std::distance(fs::directory_iterator(pszFolder), fs::directory_iterator()));
}

}  // namespace

void Chance::Pause(unsigned nMost) {
    if (OneIn(3)) return;
    std::this_thread::sleep_for(std::chrono::microseconds(Below(nMost)));
}

void Demand(bool bHolds, const std::string& strPromise) {
    if (!bHolds) throw Broken("not so: " + strPromise);
}

Test::SourceSpec SmallSource(unsigned n) {
    Test::SourceSpec spec;
    spec.bEnriched = n % 2 == 1;
    spec.samples.resize(3);
    for (unsigned i = 0; i < 3; ++i) {
        spec.samples[i].nFrames = 600 + 500 * i + 50 * n;
        spec.samples[i].nFormat = i == 1 ? 24 : 16;
        spec.samples[i].nChannels = 1 + i % 2;
    }
    spec.programs = {{true, {{60, 61, {0, 1}}, {62, 62, {2}}}}};
    return spec;
}

Bytes BytesOf(const std::string& strPath) {
    constexpr size_t kIdentityAt = 4, kIdentityEnd = 20;
    Bytes bytes = Test::ReadFile(strPath);
    for (size_t i = kIdentityAt; i < std::min(kIdentityEnd, bytes.size()); ++i) bytes[i] = 0;
    return bytes;
}

std::vector<std::string> NamesIn(const std::string& strFolder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(strFolder)) names.push_back(entry.path().filename());
    return names;
}

void WholeFiles::Keep(const std::string& strPath) {
    m_files[fs::path(strPath).filename()] = BytesOf(strPath);
}

bool WholeFiles::IsUnfinished(const std::string& strPath) const {
    return m_files.count(fs::path(strPath).filename()) != 0 &&
           CSDB::IsInterruptedBuild(strPath.c_str(), kSdbFormatEnriched);
}

void WholeFiles::DemandWhole(const std::string& strPath) const {
    const auto kept = m_files.find(fs::path(strPath).filename());
    Demand(kept != m_files.end(), strPath + " may be there");
    Demand(kept->second == BytesOf(strPath), strPath + " has the bytes that it must have");
}

void WholeFiles::DemandOnlyThese(const std::string& strFolder) const {
    for (const std::string& strName : NamesIn(strFolder)) DemandWhole(strFolder + "/" + strName);
}

Handles::Handles() : m_nFiles(CountIn("/proc/self/fd")), m_nThreads(CountIn("/proc/self/task")) {}

void Handles::DemandSame() const {
    Demand(CountIn("/proc/self/fd") == m_nFiles, "no file is open that was not open before");
    // The kernel may list a thread for a moment after it has been joined.
    for (int nLook = 0; nLook < 1000 && CountIn("/proc/self/task") > m_nThreads; ++nLook)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    Demand(CountIn("/proc/self/task") <= m_nThreads, "no thread runs that did not run before");
}

}  // namespace Kestrova::Trust
