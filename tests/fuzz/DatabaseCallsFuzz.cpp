// DatabaseCallsFuzz.cpp - any order of calls of a database: after each it finds what a plain list of notes
// finds, and each commit, roll-back and copy leaves the file that the list says. Input: the notes of the file
// that is opened first, then a byte for each call, with its arguments behind it.
#include "tests/fuzz/DatabaseModel.h"
#include "tests/fuzz/FuzzInput.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Test;

constexpr size_t kMostNotes = 600;  // a family of more than 32 notes has an index of its own
constexpr size_t kMostLongBodies = 4;
constexpr size_t kLongBody = 70000;

class DatabaseCalls {
public:
    DatabaseCalls(const TempDir& dir, FuzzInput& input)
        : m_input(input), m_arPaths{dir.File("one.kvn"), dir.File("two.kvn")} {
        WriteFile(Path(), DatabaseImage(FirstNotes()));
        CheckReadOnly();
        Reopen(NotesOf(Path()));
    }

    void Run() {
        while (!m_input.IsEmpty() && m_model.All().size() < kMostNotes) {
            Call();
            CheckSome();
        }
        CloseWith(m_model.All().size() % 2 != 0);
    }

private:
    const std::string& Path() const { return m_arPaths[m_nPath]; }

    // A quick-load table as the first note would list the file by itself.
    uint8_t AnyType() {
        const uint8_t nType = m_input.Byte();
        return nType == kSdbQuickLoad ? uint8_t{kSdbBank} : nType;
    }

    // Mostly that of a note, deleted or not.
    uint32_t AnyID() {
        const size_t nKind = m_input.Below(8);
        if (nKind == 0 || m_model.All().empty()) return kSdbNoID;
        if (nKind == 1) return static_cast<uint32_t>(m_input.Number(4));
        return m_model.All()[m_input.Number(2) % m_model.All().size()].id;
    }

    // Empty, or unlike all others, and unlike itself at any other place. A few are longer than the pieces in
    // which a commit moves them.
    std::string AnyBody() {
        const size_t nByte = m_input.Byte();
        const size_t nLength = nByte == 255 && m_nLongBodies++ < kMostLongBodies ? kLongBody : nByte;
        std::string strBody = nLength == 0 ? "" : std::to_string(++m_nBody);
        while (strBody.size() < nLength) strBody += ' ' + std::to_string(strBody.size());
        return strBody;
    }

    // Any states and ids, also the same id twice, as in a file that something else has written.
    DatabaseModel::Notes FirstNotes() {
        DatabaseModel::Notes notes;
        for (size_t n = m_input.Below(8); n > 0; --n) {
            NoteFields note;
            note.nState = m_input.Byte();
            note.nType = AnyType();
            note.id = m_input.Below(2) != 0 ? static_cast<uint32_t>(m_input.Number(4)) : m_input.Byte();
            note.idParent = m_input.Below(2) != 0 ? kSdbNoID : m_input.Byte();
            note.strBody = AnyBody();
            notes.push_back(note);
        }
        return notes;
    }

    void Call() {
        switch (m_input.Below(14)) {
            case 0: Add(1); break;
            case 1: Add(m_input.Below(64)); break;
            case 2: Change(); break;
            case 3: Delete(); break;
            case 4: DeleteChildren(); break;
            case 5: CopyBranch(); break;
            case 6: TakeNewID(); break;
            case 7: Commit(); break;
            case 8: SaveAs(); break;
            case 9: CloseAndOpen(true); break;
            case 10: CloseAndOpen(false); break;
            case 11: Reopen(m_model.Settled(kSdbStateNew)); break;
            default: SetCursor();
        }
    }

    void Add(size_t nNotes) {
        const uint32_t idParent = AnyID();
        const uint8_t nType = AnyType();
        for (; nNotes > 0; --nNotes) {
            const std::string strBody = AnyBody();
            KV_FUZZ_CHECK(AddNote(m_db, nType, idParent, strBody) == m_model.Add(nType, idParent, strBody));
        }
    }

    void Change() {
        const uint32_t id = AnyID();
        const uint32_t idParent = AnyID();
        const std::string strBody = AnyBody();
        KV_FUZZ_CHECK(ChangeNote(m_db, id, idParent, strBody) == m_model.Change(id, idParent, strBody));
    }

