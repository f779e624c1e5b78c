// SfzOpcodes.h - what each opcode of an SFZ region becomes.
#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "import/ImportReport.h"
#include "import/sfz/SfzParser.h"

namespace Kestrova {

enum class SfzLoopMode { None, OneShot, Continuous, Sustain };
enum class SfzTrigger { Attack, First, Legato, Release };

// The kinds of opcodes that no record expresses.
enum class SfzLeftOut {
    Other,
    Levels,
    Envelopes,
    Filters,
    Oscillators,
    Effects,
    Controllers,
    Crossfades,
    Count
};
inline constexpr size_t kSfzLeftOutCount = static_cast<size_t>(SfzLeftOut::Count);
const char* SfzLeftOutName(SfzLeftOut kind);

inline constexpr size_t kSfzControllers = 512;
using SfzControllers = std::array<double, kSfzControllers>;  // their values when a player begins

// The opcodes of a region and of the headers above it; what is not set there has no value. Views are into the
// text.
struct SfzSettings {
    using Number = std::optional<double>;

    std::string_view sample;
    Number lowKey, highKey, keyCenter;  // without the offsets of the control header
    bool bKeyCenterOfSample = false;
    Number lowVelocity, highVelocity;
    Number tune, transpose, keyTrack;  // cents, keys, cents for a key
    Number offset, end;                // frames; the end is the last one played, or -1
    std::optional<SfzLoopMode> loopMode;
    Number loopStart, loopEnd;  // frames; the end is the last one played
    // The conditions under which it sounds.
    std::optional<SfzTrigger> trigger;
    Number turn;                   // of a round
    Number lowRandom;              // 0 to 1
    Number lowSwitch, highSwitch;  // the key that must have been pressed last
    Number switchAtStart;          // the key that counts as pressed at first
    bool bOtherSwitch = false;     // a switch that is not pressed at first
    bool bByController = false;    // a controller starts it
    Number lowChannel, lowBend, highBend;
    std::bitset<kSfzControllers> tooLow, tooHigh;  // controllers that do not stand in the range at first

    std::bitset<kSfzLeftOutCount> leftOut;
};

// Sets opcodes one after the other; a later one replaces an earlier one.
class SfzOpcodeSetter {
public:
    // Both must outlive the object. Values that are repaired or dropped are noted in the report, and each opcode
    // that no record expresses.
    SfzOpcodeSetter(const SfzControllers& controllers, ImportReport& report)
        : m_controllers(controllers), m_report(report) {}

    void Set(const SfzOpcode& opcode, SfzSettings& settings);

private:
    bool SetSpecial(const SfzOpcode& opcode, SfzSettings& settings);
    bool SetNumber(const SfzOpcode& opcode, SfzSettings& settings);
    bool SetController(const SfzOpcode& opcode, SfzSettings& settings);
    template <class TValue, size_t N>
    void SetWord(const SfzOpcode& opcode, const std::array<std::pair<std::string_view, TValue>, N>& words,
                 std::optional<TValue>& value);
    void LeaveOut(const SfzOpcode& opcode, SfzSettings& settings);

    const SfzControllers& m_controllers;
    ImportReport& m_report;
};

enum class SfzForm { Number, Whole, Key };

// The number of a value, held to the limits. Nothing when there is none. What had to be changed is noted.
// A whole number is rounded; a key may have a name, as c4 (60), C#4, db4, a-1.
std::optional<double> ReadSfzNumber(const SfzOpcode& opcode, SfzForm form, double low, double high,
                                    ImportReport& report);

// The controller's number behind the prefix, as in locc64; nothing when the name is another one.
std::optional<size_t> ControllerOf(std::string_view name, std::string_view prefix);

// `loop_mode=once`.
std::string SfzOpcodeText(const SfzOpcode& opcode);

}  // namespace Kestrova
