#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/manual/InventedTable.h"
#include "tools/manual/CommandTable.h"

namespace Kestrova::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct ValueCase {
    const char* pszName;
    const char* pszValue;
    ValueKind kind;
    std::vector<std::string> choices;
};

TEST(CommandTableTest, AnOptionTellsItsValueAndWhatToPropose) {
    const std::vector<ValueCase> cases = {
        {"--dir", "DIR", ValueKind::kFolder, {}},
        {"--log-file", "FILE", ValueKind::kFile, {}},
        {"--style", "raw|well-done", ValueKind::kChoice, {"raw", "well-done"}},
        {"--format", "wav|flac", ValueKind::kChoice, {"wav", "flac"}},
        {"--rates",
         "RATES",
         ValueKind::kChoice,
         {"all", "44100", "48000", "88200", "96000", "176400", "192000"}},
        {"--level", "0..7", ValueKind::kNothing, {}},
        {"--preset", "BANK:PROGRAM", ValueKind::kNothing, {}},
        {"--force", "", ValueKind::kNothing, {}},
    };
    const CommandTable table = InventedTable();
    ASSERT_EQ(1u, table.verbs.size());
    ASSERT_EQ(cases.size(), table.verbs[0].options.size());
    for (size_t i = 0; i < cases.size(); ++i) {
        const OptionText& option = table.verbs[0].options[i];
        EXPECT_EQ(cases[i].pszName, option.longNames.at(0));
        EXPECT_EQ(cases[i].pszValue, option.strValue) << cases[i].pszName;
        EXPECT_EQ(cases[i].kind, option.kind) << cases[i].pszName;
        EXPECT_EQ(cases[i].choices, option.choices) << cases[i].pszName;
    }
}

TEST(CommandTableTest, AnArgumentIsAPathAndHasNoName) {
    const OptionText argument = InventedTable().verbs.at(0).arguments.at(0);
    EXPECT_THAT(argument.Names(), IsEmpty());
    EXPECT_EQ("FILE", argument.strValue);
    EXPECT_EQ(ValueKind::kFile, argument.kind);
    EXPECT_TRUE(argument.bMany);
    EXPECT_TRUE(argument.bRequired);
}

TEST(CommandTableTest, ShortNamesComeBeforeLongOnes) {
    EXPECT_THAT(InventedTable().verbs.at(0).options.at(0).Names(), ElementsAre("-d", "--dir"));
}

TEST(CommandTableTest, HelpIsAnOptionOfAllVerbsAndNamedOnce) {
    const CommandTable table = InventedTable();
    EXPECT_THAT(table.options.at(0).Names(), ElementsAre("-h", "--help"));
    for (const OptionText& option : table.verbs.at(0).options)
        EXPECT_THAT(option.longNames, ::testing::Not(::testing::Contains("--help")));
}

TEST(CommandTableTest, TheExitCodesAreTakenFromTheFooter) {
    EXPECT_EQ("0 done; 1 done, but wrong; 70 internal", InventedTable().strExitCodes);
}

TEST(CommandTableTest, TheTableOfTheProgramHasItsVerbsWithTheirOptions) {
    const CommandTable table = ReadCommandTable();
    EXPECT_GE(table.verbs.size(), 7u);
    EXPECT_THAT(table.strExitCodes, ::testing::StartsWith("0 done; "));
    for (const VerbText& verb : table.verbs) {
        EXPECT_FALSE(verb.strSummary.empty()) << verb.strName;
        EXPECT_FALSE(verb.arguments.empty() && verb.options.empty()) << verb.strName;
    }
}

}  // namespace
}  // namespace Kestrova::Test
