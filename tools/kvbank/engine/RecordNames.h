// RecordNames.h - how messages name a record: its kind, id and name.
#pragma once

#include <cstdint>
#include <string>

namespace Kestrova {

class CSDB;
class CXFile;
struct SDBNOTE;

// "sample", "region" ...; "record of type 77" for one this system does not know;
// "source" for a fault of no single kind.
std::string TypeName(uint8_t nType);

// The name in a note's record, whatever bytes it holds; empty when it has none or cannot be read. Every kind
// that has a name begins with it: a length byte and the text.
std::string NameOfNote(CXFile& file, const SDBNOTE& note);

// "sample 12 \"Piano C4\"" of a note in an open file; the kind and id alone
// when it has no name or it cannot be read.
std::string DescribeNote(CXFile& file, const SDBNOTE& note);

// The same of the record with an id, which may be missing; the database may be null.
std::string DescribeRecord(CSDB* pDatabase, uint8_t nType, uint32_t id);

}  // namespace Kestrova
