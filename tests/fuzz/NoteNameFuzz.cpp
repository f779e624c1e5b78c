// NoteNameFuzz.cpp - names of sound files: whatever they hold, a note that is found is one. Input: the name.
#include <cstdint>
#include <cstdlib>

#include "import/notefolder/NoteName.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    const std::string strName(p, p + n);
    const auto name = Kestrova::ParseNoteName(strName);
    if (!name) return 0;
    if (name->nKey < 0 || name->nKey > 127 || name->nLayer < 0 || name->nLayer > 9999) std::abort();
    if (name->strInstrument.size() >= strName.size()) std::abort();
    return 0;
}
