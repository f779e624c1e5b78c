// TreeReporter.h - the tree of a file's records, printed for a person and as JSON.
#pragma once

#include <optional>
#include <string>

#include "tools/kvbank/terminal/Console.h"
#include "tools/kvbank/terminal/Ending.h"
#include "tools/kvbank/tree/RecordTree.h"

namespace Kestrova {

struct TreeOptions {
    uint32_t nDepth = 64;          // levels shown
    std::optional<uint8_t> nType;  // only records of this type
};

class TreeReporter {
public:
    TreeReporter(Console& console, std::string strFile, const TreeOptions& options);

    // Tells the rows that the options choose and counts the others. Answers how many records, shown or not,
    // have no place in the tree.
    uint64_t Tell(NoteScan& scan, const std::vector<TreeRow>& rows);
    int Finish(const Ending& ending);

private:
    void Tell(NoteScan& scan, const TreeRow& row);

    Console& m_console;
    const std::string m_strFile;
    const TreeOptions m_options;
    Json m_document = Json::object();
};

}  // namespace Kestrova
