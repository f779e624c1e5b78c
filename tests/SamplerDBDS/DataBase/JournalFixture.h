// JournalFixture.h - a database file in a folder of its own, for the tests of commits.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "tests/support/TestDatabase.h"

namespace Kestrova::Test {

using Notes = std::vector<NoteFields>;

class JournalFixture : public testing::Test {
protected:
    void OpenImage(const Bytes& image) {
        WriteFile(m_strPath, image);
        ASSERT_TRUE(m_db.Open(m_strPath.c_str(), kSdbFormatPlain, true));
    }
    void OpenNotes(const Notes& arNotes) { OpenImage(DatabaseImage(arNotes)); }

    const TempDir m_dir;
    const std::string m_strPath = m_dir.File("journal.kvn");
    CSDB m_db;
};

}  // namespace Kestrova::Test
