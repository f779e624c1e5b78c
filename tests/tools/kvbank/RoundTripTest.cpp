// What a bank holds goes out as WAV files with SFZ maps and comes in again: the same waves, loops and zones.
#include <map>
#include <memory>

#include "SamplerDBDS/DataBase/SDBISample.h"
#include "import/formats/OpenInstrument.h"
#include "tests/support/Vectors.h"
#include "tests/tools/kvbank/CommandFixture.h"
#include "tests/tools/kvbank/ImportFixture.h"
#include "tools/kvbank/contents/BankContents.h"
#include "tools/kvbank/export/SafeNames.h"

namespace Kestrova::Test {
namespace {

using testing::SizeIs;

constexpr char kRealFont[] = "/usr/share/sounds/sf2/FluidR3_GS.sf2";  // of the package fluid-soundfont-gs

// One line for each layer of a program, in order: its keys and velocities, and all that is played.
using Zones = std::vector<std::string>;

std::string ZoneText(const PlayRange& range, const PlannedWave& wave, const Bytes& frames) {
    const auto text = [](const MidiRange& one) {
        return std::to_string(one.nLow) + "-" + std::to_string(one.nHigh);
    };
    const WaveTune& tune = wave.tune;
    std::string strZone = "keys " + text(range.keys) + ", velocities " + text(range.velocities) + ", " +
                          std::to_string(wave.nBits) + " bits, " + std::to_string(wave.nChannels) +
                          " channels, " + std::to_string(wave.nFrames) + " frames, " +
                          std::to_string(tune.nRate) + " Hz, root " + std::to_string(tune.nRootKey) +
                          " tune " + std::to_string(tune.nFineTune);
    if (tune.bLoop)
        strZone += ", loop " + std::to_string(tune.nLoopStart) + "-" + std::to_string(tune.nLoopEnd);
    return strZone + ", wave " + Sha256(frames);
}

// An input of any format, and its plan, from which nothing of the input may be lost.
class PlannedInput {
public:
    explicit PlannedInput(const std::string& strPath) {
        ImportReport report;
        EXPECT_TRUE(OpenInstrument(strPath, m_pInstrument).IsDone()) << strPath;
        if (m_pInstrument == nullptr) return;
        EXPECT_TRUE(m_pInstrument->MakePlan({}, m_plan, report).IsDone()) << strPath;
        EXPECT_FALSE(report.HasLosses()) << strPath;
    }
    const std::vector<PlannedProgram>& Programs() const { return m_plan.programs; }
    // The zones of a program, with the frames that the instrument gives.
    Zones ZonesOf(const PlannedProgram& program) const {
        Zones zones;
        for (const PlannedRegion& region : program.regions)
            for (const size_t nWave : region.layers) {
                const PlannedWave& wave = m_plan.waves.at(nWave);
                Bytes frames(wave.nFrames * wave.FrameBytes());
                EXPECT_TRUE(m_pInstrument->ReadFrames(nWave, 0, wave.nFrames, frames.data()).IsDone());
                zones.push_back(ZoneText(region.range, wave, frames));
            }
        std::sort(zones.begin(), zones.end());
        return zones;
    }

private:
    std::unique_ptr<IInstrument> m_pInstrument;
    ImportPlan m_plan;
};

// The zones of a bank's programs, by the programs' names.
class BankZones {
public:
    explicit BankZones(const std::string& strPath) {
        EXPECT_TRUE(OpenScan(m_scan, strPath).IsDone());
        m_contents = ReadContents(m_scan);
        for (const ProgramFacts& program : m_contents.programs) m_zones[program.strName] = ZonesOf(program);
    }
    const std::map<std::string, Zones>& Get() const { return m_zones; }

private:
    Zones ZonesOf(const ProgramFacts& program) {
        Zones zones;
        for (const RegionFacts& region : program.regions)
            for (const uint32_t id : region.samples) {
                const PlayRange range{{region.keys.nLow, region.keys.nHigh},
                                      {region.velocities.nLow, region.velocities.nHigh}};
                zones.push_back(ZoneOf(range, *m_contents.Sample(id)));
            }
        std::sort(zones.begin(), zones.end());
        return zones;
    }
    std::string ZoneOf(const PlayRange& range, const SampleFacts& sample) {
        const ReadSample read = ReadSampleWave(m_scan.File(), sample.note, m_scan.IsEnriched(), "");
        EXPECT_EQ("", read.strCause) << sample.strName;
        if (read.pRecord == nullptr) return "";
        PlannedWave wave{sample.strName, sample.nFormat, sample.nChannels, sample.nFrames, {}};
        wave.tune = {sample.nRate, sample.nRootKey, sample.nFineTune, false, 0, 0};
        if (sample.loop) {
            wave.tune.bLoop = true;
            wave.tune.nLoopStart = sample.loop->nStart;
            wave.tune.nLoopEnd = sample.loop->nEnd;
        }
        const uint8_t* const pWave = read.pRecord->m_info.pWave;
        return ZoneText(range, wave, Bytes(pWave, pWave + read.pRecord->GetStatedBytes()));
    }

