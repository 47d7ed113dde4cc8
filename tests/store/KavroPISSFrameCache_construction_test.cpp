#include "store/KavroPISSFrameCache.h"

#include "store/KavroPISSConfig.h"
#include "store/PISSMD5.h"
#include "tests/support/failing_calls.h"
#include "tests/support/forked_child.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::hashOf;
using corvid::test::Call;
using corvid::test::exists;
using corvid::test::FailNth;
using corvid::test::linesOf;
using corvid::test::makeDirectory;
using corvid::test::readFile;
using corvid::test::snapshot;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const char kNoSetting[] = "ERROR\tPersistentFrameCache::Initializer : Could not get General Config "
                          "item default:DirectoryLocationOfFrameCache\n";

std::string rootOf(const KavroPISSFrameCache& cache) {
    char path[4096] = "?";
    const int found = cache.GetCompletePathToCacheRoot(path, sizeof(path));
    return found != 0 ? path : std::string("none") + path;
}

class FrameCacheConstructionTest : public corvid::test::ProductTest {
protected:
    std::string cache() const { return root.path("some place/cache/"); }
    std::string projectTable() const { return cache() + "ProjectHash.txt"; }
    std::string compositionTable() const { return cache() + "CompositionHash.txt"; }
    void configureRoot(const std::string& path) const {
        writeFile(root.productFile("Config.txt"),
                  "default string\tDirectoryLocationOfFrameCache " + path + "\n");
    }
};

