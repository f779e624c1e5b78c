// RecordBytes.h - record bodies as bytes: built by hand, decoded by a record, encoded by a record.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "stream/DataContainer.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {

// The elements of record bodies, appended one by one.
class BodyBuilder {
public:
    BodyBuilder& Text(const std::string& str) {
        m_bytes.push_back(static_cast<uint8_t>(str.size()));
        return Raw({str.begin(), str.end()});
    }
    BodyBuilder& Half(uint32_t n) { return Number(n, 2); }
    BodyBuilder& Word(uint32_t n) { return Number(n, 4); }
    BodyBuilder& Id(const std::string& str) { return Raw({str.begin(), str.end()}); }
    BodyBuilder& Raw(const Bytes& bytes) {
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
        return *this;
    }
    // A count and that many bytes: a tail or a parameter block.
    BodyBuilder& Counted(const Bytes& bytes) { return Word(static_cast<uint32_t>(bytes.size())).Raw(bytes); }
    BodyBuilder& Zeros(size_t n) { return Raw(Bytes(n)); }

    const Bytes& Get() const { return m_bytes; }
    size_t Size() const { return m_bytes.size(); }

private:
    BodyBuilder& Number(uint32_t n, int nBytes) {
        for (int i = 0; i < nBytes; ++i) m_bytes.push_back(static_cast<uint8_t>(n >> (8 * i)));
        return *this;
    }

    Bytes m_bytes;
};

// Bytes that tell their places: 1, 2, 3 ... with a step, wrapping.
inline Bytes Counting(size_t n, unsigned nStep = 1) {
    Bytes bytes(n);
    for (size_t i = 0; i < n; ++i) bytes[i] = static_cast<uint8_t>(1 + i * nStep);
    return bytes;
}

// A file that holds nPosition zero bytes and then a body.
class BodyFile {
public:
    explicit BodyFile(const Bytes& body, uint32_t nPosition = 0) : m_nPosition(nPosition) {
        WriteFile(m_strPath, BodyBuilder().Zeros(nPosition).Raw(body).Get());
    }

    // Ends the file behind that many bytes of the body.
    void CutTo(size_t nBodyBytes) { std::filesystem::resize_file(m_strPath, m_nPosition + nBodyBytes); }

    void Set(size_t nOffset, uint8_t nValue) {
        std::fstream file(m_strPath, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(m_nPosition + nOffset)).put(static_cast<char>(nValue));
    }

    // The first nSize bytes of the body, as the record sees them.
    bool Decode(CSDBInterpreter& record, unsigned long nSize) const {
        CXFile file;
        return file.Open(m_strPath.c_str(), 0) && file.SeekToPos(m_nPosition) && record.Read(&file, nSize);
    }
    bool Measure(uint32_t nSize) const {
        CXFile file;
        return file.Open(m_strPath.c_str(), 0) && MeasureEnrichedSample(file, m_nPosition, nSize);
    }

private:
    TempDir m_dir;
    std::string m_strPath = m_dir.File("body");
    uint32_t m_nPosition;
};

inline bool DecodeAt(CSDBInterpreter& record, uint32_t nPosition, const Bytes& body, unsigned long nSize) {
    return BodyFile(body, nPosition).Decode(record, nSize);
}
inline bool Decode(CSDBInterpreter& record, const Bytes& body) {
    return DecodeAt(record, 0, body, body.size());
}

// What the record writes at a position; it is empty when the record fails to.
inline Bytes EncodeAt(CSDBInterpreter& record, uint32_t nPosition) {
    const TempDir dir;
    const std::string strPath = dir.File("body");
    {
        CXFile file;
        if (!file.Create(strPath.c_str()) || !file.SeekToPos(nPosition) || !record.Write(&file)) return {};
    }
    Bytes bytes = ReadFile(strPath);
    bytes.erase(bytes.begin(), bytes.begin() + nPosition);
    return bytes;
}
inline Bytes Encode(CSDBInterpreter& record) { return EncodeAt(record, 0); }

inline Bytes TailOf(const StgPars& pars) { return {pars.Data(), pars.Data() + pars.Size()}; }
inline Bytes BlockOf(const CStgBlock& block) { return {block.Data(), block.Data() + block.Size()}; }

// A container's bytes; the container is released. Empty for null.
inline Bytes TakeBytes(CDataContainer* pContainer) {
    if (!pContainer) return {};
    const uint8_t* pData = static_cast<const uint8_t*>(pContainer->GetBuffer());
    const Bytes bytes(pData, pData + pContainer->GetSize());
    pContainer->Release();
    return bytes;
}

}  // namespace Kestrova::Test
