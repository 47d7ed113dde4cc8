#include "store/KavroPISSFrameCache.h"

#include "runtime/maro_log.h"
#include "store/PISSMD5.h"
#include "tests/support/failing_calls.h"
#include "tests/support/forked_child.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::hashOf;
using corvid::test::Call;
using corvid::test::callsMade;
using corvid::test::exists;
using corvid::test::FailNth;
using corvid::test::makeDirectory;
using corvid::test::readFile;
using corvid::test::Snapshot;
using corvid::test::snapshot;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::Key;

// A cache with one project, a second root, and a folder between them that nothing may touch.
class FrameCacheMovingTest : public corvid::test::ProductTest {
protected:
    FrameCacheMovingTest() {
        writeFile(root.path("guarded/file"), "kept");
        m_guarded = snapshot(root.path("guarded"));
        writeFile(project() + "/c/PROXY/00000001.raw", "one");
        writeFile(project() + "/c/PROXY/.hidden", "deep and hidden");
        writeFile(project() + "/file", "two");
        makeDirectory(target());
        const KavroPISSFrameCache recorded(cache().c_str(), "p");
        root.clearLog();
    }
    void TearDown() override { EXPECT_EQ(m_guarded, snapshot(root.path("guarded"))); }

    std::string cache() const { return root.path("cache/"); }
    std::string project() const { return cache() + hashOf("p"); }
    std::string target() const { return root.path("target/"); }
    std::string moved() const { return target() + hashOf("p"); }
    std::string moving() const {
        return "Moving Cache from [" + project() + "] to [" + target() + "/" + hashOf("p") + "].";
    }
    std::string executing() const {
        return "ERROR\tExecuting: [cp -rf \"" + project() + "/\"* \"" + target() + "/" +
               hashOf("p") + "/\"]";
    }
    static ino_t inodeOf(const std::string& path) {
        struct stat status {};
        EXPECT_EQ(0, ::lstat(path.c_str(), &status)) << path;
        return status.st_ino;
    }

    const std::string kNoRename = "ERROR\trenameX() failed.";
    const std::string kManually =
        "Since the move failed, let's try moving things manually (ie: Slowly).";
    const std::string kNotMoved = "ERROR\t MoveProject: Error moving files to new directory.";

private:
    Snapshot m_guarded;
};

class FrameCacheCopyingTest : public FrameCacheMovingTest {
protected:
    FailNth otherVolume{Call::Rename, 1, EXDEV, hashOf("p")};
};

TEST_F(FrameCacheMovingTest, OnOneVolumeAMoveIsOneRename) {
    const ino_t inode = inodeOf(project());
    Snapshot before = snapshot(project());
    KavroPISSFrameCache model(cache().c_str());
    const std::uint64_t renames = callsMade(Call::Rename);
    EXPECT_EQ(1, model.MoveProject("p", target().c_str()));
    EXPECT_EQ(renames + 1, callsMade(Call::Rename));
    EXPECT_EQ(inode, inodeOf(moved()));
    EXPECT_EQ(before, snapshot(moved()));
    EXPECT_FALSE(exists(project()));
    EXPECT_THAT(root.logMessages(), ElementsAre(moving()));
}

TEST_F(FrameCacheMovingTest, AMoveIsAnnouncedAtOrdinaryLevel) {
    setLoggingEnabled(false);
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.MoveProject("p", target().c_str()));
    EXPECT_TRUE(root.logMessages().empty());
}

TEST_F(FrameCacheMovingTest, TheTargetMayLackItsSeparator) {
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.MoveProject("p", root.path("target").c_str()));
    EXPECT_EQ("two", readFile(moved() + "/file"));
    EXPECT_THAT(root.logMessages(),
                ElementsAre("Moving Cache from [" + project() + "] to [" + moved() + "]."));
}

TEST_F(FrameCacheMovingTest, TheTablesOfNeitherRootChange) {
    const std::string table = readFile(cache() + "ProjectHash.txt");
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.MoveProject("p", target().c_str()));
    EXPECT_EQ(table, readFile(cache() + "ProjectHash.txt"));
    EXPECT_THAT(snapshot(target()), ::testing::Not(::testing::Contains(Key("ProjectHash.txt"))));
}

TEST_F(FrameCacheMovingTest, AConfiguredRootWithoutASeparatorMovesItsOwnProject) {
    writeFile(root.productFile("Config.txt"),
              "default string\tDirectoryLocationOfFrameCache " + root.path("bare") + "\n");
    KavroPISSFrameCache model(false, "p");
    writeFile(root.path("bare") + hashOf("p") + "/file", "three");
    EXPECT_EQ(1, model.MoveProject("p", target().c_str()));
    EXPECT_EQ("three", readFile(moved() + "/file"));
    EXPECT_FALSE(exists(root.path("bare") + hashOf("p")));
    EXPECT_EQ("two", readFile(project() + "/file"));
}