    NoteScan m_scan;
    BankContents m_contents;
    std::map<std::string, Zones> m_zones;
};

class RoundTripTest : public CommandTest {
protected:
    // What a program has become in the map that was exported of its bank.
    Zones ZonesOfExport(const std::string& strBank, const std::string& strProgram) const {
        const PlannedInput map(File(strBank + "/" + SafeName(strProgram) + ".sfz"));
        EXPECT_THAT(map.Programs(), SizeIs(1)) << strProgram;
        return map.Programs().empty() ? Zones() : map.ZonesOf(map.Programs().front());
    }
    // The plan of a font, the bank that is written after it, and the plans of what is exported from that bank.
    void ExpectPresetsBack(const std::string& strFont, size_t nPresets) const {
        ASSERT_EQ(0, Run({"import", strFont, "-o", "DIR/Font.kvs"}).nCode);
        Export("Font");
        const BankZones bank(File("Font.kvs"));
        const PlannedInput font(strFont);
        ASSERT_THAT(font.Programs(), SizeIs(nPresets));
        for (const PlannedProgram& program : font.Programs()) {
            const Zones zones = font.ZonesOf(program);
            ASSERT_FALSE(zones.empty());
            EXPECT_EQ(zones, bank.Get().at(program.strName)) << program.strName;
            EXPECT_EQ(zones, ZonesOfExport("Font", program.strName)) << program.strName;
        }
    }
    void Export(const std::string& strBank) const {
        EXPECT_EQ(0, Run({"export", "DIR/" + strBank + ".kvs", "-o", "DIR/" + strBank, "--sfz"}).nCode);
    }
};

TEST_F(RoundTripTest, ThePlanOfAnExportedDemoIsTheDemo) {
    ASSERT_EQ(0, Run({"demo", "-o", "DIR/Demo.kvs"}).nCode);
    Export("Demo");
    const BankZones demo(File("Demo.kvs"));
    ASSERT_THAT(demo.Get(), SizeIs(5));
    for (const auto& [strProgram, zones] : demo.Get()) {
        ASSERT_FALSE(zones.empty());
        EXPECT_EQ(zones, ZonesOfExport("Demo", strProgram)) << strProgram;
    }
}

TEST_F(RoundTripTest, AnImportedExportHasTheDemosZones) {
    ASSERT_EQ(0, Run({"demo", "-o", "DIR/Demo.kvs"}).nCode);
    Export("Demo");
    const BankZones demo(File("Demo.kvs"));
    for (const auto& [strProgram, zones] : demo.Get()) {
        ASSERT_EQ(0,
                  Run({"import", "DIR/Demo/" + strProgram + ".sfz", "-o", "DIR/Again.kvs", "-f", "--strict"})
                      .nCode);
        EXPECT_EQ(zones, BankZones(File("Again.kvs")).Get().at(strProgram)) << strProgram;
    }
}

// It has ranges of velocities, a stereo pair, a loop and one sample at two root keys.
TEST_F(RoundTripTest, EveryPresetOfAMadeFontComesBackAsItWas) {
    WriteFile(File("Small.sf2"), MakeFont(SmallFont()));
    ExpectPresetsBack(File("Small.sf2"), 2);
}

TEST_F(RoundTripTest, EveryPresetOfARealInstrumentComesBackAsItWas) {
    ASSERT_TRUE(std::filesystem::exists(kRealFont)) << "package fluid-soundfont-gs";
    ExpectPresetsBack(kRealFont, 33);
}

}  // namespace
}  // namespace Kestrova::Test
