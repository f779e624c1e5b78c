// FontPlan.h - the import plan of a made font, and its report as lines.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "import/soundfont/SoundFontPlan.h"
#include "tests/support/SoundFontMaker.h"

namespace Kestrova::Test {

class FontPlan {
public:
    explicit FontPlan(const FontSpec& spec, const std::set<PresetNumber>& chosen = {}) {
        WriteFile(m_dir.File("font.sf2"), MakeFont(spec));
        EXPECT_TRUE(m_font.Open(m_dir.File("font.sf2"))) << m_font.GetError();
        m_bMade = SoundFontPlanner(m_font, m_report).Make(chosen, m_plan);
    }

    bool IsMade() const { return m_bMade; }
    const SoundFont& Font() const { return m_font; }
    const ImportPlan& Plan() const { return m_plan; }
    const ImportReport& Report() const { return m_report; }

    // The only wave; a failure when there is another number of them.
    PlannedWave OnlyWave() const {
        EXPECT_EQ(1u, m_plan.waves.size());
        return m_plan.waves.empty() ? PlannedWave() : m_plan.waves[0];
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
    ImportPlan m_plan;
    bool m_bMade = false;
};

using Lines = std::vector<std::string>;

}  // namespace Kestrova::Test