TEST_F(FrameCacheConstructionTest, AnyLevelCreatesTheRootWithItsParents) {
    const KavroPISSFrameCache model(cache().c_str());
    EXPECT_TRUE(exists(cache()));
    EXPECT_FALSE(exists(projectTable()));
    EXPECT_FALSE(exists(compositionTable()));
    EXPECT_EQ(cache(), rootOf(model));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(FrameCacheConstructionTest, ARootArgumentAlwaysEndsInASeparator) {
    const std::string without = cache().substr(0, cache().size() - 1);
    EXPECT_EQ(cache(), rootOf(KavroPISSFrameCache(without.c_str())));
    EXPECT_EQ(cache() + "/", rootOf(KavroPISSFrameCache((cache() + "/").c_str())));
    EXPECT_TRUE(exists(cache()));
}

TEST_F(FrameCacheConstructionTest, ARootMayHaveCharactersThatAShellWouldTakeForItsOwn) {
    const std::string odd = root.path("a \"quoted\" $HOME `touch x` \\ 'place'; touch y/");
    const KavroPISSFrameCache model(odd.c_str(), "p", "c", "PROXY");
    EXPECT_TRUE(exists(odd + hashOf("p") + "/" + hashOf("c") + "/PROXY"));
    EXPECT_FALSE(exists("x"));
    EXPECT_FALSE(exists("y"));
}

TEST_F(FrameCacheConstructionTest, AProjectIsOnlyRecorded) {
    const KavroPISSFrameCache model(cache().c_str(), "/projects/a b.aep");
    EXPECT_THAT(linesOf(projectTable()),
                ElementsAre(hashOf("/projects/a b.aep") + " /projects/a b.aep"));
    EXPECT_FALSE(exists(compositionTable()));
    EXPECT_FALSE(exists(cache() + hashOf("/projects/a b.aep")));
}

TEST_F(FrameCacheConstructionTest, ACompositionIsOnlyRecorded) {
    const KavroPISSFrameCache model(cache().c_str(), "p", "comp 1");
    EXPECT_THAT(linesOf(projectTable()), ElementsAre(hashOf("p") + " p"));
    EXPECT_THAT(linesOf(compositionTable()), ElementsAre(hashOf("comp 1") + " comp 1"));
    EXPECT_FALSE(exists(cache() + hashOf("p")));
}

TEST_F(FrameCacheConstructionTest, AFeatureCreatesItsDirectoryWithAllParents) {
    const KavroPISSFrameCache model(cache().c_str(), "p", "c", "SPEC_RENDER");
    EXPECT_TRUE(exists(cache() + hashOf("p") + "/" + hashOf("c") + "/SPEC_RENDER"));
    EXPECT_THAT(linesOf(projectTable()), ElementsAre(hashOf("p") + " p"));
    EXPECT_THAT(linesOf(compositionTable()), ElementsAre(hashOf("c") + " c"));
}

TEST_F(FrameCacheConstructionTest, AKeyGivenTwiceAddsOneLine) {
    { const KavroPISSFrameCache model(cache().c_str(), "p", "c"); }
    const auto before = snapshot(cache());
    { const KavroPISSFrameCache model(cache().c_str(), "p", "c"); }
    EXPECT_EQ(before, snapshot(cache()));
    { const KavroPISSFrameCache model(cache().c_str(), "q", "c"); }
    EXPECT_THAT(linesOf(projectTable()), ElementsAre(hashOf("p") + " p", hashOf("q") + " q"));
}

TEST_F(FrameCacheConstructionTest, TheSameHashWithAnotherKeyAddsASecondLine) {
    writeFile(projectTable(), hashOf("p") + " something else\n");
    const KavroPISSFrameCache model(cache().c_str(), "p");
    EXPECT_THAT(linesOf(projectTable()),
                ElementsAre(hashOf("p") + " something else", hashOf("p") + " p"));
}

TEST_F(FrameCacheConstructionTest, WhatAnotherModelRecordedMeanwhileIsSeenByTheNext) {
    const KavroPISSFrameCache first(cache().c_str(), "p1");
    const KavroPISSFrameCache second(cache().c_str(), "p2");
    const KavroPISSFrameCache third(cache().c_str(), "p3");
    EXPECT_EQ(3U, linesOf(projectTable()).size());
    EXPECT_EQ(0, first.DoesProjectHashAlreadyExist(hashOf("p2").c_str(), "p2"));
    EXPECT_EQ(1, third.DoesProjectHashAlreadyExist(hashOf("p1").c_str(), "p1"));
}

TEST_F(FrameCacheConstructionTest, TheConfiguredRootIsTakenWithoutARootArgument) {
    configureRoot(cache());
    EXPECT_EQ(cache(), rootOf(KavroPISSFrameCache(false)));
    EXPECT_EQ(cache(), rootOf(KavroPISSFrameCache(true)));
    const KavroPISSFrameCache feature(true, "p", "c", "PROXY");
    EXPECT_EQ(cache(), rootOf(feature));
    EXPECT_TRUE(exists(cache() + hashOf("p") + "/" + hashOf("c") + "/PROXY"));
    const KavroPISSFrameCache project(false, "q");
    const KavroPISSFrameCache composition(false, "q", "d");
    EXPECT_THAT(linesOf(projectTable()), ElementsAre(hashOf("p") + " p", hashOf("q") + " q"));
    EXPECT_THAT(linesOf(compositionTable()), ElementsAre(hashOf("c") + " c", hashOf("d") + " d"));
}

TEST_F(FrameCacheConstructionTest, AConfiguredRootIsTakenAsItStands) {
    const std::string without = cache().substr(0, cache().size() - 1);
    configureRoot(without);
    const KavroPISSFrameCache model(false, "p");
    EXPECT_EQ(without, rootOf(model));
    char path[4096];
    EXPECT_EQ(1, model.GetCompletePathToProject(path, sizeof(path)));
    EXPECT_EQ(without + hashOf("p") + "/", path);
    EXPECT_THAT(linesOf(projectTable()), ElementsAre(hashOf("p") + " p"));
}

TEST_F(FrameCacheConstructionTest, TheDefaultRootServesAfterTheFirstStart) {
    KavroPISSConfig::initializePISSConfig();
    EXPECT_EQ(root.productFile("Cache/"), rootOf(KavroPISSFrameCache(false)));
    EXPECT_TRUE(exists(root.productFile("Cache")));
}

TEST_F(FrameCacheConstructionTest, AMissingSettingLeavesAModelWithoutARoot) {
    writeFile(root.productFile("Config.txt"), "default int\tother 1\n");
    const KavroPISSFrameCache model(false);
    EXPECT_EQ("none", rootOf(model));
    EXPECT_THAT(root.logMessages(), ElementsAre(kNoSetting));
}

TEST_F(FrameCacheConstructionTest, AnEmptySettingCountsAsMissing) {
    writeFile(root.productFile("Config.txt"), "default string\tDirectoryLocationOfFrameCache \n");
    const KavroPISSFrameCache model(false);
    EXPECT_EQ("none", rootOf(model));
    EXPECT_THAT(root.logMessages(), ElementsAre(kNoSetting));
}

TEST_F(FrameCacheConstructionTest, AModelWithoutARootTouchesNoFile) {
    writeFile(root.productFile("Config.txt"), "default int\tother 1\n");
    const auto before = snapshot(root.productFile());
    KavroPISSFrameCache model(false, "p", "c", "PROXY");
    EXPECT_EQ("none", rootOf(model));
    EXPECT_EQ(0, model.ReadProjectHashTable());
    EXPECT_EQ(0, model.WriteProjectHashTable());
    EXPECT_EQ(0, model.PrepareProjectList());
    EXPECT_EQ(0U, model.GetSize());
    EXPECT_EQ(before, snapshot(root.productFile()));
    EXPECT_FALSE(exists("uninitialized"));
}

TEST_F(FrameCacheConstructionTest, WantOfMemoryForThePathsLeavesAModelWithoutARoot) {
    for (int n = 1; n <= 2; ++n) {
        root.clearLog();
        const FailNth failing(Call::Malloc, n, ENOMEM);
        const KavroPISSFrameCache model(cache().c_str());
        EXPECT_EQ(1, failing.failures());
        EXPECT_EQ("none", rootOf(model));
        EXPECT_THAT(root.logMessages(),
                    ElementsAre("ERROR\tPersistentFrameCache::Initializer : Could not malloc\n"));
    }
    EXPECT_FALSE(exists(cache()));
}

TEST_F(FrameCacheConstructionTest, WantOfMemoryForTheRootLeavesAModelWithoutARoot) {
    const FailNth failing(Call::Malloc, 3, ENOMEM);
    const KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, failing.failures());
    EXPECT_EQ("none", rootOf(model));
    EXPECT_THAT(root.logMessages(),
                ElementsAre("ERROR\tPersistentFrameCache::Initializer : Could not malloc"));
    EXPECT_FALSE(exists(cache()));
}

