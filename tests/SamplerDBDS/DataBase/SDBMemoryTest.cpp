// Memory that runs out, at the first, second, third ... allocation until an operation needs none of it: the
// answer is false with ENOMEM as its cause, nothing throws, no lock stays taken, and the object can be used.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "SamplerDBDS/DataBase/SDBISampleEU.h"
#include "SamplerDBDS/DataBase/SDBIStructure.h"
#include "tests/SamplerDBDS/DataBase/SampleBodies.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/TestDatabase.h"
#include "tests/support/WaveMaker.h"

namespace Kestrova::Test {
namespace {

constexpr const char* kAllocations[] = {
    "malloc", "calloc", "realloc", "_Znwm", "_ZnwmRKSt9nothrow_t", "_ZnamRKSt9nothrow_t"};

// Runs `operation` once for each allocation that it makes, and lets that one fail; then once more for each
// kind without a failure. `expect` is told what the operation answered, and whether an allocation failed.
void WalkAllocations(const std::function<void()>& prepare, const std::function<bool()>& operation,
                     const std::function<void(bool bDone, bool bFailed)>& expect) {
    int nFailures = 0;
    for (const char* pszCall : kAllocations) {
        bool bFailed = true;
        for (int n = 1; bFailed; ++n) {
            SCOPED_TRACE(testing::Message() << pszCall << " number " << n);
            prepare();
            bool bDone = false;
            {
                const PosixFault fault(pszCall, ENOMEM, n);
                bDone = operation();
                bFailed = fault.Calls() >= n;
            }
            nFailures += bFailed ? 1 : 0;
            expect(bDone, bFailed);
            if (!bFailed) {
                EXPECT_TRUE(bDone);
            }
        }
    }
    EXPECT_LT(0, nFailures) << "nothing was ever allocated";
}

// --- The database ---

class SDBMemoryTest : public DatabaseTest {
protected:
    void ExpectToldAndUsable(bool bDone) {
        if (!bDone) {
            EXPECT_EQ(ENOMEM, m_db.GetFirstError());
        }
        EXPECT_FALSE(m_db.GetFile().Unlock()) << "the stream lock is free";
    }
};

TEST_F(SDBMemoryTest, AnOpenWithoutMemoryFailsAndIsClosed) {
    std::vector<NoteFields> arNotes;
    for (uint32_t id = 0; id < 40; ++id)
        arNotes.push_back({.nType = static_cast<uint8_t>(16 + id % 5), .id = id, .idParent = id / 4});
    WriteFile(m_strPath, DatabaseImage(arNotes));
    WalkAllocations([] {}, [this] { return Open(); },
                    [this](bool bDone, bool) {
                        ExpectToldAndUsable(bDone);
                        EXPECT_EQ(bDone ? 40u : 0u, m_db.GetNoteCount());
                        EXPECT_EQ(bDone, m_db.IsOpen());
                        m_db.Close(false);
                    });
}

TEST_F(SDBMemoryTest, AWholeLifeWithoutMemoryFailsAndTheNextOneWorks) {
    CRawRecord record(kSdbBank, 0, kSdbNoID, "record");
    const std::string strCopy = m_dir.File("a copy with a name that no small string holds.kvn");
    WalkAllocations(
        [&] {
            std::remove(m_strPath.c_str());
            std::remove(strCopy.c_str());
        },
        [&] {
            SDBNOTE note;
            note.nType = kSdbProgram;
            note.idParent = kSdbNoID;
            return m_db.Create(m_strPath.c_str(), kSdbFormatPlain) && m_db.AddNewNote(&record) &&
                   m_db.AddNewNote(&note, nullptr) && m_db.ChangeNote(&record) &&
                   m_db.DeleteNoteByID(note.idNote) && m_db.Save(nullptr) && m_db.Save(strCopy.c_str()) &&
                   m_db.Close(true);
        },
        [&](bool bDone, bool) {
            ExpectToldAndUsable(bDone);
            m_db.Close(false);
            ASSERT_TRUE(Create());
            EXPECT_TRUE(m_db.AddNewNote(&record));
            EXPECT_TRUE(m_db.Close(true));
            EXPECT_EQ(1u, NotesOf(m_strPath).size());
        });
}

// A bank with two programs, and a region below the first.
const Bytes& SmallTree() {
    static const Bytes s_image =
        DatabaseImage({{.id = 1, .strBody = "bank"},
                       {.nType = kSdbProgram, .id = 2, .idParent = 1, .strBody = "first"},
                       {.nType = kSdbProgram, .id = 3, .idParent = 1, .strBody = "second"},
                       {.nType = kSdbRegion, .id = 4, .idParent = 2, .strBody = "region"}});
    return s_image;
}

TEST_F(SDBMemoryTest, ABranchThatFindsNoMemoryHasNoBytesAndIsTold) {
    ASSERT_TRUE(OpenImage(SmallTree()));
    WalkAllocations([this] { m_db.ClearFirstError(); },
                    [this] { return m_db.GetNotesBranch(m_db.GetNoteByID(1), nullptr) != 0; },
                    [this](bool bDone, bool bFailed) {
                        EXPECT_EQ(!bFailed, bDone);
                        EXPECT_EQ(bFailed ? ENOMEM : 0, m_db.GetFirstError());
                    });
}

TEST_F(SDBMemoryTest, ABranchPutInWithoutMemoryFailsAndIsTold) {
    ASSERT_TRUE(OpenImage(SmallTree()));
    Bytes branch(m_db.GetNotesBranch(m_db.GetNoteByID(1), nullptr));
    uint8_t* pEnd = branch.data();
    const unsigned long nNotes = m_db.GetNotesBranch(m_db.GetNoteByID(1), &pEnd);
    WalkAllocations([this] { ASSERT_TRUE(OpenImage(SmallTree())); },
                    [&] {
                        unsigned long nLeft = nNotes;
                        const uint8_t* pCursor = branch.data();
                        uint32_t idRoot = kSdbNoID;
                        return m_db.InsertNotesBranch(kSdbNoID, nLeft, pCursor, idRoot);
                    },
                    [this](bool bDone, bool bFailed) {
                        ExpectToldAndUsable(bDone);
                        EXPECT_EQ(bDone ? 8u : m_db.GetNoteCount(), m_db.GetNoteCount());
                        EXPECT_TRUE(bDone || bFailed);
                        m_db.Close(false);
                        EXPECT_EQ(SmallTree(), ReadFile(m_strPath));
                    });
}

TEST_F(SDBMemoryTest, DescendantsAreDeletedOrTheirWantOfMemoryIsTold) {
    WalkAllocations([this] { ASSERT_TRUE(OpenImage(SmallTree())); },
                    [this] { return m_db.DeleteNoteByParentID(1); },
                    [this](bool bDone, bool bFailed) {
                        ExpectToldAndUsable(bDone);
                        EXPECT_TRUE(bDone || bFailed);
                        if (bDone) {
                            EXPECT_EQ(std::vector<uint32_t>{1}, IdsOfType(m_db, kSdbAny));
                        }
                        m_db.Close(false);
                    });
}

// A record that throws because memory ran out while it is written leaves nothing in the file.
class CHungryRecord : public CRawRecord {
public:
    using CRawRecord::CRawRecord;
    using CRawRecord::Read;
    using CRawRecord::Write;
    bool Write(CXFile* file) override {
        file->Write("half", 4);
        throw std::bad_alloc();
    }
    bool Read(CXFile*, unsigned long) override { throw std::bad_alloc(); }
};

TEST_F(SDBMemoryTest, ARecordThatThrowsForWantOfMemoryIsAFailureAndLeavesNothing) {
    const Bytes image = DatabaseImage({{.id = 1, .strBody = "first"}});
    ASSERT_TRUE(OpenImage(image));
    CHungryRecord record(kSdbBank, 1, kSdbNoID, "half and more");
    EXPECT_FALSE(m_db.ReadWholeNote(&record));
    EXPECT_FALSE(m_db.AddNewNote(&record));
    EXPECT_EQ(ENOMEM, m_db.GetFirstError());
    EXPECT_FALSE(m_db.ChangeNote(&record));
    EXPECT_FALSE(m_db.GetFile().Unlock()) << "the stream lock is free";
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_EQ(image, ReadFile(m_strPath));
}

// --- Records ---

struct RecordCase {
    const char* pszWhy;
    std::function<std::unique_ptr<CSDBInterpreter>()> make;
    Bytes body;
};

template <class TRecord>
std::unique_ptr<CSDBInterpreter> Make() {
    return std::make_unique<TRecord>(1, kSdbNoID);
}

// Samples whose wave lies in the record, raw and compressed, and in the file at the path; and a layer with a
// long block and tail.
std::vector<RecordCase> RecordCases(const std::string& strWavePath) {
    const Bytes wave = MakeWave(3000, 16, 2);
    PlainBody external;
    external.strFile = strWavePath;
    CSDBISampleWave exported(1, kSdbNoID);
    exported.m_info.nSampleRate = 48000;
    LoadWave(exported, wave);
    EXPECT_TRUE(exported.AllocLoops(2) && exported.ExportToFile(strWavePath.c_str()));
    CSDBISampleEUWave enriched(1, kSdbNoID);
    enriched.m_info.nFormat = 16;
    enriched.m_info.nChannels = 2;
    EXPECT_TRUE(enriched.AllocLoops(3) && enriched.CopyWave(wave.data(), wave.size()));
    CSDBILayer layer(1, kSdbNoID);
    EXPECT_TRUE(layer.m_params.Alloc(1500) && layer.m_pars.Provide(2000));
    return {{"raw", Make<CSDBISampleWave>, PlainBody().Raw(wave).Get()},
            {"compressed", Make<CSDBISampleWave>, PlainBody().Compressed(wave).Get()},
            {"external", Make<CSDBISampleWave>, external.Get()},
            {"external, header alone", Make<CSDBISampleInfo>, external.Get()},
            {"enriched", Make<CSDBISampleEUWave>, Encode(enriched)},
            {"layer", Make<CSDBILayer>, Encode(layer)}};
}

TEST(RecordMemoryTest, ARecordThatFindsNoMemoryIsNotTakenForADamagedOne) {
    const TempDir dir;
    for (const RecordCase& row : RecordCases(dir.File("wave.wav"))) {
        SCOPED_TRACE(row.pszWhy);
        WriteFile(dir.File("body"), row.body);
        CXFile file;
        ASSERT_TRUE(file.Open(dir.File("body").c_str(), 0));
        const auto pRecord = row.make();
        WalkAllocations(
            [&] {
                ASSERT_TRUE(file.SeekToPos(0));
                file.ClearFirstError();
            },
            [&] { return pRecord->Read(&file, row.body.size()); },
            [&](bool bDone, bool bFailed) {
                EXPECT_EQ(bDone ? 0 : ENOMEM, file.GetFirstError());
                EXPECT_EQ(!bFailed, bDone);
                EXPECT_FALSE(file.Unlock()) << "the stream lock is free";
            });
    }
}

TEST(RecordMemoryTest, ADamagedRecordIsNotTakenForWantOfMemory) {
    const TempDir dir;
    for (RecordCase& row : RecordCases(dir.File("wave.wav"))) {
        if (row.pszWhy == std::string("enriched")) continue;  // measured before it is read
        SCOPED_TRACE(row.pszWhy);
        WriteFile(dir.File("body"), WithoutLast(row.body, 1));
        CXFile file;
        ASSERT_TRUE(file.Open(dir.File("body").c_str(), 0));
        EXPECT_FALSE(row.make()->Read(&file, row.body.size()));
        EXPECT_EQ(0, file.GetFirstError());
    }
}

TEST(RecordMemoryTest, AWaveThatFindsNoMemoryToBeCompressedStaysRawAndWhole) {
    const Bytes wave = MakeWave(3000, 16, 2);
    std::unique_ptr<CSDBISampleWave> pSample;
    WalkAllocations(
        [&] {
            pSample = std::make_unique<CSDBISampleWave>(1, kSdbNoID);
            LoadWave(*pSample, wave);
        },
        [&] {
            pSample->PackWave();
            return pSample->m_info.pWave == nullptr;
        },
        [&](bool bDone, bool) {
            if (bDone) return;
            EXPECT_EQ(wave.size(), pSample->m_lStored);
            EXPECT_EQ(wave, Bytes(pSample->m_info.pWave, pSample->m_info.pWave + wave.size()));
        });
}

TEST(RecordMemoryTest, AnExportWithoutMemoryFailsAndLeavesNoFile) {
    const TempDir dir;
    const std::string strPath = dir.File("wave.wav");
    CSDBISampleWave sample(1, kSdbNoID);
    sample.m_info.nFormat = 16;
    LoadWave(sample, MakeWave(3000, 16, 2));
    WalkAllocations([] {}, [&] { return sample.ExportToFile24(strPath.c_str()); },
                    [&](bool bDone, bool) {
                        EXPECT_EQ(bDone, std::filesystem::exists(strPath));
                        std::remove(strPath.c_str());
                    });
}

}  // namespace
}  // namespace Kestrova::Test
