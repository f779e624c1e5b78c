#include "tools/kvbank/DemoCommand.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "bank/BankFileName.h"
#include "shared/System/kvCancelSignal.h"
#include "tools/kvbank/demo/DemoInstrument.h"
#include "tools/kvbank/folder/PartFile.h"

namespace Kestrova {

namespace fs = std::filesystem;

void DemoCommand::Describe(CLI::App& verb) {
    verb.add_option("-o,--output", m_strFile, "the source bank to write")->type_name("FILE")->required();
    verb.add_flag("-f,--force", m_bForce, "replace a file that is there");
}

int DemoCommand::Run(Console& console) {
    Json report = {{"file", m_strFile}};
    std::error_code ignored;
    ExitCode code = kExitDone;
    if (SourceBaseName(m_strFile).empty()) {
        console.Error(m_strFile + ": the name needs a '.': banks are named after what stands before it");
        code = kExitUsage;
    } else if (!m_bForce && fs::exists(fs::symlink_status(m_strFile, ignored))) {
        console.Error(m_strFile + ": there already; -f replaces it");
        code = kExitUsage;
    } else {
        code = Write(console, report);
    }
    return console.Finish("demo", code, report);
}

ExitCode DemoCommand::Write(Console& console, Json& report) const {
    PartFile part(m_strFile);
    DemoFacts facts;
    if (part.Path().empty() || !WriteDemoInstrument(part.Path().string(), facts)) {
        console.Error(m_strFile + ": " + (errno != 0 ? std::strerror(errno) : "it cannot be written"));
        return kExitOutput;
    }
    if (CancelSignal() != 0) {
        console.Error(m_strFile + ": cancelled");
        return kExitProblem;
    }
    if (!part.Publish()) {
        console.Error(m_strFile + ": " + std::strerror(errno));
        return kExitOutput;
    }
    std::error_code ignored;
    const uint64_t nBytes = fs::file_size(m_strFile, ignored);
    report["bytes"] = nBytes;
    report["samples"] = facts.nSamples;
    report["programs"] = facts.nPrograms;
    console.Say(m_strFile + ": " + Counted(facts.nPrograms, "program") + ", " +
                Counted(facts.nSamples, "sample") + ", " + ReadableSize(nBytes));
    return kExitDone;
}

}  // namespace Kestrova
