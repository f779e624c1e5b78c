// OpenInstrument.h - opens an input of any format that is read. The content tells which; names do not matter.
#pragma once

#include <memory>
#include <string>

#include "import/Instrument.h"

namespace Kestrova {

enum class InputFormat { None, SoundFont, Sfz, NoteFolder };

// The format of a file, by its first bytes; every folder is taken as one of samples. None: no format that is
// read. Whether the rest is sound is found when it is opened. The outcome tells when the system could not
// read it.
ImportOutcome FindInputFormat(const std::string& strPath, InputFormat& format);

// Opens the input and gives the object that reads it. An input of no known format is refused with a cause
// that names those that are read. The watch can stop it.
// Errors: outcomes; nothing is thrown. Without Done there is no object.
ImportOutcome OpenInstrument(const std::string& strPath, std::unique_ptr<IInstrument>& pInstrument,
                             const ImportWatch& watch = {});

}  // namespace Kestrova
