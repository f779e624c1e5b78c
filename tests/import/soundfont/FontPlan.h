// FontPlan.h - the import plan of a made font, and its report as lines.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "import/soundfont/SoundFontPlanner.h"
#include "tests/support/SoundFontMaker.h"

namespace Kestrova::Test {

class FontPlan {
public:
    explicit FontPlan(const FontSpec& spec, const std::set<ProgramNumber>& chosen = {}) {
        WriteFile(m_dir.File("font.sf2"), MakeFont(spec));
        const ImportOutcome opened = m_font.Open(m_dir.File("font.sf2"));
        EXPECT_TRUE(opened.IsDone()) << opened.strCause;
        m_outcome = SoundFontPlanner(m_font, m_report).Make(chosen, m_plan);
    }

    const ImportOutcome& Outcome() const { return m_outcome; }
    const SoundFont& Font() const { return m_font; }
    const ImportPlan& Plan() const { return m_plan.bank; }
    const std::vector<FontWave>& Parts() const { return m_plan.waves; }
    const ImportReport& Report() const { return m_report; }

    // The only wave; a failure when there is another number of them.
    PlannedWave OnlyWave() const {
        EXPECT_EQ(1u, Plan().waves.size());
        return Plan().waves.empty() ? PlannedWave() : Plan().waves[0];
    }
    FontWave OnlyPart() const {
        EXPECT_EQ(1u, Parts().size());
        return Parts().empty() ? FontWave() : Parts()[0];
    }
    // "sample "A": it has no frames x2"
    std::vector<std::string> Entries(ImportEvent event) const {
        std::vector<std::string> lines;
        for (const ImportReport::Entry& entry : m_report.Of(event)) {
            std::string strLine = entry.strWhat;
            if (!entry.strCause.empty()) strLine += ": " + entry.strCause;
            if (entry.nTimes != 1) strLine += " x" + std::to_string(entry.nTimes);
            lines.push_back(strLine);
        }
        return lines;
    }

private:
    TempDir m_dir;
    SoundFont m_font;
    ImportReport m_report;
    SoundFontPlan m_plan;
    ImportOutcome m_outcome;
};

using Lines = std::vector<std::string>;

}  // namespace Kestrova::Test
