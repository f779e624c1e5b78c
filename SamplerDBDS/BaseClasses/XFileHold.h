// XFileHold.h - holds the stream lock of a file for a scope.
#pragma once

#include "SamplerDBDS/BaseClasses/XFile.h"

namespace Kestrova {

class CXFileHold {
public:
    explicit CXFileHold(CXFile& file) : m_file(file) { m_file.Lock(); }
    ~CXFileHold() { m_file.Unlock(); }
    CXFileHold(const CXFileHold&) = delete;
    CXFileHold& operator=(const CXFileHold&) = delete;

private:
    CXFile& m_file;
};

}  // namespace Kestrova
