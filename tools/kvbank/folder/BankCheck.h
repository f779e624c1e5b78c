// BankCheck.h - what a bank's file tells about its own state, at little cost.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "bank/BankFileName.h"

namespace Kestrova {

// Looks at the header, the quick-load table and the information record, never at a wave: the cost grows only
// with the number of notes. A wave whose bytes changed is not found; `kvbank verify` does that.

// Why an open database is damaged: the sizes of its notes do not match the file's length, or, for an enriched
// one, its information record is missing, cannot be read, or gives another rate or layout than the file's
// name. Empty for a good one. name: what the file's name says; none for a file without a bank's name.
std::string WhyDamaged(CSDB& database, const std::optional<BankFileName>& name);

// The same for a file that cannot be opened as a database. Empty when it does not begin like a bank, so that
// it is something else than a damaged bank; errno then has the system's reason where it could not be read.
std::string WhyDamagedUnopened(const std::filesystem::path& path);

// The parts of a bank's name that contradict its information record, which gives nRate and bPerKey. None for
// a rate of 0, which no built bank states.
std::vector<std::string> FalseParts(const BankFileName& name, uint32_t nRate, bool bPerKey);

// Understands a file name as a bank of any source.
std::optional<BankFileName> ParseAnyBankName(std::string_view name);

}  // namespace Kestrova
