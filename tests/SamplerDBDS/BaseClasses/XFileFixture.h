// XFileFixture.h - a CXFile over one file of a folder of its own.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "tests/support/TempDir.h"

namespace Kestrova {

class XFileFixture : public testing::Test {
protected:
    std::string Path() const { return m_dir.File("file.bin"); }
    std::string OnDisk() const {
        const Kestrova::Test::Bytes bytes = Kestrova::Test::ReadFile(Path());
        return std::string(bytes.begin(), bytes.end());
    }
    void OpenWith(const std::string& strContent, int writable = 1) {
        Kestrova::Test::WriteFile(Path(), strContent);
        ASSERT_TRUE(m_file.Open(Path().c_str(), writable));
    }
    unsigned long long Pos() {
        unsigned long long pos = ~0ULL;
        EXPECT_TRUE(m_file.GetCurrentPos(pos));
        return pos;
    }
    // The next n bytes, "-" when they are not all there.
    std::string Next(unsigned long n) {
        std::string strRead(n, '?');
        return m_file.Read(strRead.data(), n) ? strRead : "-";
    }

    Kestrova::Test::TempDir m_dir;
    CXFile m_file;
};

}  // namespace Kestrova
