// SpaceReporter.h - the space a build would take, printed for a person and as JSON.
#pragma once

#include "tools/kvbank/build/BuildSpace.h"
#include "tools/kvbank/terminal/Console.h"

namespace Kestrova {

class SpaceReporter {
public:
    SpaceReporter(Console& console, const BuildOptions& options);

    // Answers the exit code: done, or no space.
    ExitCode Tell(const BuildSpace& space);
    int Finish(ExitCode code) { return m_console.Finish("space", code, m_document); }

private:
    Console& m_console;
    const BuildOptions& m_options;
    Json m_document = Json::object();
};

}  // namespace Kestrova
