// KeyMap.h - a program's regions as a picture: keys across, velocities up, one colour a sample.
#pragma once

#include <string>

#include "tools/kvbank/contents/BankContents.h"

namespace Kestrova {

// An SVG element. Each region is divided among its layers; each part links to its sample's row of the page.
// nRoom: how many parts may still be drawn; it is lowered, and parts beyond it are left out.
std::string KeyMapSvg(const ProgramFacts& program, const BankContents& contents, size_t& nRoom);

}  // namespace Kestrova
