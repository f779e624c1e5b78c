#include "tests/support/Vectors.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace Kestrova::Test {

std::filesystem::path SourceDir() { return KV_SOURCE_DIR; }

std::filesystem::path VectorPath(const std::string& strName) {
    return SourceDir() / "tests" / "vectors" / strName;
}

nlohmann::json LoadVectors(const std::string& strJsonName) {
    std::ifstream in(VectorPath(strJsonName));
    if (!in) throw std::runtime_error("cannot read " + strJsonName);
    return nlohmann::json::parse(in);
}

Bytes Slice(const Bytes& all, const nlohmann::json& offsetAndLength) {
    const auto offset = offsetAndLength.at(0).get<size_t>();
    const auto length = offsetAndLength.at(1).get<size_t>();
    if (offset > all.size() || length > all.size() - offset)
        throw std::out_of_range("slice of a vector file");
    const auto first = all.begin() + static_cast<std::ptrdiff_t>(offset);
    return Bytes(first, first + static_cast<std::ptrdiff_t>(length));
}

double HexDouble(const nlohmann::json& text) { return std::strtod(text.get<std::string>().c_str(), nullptr); }

Bytes HexBytes(const std::string& strHex) {
    Bytes bytes;
    for (size_t i = 0; i + 1 < strHex.size(); i += 2)
        bytes.push_back(static_cast<uint8_t>(std::stoul(strHex.substr(i, 2), nullptr, 16)));
    return bytes;
}

std::string ToHex(const Bytes& bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string strHex;
    for (const uint8_t byte : bytes) {
        strHex += kDigits[byte >> 4];
        strHex += kDigits[byte & 15];
    }
    return strHex;
}

std::string Sha256(const Bytes& bytes) {
    Bytes digest(EVP_MAX_MD_SIZE);
    unsigned nDigest = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &nDigest, EVP_sha256(), nullptr) != 1)
        throw std::runtime_error("SHA-256 failed");
    digest.resize(nDigest);
    return ToHex(digest);
}

std::string Sha256IdentityZeroed(Bytes image) {
    const size_t nEnd = std::min<size_t>(image.size(), 20);
    for (size_t i = 4; i < nEnd; ++i) image[i] = 0;
    return Sha256(image);
}

}  // namespace Kestrova::Test