TEST_F(FrameCacheMovingTest, AProjectNeedsANameThatTheTableKnows) {
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(0, model.MoveProject(nullptr, target().c_str()));
    EXPECT_EQ(0, model.MoveProject("unknown", target().c_str()));
    EXPECT_THAT(root.logMessages(),
                ElementsAre("ERROR\tMoveProject: projectName is null.",
                            "ERROR\tMoveProject: FindProjectNameHashGivenKey[unknown] failed\n"));
    EXPECT_TRUE(exists(project()));
}

TEST_F(FrameCacheMovingTest, AProjectNeedsARoot) {
    writeFile(root.productFile("Config.txt"), "");
    KavroPISSFrameCache model(false, "p");
    root.clearLog();
    EXPECT_EQ(0, model.MoveProject("p", target().c_str()));
    EXPECT_THAT(root.logMessages(),
                ElementsAre("ERROR\tMoveProject: Unable to GetCompletePathToCacheRoot\n"));
}

TEST_F(FrameCacheMovingTest, AProjectNeedsATarget) {
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(0, model.MoveProject("p", nullptr));
    EXPECT_THAT(root.logMessages(),
                ElementsAre("ERROR\tMoveDirectory: toParent is null.", kNotMoved));
    EXPECT_TRUE(exists(project()));
}

TEST_F(FrameCacheMovingTest, NullArgumentsOfADirectoryMoveAreRefused) {
    KavroPISSFrameCache model(cache().c_str());
    const std::string from = cache();
    const std::string to = target();
    EXPECT_TRUE(corvid::test::holdsInChild([&] {
        return model.MoveDirectory(nullptr, "p", to.c_str()) == 0 &&
               model.MoveDirectory(from.c_str(), nullptr, to.c_str()) == 0 &&
               model.MoveDirectory(from.c_str(), "p", nullptr) == 0;
    }));
    EXPECT_THAT(root.logMessages(), ElementsAre("ERROR\tMoveDirectory: fromParent is null.",
                                                "ERROR\tMoveDirectory: name is null.",
                                                "ERROR\tMoveDirectory: toParent is null."));
}

TEST_F(FrameCacheMovingTest, AnyDirectoryMovesIntoItsNewParent) {
    writeFile(root.path("free/name/file"), "3");
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.MoveDirectory(root.path("free/").c_str(), "name", target().c_str()));
    EXPECT_EQ("3", readFile(target() + "name/file"));
    EXPECT_FALSE(exists(root.path("free/name")));
}

TEST_F(FrameCacheCopyingTest, AcrossVolumesEverythingButHiddenFilesIsCopied) {
    writeFile(project() + "/.hidden", "left out");
    writeFile(project() + "/.hiddenFolder/file", "left out");
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.MoveProject("p", target().c_str()));
    EXPECT_EQ(1, otherVolume.failures());
    EXPECT_EQ("two", readFile(moved() + "/file"));
    EXPECT_EQ("one", readFile(moved() + "/c/PROXY/00000001.raw"));
    EXPECT_EQ("deep and hidden", readFile(moved() + "/c/PROXY/.hidden"));
    EXPECT_THAT(snapshot(moved()),
                ElementsAre(Key("."), Key("c"), Key("c/PROXY"), Key("c/PROXY/.hidden"),
                            Key("c/PROXY/00000001.raw"), Key("file")));
    EXPECT_FALSE(exists(project())) << "the source goes with its hidden files";
    EXPECT_THAT(root.logMessages(), ElementsAre(moving(), kNoRename, kManually, executing()));
}

TEST_F(FrameCacheCopyingTest, ACopyCreatesItsTarget) {
    ASSERT_EQ(0, ::rmdir(root.path("target").c_str()));
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.MoveProject("p", target().c_str()));
    EXPECT_EQ("two", readFile(moved() + "/file"));
}

TEST_F(FrameCacheCopyingTest, ACopyJoinsWhatIsThere) {
    writeFile(moved() + "/c/PROXY/00000002.raw", "old");
    writeFile(moved() + "/file", "old");
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.MoveProject("p", target().c_str()));
    EXPECT_EQ("two", readFile(moved() + "/file"));
    EXPECT_EQ("old", readFile(moved() + "/c/PROXY/00000002.raw"));
}

TEST_F(FrameCacheCopyingTest, ATargetThatIsAFileLeavesTheSourceWhole) {
    writeFile(moved(), "in the way");
    const Snapshot before = snapshot(project());
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(0, model.MoveProject("p", target().c_str()));
    EXPECT_EQ(before, snapshot(project()));
    EXPECT_EQ("in the way", readFile(moved()));
    EXPECT_THAT(root.logMessages(), ElementsAre(moving(), kNoRename, kManually, executing(),
                                                "ERROR\tFile Copy failed.", kNotMoved));
}

