// FlacFile.h - writes a wave as a FLAC file, by libsndfile.
#pragma once

#include <string>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "SamplerDBDS/DataBase/SDBInterpreter.h"

namespace Kestrova {

// Writes the record's wave into an open, empty file of the caller's. Such a file holds neither loops nor a
// root key. Empty when done. Otherwise why not: the file's GetFirstError tells the system's reason, and when
// that is 0, the text says why FLAC cannot hold the wave.
// REQUIRES: a loaded wave of 16 or 24 bits. Throws std::bad_alloc.
std::string WriteFlac(const CSDBISampleBase& sample, CXFile& file);

}  // namespace Kestrova
