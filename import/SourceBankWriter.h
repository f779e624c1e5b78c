// SourceBankWriter.h - writes a plan as a source bank of the plain kind.
#pragma once

#include <string>

#include "import/ImportOutcome.h"
#include "import/ImportPlan.h"
#include "import/WaveReader.h"

namespace Kestrova {

// Writes the bank into the file, which is emptied first. When the outcome is Done the bank is on the
// disk, and nBytes is the length of its records; otherwise the file is of no use. Waves are read and
// compressed on several threads; the bytes do not depend on how many. The same plan gives the same
// bytes, except for the file's new identity.
//
// What becomes what:
// - information: the plan's name and description;
// - a program: a preset record whose value is bank * 128 + program, and a program record below its
//   bank's record with the program number as first value. All programs, percussion too, keep the
//   default values, with which the per-key layout splits them, unless the plan says otherwise: then the
//   third value is 0. For percussion a split changes little, because its regions are mostly single keys;
// - a bank: named "Bank N", bank 128 "Percussion";
// - a region: low key, high key, low and high velocity;
// - a layer: the default values, because nothing is known of their meaning.
// Records come in the order of a built bank: information, presets, samples, then the tree.
ImportOutcome WriteSourceBank(const std::string& strPath, const ImportPlan& plan, const IWaveReader& reader,
                              const ImportWatch& watch = {});

}  // namespace Kestrova
