#include "MacCacheManager/CacheDataSource.h"

#include "tests/support/cache_tree.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using corvid::hashOf;
using corvid::test::childAt;
using corvid::test::childNamed;
using corvid::test::childNames;
using corvid::test::HandMadeCache;
using corvid::test::ProductTest;
using corvid::test::registryLine;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

constexpr std::time_t kDate = 1600000000;

class CacheDataSourceBuild : public ProductTest {
protected:
    void registerRoots(const std::string& lines) const {
        corvid::test::writeFile(root.productFile("FrameCache.cvp"), lines);
    }
    const FrameCacheEntry& build() {
        source.setShouldProvideData(true);
        source.reload();
        return *source.getRootNode();
    }

    CacheDataSource source;
    HandMadeCache cache{root.path("cache")};
};

TEST_F(CacheDataSourceBuild, WithoutARegistryIsEmpty) {
    EXPECT_THAT(childNames(build()), IsEmpty());
    EXPECT_FALSE(source.sources().hasRegistry);
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(CacheDataSourceBuild, OfARegistryWithoutRootsIsEmpty) {
    registerRoots(registryLine("p", "LastOpened", cache.path()));
    cache.addProject("p");
    EXPECT_THAT(childNames(build()), IsEmpty());
    EXPECT_TRUE(source.sources().hasRegistry);
    EXPECT_EQ(source.sources().roots, 0);
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(CacheDataSourceBuild, AnEmptyTreeHasNoNumbers) {
    const FrameCacheEntry& tree = build();
    EXPECT_EQ(tree.getFileSizeString(), "0");
    EXPECT_EQ(tree.getFileCountString(), "0");
    EXPECT_EQ(tree.getLastModifiedTime(), "\?\?-\?\?-\?\?\?\?");
}

TEST_F(CacheDataSourceBuild, ReadsOnlyTheExactKey) {
    HandMadeCache other(root.path("other"));
    cache.addProject("p");
    other.addProject("q");
    registerRoots(registryLine("q", "PathToCacheOfOldVersion", other.path()) +
                  registryLine("q", "PathToCach", other.path()) +
                  registryLine("q", "pathtocache", other.path()) +
                  registryLine("p", "PathToCache", cache.path() + "/"));
    EXPECT_THAT(childNames(build()), ElementsAre("p"));
}

TEST_F(CacheDataSourceBuild, PathsThatDifferInTrailingSlashesAreOneRoot) {
    cache.addProject("p");
    registerRoots(registryLine("p", "PathToCache", cache.path() + "/") +
                  registryLine("q", "PathToCache", cache.path()) +
                  registryLine("r", "PathToCache", cache.path() + "///"));
    EXPECT_THAT(childNames(build()), ElementsAre("p"));
    EXPECT_EQ(source.sources().roots, 1);
}

TEST_F(CacheDataSourceBuild, RootsFollowTheRegistrysOrder) {
    HandMadeCache first(root.path("z"));
    HandMadeCache second(root.path("a"));
    first.addProject("one");
    second.addProject("two");
    cache.addProject("three");
    registerRoots(registryLine("1", "PathToCache", first.path()) +
                  registryLine("2", "PathToCache", second.path()) +
                  registryLine("3", "PathToCache", first.path()) +
                  registryLine("4", "PathToCache", cache.path()));
    EXPECT_THAT(childNames(build()), ElementsAre("one", "two", "three"));
    EXPECT_EQ(source.sources().roots, 3);
}

TEST_F(CacheDataSourceBuild, EveryLevelHasTypePathParentAndRoot) {
    cache.addProject("/Jobs/Film.aep");
    cache.addComposition("/Jobs/Film.aep", "Main");
    cache.addFrame("/Jobs/Film.aep", "Main", "SPEC_RENDER", 0, 100, kDate);
    registerRoots(registryLine("p", "PathToCache", cache.path() + "//"));
    const FrameCacheEntry& tree = build();
    ASSERT_EQ(tree.getNumberOfChildren(), 1);
    const FrameCacheEntry* project = &childAt(tree, 0);
    EXPECT_EQ(project->getNodeType(), 2);
    EXPECT_EQ(project->getPath(), cache.projectPath("/Jobs/Film.aep"));
    EXPECT_EQ(project->getParent(), &tree);
    ASSERT_EQ(project->getNumberOfChildren(), 1);
    const FrameCacheEntry* composition = &childAt(*project, 0);
    EXPECT_EQ(composition->getNodeType(), 3);
    EXPECT_EQ(composition->getPath(), cache.compositionPath("/Jobs/Film.aep", "Main"));
    EXPECT_EQ(composition->getParent(), project);
    ASSERT_EQ(composition->getNumberOfChildren(), 1);
    const FrameCacheEntry* feature = &childAt(*composition, 0);
    EXPECT_EQ(feature->getNodeType(), 4);
    EXPECT_EQ(feature->getPath(), cache.compositionPath("/Jobs/Film.aep", "Main") + "/SPEC_RENDER");
    EXPECT_EQ(feature->getParent(), composition);
    for (const FrameCacheEntry* node : {project, composition, feature}) {
        EXPECT_EQ(node->getPathToRootCache(), cache.path());
    }
}

TEST_F(CacheDataSourceBuild, FeaturesAreMeasuredAndAddedUp) {
    cache.addProject("p");
    cache.addComposition("p", "c");
    cache.addFrame("p", "c", "PROXY", 0, 100, kDate);
    cache.addFrame("p", "c", "PROXY", 1, 200, kDate + 10);
    cache.addFrame("p", "c", "SPEC_RENDER", 0, 1000, kDate - 10);
    registerRoots(registryLine("p", "PathToCache", cache.path()));
    const FrameCacheEntry& tree = build();
    const FrameCacheEntry* composition = &childAt(childAt(tree, 0), 0);
    const FrameCacheEntry* proxy = &childNamed(*composition, "PROXY");
    EXPECT_EQ(proxy->getFileSize(), 300U);
    EXPECT_EQ(proxy->getFileCount(), 2);
    EXPECT_EQ(proxy->getModifiedTime(), kDate + 10);
    EXPECT_EQ(composition->getFileSizeString(), "1.27 KB");
    EXPECT_EQ(composition->getFileCountString(), "3");
    EXPECT_EQ(composition->getModifiedTime(), kDate + 10);
    EXPECT_EQ(tree.getFileSize(), 1300U);
    EXPECT_EQ(tree.getFileCount(), 3);
    EXPECT_EQ(tree.getModifiedTime(), kDate + 10);
}

TEST_F(CacheDataSourceBuild, AProjectWithoutCompositionsIsALeafWithoutNumbers) {
    cache.addProject("p");
    registerRoots(registryLine("p", "PathToCache", cache.path()));
    const FrameCacheEntry* project = &childAt(build(), 0);
    EXPECT_FALSE(source.outlineViewIsItemExpandable(project));
    EXPECT_EQ(project->getFileSizeString(), "0");
    EXPECT_EQ(project->getFileCountString(), "0");
    EXPECT_EQ(project->getLastModifiedTime(), "\?\?-\?\?-\?\?\?\?");
    FrameCacheEntry in1970;
    in1970.setModifiedTime(0);
    EXPECT_EQ(source.getRootNode()->getLastModifiedTime(), in1970.getLastModifiedTime());
}

TEST_F(CacheDataSourceBuild, AFeatureWithoutFilesIsAsNewAsTheReading) {
    cache.addProject("p");
    cache.addComposition("p", "c");
    corvid::test::makeDirectory(cache.compositionPath("p", "c") + "/PROXY");
    registerRoots(registryLine("p", "PathToCache", cache.path()));
    const std::time_t before = std::time(nullptr);
    const FrameCacheEntry* feature = &childAt(childAt(childAt(build(), 0), 0), 0);
    EXPECT_GE(feature->getModifiedTime(), before);
    EXPECT_LE(feature->getModifiedTime(), std::time(nullptr));
    EXPECT_EQ(feature->getFileSizeString(), "0 bytes");
    EXPECT_EQ(feature->getFileCountString(), "0");
}

TEST_F(CacheDataSourceBuild, AnyDirectoryInACompositionIsAFeature) {
    cache.addProject("p");
    cache.addComposition("p", "c");
    for (const char* feature : {"spec_render", ".thumbnails", "My Pass"}) {
        cache.addFrame("p", "c", feature, 0, 1, kDate);
    }
    registerRoots(registryLine("p", "PathToCache", cache.path()));
    EXPECT_THAT(childNames(childAt(childAt(build(), 0), 0)),
                UnorderedElementsAre("spec_render", ".thumbnails", "My Pass"));
}

TEST_F(CacheDataSourceBuild, ARootThatCannotBeReadGivesNoNodesAndOneError) {
    const std::string notADirectory = root.path("file");
    corvid::test::writeFile(notADirectory, "x");
    cache.addProject("p");
    registerRoots(registryLine("p", "PathToCache", notADirectory) +
                  registryLine("p", "PathToCache", cache.path()));
    EXPECT_THAT(childNames(build()), ElementsAre("p"));
    EXPECT_EQ(source.sources().roots, 2);
    EXPECT_EQ(source.sources().unreadableRoots, 1);
    EXPECT_TRUE(root.hasLogged("ERROR\tPrepareProjectList::GetDirectoryOrFileList( '" +
                               notADirectory + "/' ) failed\n"));
}

TEST_F(CacheDataSourceBuild, AnUnknownProjectDirectoryEndsTheWalkOfItsRoot) {
    cache.addProject("p");
    corvid::test::makeDirectory(cache.path() + "/unknown");
    registerRoots(registryLine("p", "PathToCache", cache.path()));
    const FrameCacheEntry& tree = build();
    const std::size_t before = childNames(tree).size(); // 1 when the unknown one is listed last
    std::vector<std::string> failures;
    for (const std::string& message : root.logMessages()) {
        if (message ==
            "ERROR\tGetNextItemInProjectList: FindOriginalProjectKeyGivenHash[unknown] failed\n") {
            failures.push_back(message);
        }
    }
    EXPECT_EQ(before + failures.size(), 2U);
    EXPECT_GE(failures.size(), 1U);
}

TEST_F(CacheDataSourceBuild, AnUnknownCompositionDirectoryEndsTheWalkOfItsProject) {
    cache.addProject("p");
    cache.addProject("q");
    cache.addComposition("p", "c");
    cache.addComposition("q", "c");
    corvid::test::makeDirectory(cache.projectPath("p") + "/unknown");
    registerRoots(registryLine("p", "PathToCache", cache.path()));
    const FrameCacheEntry& tree = build();
    ASSERT_EQ(tree.getNumberOfChildren(), 2);
    EXPECT_EQ(childNamed(tree, "q").getNumberOfChildren(), 1);
    EXPECT_LE(childNamed(tree, "p").getNumberOfChildren(), 1);
    EXPECT_TRUE(root.hasLogged("ERROR\tGetNextItemInCompositionList: "
                               "FindOriginalCompositionKeyGivenHash[unknown] failed\n"));
}

TEST_F(CacheDataSourceBuild, AProjectLineForAnotherDirectoryShowsWhereTheKeyLeads) {
    cache.addProject("real");
    cache.addComposition("real", "inside");
    const std::string elsewhere = cache.path() + "/0123456789abcdef0123456789abcdef";
    corvid::test::makeDirectory(elsewhere + "/" + hashOf("never seen"));
    cache.addProjectLine("0123456789abcdef0123456789abcdef", "real");
    registerRoots(registryLine("p", "PathToCache", cache.path()));
    const FrameCacheEntry& tree = build();
    ASSERT_THAT(childNames(tree), ElementsAre("real", "real"));
    for (int i = 0; i < 2; ++i) {
        EXPECT_THAT(childNames(childAt(tree, i)), ElementsAre("inside"));
    }
}

TEST_F(CacheDataSourceBuild, ACompositionLineForAnotherDirectoryShowsWhereTheKeyLeads) {
    cache.addProject("p");
    cache.addComposition("p", "real");
    cache.addFrame("p", "real", "PROXY", 0, 10, kDate);
    corvid::test::makeDirectory(cache.projectPath("p") + "/0123456789abcdef0123456789abcdef/OTHER");
    cache.addCompositionLine("0123456789abcdef0123456789abcdef", "real");
    registerRoots(registryLine("p", "PathToCache", cache.path()));
    const FrameCacheEntry* project = &childAt(build(), 0);
    ASSERT_THAT(childNames(*project), ElementsAre("real", "real"));
    for (int i = 0; i < 2; ++i) {
        EXPECT_THAT(childNames(childAt(*project, i)), ElementsAre("PROXY"));
    }
    EXPECT_EQ(project->getFileSize(), 20U);
}

// Opening a model on a key that the table does not lead to by its own hash adds that pair to the
// table, and the projects after it are read with it.
TEST_F(CacheDataSourceBuild, ALineAddedWhileOneProjectIsReadCountsForTheNext) {
    cache.addProject("p");
    cache.addProject("q");
    std::vector<std::string> inOrder;
    for (const auto& entry : std::filesystem::directory_iterator(cache.path())) {
        if (entry.is_directory()) {
            inOrder.push_back(entry.path().string());
        }
    }
    ASSERT_EQ(inOrder.size(), 2U);
    corvid::test::makeDirectory(inOrder[0] + "/0123456789abcdef0123456789abcdef");
    corvid::test::makeDirectory(inOrder[1] + "/" + hashOf("later"));
    cache.addCompositionLine("0123456789abcdef0123456789abcdef", "later");
    registerRoots(registryLine("p", "PathToCache", cache.path()));
    const FrameCacheEntry& tree = build();
    ASSERT_EQ(tree.getNumberOfChildren(), 2);
    EXPECT_THAT(childNames(childAt(tree, 0)), ElementsAre("later"));
    EXPECT_THAT(childNames(childAt(tree, 1)), ElementsAre("later"));
}

TEST_F(CacheDataSourceBuild, AReloadDropsTheTreeAndReadsTheDiskAgain) {
    cache.addProject("p");
    registerRoots(registryLine("p", "PathToCache", cache.path()));
    EXPECT_THAT(childNames(build()), ElementsAre("p"));
    cache.addProject("q");
    cache.addComposition("p", "c");
    source.reload();
    EXPECT_THAT(childNames(*source.getRootNode()), UnorderedElementsAre("p", "q"));
    EXPECT_THAT(childNames(childNamed(*source.getRootNode(), "p")), ElementsAre("c"));
    source.setShouldProvideData(false);
    source.reload();
    EXPECT_THAT(childNames(*source.getRootNode()), IsEmpty());
}

TEST_F(CacheDataSourceBuild, BuildingTwiceGivesTheSameTreeAndOtherwiseTouchesNothing) {
    cache.addProject("p");
    cache.addComposition("p", "c");
    cache.addFrame("p", "c", "PROXY", 0, 10, kDate);
    registerRoots(registryLine("p", "PathToCache", cache.path()));
    const std::time_t start = std::time(nullptr);
    const corvid::test::Snapshot before = corvid::test::snapshot(cache.path());
    const std::string first = corvid::test::treeText(build(), start);
    source.reload();
    EXPECT_EQ(corvid::test::treeText(*source.getRootNode(), start), first);
    EXPECT_EQ(corvid::test::snapshot(cache.path()), before);
}

} // namespace
