#include "tools/kvbank/sums/BankSums.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <vector>

#include "shared/System/kvSafeFile.h"
#include "shared/System/kvTemporaryFile.h"
#include "tools/kvbank/sums/Sha256.h"
#include "tools/kvbank/sums/SumsLine.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;
using Kind = SumsOutcome::Kind;

constexpr size_t kPieceBytes = 0x40000;
constexpr size_t kMostSumsBytes = 4096;  // a name of 255 bytes, all of them escaped, takes 577

std::string NameOf(const std::string& strPath) { return fs::path(strPath).filename().string(); }

SumsOutcome Failure(const std::string& strPath) {
    return {Kind::Failed, strPath, std::strerror(errno), errno};
}

ssize_t ReadPiece(int nFile, std::vector<char>& piece) {
    for (;;) {
        const ssize_t nBytes = read(nFile, piece.data(), piece.size());
        if (nBytes >= 0 || errno != EINTR) return nBytes;
    }
}

SumsOutcome SumOpenFile(const std::string& strBank, int nFile, const SumsProgress& progress,
                        std::string& strSum) {
    Sha256 sum;
    std::vector<char> piece(kPieceBytes);
    uint64_t nDone = 0;
    for (;;) {
        const ssize_t nBytes = ReadPiece(nFile, piece);
        if (nBytes < 0) return Failure(strBank);
        if (nBytes == 0) break;
        sum.Add(piece.data(), static_cast<size_t>(nBytes));
        nDone += static_cast<uint64_t>(nBytes);
        if (!progress(nDone)) return {Kind::Cancelled, strBank, "cancelled"};
    }
    strSum = sum.Finish();
    if (strSum.empty()) return {Kind::Failed, strBank, "the system's library gives no SHA-256 sum"};
    return {};
}

// Whether both are the same file, under whatever name.
bool IsSameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

SumsOutcome ReadSums(const std::string& strBank, std::string& strSum) {
    const std::string strPath = SumsPath(strBank);
    const FileDescriptor file(open(strPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (file < 0 && errno == ENOENT) return {Kind::NoFile, strPath, ""};
    std::string strText;
    if (file < 0 || !ReadToEnd(file, kMostSumsBytes, strText)) return Failure(strPath);
    const std::optional<SumsLine> line = ParseSumsLine(strText);
    if (!line) return {Kind::NotOurs, strPath, "not a line of sha256sum"};
    if (line->strName != NameOf(strBank))
        return {Kind::NotOurs, strPath, "it holds the sum of " + line->strName};
    strSum = line->strSum;
    return {};
}

// The name that ReplaceFile gives to a new sums file before it takes its place.
bool IsNewSums(std::string_view name) {
    static constexpr std::string_view kLead = ".sha256.new-";
    const size_t nAt = name.rfind(kLead);
    return nAt != std::string_view::npos && IsTemporaryEnd(name.substr(nAt + kLead.size()));
}

}  // namespace

std::string SumsPath(const std::string& strBank) { return strBank + ".sha256"; }

std::vector<std::string> FindNewSums(const std::string& strFolder, int* pnError) {
    return FindTemporaryFiles((fs::path(strFolder) / "").string(), IsNewSums, pnError);
}

SumsOutcome SumBank(const std::string& strFile, const SumsProgress& progress, std::string& strSum) {
    const FileDescriptor file(open(strFile.c_str(), O_RDONLY | O_CLOEXEC));
    return file < 0 ? Failure(strFile) : SumOpenFile(strFile, file, progress, strSum);
}

SumsOutcome PutSums(const std::string& strBank, const std::string& strSum) {
    struct stat bank;
    if (stat(strBank.c_str(), &bank) != 0) return Failure(strBank);
    const std::string strPath = SumsPath(strBank);
    std::error_code error;
    const fs::path absolute = fs::absolute(strPath, error);
    if (error) return {Kind::Failed, strPath, error.message(), error.value()};
    const SumsLine line{.strSum = strSum, .strName = NameOf(strBank)};
    // Everybody who may read the bank may read its sum.
    const mode_t nMode = bank.st_mode & (S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH);
    return ReplaceFile(absolute.c_str(), FormatSumsLine(line), nMode) ? SumsOutcome{} : Failure(strPath);
}

SumsOutcome WriteSums(const std::string& strBank, const SumsProgress& progress) {
    const FileDescriptor file(open(strBank.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat summed, there;
    if (file < 0 || fstat(file, &summed) != 0) return Failure(strBank);
    std::string strSum;
    if (SumsOutcome outcome = SumOpenFile(strBank, file, progress, strSum); outcome.kind != Kind::Done)
        return outcome;
    if (stat(strBank.c_str(), &there) != 0) return Failure(strBank);
    if (!IsSameFile(summed, there)) return {Kind::Failed, strBank, "another file has taken its place"};
    return PutSums(strBank, strSum);
}

SumsOutcome CheckSums(const std::string& strBank, const SumsProgress& progress) {
    std::string strExpected, strSum;
    if (SumsOutcome outcome = ReadSums(strBank, strExpected); outcome.kind != Kind::Done) return outcome;
    if (SumsOutcome outcome = SumBank(strBank, progress, strSum); outcome.kind != Kind::Done) return outcome;
    if (strSum == strExpected) return {};
    return {Kind::Differs, strBank, "its bytes do not match " + NameOf(SumsPath(strBank))};
}

SumsOutcome RemoveSums(const std::string& strBank) {
    const std::string strPath = SumsPath(strBank);
    if (unlink(strPath.c_str()) != 0)
        return errno == ENOENT ? SumsOutcome{Kind::NoFile, strPath, ""} : Failure(strPath);
    const fs::path parent = fs::path(strBank).parent_path();
    const FileDescriptor folder(OpenFolder(parent.empty() ? "." : parent.c_str()));
    return folder >= 0 && SyncFolder(folder) ? SumsOutcome{} : Failure(strPath);
}

}  // namespace Kestrova
