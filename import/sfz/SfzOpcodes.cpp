#include "import/sfz/SfzOpcodes.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace Kestrova {
namespace {

using Settings = SfzSettings;

struct NumberOpcode {
    std::string_view name;
    Settings::Number Settings::*pNumber;
    SfzForm form;
    double low, high;
    bool bCarried;  // a bank has what it says; otherwise it only decides which regions come over
};

constexpr double kMostFrames = UINT32_MAX;
constexpr NumberOpcode kNumbers[] = {
    {"lokey", &Settings::lowKey, SfzForm::Key, -1, 127, true},
    {"hikey", &Settings::highKey, SfzForm::Key, -1, 127, true},
    {"lovel", &Settings::lowVelocity, SfzForm::Whole, 0, 127, true},
    {"hivel", &Settings::highVelocity, SfzForm::Whole, 0, 127, true},
    {"tune", &Settings::tune, SfzForm::Whole, -9600, 9600, true},
    {"pitch", &Settings::tune, SfzForm::Whole, -9600, 9600, true},
    {"transpose", &Settings::transpose, SfzForm::Whole, -127, 127, true},
    {"pitch_keytrack", &Settings::keyTrack, SfzForm::Whole, -1200, 1200, true},
    {"offset", &Settings::offset, SfzForm::Whole, 0, kMostFrames, true},
    {"end", &Settings::end, SfzForm::Whole, -1, kMostFrames, true},
    {"loop_start", &Settings::loopStart, SfzForm::Whole, 0, kMostFrames, true},
    {"loopstart", &Settings::loopStart, SfzForm::Whole, 0, kMostFrames, true},
    {"loop_end", &Settings::loopEnd, SfzForm::Whole, 0, kMostFrames, true},
    {"loopend", &Settings::loopEnd, SfzForm::Whole, 0, kMostFrames, true},
    {"seq_position", &Settings::turn, SfzForm::Whole, 1, 100, false},
    {"lorand", &Settings::lowRandom, SfzForm::Number, 0, 1, false},
    {"sw_lolast", &Settings::lowSwitch, SfzForm::Key, 0, 127, false},
    {"sw_hilast", &Settings::highSwitch, SfzForm::Key, 0, 127, false},
    {"sw_default", &Settings::switchAtStart, SfzForm::Key, 0, 127, false},
    {"lochan", &Settings::lowChannel, SfzForm::Whole, 1, 16, false},
    {"lobend", &Settings::lowBend, SfzForm::Whole, -8192, 8192, false},
    {"hibend", &Settings::highBend, SfzForm::Whole, -8192, 8192, false},
};

constexpr std::array<std::pair<std::string_view, SfzLoopMode>, 4> kLoopModes = {
    {{"no_loop", SfzLoopMode::None},
     {"one_shot", SfzLoopMode::OneShot},
     {"loop_continuous", SfzLoopMode::Continuous},
     {"loop_sustain", SfzLoopMode::Sustain}}};

constexpr std::array<std::pair<std::string_view, SfzTrigger>, 5> kTriggers = {
    {{"attack", SfzTrigger::Attack},
     {"first", SfzTrigger::First},
     {"legato", SfzTrigger::Legato},
     {"release", SfzTrigger::Release},
     {"release_key", SfzTrigger::Release}}};

// Opcodes that begin like this, the first row that fits.
struct LeftOutPrefix {
    std::string_view prefix;
    SfzLeftOut kind;
};
constexpr LeftOutPrefix kLeftOutPrefixes[] = {
    {"xf", SfzLeftOut::Crossfades},        {"ampeg", SfzLeftOut::Envelopes},
    {"fileg", SfzLeftOut::Envelopes},      {"pitcheg", SfzLeftOut::Envelopes},
    {"eg", SfzLeftOut::Envelopes},         {"amplfo", SfzLeftOut::Oscillators},
    {"fillfo", SfzLeftOut::Oscillators},   {"pitchlfo", SfzLeftOut::Oscillators},
    {"lfo", SfzLeftOut::Oscillators},      {"cutoff", SfzLeftOut::Filters},
    {"resonance", SfzLeftOut::Filters},    {"fil", SfzLeftOut::Filters},
    {"eq", SfzLeftOut::Filters},           {"effect", SfzLeftOut::Effects},
    {"volume", SfzLeftOut::Levels},        {"gain", SfzLeftOut::Levels},
    {"global_volume", SfzLeftOut::Levels}, {"master_volume", SfzLeftOut::Levels},
    {"group_volume", SfzLeftOut::Levels},  {"amp", SfzLeftOut::Levels},
    {"pan", SfzLeftOut::Levels},           {"position", SfzLeftOut::Levels},
    {"width", SfzLeftOut::Levels},         {"rt_decay", SfzLeftOut::Levels},
};

constexpr std::array<const char*, kSfzLeftOutCount> kLeftOutNames = {
    "other settings", "volume and pan", "envelopes",   "filters",
    "oscillators",    "effect sends",   "controllers", "crossfades"};

bool BeginsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

SfzLeftOut KindOf(std::string_view name) {
    for (const LeftOutPrefix& row : kLeftOutPrefixes)
        if (BeginsWith(name, row.prefix)) return row.kind;
    return name.find("cc") == std::string_view::npos ? SfzLeftOut::Other : SfzLeftOut::Controllers;
}

// The number that the text begins with. The rest of the text is what stands behind it.
std::optional<double> TakeNumber(std::string_view& text) {
    std::string_view digits = text;
    if (BeginsWith(digits, "+")) digits.remove_prefix(1);
    double number = 0;
    const std::from_chars_result result =
        std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (result.ec != std::errc() || !std::isfinite(number)) return std::nullopt;
    text.remove_prefix(static_cast<size_t>(result.ptr - text.data()));
    return number;
}

// The number of a key that is given by name; c4 is 60.
std::optional<double> TakeKey(std::string_view& text) {
    constexpr std::array<int, 7> kSemitones = {9, 11, 0, 2, 4, 5, 7};  // of a to g
    std::string_view rest = text;
    if (rest.empty()) return std::nullopt;
    const int nLetter = (rest[0] | 0x20) - 'a';
    if (nLetter < 0 || nLetter >= static_cast<int>(kSemitones.size())) return std::nullopt;
    rest.remove_prefix(1);
    int nKey = kSemitones[static_cast<size_t>(nLetter)];
    const char chSign = rest.empty() ? '\0' : rest[0];
    if (chSign == '#') ++nKey;
    if (chSign == 'b' || chSign == 'B') --nKey;
    if (nKey != kSemitones[static_cast<size_t>(nLetter)]) rest.remove_prefix(1);
    int nOctave = 0;
    const std::from_chars_result result = std::from_chars(rest.data(), rest.data() + rest.size(), nOctave);
    if (result.ec != std::errc() || std::abs(nOctave) > 10) return std::nullopt;
    text.remove_prefix(static_cast<size_t>(result.ptr - text.data()));
    return nKey + 12 * (nOctave + 1);
}

std::string NumberText(double number) {
    std::array<char, 32> text{};
    const std::to_chars_result result = std::to_chars(text.data(), text.data() + text.size(), number);
    return {text.data(), result.ptr};
}

}  // namespace

