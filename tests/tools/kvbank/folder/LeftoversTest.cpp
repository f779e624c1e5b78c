#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "bank/place/PartFile.h"
#include "bank/place/PrivateFolder.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/TempDir.h"
#include "tools/kvbank/folder/Leftovers.h"

namespace Kestrova::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

constexpr const char* kInterrupted = "Src_0AC44.kvn";

// A folder with one leftover of each kind.
class LeftoversTest : public ::testing::Test {
protected:
    LeftoversTest() {
        WriteFile(m_dir.File(kInterrupted), std::string());
        WriteFile(m_dir.File(".kvbank-part-17"), std::string("part of a bank"));
        fs::create_directory(m_dir.File(".kvbank-dEaD00"));
        WriteFile(m_dir.File(".kvbank-dEaD00/Src_0BB80.kvn"), std::string("part of a bank"));
        WriteFile(m_dir.File("Src_0BB80.kvn.sha256.new-000000"), std::string("part of a line"));
    }

    // Each as "NAME, KIND", "held" and the error behind it.
    std::vector<std::string> Texts(const std::vector<FoundLeftover>& found) const {
        std::vector<std::string> texts;
        for (const FoundLeftover& leftover : found)
            texts.push_back(leftover.path.lexically_relative(m_dir.Path()).string() + ", " +
                            KindName(leftover.kind) +
                            (leftover.hold == Hold::Held      ? ", held"
                             : leftover.hold == Hold::Unknown ? ", unknown"
                                                              : "") +
                            (leftover.nError != 0 ? ", " + std::to_string(leftover.nError) : ""));
        return texts;
    }
    std::vector<std::string> Found() const {
        std::error_code error;
        const std::vector<std::string> texts = Texts(FindLeftovers(m_dir.Path(), error));
        EXPECT_FALSE(error);
        return texts;
    }
    std::vector<std::string> Removed() const {
        std::error_code error;
        const FolderLock turn(m_dir.Path());
        const std::vector<std::string> texts = Texts(RemoveLeftovers(m_dir.Path(), turn, error));
        EXPECT_FALSE(error);
        return texts;
    }

    TempDir m_dir;
};

TEST_F(LeftoversTest, EachKindIsFoundAndRemoved) {
    const auto areThese =
        ElementsAre(".kvbank-dEaD00, private folder", ".kvbank-part-17, part file",
                    "Src_0AC44.kvn, interrupted bank", "Src_0BB80.kvn.sha256.new-000000, sums file");
    EXPECT_THAT(Found(), areThese);
    EXPECT_THAT(Removed(), areThese);
    EXPECT_TRUE(fs::is_empty(m_dir.Path()));
    EXPECT_THAT(Found(), ElementsAre());
}

// An empty private folder holds no bank, so only its own name shows that it was left.
TEST_F(LeftoversTest, AnEmptyPrivateFolderIsFound) {
    fs::remove(m_dir.File(".kvbank-dEaD00/Src_0BB80.kvn"));
    EXPECT_EQ(4u, Found().size());
    Removed();
    EXPECT_TRUE(fs::is_empty(m_dir.Path()));
}

TEST_F(LeftoversTest, WhatIsHeldStays) {
    CSDB building;
    ASSERT_TRUE(building.Create(m_dir.File("Src_15888.kvn").c_str(), kSdbFormatEnriched));
    const FolderLock turn(m_dir.Path());
    const PrivateFolder folder(m_dir.Path(), turn);
    TemporaryFile part(m_dir.File(".kvbank-part-"));
    ASSERT_TRUE(part.MakeNamed(0600));
    TemporaryFile sums(m_dir.File("Src_15888.kvn.sha256.new-"));
    ASSERT_TRUE(sums.MakeNamed(0600));
    std::error_code error;
    const std::vector<FoundLeftover> found = RemoveLeftovers(m_dir.Path(), turn, error);
    EXPECT_EQ(7u, found.size());
    for (const FoundLeftover& leftover : found) EXPECT_EQ(0, leftover.nError) << leftover.path;
    EXPECT_THAT(Found(), UnorderedElementsAre(folder.Path().filename().string() + ", private folder, held",
                                              ".kvbank-part-000000, part file, held",
                                              "Src_15888.kvn.sha256.new-000000, sums file, held"));
    EXPECT_TRUE(fs::exists(m_dir.File("Src_15888.kvn")));
}