TEST_F(FrameCacheCopyingTest, AProjectOfHiddenFilesAloneIsLeft) {
    corvid::test::removeTree(project());
    writeFile(project() + "/.hidden", "kept");
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(0, model.MoveProject("p", target().c_str()));
    EXPECT_EQ("kept", readFile(project() + "/.hidden"));
    EXPECT_TRUE(root.hasLogged("ERROR\tFile Copy failed."));
}

TEST_F(FrameCacheCopyingTest, AFailedRemovalOfTheSourceIsNoFailureOfTheMove) {
    ASSERT_EQ(0, ::chmod((project() + "/file").c_str(), 0444));
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.MoveProject("p", target().c_str()));
    EXPECT_EQ("two", readFile(moved() + "/file"));
    EXPECT_EQ("two", readFile(project() + "/file"));
    EXPECT_TRUE(
        root.hasLogged("ERROR\tDeleteDirectory: Failed to DeleteFile '" + project() + "/file'\n"));
}

TEST_F(FrameCacheCopyingTest, ACopyFromOutsideTheRootLeavesItsSource) {
    ASSERT_EQ(0, ::mkdir(root.path("free").c_str(), 0777));
    ASSERT_EQ(0, ::rename(root.path("guarded").c_str(), root.path("free/guarded").c_str()));
    KavroPISSFrameCache model(cache().c_str());
    const FailNth alsoThis(Call::Rename, 1, EXDEV, "guarded");
    EXPECT_EQ(1, model.MoveDirectory(root.path("free/").c_str(), "guarded", target().c_str()));
    EXPECT_EQ(1, alsoThis.failures());
    EXPECT_EQ("kept", readFile(target() + "guarded/file"));
    EXPECT_TRUE(root.hasLogged("ERROR\tDeleteDirectory: Failed sanity check on path of '" +
                               root.path("free/guarded") + "'\n"));
    ASSERT_EQ(0, ::rename(root.path("free/guarded").c_str(), root.path("guarded").c_str()));
}

TEST_F(FrameCacheCopyingTest, AProjectThatIsALinkLosesTheLinkAlone) {
    corvid::test::removeTree(project());
    ASSERT_EQ(0, ::symlink(root.path("guarded").c_str(), project().c_str()));
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.MoveProject("p", target().c_str()));
    EXPECT_FALSE(exists(project()));
    EXPECT_EQ("kept", readFile(moved() + "/file"));
}

TEST_F(FrameCacheCopyingTest, ProgressIsToldDuringTheCopyAndTheRemoval) {
    for (int i = 0; i < 300; ++i) {
        writeFile(project() + "/c/PROXY/frame" + std::to_string(i), std::string(10000, 'x'));
    }
    KavroPISSFrameCache model(cache().c_str());
    int duringCopy = 0;
    std::uint64_t last = 0;
    model.setProgress([&](std::uint64_t files) {
        duringCopy += exists(project() + "/file") ? 1 : 0;
        last = files;
    });
    EXPECT_EQ(1, model.MoveProject("p", target().c_str()));
    EXPECT_GT(duringCopy, 0);
    EXPECT_EQ(303U, last);
}

TEST_F(FrameCacheMovingTest, ATargetThatMayNotBeWrittenLeavesTheSourceWhole) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root to become another user";
    }
    corvid::test::letOthersIn(root);
    ASSERT_EQ(0, ::chmod(cache().c_str(), 0777));
    ASSERT_EQ(0, ::chmod(target().c_str(), 0555));
    const Snapshot before = snapshot(cache());
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_TRUE(corvid::test::holdsInChild([&] {
        return corvid::test::becomeNobody() && model.MoveProject("p", target().c_str()) == 0;
    }));
    EXPECT_EQ(before, snapshot(cache()));
    EXPECT_FALSE(exists(moved()));
    EXPECT_TRUE(root.hasLogged("ERROR\tFile Copy failed."));
}

TEST_F(FrameCacheMovingTest, AFileThatMayNotBeReadLeavesTheSourceWhole) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root to become another user";
    }
    corvid::test::letOthersIn(root);
    ASSERT_EQ(0, ::chmod(cache().c_str(), 0777));
    ASSERT_EQ(0, ::chmod(target().c_str(), 0777));
    ASSERT_EQ(0, ::chmod((project() + "/c/PROXY/00000001.raw").c_str(), 0200));
    const Snapshot before = snapshot(project());
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_TRUE(corvid::test::holdsInChild([&] {
        const FailNth otherVolume(Call::Rename, 1, EXDEV, hashOf("p"));
        return corvid::test::becomeNobody() && model.MoveProject("p", target().c_str()) == 0;
    }));
    EXPECT_EQ(before, snapshot(project()));
    EXPECT_TRUE(root.hasLogged("ERROR\tFile Copy failed."));
}

} // namespace
