#include "tools/kvbank/DemoCommand.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <new>

#include "shared/System/kvCancelSignal.h"
#include "tools/kvbank/NewSource.h"

namespace Kestrova {
namespace {

ExitCode TellDemo(const std::string& strFile, const DemoFacts& facts, Console& console, Json& document) {
    std::error_code unknown;
    const uintmax_t nSize = std::filesystem::file_size(strFile, unknown);
    if (!unknown) document["bytes"] = uint64_t{nSize};
    document["samples"] = facts.nSamples;
    document["programs"] = facts.nPrograms;
    if (unknown) {
        console.Error(strFile + ": it is written, but its size cannot be read: " + unknown.message());
        return kExitProblem;
    }
    console.Say(strFile + ": " + Counted(facts.nPrograms, "program") + ", " +
                Counted(facts.nSamples, "sample") + ", " + ReadableSize(nSize));
    return kExitDone;
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
        return console.Finish("demo", TellDemo(m_strFile, facts, console, document), document);
    console.Error(ending.strError);
    return console.Finish("demo", ending.code, document);
}

Ending DemoCommand::Write(DemoFacts& facts) const {
    if (Ending ending = CheckNewSource(m_strFile, m_bForce); !ending.IsDone()) return ending;
    PartFile part(m_strFile);
    if (part.Path().empty()) return {kExitOutput, m_strFile + ": " + std::strerror(errno)};
    if (const FileAnswer written = WriteDemoInstrument(part.Path().string(), facts); !written) {
        if (written.nError == ENOMEM) throw std::bad_alloc();
        const char* const pszCause =
            written.nError != 0 ? std::strerror(written.nError) : "it cannot be written";
        return {kExitOutput, m_strFile + ": " + pszCause};
    }
    if (CancelSignal() != 0) return {kExitProblem, m_strFile + ": cancelled"};
    return PublishSource(part, m_strFile);
}

}  // namespace Kestrova
