// SfzFuzz.cpp - the SFZ reader and its planner with hostile texts: they may refuse one; what they plan must
// lie in its file. Input: the text. It is written to TMPDIR, beside two sound files, "a.wav" with a loop and
// "b.wav", and "self.sfz", which is the text too.
#include "import/sfz/SfzInstrument.h"
#include "tests/fuzz/PlanCheck.h"
#include "tests/support/SoundFileMaker.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    using namespace Kestrova;
    static const Test::TempDir dir;
    Test::WriteFile(dir.File("a.wav"),
                    Test::MakeRampWav(50, {{"smpl", Test::SmplChunk(61, 0, {{0, 5, 9}})}}));
    Test::WriteFile(dir.File("b.wav"), Test::MakeRampWav(20));
    Test::WriteFile(dir.File("self.sfz"), Test::Bytes(p, p + n));
    SfzInstrument instrument;
    if (!instrument.Open(dir.File("self.sfz")).IsDone()) return 0;
    ImportPlan plan;
    ImportReport report;
    if (!instrument.MakePlan({}, plan, report).IsDone()) return 0;
    Test::CheckPlan(instrument, plan, true);
    return 0;
}
