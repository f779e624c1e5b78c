// Several threads read one open database.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "tests/support/TestDatabase.h"

namespace Kestrova::Test {
namespace {

TEST(SDBThreadTest, ParallelReadersEachGetTheirOwnBodies) {
    static constexpr uint32_t kNotes = 200;
    static constexpr uint32_t kThreads = 4;
    const TempDir dir;
    const std::string strPath = dir.File("shared.kvn");
    CSDB db;
    ASSERT_TRUE(db.Create(strPath.c_str(), kSdbFormatPlain));
    for (uint32_t id = 0; id < kNotes; ++id)
        AddNote(db, kSdbBank, kSdbNoID, std::string(1 + 37 * id % 3000, static_cast<char>('a' + id % 26)));
    for (uint32_t id = 0; id < kNotes; id += 9) EXPECT_TRUE(db.DeleteNoteByID(id));

    std::atomic<uint32_t> nWrong{0};
    const auto readAll = [&](uint32_t nThread) {
        for (uint32_t n = 0; n < 5 * kNotes; ++n) {
            const uint32_t id = (n * 7 + nThread * 50) % kNotes;
            const SDBNOTE* const note = db.GetNoteByID(id);
            if ((note == nullptr) != (id % 9 == 0)) ++nWrong;
            if (note == nullptr) continue;
            const std::string strExpected(1 + 37 * id % 3000, static_cast<char>('a' + id % 26));
            CRawRecord record(kSdbBank, id);
            const bool bRead = nThread % 2 == 0 ? db.ReadNote(&record) : db.ReadWholeNote(&record);
            if (!bRead || record.m_strBody != strExpected) ++nWrong;
            if (BodyOf(db, id) != strExpected) ++nWrong;
        }
        if (IdsOfType(db, kSdbBank).size() != ChildrenOf(db, kSdbNoID).size()) ++nWrong;
    };
    std::vector<std::thread> arThreads;
    for (uint32_t nThread = 0; nThread < kThreads; ++nThread) arThreads.emplace_back(readAll, nThread);
    for (std::thread& thread : arThreads) thread.join();
    EXPECT_EQ(0u, nWrong);
}

TEST(SDBThreadTest, BuildersHoldTheirDatabasesFromOneThreadToAnother) {
    const TempDir dir;
    CSDB db;
    ASSERT_TRUE(db.Create(dir.File("built.kvn").c_str(), kSdbFormatPlain));
    std::thread builder([&] {
        db.Lock();
        for (int n = 0; n < 100; ++n) AddNote(db, kSdbBank, kSdbNoID, "body");
        db.Unlock();
    });
    builder.join();
    EXPECT_TRUE(db.Close(true));
    EXPECT_EQ(100u, NotesOf(dir.File("built.kvn")).size());
}

}  // namespace
}  // namespace Kestrova::Test
