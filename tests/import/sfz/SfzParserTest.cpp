#include <gtest/gtest.h>

#include <string>

#include "import/sfz/SfzParser.h"
#include "tests/import/sfz/SfzFixture.h"

namespace Kestrova::Test {
namespace {

class SfzParserTest : public ::testing::Test {
protected:
    // "<header> name[value] name[value]" of each header.
    Strings Parse(const std::string& strText) {
        Strings headers;
        for (const SfzHeader& header : ParseSfz(strText, m_report)) {
            std::string strHeader = "<" + std::string(header.name) + ">";
            for (const SfzOpcode& opcode : header.opcodes)
                strHeader += " " + std::string(opcode.name) + "[" + std::string(opcode.value) + "]";
            headers.push_back(strHeader);
        }
        return headers;
    }
    Strings Dropped() const { return NotesOf(m_report, ImportEvent::Dropped); }

    ImportReport m_report;
};

TEST_F(SfzParserTest, HeadersHaveTheOpcodesBehindThem) {
    EXPECT_EQ((Strings{"<group> lokey[1]", "<region> key[60] sample[a.wav]", "<region>"}),
              Parse("<group>lokey=1\n<region> key=60\tsample=a.wav<region>"));
    EXPECT_EQ(Strings(), Parse(""));
    EXPECT_EQ(Strings(), Dropped());
}

TEST_F(SfzParserTest, AValueEndsInFrontOfTheNextOpcode) {
    EXPECT_EQ((Strings{"<region> sample[Grand Piano C4.wav] key[60]"}),
              Parse("<region> sample=Grand Piano C4.wav key=60"));
    EXPECT_EQ((Strings{"<region> sample[a b.wav] key[60]"}), Parse("<region>sample=a b.wav  \r\nkey=60"));
    EXPECT_EQ((Strings{"<region> sample[a=b -] c[d.wav] e[1]"}), Parse("<region>sample=a=b - c=d.wav e=1"));
    EXPECT_EQ((Strings{"<region> sample[x =y.wav] e[1]"}), Parse("<region>sample=x =y.wav e=1"));
    EXPECT_EQ((Strings{"<region> sample[1-2=3.wav]"}), Parse("<region>sample=1-2=3.wav"));
    EXPECT_EQ((Strings{"<region> sample[#4-v=3.wav] e[1]"}), Parse("<region>sample=#4-v=3.wav e=1"));
}

TEST_F(SfzParserTest, ValuesMayBeEmptyAndHaveBlanksAround) {
    EXPECT_EQ((Strings{"<region> a[] b[2] c[]"}), Parse("<region> a= b=  2  \n c="));
}

TEST_F(SfzParserTest, WhatIsNoOpcodeIsDropped) {
    EXPECT_EQ((Strings{"<region> key[60]"}), Parse("<region> what key=60\n= <oops\nend"));
    EXPECT_EQ((Strings{"text \"what\": it is no opcode", "text \"=\": it is no opcode",
                       "text \"<oops\": it is no opcode", "text \"end\": it is no opcode"}),
              Dropped());
}

TEST_F(SfzParserTest, OpcodesInFrontOfTheFirstHeaderAreDropped) {
    EXPECT_EQ((Strings{"<region>"}), Parse("key=60 <region>"));
    EXPECT_EQ((Strings{"opcode \"key\": it stands in front of the first header"}), Dropped());
}

TEST_F(SfzParserTest, ALongTextIsCutInItsNote) {
    Parse(std::string(1000, 'x'));
    EXPECT_EQ((Strings{"text \"" + std::string(60, 'x') + "...\": it is no opcode"}), Dropped());
}

// Each of these would take hours if a byte were looked at again for each other byte.
TEST_F(SfzParserTest, LongLinesTakeTimeInProportion) {
    std::string strOpcodes = "<region>", strEquals = "<region>a= ", strHeaders;
    for (int i = 0; i < 1000000; ++i) {
        strOpcodes += " a=1";
        strEquals += "a=-";
        strHeaders += "<a ";
    }
    EXPECT_EQ(1u, Parse(strOpcodes).size());
    EXPECT_EQ(1u, Parse(strEquals).size());
    EXPECT_EQ(0u, Parse(strHeaders).size());
}

}  // namespace
}  // namespace Kestrova::Test