    void Delete() {
        const uint32_t id = AnyID();
        KV_FUZZ_CHECK(m_db.DeleteNoteByID(id) == m_model.Delete(id));
    }

    void DeleteChildren() {
        const uint32_t idParent = AnyID();
        m_model.DeleteChildren(idParent);
        KV_FUZZ_CHECK(m_db.DeleteNoteByParentID(idParent));
    }

    void CopyBranch() {
        const uint32_t idRoot = AnyID();
        const uint32_t idParent = AnyID();
        const SDBNOTE* const pRoot = m_db.GetNoteByID(idRoot);
        if (pRoot == nullptr) return;
        const DatabaseModel::Notes branch = m_model.Branch(m_model.FindLive(idRoot));
        Bytes buffer(m_db.GetNotesBranch(pRoot, nullptr));
        uint8_t* pEnd = buffer.data();
        KV_FUZZ_CHECK(m_db.GetNotesBranch(pRoot, &pEnd) == branch.size());
        KV_FUZZ_CHECK(pEnd == buffer.data() + buffer.size());

        DatabaseModel::Inserted inserted{true, branch.size(), kSdbNoID};
        const uint8_t* pCursor = buffer.data();
        inserted.bDone = m_db.InsertNotesBranch(idParent, inserted.nLeft, pCursor, inserted.idRoot);
        KV_FUZZ_CHECK(inserted == m_model.Insert(idParent, branch));
        KV_FUZZ_CHECK(!inserted.bDone || pCursor == buffer.data() + buffer.size());
    }

    void TakeNewID() {
        uint32_t id = 0;
        KV_FUZZ_CHECK(m_db.GetNewID(id));
        KV_FUZZ_CHECK(id == m_model.TakeNewID());
    }

    void Commit() {
        const DatabaseModel::Notes settled = m_model.Settled(kSdbStateDeleted);
        KV_FUZZ_CHECK(m_db.Save(nullptr));
        BeginWith(settled);
    }

    // The old file is rolled back; what is open then is the copy.
    void SaveAs() {
        const std::string strOld = Path();
        const DatabaseModel::Notes settled = m_model.Settled(kSdbStateNew);
        const DatabaseModel::Notes copied = m_model.Copied();
        m_nPath = 1 - m_nPath;
        KV_FUZZ_CHECK(m_db.Save(Path().c_str()));
        CheckFile(strOld, settled);
        BeginWith(copied);
    }

    void CloseAndOpen(bool bCommit) {
        CloseWith(bCommit);
        Reopen(NotesOf(Path()));
    }

    void CloseWith(bool bCommit) {
        const DatabaseModel::Notes settled = m_model.Settled(bCommit ? kSdbStateDeleted : kSdbStateNew);
        KV_FUZZ_CHECK(m_db.Close(bCommit));
        CheckFile(Path(), settled);
    }

    // Opens the file that has these notes then; what was open is rolled back.
    void Reopen(const DatabaseModel::Notes& notes) {
        KV_FUZZ_CHECK(m_db.Open(Path().c_str(), kSdbFormatPlain, true));
        BeginWith(notes);
    }

    void BeginWith(const DatabaseModel::Notes& notes) {
        CheckFile(Path(), notes);
        m_model.Open(notes);
        m_pCursor = nullptr;
        CheckAll();
    }

    // Only looked at, the file stays as it is, also when it holds notes that were never settled.
    void CheckReadOnly() {
        const Bytes before = ReadFile(Path());
        KV_FUZZ_CHECK(m_db.Open(Path().c_str(), kSdbFormatPlain, false));
        m_model.Open(NotesOf(before));
        CheckAll();
        KV_FUZZ_CHECK(AddNote(m_db, kSdbBank, kSdbNoID, "a body") == kSdbNoID);
        KV_FUZZ_CHECK(!m_db.DeleteNoteByParentID(kSdbNoID) && !m_db.Save(nullptr));
        KV_FUZZ_CHECK(m_db.Close(true));
        KV_FUZZ_CHECK(ReadFile(Path()) == before);
    }

    static void CheckFile(const std::string& strPath, const DatabaseModel::Notes& notes) {
        const Bytes file = ReadFile(strPath);
        KV_FUZZ_CHECK(NotesOf(file) == notes);
        KV_FUZZ_CHECK(file.size() == DatabaseImage(notes).size());
    }

    // --- What is found ---

