#include <gtest/gtest.h>

#include "import/notefolder/NoteName.h"

namespace Kestrova::Test {
namespace {

struct NameCase {
    const char* pszWhy;
    const char* pszName;
    NoteName expected;
};

constexpr char kNoName[] = "";

TEST(NoteNameTest, NoteLayerAndInstrumentAreFound) {
    const NameCase kCases[] = {
        {"all three", "Piano C#4 v3", {"Piano", 61, 3}},
        {"a MIDI number", "60", {kNoName, 60, 0}},
        {"leading zeros", "Rhodes_060", {"Rhodes", 60, 0}},
        {"the lowest key", "0", {kNoName, 0, 0}},
        {"the highest key", "127", {kNoName, 127, 0}},
        {"a note alone", "A4", {kNoName, 69, 0}},
        {"middle C", "C4", {kNoName, 60, 0}},
        {"a flat", "Db4", {kNoName, 61, 0}},
        {"B flat in lower case", "bb3", {kNoName, 58, 0}},
        {"B in lower case", "b3", {kNoName, 59, 0}},
        {"a sharp across the octave", "B#3", {kNoName, 60, 0}},
        {"a flat across the octave", "Cb4", {kNoName, 59, 0}},
        {"a negative octave", "A-1", {kNoName, 9, 0}},
        {"the lowest note", "C-1", {kNoName, 0, 0}},
        {"a sharp and a negative octave", "Organ-C#-1-v2", {"Organ", 1, 2}},
        {"the highest note", "G9", {kNoName, 127, 0}},
        {"a hyphen between words", "Violin-A4-long", {"Violin long", 69, 0}},
        {"a hyphen between a letter and a key", "A-60", {"A", 60, 0}},
        {"a hyphen in front of a longer number", "A-12", {"A", 12, 0}},
        {"the layer right behind the note", "A0v16", {kNoName, 21, 16}},
        {"the layer right behind the number", "60v2", {kNoName, 60, 2}},
        {"vel", "Piano C4 vel64", {"Piano", 60, 64}},
        {"velocity", "Piano velocity100 C4", {"Piano", 60, 100}},
        {"capitals", "PIANO C4 V3", {"PIANO", 60, 3}},
        {"the last note counts", "Hammond B2 C4", {"Hammond B2", 60, 0}},
        {"a note comes before a number", "Piano 2 C4", {"Piano 2", 60, 0}},
        {"the last number counts", "Piano 2 60", {"Piano 2", 60, 0}},
        {"the last layer counts", "v1 C4 v2", {"v1", 60, 2}},
        {"an octave below the lowest is a number", "C-3", {"C", 3, 0}},
        {"a separator in front", "-1", {kNoName, 1, 0}},
        {"many separators", " (Piano)__[C4]., v1", {"Piano", 60, 1}},
        {"letters of other scripts", "Fl\xC3\xB6te C4", {"Fl\xC3\xB6te", 60, 0}},
    };
    for (const NameCase& c : kCases) {
        SCOPED_TRACE(std::string(c.pszWhy) + ": " + c.pszName);
        const std::optional<NoteName> name = ParseNoteName(c.pszName);
        ASSERT_TRUE(name.has_value());
        EXPECT_EQ(c.expected.strInstrument, name->strInstrument);
        EXPECT_EQ(c.expected.nKey, name->nKey);
        EXPECT_EQ(c.expected.nLayer, name->nLayer);
    }
}

TEST(NoteNameTest, NamesWithoutANoteAreNone) {
    for (const char* pszName :
         {"",    "Piano", "H4",  "128", "0128",  "1000",     "C",  "C44",   "C#", "Cb-1",
          "G#9", "B9x",   "C4x", "C4v", "C4v3x", "C4v12345", "v3", "vel64", "-",  "#4"})
        EXPECT_FALSE(ParseNoteName(pszName).has_value()) << pszName;
}

}  // namespace
}  // namespace Kestrova::Test
