// InventedTable.h - a command line of the tests' own with one option of every kind.
#pragma once

#include "tools/manual/CommandTable.h"

namespace Kestrova::Test {

inline CommandTable InventedTable() {
    static std::string s_strText;
    static std::vector<std::string> s_texts;
    static int s_nNumber = 0;
    static bool s_bFlag = false;
    CLI::App app("Does things.", "kvbank");
    app.footer(
        "A hint.\n\nExit codes: 0 done; 1 done, but wrong;\n70 internal. The rest is not of the codes.");
    app.add_flag("-q,--quiet", s_bFlag, "print only errors");
    CLI::App& verb = *app.add_subcommand("cook", "make a 'meal' [hot]");
    verb.add_option("FILE", s_texts, "what is cooked")->required();
    verb.add_option("-d,--dir", s_strText, "where to")->type_name("DIR")->required();
    verb.add_option("--log-file", s_strText, ".log: a list")->type_name("FILE");
    verb.add_option("--style", s_strText, "how")->type_name("raw|well-done");
    verb.add_option("--format", s_strText, "the form")->check(CLI::IsMember({"wav", "flac"}));
    verb.add_option("-r,--rates", s_strText, "the rates")->type_name("RATES");
    verb.add_option("--level", s_nNumber, "how much")->check(CLI::Range(0, 7))->type_name("0..7");
    verb.add_option("--preset", s_strText, "one of them")->type_name("BANK:PROGRAM");
    verb.add_flag("-f,--force", s_bFlag, "go on");
    return TableOf(app);
}

}  // namespace Kestrova::Test