    void CheckNote(const SDBNOTE* pNote, size_t n) {
        const DatabaseModel::Notes& notes = m_model.All();
        KV_FUZZ_CHECK((pNote != nullptr) == (n < notes.size()));
        if (pNote == nullptr) return;
        KV_FUZZ_CHECK(pNote->idNote == notes[n].id && pNote->idParent == notes[n].idParent);
        KV_FUZZ_CHECK(pNote->nType == notes[n].nType && pNote->nState == notes[n].nState);
        KV_FUZZ_CHECK(pNote->nSize == notes[n].strBody.size());
    }

    // `found`: in the order of the list, the numbers of the notes that these calls give.
    template <class TFirst, class TNext>
    void CheckRow(const std::vector<size_t>& found, TFirst getFirst, TNext getNext) {
        const SDBNOTE* pNote = getFirst();
        for (const size_t n : found) {
            CheckNote(pNote, n);
            pNote = getNext(pNote);
        }
        KV_FUZZ_CHECK(pNote == nullptr);
    }

    void CheckOfType(uint32_t nType) {
        CheckRow(
            m_model.Live(nType), [&] { return m_db.GetNoteByType(nullptr, nType); },
            [&](const SDBNOTE* pNote) { return m_db.GetNoteByType(pNote, nType); });
    }

    void CheckChildren(uint32_t idParent, uint32_t nType) {
        CheckRow(
            m_model.LiveChildren(idParent, nType), [&] { return m_db.GetFirstNote(idParent, nType); },
            [&](const SDBNOTE* pNote) { return m_db.GetNextNote(pNote, nType); });
    }

    void CheckByID(uint32_t id) {
        const size_t n = m_model.FindLive(id);
        const SDBNOTE* const pNote = m_db.GetNoteByID(id);
        CheckNote(pNote, n);
        if (pNote == nullptr) return;
        KV_FUZZ_CHECK(pNote->posHeader == m_model.PositionOf(n));
        KV_FUZZ_CHECK(BodyOf(m_db, id) == m_model.All()[n].strBody);
    }

    // Searches go on behind a note that was found earlier, deleted meanwhile or not.
    void SetCursor() {
        m_nCursor = m_model.FindLive(AnyID());
        m_pCursor =
            m_nCursor < m_model.All().size() ? m_db.GetNoteByID(m_model.All()[m_nCursor].id) : nullptr;
    }

    void CheckBehindCursor(uint32_t nType) {
        if (m_pCursor == nullptr) return;
        CheckNote(m_pCursor, m_nCursor);
        const auto firstBehind = [&](const std::vector<size_t>& found) {
            const auto it = std::upper_bound(found.begin(), found.end(), m_nCursor);
            return it != found.end() ? *it : m_model.All().size();
        };
        CheckNote(m_db.GetNoteByType(m_pCursor, nType), firstBehind(m_model.Live(nType)));
        CheckNote(m_db.GetNextNote(m_pCursor, nType),
                  firstBehind(m_model.LiveChildren(m_pCursor->idParent, nType)));
    }

    void CheckSome() {
        KV_FUZZ_CHECK(m_db.GetNoteCount() == m_model.All().size());
        KV_FUZZ_CHECK(m_db.IsDirty() == m_model.IsDirty());
        const uint32_t nType = m_input.Below(2) != 0 ? uint32_t{kSdbAny} : m_input.Byte();
        const uint32_t id = AnyID();
        CheckOfType(nType);
        CheckChildren(id, nType);
        CheckByID(id);
        CheckBehindCursor(nType);
    }

    void CheckAll() {
        KV_FUZZ_CHECK(m_db.GetNoteCount() == m_model.All().size());
        KV_FUZZ_CHECK(m_db.IsDirty() == m_model.IsDirty());
        CheckOfType(kSdbAny);
        CheckChildren(kSdbNoID, kSdbAny);
        for (const NoteFields& note : m_model.All()) CheckByID(note.id);
    }

    FuzzInput& m_input;
    const std::string m_arPaths[2];
    size_t m_nPath = 0;
    size_t m_nBody = 0;
    size_t m_nLongBodies = 0;
    CSDB m_db;
    DatabaseModel m_model;
    const SDBNOTE* m_pCursor = nullptr;
    size_t m_nCursor = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    static const TempDir dir;
    FuzzInput input(p, n);
    DatabaseCalls(dir, input).Run();
    return 0;
}