const char* SfzLeftOutName(SfzLeftOut kind) { return kLeftOutNames[static_cast<size_t>(kind)]; }

std::string SfzOpcodeText(const SfzOpcode& opcode) {
    const std::string strText = QuotedPart(std::string(opcode.name) + "=" + std::string(opcode.value));
    return "opcode " + strText;
}

std::optional<double> ReadSfzNumber(const SfzOpcode& opcode, SfzForm form, double low, double high,
                                    ImportReport& report) {
    std::string_view rest = opcode.value;
    std::optional<double> given = TakeNumber(rest);
    if (!given && form == SfzForm::Key) given = TakeKey(rest);
    if (!given) {
        report.Note(ImportEvent::Dropped, SfzOpcodeText(opcode),
                    form == SfzForm::Key ? "it is neither a number nor a key" : "it is no number");
        return std::nullopt;
    }
    const double number = std::clamp(form == SfzForm::Number ? *given : std::round(*given), low, high);
    if (number != *given || !rest.empty())
        report.Note(ImportEvent::Repaired, SfzOpcodeText(opcode), "taken as " + NumberText(number));
    return number;
}

std::optional<size_t> ControllerOf(std::string_view name, std::string_view prefix) {
    if (!BeginsWith(name, prefix)) return std::nullopt;
    const char* const pEnd = name.data() + name.size();
    size_t nController = 0;
    const std::from_chars_result result = std::from_chars(name.data() + prefix.size(), pEnd, nController);
    if (result.ec != std::errc() || result.ptr != pEnd || nController >= kSfzControllers) return std::nullopt;
    return nController;
}

