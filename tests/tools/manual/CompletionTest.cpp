// Single lines of the scripts; the shells themselves run the kept ones in tests/packaging.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/manual/InventedTable.h"

namespace Kestrova::Test {
namespace {

using ::testing::HasSubstr;

TEST(CompletionTest, BashProposesTheValueOfEachOption) {
    const std::string strScript = BashCompletion(InventedTable());
    EXPECT_THAT(strScript, HasSubstr("        cook:-d | cook:--dir)"));
    EXPECT_THAT(strScript, HasSubstr("cook:--style) _kvbank_propose -W $'raw\\nwell-done'; return ;;\n"));
    EXPECT_THAT(strScript, HasSubstr("cook:--format) _kvbank_propose -W $'wav\\nflac'; return ;;\n"));
    EXPECT_THAT(strScript, HasSubstr("cook:--level) :; return ;;\n"));
    EXPECT_THAT(strScript, ::testing::Not(HasSubstr("cook:--force)")));
}

TEST(CompletionTest, ZshHasWhatItsPatternsReadEscaped) {
    const std::string strScript = ZshCompletion(InventedTable());
    EXPECT_THAT(strScript, HasSubstr("        'cook:make a '\\''meal'\\'' \\[hot\\]'\n"));
    EXPECT_THAT(strScript, HasSubstr("'(-d --dir)'{-d,--dir=}'[where to]:DIR:_files -/'"));
    EXPECT_THAT(strScript, HasSubstr("'--style=[how]:raw|well-done:(raw well-done)'"));
    EXPECT_THAT(strScript, HasSubstr("'--preset=[one of them]:BANK\\:PROGRAM: '"));
    EXPECT_THAT(strScript, HasSubstr("'(-f --force)'{-f,--force}'[go on]'"));
    EXPECT_THAT(strScript, HasSubstr("'*:FILE:_files'"));
}

TEST(CompletionTest, FishHasALineForEachOption) {
    const std::string strScript = FishCompletion(InventedTable());
    const std::string strLead = "complete -c kvbank -n '__fish_seen_subcommand_from cook'";
    EXPECT_THAT(strScript,
                HasSubstr(strLead + " -s d -l dir -x -a '(__fish_complete_directories)' -d 'where to'\n"));
    EXPECT_THAT(strScript, HasSubstr(strLead + " -l style -x -a 'raw well-done' -d 'how'\n"));
    EXPECT_THAT(strScript, HasSubstr(strLead + " -l log-file -r -F -d '.log: a list'\n"));
    EXPECT_THAT(strScript, HasSubstr(strLead + " -s f -l force -d 'go on'\n"));
    EXPECT_THAT(strScript, HasSubstr(strLead + " -F\n"));
    EXPECT_THAT(strScript, HasSubstr(" -a cook -d 'make a \\'meal\\' [hot]'\n"));
}

}  // namespace
}  // namespace Kestrova::Test
