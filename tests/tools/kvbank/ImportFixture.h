// ImportFixture.h - kvbank import of a small SoundFont in a folder of the test's own.
#pragma once

#include <string>
#include <vector>

#include "import/soundfont/SoundFontZones.h"
#include "tests/support/SoundFontMaker.h"
#include "tests/tools/kvbank/CommandFixture.h"

namespace Kestrova::Test {

// Two programs, one of them percussion, a stereo pair, a loop, a second use with another root key.
inline FontSpec SmallFont() {
    FontSpec spec = SimpleFont();
    spec.strCopyright = "(c) us";
    spec.wave = MakeRamp(3000);
    spec.samples = {{"Flute", 0, 1000, 100, 900, 44100, 60, 0, 0, 1},
                    {"Pad L", 1000, 1900, 1010, 1500, 22050, 61, 10, 2, 4},
                    {"Pad R", 2000, 3000, 2010, 2500, 22050, 61, 10, 1, 2}};
    spec.instruments = {
        {"Flutes",
         {{{{kGenKeyRange, RangeAmount(0, 63)}, {kGenSampleModes, 1}, {kGenSample, 0}}},
          {{{kGenKeyRange, RangeAmount(64, 127)}, {kGenRootKey, 72}, {kGenSample, 0}}}}},
        {"Pads",
         {{{{kGenPan, -500}, {kGenVelocityRange, RangeAmount(10, 100)}, {8, 900}, {kGenSample, 1}}},
          {{{kGenPan, 500}, {kGenVelocityRange, RangeAmount(10, 100)}, {8, 900}, {kGenSample, 2}}}}}};
    spec.presets = {{"Kit", 3, 128, {{{{kGenInstrument, 1}}}}}, {"Woods", 5, 0, {{{{kGenInstrument, 0}}}}}};
    return spec;
}

class ImportTest : public CommandTest {
protected:
    void Font(const FontSpec& spec = SmallFont()) const { WriteFile(File("a.sf2"), MakeFont(spec)); }
    Outcome Import(std::vector<std::string> options = {}) const {
        std::vector<std::string> arguments = {"import", "DIR/a.sf2", "-o", "DIR/a.kvs"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return Run(arguments);
    }
    Bytes BytesBehindIdentity() const {
        const Bytes bytes = ReadFile(File("a.kvs"));
        return Bytes(bytes.begin() + 20, bytes.end());
    }
    void ExpectNothingButTheFont() const { EXPECT_THAT(Names(), ElementsAre("a.sf2")); }
};

}  // namespace Kestrova::Test
