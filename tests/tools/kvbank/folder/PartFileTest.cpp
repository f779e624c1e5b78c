#include <sys/types.h>
#include <unistd.h>

#include <cerrno>

#include "tests/tools/kvbank/CommandFixture.h"
#include "tools/kvbank/folder/PartFile.h"

namespace Kestrova::Test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;

class PartFileTest : public CommandTest {
protected:
    const std::string m_strFirst = ".kvbank-part-" + std::to_string(getpid());
};

TEST_F(PartFileTest, TakesItsPlaceWhole) {
    WriteFile(File("x.kvs"), std::string("old"));
    PartFile part(File("x.kvs"));
    EXPECT_EQ(File(m_strFirst), part.Path().string());
    WriteFile(part.Path(), std::string("new"));
    EXPECT_TRUE(part.Publish());
    EXPECT_EQ(Bytes({'n', 'e', 'w'}), ReadFile(File("x.kvs")));
    EXPECT_THAT(Names(), ElementsAre("x.kvs"));
}

TEST_F(PartFileTest, GetsANameThatIsFreeAndGoes) {
    WriteFile(File(m_strFirst), std::string("left by another"));
    {
        const PartFile part(File("x.kvs"));
        EXPECT_EQ(File(m_strFirst + "-1"), part.Path().string());
        EXPECT_THAT(Names(), ElementsAre(m_strFirst, m_strFirst + "-1"));
    }
    EXPECT_THAT(Names(), ElementsAre(m_strFirst));
}

TEST_F(PartFileTest, APlaceWithoutAFolderIsInTheWorkingFolder) {
    const fs::path before = fs::current_path();
    fs::current_path(Folder());
    EXPECT_EQ(m_strFirst, PartFile("x.kvs").Path().string());
    fs::current_path(before);
}

TEST_F(PartFileTest, AFolderThatIsNotThereIsSaid) {
    const PartFile part(File("none/x.kvs"));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_TRUE(part.Path().empty());
}

TEST_F(PartFileTest, ANameMayBeAsLongAsNamesCanBe) {
    const std::string strName = std::string(251, 'x') + ".kvs";
    EXPECT_EQ(0, Run({"demo", "-o", "DIR/" + strName, "-q"}).nCode);
    EXPECT_THAT(Names(), ElementsAre(strName));
}

}  // namespace
}  // namespace Kestrova::Test
