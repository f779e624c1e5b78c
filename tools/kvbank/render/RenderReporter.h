// RenderReporter.h - tells what a rendering has played: as lines for a person, and as a JSON document.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "include/kvbank.h"
#include "tools/kvbank/render/NoteRenderer.h"
#include "tools/kvbank/terminal/Console.h"

namespace Kestrova {

class RenderReporter {
public:
    // The console must outlive the reporter.
    RenderReporter(Console& console, const std::string& strFile, const std::string& strOutput);

    // The program that is played.
    void Tell(const kvb_program& program);
    void Tell(Conversion conversion);
    // One line on the file; one more when all had to be lowered; with -v one for each layer.
    void Tell(const std::vector<PlayedNote>& notes, const RenderedWave& wave);
    // Keys of the demo that the program plays nothing for.
    void TellSilent(const std::set<int>& keys);

    int Finish(const Ending& ending);  // the exit code

private:
    Json LayersOf(const std::vector<PlayedNote>& notes, size_t nNote, const RenderedWave& wave);

    Console& m_console;
    const std::string m_strOutput;
    std::string m_strProgram;
    Json m_document = Json::object();
};

}  // namespace Kestrova
