#include "tools/kvbank/DemoCommand.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "shared/System/kvCancelSignal.h"
#include "tools/kvbank/NewSource.h"

namespace Kestrova {
namespace {

void TellDemo(const std::string& strFile, const DemoFacts& facts, Console& console, Json& document) {
    std::error_code unknown;
    const uintmax_t nSize = std::filesystem::file_size(strFile, unknown);
    const uint64_t nBytes = unknown ? 0 : nSize;
    document["bytes"] = nBytes;
    document["samples"] = facts.nSamples;
    document["programs"] = facts.nPrograms;
    console.Say(strFile + ": " + Counted(facts.nPrograms, "program") + ", " +
                Counted(facts.nSamples, "sample") + ", " + ReadableSize(nBytes));
}

}  // namespace

void DemoCommand::Describe(CLI::App& verb) {
    verb.add_option("-o,--output", m_strFile, "the source bank to write")->type_name("FILE")->required();
    verb.add_flag("-f,--force", m_bForce, "replace a file that is there");
}

int DemoCommand::Run(Console& console) {
    DemoFacts facts;
    Json document = {{"file", m_strFile}};
    const Ending ending = Write(facts);
    if (ending.IsDone())
        TellDemo(m_strFile, facts, console, document);
    else
        console.Error(ending.strError);
    return console.Finish("demo", ending.code, document);
}

Ending DemoCommand::Write(DemoFacts& facts) const {
    if (Ending ending = CheckNewSource(m_strFile, m_bForce); !ending.IsDone()) return ending;
    PartFile part(m_strFile);
    if (part.Path().empty()) return {kExitOutput, m_strFile + ": " + std::strerror(errno)};
    if (const FileAnswer written = WriteDemoInstrument(part.Path().string(), facts); !written) {
        const char* const pszCause =
            written.nError != 0 ? std::strerror(written.nError) : "it cannot be written";
        return {kExitOutput, m_strFile + ": " + pszCause};
    }
    if (CancelSignal() != 0) return {kExitProblem, m_strFile + ": cancelled"};
    return PublishSource(part, m_strFile);
}

}  // namespace Kestrova
