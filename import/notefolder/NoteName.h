// NoteName.h - the note, the velocity layer and the instrument that the name of a sound file tells. A name is
// split into words at blanks and at - _ . , ; ( ) [ ]. A '-' between a note's letter and the octave 1 or 2
// belongs to the note, as in "A-1".
// - Note: a letter A to G, in upper or lower case, perhaps # or b, and an octave from -2 to 9; C4 is key 60.
//   If several words are notes, the last one counts. If none is, the last word that is a number from 0 to 127
//   is the key.
// - Layer: "v", "vel" or "velocity" and a number of at most four digits, as a word of its own or right behind
//   the note: "C4 v3", "C4v3". If several words are layers, the last one counts.
// - Instrument: all other words, with one blank between two.
#pragma once

#include <optional>
#include <string>

namespace Kestrova {

struct NoteName {
    std::string strInstrument;  // may be empty
    int nKey = 0;               // 0 to 127
    int nLayer = 0;             // 0 to 9999; 0 where the name tells none
    bool operator==(const NoteName&) const = default;
};

// strName: without its extension. Empty when no word is a note.
std::optional<NoteName> ParseNoteName(const std::string& strName);

}  // namespace Kestrova
