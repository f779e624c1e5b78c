// BankFileName.h - the names of bank files: made from a rate and a layout, and understood again.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Kestrova {

// The last letter of a bank's name.
enum class BankLayout : char { Plain = 'n', PerKey = 'r' };

constexpr BankLayout OtherLayout(BankLayout layout) {
    return layout == BankLayout::Plain ? BankLayout::PerKey : BankLayout::Plain;
}

// "FOLDER/BASE_0BB80.kvn": the rate in five upper-case hexadecimal digits. The folder is used as given, so
// one that ends in "/" makes a doubled slash.
std::string MakeBankFileName(std::string_view folder, std::string_view baseName, unsigned int nRate,
                             BankLayout layout);

struct BankFileName {
    int nRateIndex = 0;  // in iSPS
    BankLayout layout = BankLayout::Plain;
};

// Understands a file name (without folder) as a bank of the source with this base name; letter case is
// ignored. None for every other name, a rate that is not in the table included.
std::optional<BankFileName> ParseBankFileName(std::string_view name, std::string_view baseName);

// The base name of the banks made from a source: the file name (after the last back-slash or, without one,
// the last slash) up to its first "."; of an enriched source also without its last "_" and what follows.
// Empty when the name has no "." or begins with it.
std::string_view SourceBaseName(std::string_view path);
std::string_view CutRateFromBaseName(std::string_view baseName);

}  // namespace Kestrova
