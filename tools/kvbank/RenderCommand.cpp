#include "tools/kvbank/RenderCommand.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <set>

#include "shared/System/kvCancelSignal.h"
#include "tools/kvbank/NewSource.h"
#include "tools/kvbank/engine/EngineRun.h"
#include "tools/kvbank/render/WavFile.h"

namespace Kestrova {
namespace {

constexpr int kHighestMidi = 127;
constexpr double kMostHeld = 60, kMostRelease = 10;  // seconds

// A text that is a number and nothing else.
template <class TNumber>
std::optional<TNumber> NumberOf(const std::string& strText) {
    TNumber number{};
    const char* const pEnd = strText.data() + strText.size();
    const auto [p, error] = std::from_chars(strText.data(), pEnd, number);
    return error == std::errc() && p == pEnd ? std::optional(number) : std::nullopt;
}

// "12" or "0:12".
std::optional<ProgramChoice> ParseProgram(const std::string& strText) {
    ProgramChoice choice;
    const size_t nColon = strText.find(':');
    if (nColon != std::string::npos) {
        choice.bank = NumberOf<uint32_t>(strText.substr(0, nColon));
        if (!choice.bank) return std::nullopt;
    }
    const auto number =
        NumberOf<uint32_t>(nColon == std::string::npos ? strText : strText.substr(nColon + 1));
    if (!number) return std::nullopt;
    choice.nNumber = *number;
    return choice;
}

// "60" or "60:100" into the note; false when it is neither.
bool ParseNote(const std::string& strText, PlayedNote& note) {
    const size_t nColon = strText.find(':');
    const auto key = NumberOf<int>(strText.substr(0, nColon));
    const auto velocity =
        nColon == std::string::npos ? note.nVelocity : NumberOf<int>(strText.substr(nColon + 1));
    const auto isMidi = [](std::optional<int> n) { return n && *n >= 0 && *n <= kHighestMidi; };
    if (!isMidi(key) || !isMidi(velocity)) return false;
    note.nKey = *key;
    note.nVelocity = *velocity;
    return true;
}

std::string ChoiceText(const ProgramChoice& choice) {
    return (choice.bank ? std::to_string(*choice.bank) + ":" : "") + std::to_string(choice.nNumber);
}

}  // namespace

void RenderCommand::Describe(CLI::App& verb) {
    verb.add_option("FILE", m_strFile, "a bank or source bank")->required();
    verb.add_option("-o,--output", m_strOutput, "the WAV file to write")->type_name("OUT")->required();
    verb.add_option_function<std::string>(
            "--program",
            [this](const std::string& strText) {
                m_choice = ParseProgram(strText);
                if (!m_choice)
                    throw CLI::ValidationError("--program", "'" + strText +
                                                                "': give the program's number, or bank and "
                                                                "program as 0:12");
            },
            "the program; without BANK the first of that number; else the file's first")
        ->type_name("[BANK:]PROGRAM");
    verb.add_option_function<std::string>(
            "--note",
            [this](const std::string& strText) {
                if (!ParseNote(strText, m_note))
                    throw CLI::ValidationError(
                        "--note",
                        "'" + strText + "': give a key, or key and velocity as 60:100, each 0 to 127");
            },
            "the key that is pressed, 60 without this option, and how hard, 100")
        ->type_name("KEY[:VELOCITY]");
    verb.add_option("--seconds", m_note.held, "how long the key is held, 2 without this option")
        ->check(CLI::Range(0.0, kMostHeld))
        ->type_name("S");
    verb.add_option("--release", m_note.release, "how long the sound fades away after that, 0.5")
        ->check(CLI::Range(0.0, kMostRelease))
        ->type_name("S");
    AddConversionOptions(verb, m_conversion);
    verb.add_flag("--demo", m_bDemo, "play a scale from the key upwards and a chord");
    verb.add_flag("-f,--force", m_bForce, "replace OUT when it is there");
}

int RenderCommand::Run(Console& console) {
    RenderReporter reporter(console, m_strFile, m_strOutput);
    return reporter.Finish(Render(reporter));
}

Ending RenderCommand::Render(RenderReporter& reporter) {
    if (Ending ending = CheckFiles(); !ending.IsDone()) return ending;
    OpenedBank bank;
    if (Ending ending = bank.Open(m_strFile); !ending.IsDone()) return ending;
    if (Ending ending = FindProgram(bank.Get(), reporter); !ending.IsDone()) return ending;
    ChooseNotes(bank.Get(), reporter);
    RenderedWave wave;
    NoteRenderer renderer(bank.Get(), m_strFile, m_nProgram, m_conversion);
    reporter.Tell(m_conversion);
    if (Ending ending = renderer.Render(m_notes, wave); !ending.IsDone()) return ending;
    if (CancelSignal() != 0) return {kExitProblem, m_strFile + ": cancelled"};
    Ending ending = Write(wave);
    if (ending.IsDone()) reporter.Tell(m_notes, wave);
    return ending;
}

Ending RenderCommand::CheckFiles() const {
    std::error_code ignored;
    if (m_note.held + m_note.release <= 0)
        return {kExitUsage, "--seconds and --release are both 0: there is nothing to play"};
    if (std::filesystem::equivalent(m_strFile, m_strOutput, ignored))
        return {kExitUsage, m_strOutput + ": this is the bank itself"};
    if (const Ending held = AskHeld(m_strFile); !held.IsDone())
        return {held.code, m_strFile + ": " + held.strError};
    return CheckNewFile(m_strOutput, m_bForce);
}

Ending RenderCommand::FindProgram(const kvb_bank* pBank, RenderReporter& reporter) {
    kvb_program program;
    for (m_nProgram = 0; kvb_get_program(pBank, m_nProgram, &program, sizeof program) == KVB_OK;
         ++m_nProgram) {
        const bool bChosen = !m_choice || (program.number == m_choice->nNumber &&
                                           program.bank == m_choice->bank.value_or(program.bank));
        if (!bChosen) continue;
        reporter.Tell(program);
        return {};
    }
    if (!m_choice) return {kExitBadInput, m_strFile + ": it has no program"};
    return {kExitUsage, m_strFile + ": there is no program " + ChoiceText(*m_choice)};
}

// Of the demo those notes are played that the program has: few programs have all keys.
void RenderCommand::ChooseNotes(const kvb_bank* pBank, RenderReporter& reporter) {
    m_notes = m_bDemo ? DemoNotes(m_note) : std::vector{m_note};
    if (!m_bDemo) return;
    std::set<int> silent;
    for (const PlayedNote& note : m_notes) {
        uint32_t nRegion = 0;
        if (kvb_find_region(pBank, m_nProgram, note.nKey, note.nVelocity, KVB_NONE, &nRegion) != KVB_OK)
            silent.insert(note.nKey);
    }
    std::erase_if(m_notes, [&](const PlayedNote& note) { return silent.count(note.nKey) == 1; });
    if (m_notes.empty())
        m_notes = {m_note};  // its error tells what is missing
    else
        reporter.TellSilent(silent);
}

Ending RenderCommand::Write(const RenderedWave& wave) const {
    PartFile part(m_strOutput);
    if (part.Path().empty()) return {kExitOutput, m_strOutput + ": " + std::strerror(errno)};
    if (const int nError = WriteWavFile(part.Path().string(), wave.form, wave.frames); nError != 0)
        return {kExitOutput, m_strOutput + ": " + std::strerror(nError)};
    return PublishSource(part, m_strOutput);
}

}  // namespace Kestrova
