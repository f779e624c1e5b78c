// The worked cases of database files (containers.json) and of journaled changes (journal.json).
#include <gtest/gtest.h>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestDatabase.h"
#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

using nlohmann::json;

uint32_t FormatOf(const json& text) {
    const auto strTag = text.get<std::string>();
    uint32_t nFormat = 0;
    std::memcpy(&nFormat, strTag.data(), sizeof nFormat);
    return nFormat;
}

// --- containers.json ---

json ListedEntries(const std::string& strPath) {
    CXFile file;
    CSDBKeyTable keys;
    bool bDirty = false;
    EXPECT_TRUE(file.Open(strPath.c_str(), 0));
    EXPECT_TRUE(keys.Rebuild(file, bDirty));
    json listed = json::array();
    for (size_t n = 0; n < keys.GetCount(); ++n) {
        const SDBNOTE& note = keys[n];
        listed.push_back({note.nState, note.nType, note.idNote, note.idParent, note.nSize, note.posHeader});
    }
    return listed;
}

void ExpectLookups(const json& container, const std::string& strPath) {
    CSDB db;
    ASSERT_TRUE(db.Open(strPath.c_str(), FormatOf(container["format"]), false));
    EXPECT_EQ(container["counter"], db.GetNextID());
    EXPECT_EQ(container["dirty"], db.IsDirty());
    EXPECT_EQ(container["of_type_255"], json(IdsOfType(db, 255)));
    EXPECT_EQ(container["of_type_bank"], json(IdsOfType(db, kSdbBank)));
    EXPECT_EQ(container["children_of_1"], json(ChildrenOf(db, 1)));
    for (const json& id : container["new_ids"]) {
        uint32_t idNew = 0;
        EXPECT_TRUE(db.GetNewID(idNew));
        EXPECT_EQ(id, idNew);
    }
}

std::string ImageAfterClose(const std::string& strPath, uint32_t nFormat, const Bytes& image, bool bCommit) {
    WriteFile(strPath, image);
    CSDB db;
    EXPECT_TRUE(db.Open(strPath.c_str(), nFormat, true));
    EXPECT_TRUE(db.Close(bCommit));
    return Sha256IdentityZeroed(ReadFile(strPath));
}

TEST(SDBVectorsTest, ContainersAreListedAndSettledAsWorkedOut) {
    const TempDir dir;
    const std::string strPath = dir.File("container.kvn");
    for (const json& container : LoadVectors("containers.json")) {
        SCOPED_TRACE(container["name"].get<std::string>());
        const Bytes image = ReadFile(VectorPath(container["file"]));
        const uint32_t nFormat = FormatOf(container["format"]);
        WriteFile(strPath, image);
        CSDB db;
        EXPECT_EQ(container["opens"], db.Open(strPath.c_str(), nFormat, false));
        db.Close(false);
        if (!container["opens"]) continue;
        EXPECT_EQ(container["notes"], ListedEntries(strPath));
        ExpectLookups(container, strPath);
        EXPECT_EQ(image, ReadFile(strPath)) << "opened for reading only";
        EXPECT_EQ(container["commit_sha256"], ImageAfterClose(strPath, nFormat, image, true));
        EXPECT_EQ(container["rollback_sha256"], ImageAfterClose(strPath, nFormat, image, false));
    }
}

// --- journal.json: one method per kind of step, its result last ---

class JournalScript {
public:
    void Run(const json& step) {
        using Step = void (JournalScript::*)(const json&);
        static const std::map<std::string, Step> kSteps = {
            {"create", &JournalScript::Create},
            {"open", &JournalScript::Open},
            {"add", &JournalScript::Add},
            {"change", &JournalScript::Change},
            {"delete", &JournalScript::Delete},
            {"delete_children", &JournalScript::DeleteChildren},
            {"branch", &JournalScript::Branch},
            {"insert_branch_of", &JournalScript::InsertBranch},
            {"reserve_quick_load", &JournalScript::ReserveQuickLoad},
            {"create_quick_load", &JournalScript::CreateQuickLoad},
            {"close", &JournalScript::Close},
            {"listed", &JournalScript::Listed},
        };
        (this->*kSteps.at(step[0]))(step);
    }

private:
    static std::string Body(const json& hex) {
        const Bytes bytes = HexBytes(hex);
        return std::string(bytes.begin(), bytes.end());
    }

    void Create(const json& step) { EXPECT_EQ(step[2], m_db.Create(m_strPath.c_str(), FormatOf(step[1]))); }

    void Open(const json& step) {
        EXPECT_EQ(step[3], m_db.Open(m_strPath.c_str(), FormatOf(step[1]), step[2]));
    }

    void Add(const json& step) {
        const uint32_t id = AddNote(m_db, step[1], step[2], Body(step[3]));
        EXPECT_EQ(step[4], id != kSdbNoID ? json(id) : json());
    }

    void Change(const json& step) { EXPECT_EQ(step[4], ChangeNote(m_db, step[1], step[2], Body(step[3]))); }
    void Delete(const json& step) { EXPECT_EQ(step[2], m_db.DeleteNoteByID(step[1])); }
    void DeleteChildren(const json& step) { EXPECT_EQ(step[2], m_db.DeleteNoteByParentID(step[1])); }

    void Branch(const json& step) {
        const SDBNOTE* const note = m_db.GetNoteByID(step[1]);
        m_branch.resize(m_db.GetNotesBranch(note, nullptr));
        EXPECT_EQ(step[3], m_branch.size());
        uint8_t* pCursor = m_branch.data();
        m_nBranchNotes = m_db.GetNotesBranch(note, &pCursor);
        EXPECT_EQ(step[2], m_nBranchNotes);
        EXPECT_EQ(m_branch.data() + m_branch.size(), pCursor);
    }

    void InsertBranch(const json& step) {
        unsigned long nCount = m_nBranchNotes;
        const uint8_t* pCursor = m_branch.data();
        uint32_t idRoot = 0;
        EXPECT_EQ(step[3], m_db.InsertNotesBranch(step[2], nCount, pCursor, idRoot));
        EXPECT_EQ(step[4], idRoot);
    }

    void ReserveQuickLoad(const json& step) { EXPECT_EQ(step[2], m_db.ReserveQuickLoad(step[1])); }
    void CreateQuickLoad(const json& step) { EXPECT_EQ(step[1], m_db.CreateQuickLoad()); }

    void Close(const json& step) {
        EXPECT_EQ(step[2], m_db.Close(step[1]));
        EXPECT_EQ(step[3], Sha256IdentityZeroed(ReadFile(m_strPath)));
    }

    void Listed(const json& step) {
        json listed = json::array();
        for (const SDBNOTE* note = m_db.GetNoteByType(nullptr, 255); note != nullptr;
             note = m_db.GetNoteByType(note, 255))
            listed.push_back({note->nType, note->idNote, note->idParent, note->nSize, note->posHeader});
        EXPECT_EQ(step[1], listed);
    }

    const TempDir m_dir;
    const std::string m_strPath = m_dir.File("journal.kvn");
    CSDB m_db;
    Bytes m_branch;
    unsigned long m_nBranchNotes = 0;
};

TEST(SDBVectorsTest, JournalScriptsGiveTheWorkedResultsAndImages) {
    for (const json& script : LoadVectors("journal.json")) {
        SCOPED_TRACE(script["name"].get<std::string>());
        JournalScript run;
        for (const json& step : script["steps"]) {
            SCOPED_TRACE(step.dump());
            run.Run(step);
        }
    }
}

}  // namespace
}  // namespace Kestrova::Test
