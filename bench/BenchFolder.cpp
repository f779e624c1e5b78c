#include "bench/BenchFolder.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace Kestrova::Bench {

BenchFolder::BenchFolder() {
    std::string strPattern = (std::filesystem::temp_directory_path() / "kvbench-XXXXXX").string();
    if (mkdtemp(strPattern.data()) == nullptr) throw std::runtime_error("cannot make " + strPattern);
    m_path = strPattern;
}

BenchFolder::~BenchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

Bytes ReadWhole(const std::string& strPath) {
    std::error_code error;
    const auto nSize = std::filesystem::file_size(strPath, error);
    Bytes bytes(error ? 0 : nSize);
    std::ifstream in(strPath, std::ios::binary);
    in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return in ? bytes : Bytes();
}

bool WriteDurably(const std::string& strPath, const Bytes& bytes) {
    std::FILE* const pFile = std::fopen(strPath.c_str(), "wb");
    if (pFile == nullptr) return false;
    const bool bWritten = std::fwrite(bytes.data(), 1, bytes.size(), pFile) == bytes.size() &&
                          std::fflush(pFile) == 0 && fdatasync(fileno(pFile)) == 0;
    return std::fclose(pFile) == 0 && bWritten;
}

}  // namespace Kestrova::Bench
