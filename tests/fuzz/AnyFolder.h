// AnyFolder.h - a folder of any files beside a source bank and its banks, as an input describes them: files,
// each a name ended by a zero byte and a byte that says what it is. Bytes below 32 in a name stand for words
// that such names are made of.
#pragma once

#include <map>

#include "bank/BankFileName.h"
#include "tests/fuzz/CommandRun.h"
#include "tests/support/SourceMaker.h"

namespace Kestrova::Test {

inline constexpr size_t kMostFiles = 12;
inline constexpr char kSourceName[] = "Piano.kvn";
inline constexpr const char* kWords[] = {"Piano",         "_0AC44", "_0BB80",   ".kvn",   ".kvr",
                                         ".sha256",       ".new-",  ".kvbank-", "dEaD00", "123456",
                                         ".kvbank-part-", "_2EE00", "/"};

// What is in the folder, by path: of a file its bytes, of a link where it leads, of a folder nothing.
using Snapshot = std::map<std::string, Bytes>;

inline Snapshot TakeSnapshot() {
    Snapshot snapshot;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(".")) {
        Bytes& content = snapshot[entry.path().lexically_normal().string()];
        if (entry.is_symlink()) {
            const std::string strTarget = fs::read_symlink(entry.path()).string();
            content.assign(strTarget.begin(), strTarget.end());
        } else if (entry.is_regular_file()) {
            content = ReadFile(entry.path());
        }
    }
    return snapshot;
}

// The paths that have gone, or are not as they were.
inline std::vector<std::string> WhatChanged(const Snapshot& before) {
    const Snapshot after = TakeSnapshot();
    std::vector<std::string> changed;
    for (const auto& [strPath, content] : before)
        if (const auto it = after.find(strPath); it == after.end() || it->second != content)
            changed.push_back(strPath);
    return changed;
}

// Of any source.
inline bool IsBank(const std::string& strName) {
    constexpr size_t kEnd = 10;
    return strName.size() >= kEnd && ParseBankFileName(strName, strName.substr(0, strName.size() - kEnd));
}

inline bool IsPianosBank(const fs::path& path) {
    const fs::path bank = path.extension() == ".sha256" ? path.stem() : path;
    return !path.has_parent_path() && ParseBankFileName(bank.string(), "Piano");
}

// What the files of the folder hold: nothing, the source, banks of two rates, something else, zeros, and half
// a bank. Two kinds more are a folder, and a link to the source.
class Contents {
public:
    // Builds in the current folder.
    Contents() {
        MakeSource(kSourceName, {});
        KV_FUZZ_CHECK(RunCommand({"build", "-r", "44100,48000", "-d", ".", kSourceName}).nCode == kExitDone);
        m_source = ReadFile(kSourceName);
        m_kinds = {{}, m_source, ReadFile("Piano_0AC44.kvn"), ReadFile("Piano_0BB80.kvn"), {1, 2, 3}};
        m_kinds.emplace_back(m_source.size());
        m_kinds.push_back(m_kinds[2]);
        m_kinds.back().resize(m_kinds[2].size() / 2);
    }
    void Make(const fs::path& path, size_t nKind) const {
        if (path.has_parent_path()) fs::create_directories(path.parent_path());
        if (nKind == m_kinds.size())
            fs::create_directory(path);
        else if (nKind == m_kinds.size() + 1)
            fs::create_symlink(kSourceName, path);
        else
            WriteFile(path, m_kinds[nKind]);
    }
    size_t Count() const { return m_kinds.size() + 2; }
    const Bytes& Source() const { return m_source; }

private:
    Bytes m_source;
    std::vector<Bytes> m_kinds;
};

inline std::string Expanded(const std::string& strText) {
    std::string strName;
    for (const char ch : strText)
        if (static_cast<unsigned char>(ch) < 32)
            strName += kWords[static_cast<size_t>(ch) % std::size(kWords)];
        else
            strName += ch;
    return strName;
}

// In the folder, or in a folder in it.
inline fs::path PathOf(const std::string& strName) {
    const size_t nSlash = strName.find('/');
    if (nSlash == std::string::npos) return FileName(strName, "letter.txt");
    return fs::path(FileName(strName.substr(0, nSlash), "folder")) /
           FileName(strName.substr(nSlash + 1), "letter.txt");
}

// A path that is there already, or leads through a file, stays as it is.
inline void MakeFolder(FuzzInput& input, const Contents& contents, size_t nMost = kMostFiles) {
    WriteFile(kSourceName, contents.Source());
    for (size_t n = 0; n < nMost && !input.IsEmpty(); ++n) {
        const fs::path path = PathOf(Expanded(input.Text()));
        const size_t nKind = input.Below(contents.Count());
        std::error_code ignored;
        const bool bThere = fs::exists(fs::symlink_status(path, ignored));
        const fs::path parent = path.parent_path();
        const bool bPlace = parent.empty() || !fs::exists(fs::symlink_status(parent, ignored)) ||
                            fs::symlink_status(parent, ignored).type() == fs::file_type::directory;
        if (!bThere && bPlace) contents.Make(path, nKind);
    }
}

}  // namespace Kestrova::Test
