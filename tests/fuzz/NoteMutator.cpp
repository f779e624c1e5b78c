// NoteMutator.cpp - LLVMFuzzerCustomMutator for targets whose input is a database file: it changes notes, and
// writes a file whose lengths are right again. So a change behind the first note is not lost in a scan that
// ends early. One change in eight is a plain one of any bytes.
#include <cstring>
#include <random>

#include "tests/fuzz/FuzzInput.h"
#include "tests/support/TestDatabase.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* p, size_t n, size_t nMost);

namespace {

using namespace Kestrova;
using namespace Kestrova::Test;

using Random = std::minstd_rand;
using Notes = std::vector<NoteFields>;

constexpr uint8_t kTypes[] = {kSdbInfo,   kSdbPreset, kSdbBank,   kSdbProgram,
                              kSdbRegion, kSdbLayer,  kSdbSample, kSdbQuickLoad};
constexpr uint32_t kTellingWords[] = {
    0,   1,      2,       59,    60,    127,    128,        255,        256,        16,         24,        32,
    512, 999999, 1000000, 44100, 48000, 192000, 0x7FFFFFFF, 0x80000000, 0x80000010, 0xFFFFFFFE, 0xFFFFFFFF};

size_t Below(Random& random, size_t nLimit) { return random() % nLimit; }

template <class TList>
auto& AnyOf(Random& random, TList& list) {
    return list[Below(random, std::size(list))];
}

void MutateBody(NoteFields& note, Random& random) {
    constexpr size_t kMostGrowth = 64;
    std::string body = note.strBody;
    body.resize(body.size() + 1 + Below(random, kMostGrowth));
    const size_t nNow =
        LLVMFuzzerMutate(reinterpret_cast<uint8_t*>(body.data()), note.strBody.size(), body.size());
    body.resize(nNow);
    note.strBody = body;
}

// A word anywhere in the first part of the body, where the counts and lengths are.
void SetWord(NoteFields& note, Random& random) {
    if (note.strBody.size() < 4) return;
    const uint32_t nWord = AnyOf(random, kTellingWords);
    const size_t nAt = Below(random, std::min<size_t>(note.strBody.size() - 3, 128));
    std::memcpy(note.strBody.data() + nAt, &nWord, sizeof nWord);
}

// Makes the note, or the sample that a layer plays, one that there is.
void Relate(NoteFields& note, const Notes& notes, Random& random) {
    const uint32_t id = AnyOf(random, notes).id;
    if (note.nType == kSdbLayer && note.strBody.size() >= 8 && Below(random, 2) == 0)
        std::memcpy(note.strBody.data() + note.strBody.size() - 8, &id, sizeof id);
    else
        note.idParent = id;
}

void ChangeHeader(NoteFields& note, Random& random) {
    constexpr uint8_t kStates[] = {0, 1, 0x80, 0x81, 2};
    switch (Below(random, 4)) {
        case 0: note.nState = AnyOf(random, kStates); break;
        case 1: note.nType = AnyOf(random, kTypes); break;
        case 2: note.id = AnyOf(random, kTellingWords); break;
        default: note.idParent = AnyOf(random, kTellingWords);
    }
}

// Writes the quick-load table anew, as far as the file has one.
void FillTable(Notes& notes) {
    if (notes.front().nType != kSdbQuickLoad) return;
    notes.front().strBody.assign(notes.size() * QuickLoadEntry::kBytes, '\0');
    Bytes table;
    for (const NoteFields& note : notes)
        for (const uint32_t nWord :
             {uint32_t{note.nType}, note.id, note.idParent, static_cast<uint32_t>(note.strBody.size())})
            PutLittle(table, nWord, 4);
    std::copy(table.begin(), table.end(), notes.front().strBody.begin());
}

void ChangeNotes(Notes& notes, Random& random) {
    const size_t nAt = Below(random, notes.size());
    const auto it = notes.begin() + static_cast<ptrdiff_t>(nAt);
    switch (Below(random, 10)) {
        case 0: notes.insert(it, NoteFields(*it)); break;
        case 1: notes.push_back(*it); break;
        case 2: notes.erase(it); break;
        case 3: std::swap(*it, AnyOf(random, notes)); break;
        case 4: Relate(*it, notes, random); break;
        case 5: ChangeHeader(*it, random); break;
        case 6: it->strBody = AnyOf(random, notes).strBody; break;
        case 7:
        case 8: SetWord(*it, random); break;
        default: MutateBody(*it, random);
    }
    if (!notes.empty() && Below(random, 2) == 0) FillTable(notes);
}

}  // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* p, size_t n, size_t nMost, unsigned nSeed) {
    Random random(nSeed);
    const Bytes before(p, p + n);
    Notes notes = NotesOf(before);
    if (notes.empty() || Below(random, 8) == 0) return LLVMFuzzerMutate(p, n, nMost);
    for (size_t nChanges = 1 + Below(random, 3); nChanges > 0 && !notes.empty(); --nChanges)
        ChangeNotes(notes, random);
    Bytes after(before.begin(), before.begin() + FileHeader::kBytes);
    for (const NoteFields& note : notes) PutNote(after, note);
    if (after.size() > nMost) return LLVMFuzzerMutate(p, n, nMost);
    std::copy(after.begin(), after.end(), p);
    return after.size();
}
