// The examples for player authors, run as programs.
#include <cmath>

#include "tests/libkvbank/ReaderFixture.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Vectors.h"
#include "tests/support/WaveMaker.h"

namespace Kestrova::Test {
namespace {

class ExamplesTest : public ReaderTest {
protected:
    // The arguments behind the bank: numbers of bank and program, key, velocity, seconds.
    using Note = std::vector<std::string>;

    ProgramRun Run(std::vector<std::string> command, const std::string& strBank, const Note& note) const {
        command.push_back(strBank);
        command.insert(command.end(), note.begin(), note.end());
        command.push_back(File("note.wav"));
        return RunProgram(command, {std::string("KVBANK_LIBRARY=") + KV_LIBKVBANK});
    }
    static std::vector<std::string> InC() { return {KV_PLAY_NOTE}; }
    static std::vector<std::string> InPython() {
        return {"python3", (SourceDir() / "examples/play_note.py").string()};
    }
    Bytes WavOf(const std::vector<std::string>& command, const std::string& strBank, const Note& note) const {
        const ProgramRun run = Run(command, strBank, note);
        EXPECT_EQ(0, run.nStatus) << run.strErr;
        return ReadFile(File("note.wav"));
    }
    // The frames behind the header, of the left side; both sides must be equal.
    static std::vector<int16_t> MonoFrames(const Bytes& wav) {
        std::vector<int16_t> frames;
        for (size_t nAt = 44; nAt + 4 <= wav.size(); nAt += 4) {
            frames.push_back(static_cast<int16_t>(wav[nAt] | wav[nAt + 1] << 8));
            EXPECT_EQ(wav[nAt], wav[nAt + 2]);
            EXPECT_EQ(wav[nAt + 1], wav[nAt + 3]);
        }
        return frames;
    }
};

// One sample of 16 bits at the bank's rate, root key 60, tuned 7 cents down, looped from 100 to 199.
SourceSpec Looped() { return {.samples = {{.nFrames = 300, .loops = {{7, 100, 199, 0}}}}}; }

TEST_F(ExamplesTest, TheOneInCPlaysTheFramesAndRepeatsTheLoop) {
    const Bytes wave = MakeWave(300, 16, 1, 1);
    const auto frameAt = [&](uint64_t n) {
        if (n > 199) n = 100 + (n - 100) % 100;
        return static_cast<int16_t>(wave[2 * n] | wave[2 * n + 1] << 8);
    };
    const Bytes wav = WavOf(InC(), Built(Looped()), {"0", "0", "60", "100", "0.02"});
    const std::vector<int16_t> frames = MonoFrames(wav);
    ASSERT_EQ(882u, frames.size());
    const auto step = static_cast<uint64_t>(std::exp2(7.0 / 1200) * 32768);
    for (uint64_t n = 0; n < frames.size(); ++n) {
        const uint64_t nPosition = n * step;
        const int64_t a = frameAt(nPosition / 32768), b = frameAt(nPosition / 32768 + 1);
        EXPECT_EQ(a + (b - a) * static_cast<int64_t>(nPosition % 32768) / 32768, frames[n]) << n;
    }
    EXPECT_EQ("52494646ec0d000057415645666d7420100000000100020044ac000010b102000400100064617461c80d0000",
              ToHex(Bytes(wav.begin(), wav.begin() + 44)));
}

TEST_F(ExamplesTest, ANoteOutsideEveryRegionIsAnErrorAndNoSilence) {
    const std::string strBank = Built(Looped());
    const ProgramRun run = Run(InC(), strBank, {"0", "0", "63", "100", "0.02"});
    EXPECT_EQ(1, run.nStatus);
    EXPECT_EQ(
        "play_note: " + strBank + ": there is no such program, or no region for this key and velocity\n",
        run.strErr);
    EXPECT_FALSE(fs::exists(File("note.wav")));
}

#ifdef KV_PYTHON_LOADS_IT
TEST_F(ExamplesTest, TheOneInPythonWritesTheSameBytes) {
    const std::string strBank = Built(TwoPrograms());
    for (const Note& note : {Note{"0", "5", "60", "100", "0.05"}, Note{"0", "9", "62", "1", "0.05"}})
        EXPECT_EQ(Sha256(WavOf(InC(), strBank, note)), Sha256(WavOf(InPython(), strBank, note)));
    const ProgramRun run = Run(InPython(), strBank, {"0", "5", "1", "100", "0.02"});
    EXPECT_EQ(1, run.nStatus);
    EXPECT_EQ(
        "play_note.py: " + strBank + ": there is no such program, or no region for this key and velocity\n",
        run.strErr);
}
#endif

}  // namespace
}  // namespace Kestrova::Test
