// RecordTree.h - the records of a file as a tree, by the parents that their headers name.
#pragma once

#include <vector>

#include "tools/kvbank/compare/NoteScan.h"

namespace Kestrova {

enum class TreeFault {
    None,
    MissingParent,  // it stands at the top, because there is no record with its parent's id
    OwnAncestor     // it stands at the top, because it lies below itself
};

struct TreeRow {
    const SDBNOTE* pNote = nullptr;
    uint32_t nLevel = 1;  // 1: at the top
    TreeFault fault = TreeFault::None;
};

// All live records, each once: every record behind its parent, children in file order. Of two records with
// one id the first has the children. Time and memory are in proportion to the records, whatever their
// parents; the stack is not used. The scan must outlive the rows. Throws std::bad_alloc.
std::vector<TreeRow> MakeTree(const NoteScan& scan);

}  // namespace Kestrova
