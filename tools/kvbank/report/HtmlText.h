// HtmlText.h - pieces of text for a page that is HTML and well-formed XML alike.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace Kestrova {

// A text from a bank or the command line, for an element or a quoted attribute: valid UTF-8 without control
// characters, with & < > " and ' as references.
std::string HtmlText(const std::string& strText);

// "C4" for key 60; "150" for one that is no key of MIDI.
std::string KeyName(int64_t nKey);

// A colour for place n in a list, unlike that of its neighbours, on light and dark ground.
std::string ColourOf(size_t n);

std::string Base64(std::span<const uint8_t> bytes);

}  // namespace Kestrova