TEST_F(FrameCacheConstructionTest, ANullKeyCountsAsNotGiven) {
    const char* none = nullptr;
    const KavroPISSFrameCache model(cache().c_str(), none, none, none);
    char path[64] = "?";
    EXPECT_EQ(0, model.GetCompletePathToProject(path, sizeof(path)));
    EXPECT_STREQ("", path);
    EXPECT_FALSE(exists(projectTable()));
}

TEST_F(FrameCacheConstructionTest, ARootThatIsAFileIsLeftAlone) {
    writeFile(root.path("file"), "content");
    KavroPISSFrameCache model(root.path("file").c_str(), "p", "c", "PROXY");
    EXPECT_EQ("content", readFile(root.path("file")));
    EXPECT_EQ(0, model.PrepareProjectList());
    EXPECT_EQ(0U, model.GetSize());
}

TEST_F(FrameCacheConstructionTest, ARootOnADeadLinkIsLeftAlone) {
    ASSERT_EQ(0, ::symlink("nowhere", root.path("dead").c_str()));
    KavroPISSFrameCache model(root.path("dead").c_str(), "p");
    EXPECT_EQ(0, model.PrepareProjectList());
    EXPECT_FALSE(exists(root.path("nowhere")));
    EXPECT_TRUE(exists(root.path("dead")));
}

TEST_F(FrameCacheConstructionTest, ARootLongerThanAnyPathLeavesAModelWithoutARoot) {
    std::string deep = root.path();
    while (deep.size() < 5000) {
        deep += "/" + std::string(200, 'd');
    }
    const KavroPISSFrameCache model(deep.c_str(), "p");
    EXPECT_EQ("none", rootOf(model));
}

TEST_F(FrameCacheConstructionTest, ALongRootIsUsedWhole) {
    std::string deep = root.path();
    while (deep.size() < 1500) {
        deep += "/" + std::string(200, 'd');
    }
    const KavroPISSFrameCache model(deep.c_str(), "p", "c", "PROXY");
    EXPECT_TRUE(exists(deep + "/ProjectHash.txt"));
    EXPECT_TRUE(exists(deep + "/" + hashOf("p") + "/" + hashOf("c") + "/PROXY"));
}

TEST_F(FrameCacheConstructionTest, InitializingWithResetEmptiesTheModel) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    writeFile(cache() + hashOf("p") + "/" + hashOf("c") + "/PROXY/00000001.raw", "");
    model.PrepareFrameCacheList();
    model.Initializer(true, nullptr);
    EXPECT_EQ("none", rootOf(model));
    EXPECT_EQ(0, model.GetNumberOfFramesInFrameCache());
    EXPECT_EQ(0, model.DoesFrameExist(1));
    EXPECT_EQ(0, model.DoesProjectHashAlreadyExist(hashOf("p").c_str(), "p"));
}

TEST_F(FrameCacheConstructionTest, InitializingAgainSetsTheModelUpOnAnotherRoot) {
    KavroPISSFrameCache model(cache().c_str(), "p");
    model.Initializer(false, root.path("another").c_str());
    EXPECT_EQ(root.path("another/"), rootOf(model));
    char path[4096];
    EXPECT_EQ(0, model.GetCompletePathToProject(path, sizeof(path)));
    EXPECT_TRUE(exists(root.path("another")));
}

} // namespace