void SfzOpcodeSetter::Set(const SfzOpcode& opcode, SfzSettings& settings) {
    if (!SetSpecial(opcode, settings) && !SetNumber(opcode, settings) && !SetController(opcode, settings))
        LeaveOut(opcode, settings);
}

bool SfzOpcodeSetter::SetSpecial(const SfzOpcode& opcode, SfzSettings& settings) {
    const std::string_view name = opcode.name;
    if (name == "sample") {
        settings.sample = opcode.value;
    } else if (name == "key") {
        if (const auto key = ReadSfzNumber(opcode, SfzForm::Key, -1, 127, m_report)) {
            settings.lowKey = settings.highKey = settings.keyCenter = key;
            settings.bKeyCenterOfSample = false;
        }
    } else if (name == "pitch_keycenter") {
        settings.bKeyCenterOfSample = opcode.value == "sample";
        if (!settings.bKeyCenterOfSample)
            if (const auto key = ReadSfzNumber(opcode, SfzForm::Key, -127, 254, m_report))
                settings.keyCenter = key;
    } else if (name == "loop_mode" || name == "loopmode") {
        SetWord(opcode, kLoopModes, settings.loopMode);
    } else if (name == "trigger") {
        SetWord(opcode, kTriggers, settings.trigger);
        LeaveOut(opcode, settings);
    } else if (name == "sw_last") {
        settings.lowSwitch = settings.highSwitch = ReadSfzNumber(opcode, SfzForm::Key, 0, 127, m_report);
        LeaveOut(opcode, settings);
    } else if (name == "sw_down" || name == "sw_previous") {
        settings.bOtherSwitch = true;
        LeaveOut(opcode, settings);
    } else {
        return false;
    }
    return true;
}

bool SfzOpcodeSetter::SetNumber(const SfzOpcode& opcode, SfzSettings& settings) {
    const auto* const pRow =
        std::find_if(std::begin(kNumbers), std::end(kNumbers),
                     [&opcode](const NumberOpcode& row) { return row.name == opcode.name; });
    if (pRow == std::end(kNumbers)) return false;
    if (const auto number = ReadSfzNumber(opcode, pRow->form, pRow->low, pRow->high, m_report))
        settings.*pRow->pNumber = number;
    if (!pRow->bCarried) LeaveOut(opcode, settings);
    return true;
}

// A region sounds while all its controllers stand in their ranges; only their values at the start are known.
bool SfzOpcodeSetter::SetController(const SfzOpcode& opcode, SfzSettings& settings) {
    const auto low = ControllerOf(opcode.name, "locc");
    const auto high = ControllerOf(opcode.name, "hicc");
    const bool bStarts = ControllerOf(opcode.name, "on_locc") || ControllerOf(opcode.name, "on_hicc") ||
                         ControllerOf(opcode.name, "start_locc") || ControllerOf(opcode.name, "start_hicc");
    if (!low && !high && !bStarts) return false;
    const auto value = ReadSfzNumber(opcode, SfzForm::Number, -1, 127, m_report);
    if (value && low) settings.tooLow[*low] = m_controllers[*low] < *value;
    if (value && high) settings.tooHigh[*high] = m_controllers[*high] > *value;
    if (bStarts) settings.bByController = true;
    LeaveOut(opcode, settings);
    return true;
}

template <class TValue, size_t N>
void SfzOpcodeSetter::SetWord(const SfzOpcode& opcode,
                              const std::array<std::pair<std::string_view, TValue>, N>& words,
                              std::optional<TValue>& value) {
    for (const auto& [word, meaning] : words) {
        if (word != opcode.value) continue;
        value = meaning;
        return;
    }
    m_report.Note(ImportEvent::Dropped, SfzOpcodeText(opcode), "its value is not known");
}

void SfzOpcodeSetter::LeaveOut(const SfzOpcode& opcode, SfzSettings& settings) {
    m_report.Note(ImportEvent::LeftOut, std::string(opcode.name));
    settings.leftOut.set(static_cast<size_t>(KindOf(opcode.name)));
}

}  // namespace Kestrova
