// TraceLog.h - the system calls of a program, as strace wrote them down.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Kestrova::Trust {

// One call that has ended. An argument is kept as strace prints it, texts and paths in hexadecimal (-xx -y).
struct SystemCall {
    std::string strName;
    std::vector<std::string> args;
    int64_t nResult = -1;  // negative: it failed
};

// Calls the visitor for every call in the order in which they ended. Throws std::runtime_error for a log that
// cannot be read or whose lines are not understood.
void ReadTrace(const std::filesystem::path& log, const std::function<void(const SystemCall&)>& visitor);

// The number that an argument begins with, such as the 3 of "3</a/b>"; -1 for none.
int64_t NumberOf(std::string_view arg);
// The path that strace adds to a handle, "/a/b" of "3</a/b>"; empty for none.
std::string PathOfHandle(std::string_view arg);
// The bytes of a text in quotes. Throws std::runtime_error when strace has cut it.
std::string BytesOf(std::string_view arg);

}  // namespace Kestrova::Trust
