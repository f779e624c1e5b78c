// StatusText.h - the sentences of the status line: what became of a run or an import, and why.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "bank/BankOutcome.h"
#include "import/ImportOutcome.h"
#include "shared/System/kvString.h"

namespace Kestrova {

inline constexpr char kNoSourceText[] = "Choose a source bank, a SoundFont or an SFZ file.";
inline constexpr char kNoLocksText[] =
    "The folder cannot lock files: let no other program build banks in it now.";

String FilePart(const String& strPath);  // the name without its folder

// "The bank for 48000 is ready." or "Banks for 48000, 88200 and 96000 are ready."; empty without a rate.
String ReadyText(const std::vector<int>& rates);

// "The bank for 48000 could not be written: No space left on device."
String FailedBankText(int nHertz, const BankOutcome& outcome);

// "Piano.kvs cannot be used: Permission denied."; strName is the file without its folder.
String FailedSourceText(const String& strName, const BankOutcome& outcome);

// "307 M are needed, 100 M are free."
String LackOfSpaceText(int nNeededMegabytes, int nFreeMegabytes);

// "Piano.sf2 was not imported: "; a cancelled import is told as such.
String FailedImportText(const String& strName, const ImportOutcome& outcome);

// "Bank 1 of 2, 37 %, about 2 min left"; without a time while none can be told.
//   fraction: of the bytes of all banks of the run, 0 to 1
String RunText(int nBank, int nBanks, double fraction, std::optional<std::chrono::seconds> left);

}  // namespace Kestrova