TEST_F(LeftoversTest, WhereThereAreNoLocksAllStaysAndIsTold) {
    const PosixFault fault("flock", ENOLCK, PosixFault::kEveryCall);
    const auto areThese = ElementsAre(
        ".kvbank-dEaD00, private folder, unknown", ".kvbank-part-17, part file, unknown",
        "Src_0AC44.kvn, interrupted bank, unknown", "Src_0BB80.kvn.sha256.new-000000, sums file, unknown");
    EXPECT_THAT(Found(), areThese);
    EXPECT_THAT(Removed(), areThese);
    EXPECT_THAT(Found(), areThese);
}

TEST_F(LeftoversTest, WhatIsNoLeftoverIsNotTouched) {
    Removed();
    CSDB bank;
    ASSERT_TRUE(bank.Create(m_dir.File(kInterrupted).c_str(), kSdbFormatEnriched));
    const DBUID identity = bank.GetIdentity();
    ASSERT_TRUE(bank.ReserveQuickLoad(0));
    ASSERT_TRUE(bank.Close(true));
    WriteFile(m_dir.File("Src_0BB80.kvn"), std::string("a letter that is longer than a header"));
    WriteFile(m_dir.File("Src_0BB80.kvn.sha256"), std::string());
    WriteFile(m_dir.File("Src_0BB80.kvn.sha256.new-00000"), std::string());
    WriteFile(m_dir.File("Src_0BB80.kvn.new-000000"), std::string());
    WriteFile(m_dir.File(".kvbank-part-list"), std::string());
    EXPECT_THAT(Found(), ElementsAre());
    EXPECT_THAT(Removed(), ElementsAre());
    EXPECT_TRUE(bank.Open(m_dir.File(kInterrupted).c_str(), kSdbFormatEnriched, false));
    EXPECT_EQ(identity, bank.GetIdentity());
}

TEST_F(LeftoversTest, APrivateFolderWithAnothersFileStaysAndIsToldWithTheReason) {
    WriteFile(m_dir.File(".kvbank-dEaD00/letter.txt"), std::string("dear"));
    EXPECT_EQ(".kvbank-dEaD00, private folder, " + std::to_string(ENOTEMPTY), Removed()[0]);
    EXPECT_TRUE(fs::exists(m_dir.File(".kvbank-dEaD00/letter.txt")));
}

TEST_F(LeftoversTest, AFileThatCannotBeRemovedIsToldWithTheReason) {
    fs::remove_all(m_dir.File(".kvbank-dEaD00"));
    const std::string strReason = ", " + std::to_string(EROFS);
    {
        const PosixFault refusal("unlink", EROFS, PosixFault::kEveryCall);
        EXPECT_THAT(Removed(), ElementsAre(".kvbank-part-17, part file" + strReason,
                                           "Src_0AC44.kvn, interrupted bank" + strReason,
                                           "Src_0BB80.kvn.sha256.new-000000, sums file" + strReason));
    }
    EXPECT_EQ(3u, Found().size());
}

TEST_F(LeftoversTest, AFolderThatCannotBeReadIsSaid) {
    std::error_code error;
    EXPECT_TRUE(FindLeftovers(m_dir.File("none"), error).empty());
    EXPECT_EQ(ENOENT, error.value());
}

// The folder is read once for each kind of leftover.
TEST_F(LeftoversTest, AFolderThatCannotBeReadOnceMoreIsSaid) {
    bool bMet = true;
    for (int nRead = 1; bMet; ++nRead) {
        SCOPED_TRACE(nRead);
        const PosixFault fault("readdir", EIO, nRead);
        std::error_code error;
        FindLeftovers(m_dir.Path(), error);
        bMet = fault.Calls() >= nRead;
        EXPECT_EQ(bMet ? EIO : 0, error.value());
    }
}

}  // namespace
}  // namespace Kestrova::Test
