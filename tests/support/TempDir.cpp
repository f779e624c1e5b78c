#include "tests/support/TempDir.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace Kestrova::Test {

TempDir::TempDir() {
    std::string strPattern = (std::filesystem::temp_directory_path() / "kvtest-XXXXXX").string();
    if (mkdtemp(strPattern.data()) == nullptr) throw std::runtime_error("cannot make " + strPattern);
    m_path = strPattern;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

Bytes ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + path.string());
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteFile(const std::filesystem::path& path, const Bytes& bytes) {
    WriteFile(path, std::string(bytes.begin(), bytes.end()));
}

void WriteFile(const std::filesystem::path& path, const std::string& strText) {
    std::ofstream out(path, std::ios::binary);
    out.write(strText.data(), static_cast<std::streamsize>(strText.size()));
    out.close();
    if (!out) throw std::runtime_error("cannot write " + path.string());
}

}  // namespace Kestrova::Test
