// Vectors.h - the worked cases in tests/vectors, as its README.md describes them.
#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/TempDir.h"

namespace Kestrova::Test {

// The top of the source tree, and a file of tests/vectors.
std::filesystem::path SourceDir();
std::filesystem::path VectorPath(const std::string& strName);

nlohmann::json LoadVectors(const std::string& strJsonName);

// The bytes named [offset, length] in a .bin file read whole by ReadFile.
Bytes Slice(const Bytes& all, const nlohmann::json& offsetAndLength);

// A hexadecimal floating-point text such as "0x1.8p+0", and bytes written as "0aff".
double HexDouble(const nlohmann::json& text);
Bytes HexBytes(const std::string& strHex);
std::string ToHex(const Bytes& bytes);

// The SHA-256 of the bytes in hexadecimal; of a bank image with its 16 identity bytes (4 to 19) set to zero.
std::string Sha256(const Bytes& bytes);
std::string Sha256IdentityZeroed(Bytes image);

}  // namespace Kestrova::Test
