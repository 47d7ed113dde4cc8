#include "MacCacheManager/CacheDataSource.h"

#include "store/KavroPISSFrameCache.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "tests/support/product_root.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

using corvid::test::ProductRoot;
using corvid::test::ProductTest;
using corvid::test::Snapshot;
using corvid::test::snapshot;

FrameCacheEntry* addTo(FrameCacheEntry& parent, int type, const char* name) {
    FrameCacheEntry* child = parent.addChild(std::make_unique<FrameCacheEntry>(type, name, name));
    child->setParent(&parent);
    return child;
}

// A composition whose features have these times.
std::unique_ptr<FrameCacheEntry> compositionWithTimes(const std::vector<int>& times) {
    auto node = std::make_unique<FrameCacheEntry>(3, "comp", "/comp");
    for (const int time : times) {
        addTo(*node, 4, "PROXY")->setModifiedTime(time);
    }
    return node;
}

class CacheDataSourceTest : public ProductTest {
protected:
    CacheDataSource source;
};

using CacheDataSourceStart = CacheDataSourceTest;

TEST_F(CacheDataSourceStart, IsABareRoot) {
    EXPECT_FALSE(source.shouldProvideData());
    const FrameCacheEntry* bare = source.getRootNode();
    ASSERT_NE(bare, nullptr);
    EXPECT_EQ(bare->getNodeType(), 0);
    EXPECT_STREQ(bare->getName(), "none");
    EXPECT_STREQ(bare->getPath(), "root");
    EXPECT_EQ(bare->getParent(), nullptr);
    EXPECT_EQ(bare->getPathToRootCache(), nullptr);
    EXPECT_EQ(source.outlineViewNumberOfChildrenOfItem(nullptr), 0);
}

TEST_F(CacheDataSourceStart, ReloadWithoutTheSwitchTouchesNothing) {
    const std::string cache = root.path("cache");
    corvid::test::writeFile(root.productFile("FrameCache.cvp"),
                            "0123456789abcdef0123456789abcdef string\tPathToCache " + cache + "\n");
    const Snapshot before = snapshot(root.path());
    source.reload();
    EXPECT_EQ(source.outlineViewNumberOfChildrenOfItem(nullptr), 0);
    EXPECT_EQ(snapshot(root.path()), before);
    EXPECT_TRUE(root.logMessages().empty());
}

TEST_F(CacheDataSourceStart, TheSwitchAloneReadsNothing) {
    source.setShouldProvideData(true);
    EXPECT_TRUE(source.shouldProvideData());
    EXPECT_EQ(source.outlineViewNumberOfChildrenOfItem(nullptr), 0);
}

TEST_F(CacheDataSourceStart, TestDataIsNone) {
    source.createTestData();
    EXPECT_EQ(source.outlineViewNumberOfChildrenOfItem(nullptr), 0);
}

// The spinner's calls, as letters.
class Recorder : public corvid::BuildIndicator {
public:
    void startAnimation() override { calls += 's'; }
    void showFilesRead(std::uint64_t /*files*/) override { calls += 'f'; }
    void stopAnimation() override { calls += 'e'; }
    std::string calls;
};

TEST_F(CacheDataSourceStart, TheSpinnerTurnsOnlyWhileATreeIsBuilt) {
    Recorder spinner;
    source.setProgressSpinner(&spinner);
    source.reload();
    EXPECT_EQ(spinner.calls, "");
    source.setShouldProvideData(true);
    source.reload();
    ASSERT_GE(spinner.calls.size(), 2U);
    EXPECT_EQ(spinner.calls.front(), 's');
    EXPECT_EQ(spinner.calls.back(), 'e');
}

class Stopper : public Recorder {
public:
    explicit Stopper(CacheDataSource& source) : m_source(source) {}
    void startAnimation() override { m_source.stopReading(); }

private:
    CacheDataSource& m_source;
};

TEST_F(CacheDataSourceStart, AStoppedBuildLeavesTheTreeThatWasThere) {
    KavroPISSFrameCacheRegistry registry;
    registry.Add("/Projects/A.aep", "PathToCache", root.path("cache").c_str());
    ASSERT_EQ(registry.Commit(), 1);
    const KavroPISSFrameCache made(root.path("cache").c_str(), "/Projects/A.aep", "Main", "PROXY");
    Stopper stopper(source);
    source.setShouldProvideData(true);
    source.setProgressSpinner(&stopper);
    source.reload();
    EXPECT_EQ(source.getRootNode()->getNumberOfChildren(), 0);
    EXPECT_TRUE(source.sources().isStopped);
    source.setProgressSpinner(nullptr);
    source.reload();
    EXPECT_FALSE(source.sources().isStopped);
    const FrameCacheEntry* built = source.getRootNode();
    ASSERT_EQ(built->getNumberOfChildren(), 1);
    source.setProgressSpinner(&stopper);
    source.reload();
    EXPECT_EQ(source.getRootNode(), built);
    EXPECT_EQ(built->getNumberOfChildren(), 1);
    EXPECT_TRUE(source.sources().isStopped);
}

using CacheDataSourceOutline = CacheDataSourceTest;

TEST_F(CacheDataSourceOutline, NoItemStandsForTheRoot) {
    FrameCacheEntry* project = addTo(*source.getRootNode(), 2, "/Jobs/Film.aep");
    EXPECT_EQ(source.outlineViewNumberOfChildrenOfItem(nullptr), 1);
    EXPECT_EQ(source.outlineViewChildOfItem(0, nullptr), project);
}

TEST_F(CacheDataSourceOutline, NoItemIsNotExpandable) {
    addTo(*source.getRootNode(), 2, "/Jobs/Film.aep");
    EXPECT_FALSE(source.outlineViewIsItemExpandable(nullptr));
}

TEST_F(CacheDataSourceOutline, AnItemIsExpandableByItsChildren) {
    FrameCacheEntry* project = addTo(*source.getRootNode(), 2, "/Jobs/Film.aep");
    EXPECT_FALSE(source.outlineViewIsItemExpandable(project));
    FrameCacheEntry* composition = addTo(*project, 3, "Main");
    EXPECT_TRUE(source.outlineViewIsItemExpandable(project));
    EXPECT_EQ(source.outlineViewNumberOfChildrenOfItem(project), 1);
    EXPECT_EQ(source.outlineViewChildOfItem(0, project), composition);
}

TEST_F(CacheDataSourceOutline, ColumnsShowWhatTheirIdentifiersSay) {
    FrameCacheEntry node(4, "folder/SPEC_PREVIEW", "/cache/a/b/SPEC_PREVIEW");
    node.setFileSize(2048);
    node.setFileCount(12);
    node.setModifiedTime(1000000000);
    const auto shown = [&](const char* identifier) {
        return source.outlineViewObjectValueForTableColumn(QString::fromLatin1(identifier), &node);
    };
    EXPECT_EQ(shown("path"), "/cache/a/b/SPEC_PREVIEW");
    EXPECT_EQ(shown("file_count"), "12");
    EXPECT_EQ(shown("file_size"), "2.00 KB");
    EXPECT_EQ(shown("modified"), node.getLastModifiedTime());
    EXPECT_EQ(shown("cache_type"), "Spec Preview");
    EXPECT_EQ(shown("name"), "folder/SPEC_PREVIEW");
    EXPECT_EQ(shown("PATH"), "folder/SPEC_PREVIEW");
    EXPECT_EQ(shown(""), "folder/SPEC_PREVIEW");
}

TEST_F(CacheDataSourceOutline, ProjectsAndCompositionsShowTheirOwnNameAsKind) {
    const FrameCacheEntry project(2, "/Jobs/Film.aep", "/cache/hash");
    const FrameCacheEntry composition(3, "Main Comp", "/cache/hash/hash");
    EXPECT_EQ(source.outlineViewObjectValueForTableColumn("cache_type", &project), "Film.aep");
    EXPECT_EQ(source.outlineViewObjectValueForTableColumn("cache_type", &composition), "Main Comp");
}

TEST_F(CacheDataSourceOutline, ANodeWithoutANameShowsADash) {
    const FrameCacheEntry node;
    EXPECT_EQ(source.outlineViewObjectValueForTableColumn("cache_type", &node), "-");
    EXPECT_EQ(source.outlineViewObjectValueForTableColumn("path", &node), "");
    EXPECT_EQ(source.outlineViewObjectValueForTableColumn("name", &node), "");
}

TEST(CacheDataSourceTotals, OfNothingAreZero) {
    EXPECT_EQ(CacheDataSource::calculateFilesizeForNode(nullptr), 0U);
    EXPECT_EQ(CacheDataSource::calculateFilecountForNode(nullptr), 0);
    EXPECT_EQ(CacheDataSource::calculateLastModifiedForNode(nullptr), 0);
}

TEST(CacheDataSourceTotals, OfALeafAreItsOwnAndLeaveItAlone) {
    FrameCacheEntry bare(2, "project", "/project");
    EXPECT_EQ(CacheDataSource::calculateFilesizeForNode(&bare), 0U);
    EXPECT_EQ(CacheDataSource::calculateFilecountForNode(&bare), 0);
    EXPECT_EQ(CacheDataSource::calculateLastModifiedForNode(&bare), 0);
    EXPECT_EQ(bare.getFileSizeString(), "0");
    EXPECT_EQ(bare.getFileCountString(), "0");
    EXPECT_EQ(bare.getLastModifiedTime(), "\?\?-\?\?-\?\?\?\?");
    FrameCacheEntry feature(4, "PROXY", "/project/PROXY");
    feature.setFileSize(7);
    feature.setFileCount(8);
    feature.setModifiedTime(-9);
    EXPECT_EQ(CacheDataSource::calculateFilesizeForNode(&feature), 7U);
    EXPECT_EQ(CacheDataSource::calculateFilecountForNode(&feature), 8);
    EXPECT_EQ(CacheDataSource::calculateLastModifiedForNode(&feature), -9);
}

TEST(CacheDataSourceTotals, AddUpOverEveryLevelAndAreStored) {
    FrameCacheEntry project(2, "project", "/project");
    for (int c = 0; c < 2; ++c) {
        FrameCacheEntry* composition = addTo(project, 3, "comp");
        for (int f = 1; f <= 3; ++f) {
            FrameCacheEntry* feature = addTo(*composition, 4, "PROXY");
            feature->setFileSize(static_cast<std::uint64_t>(1000 * f));
            feature->setFileCount(10 * f);
            feature->setModifiedTime(100 * f + c);
        }
    }
    EXPECT_EQ(CacheDataSource::calculateFilesizeForNode(&project), 12000U);
    EXPECT_EQ(CacheDataSource::calculateFilecountForNode(&project), 120);
    EXPECT_EQ(CacheDataSource::calculateLastModifiedForNode(&project), 301);
    EXPECT_EQ(project.getFileSizeString(), "11.72 KB");
    EXPECT_EQ(project.getFileCountString(), "120");
    EXPECT_EQ(project.getChildAt(0)->getFileSize(), 6000U);
    EXPECT_EQ(project.getChildAt(0)->getFileCount(), 60);
    EXPECT_EQ(project.getChildAt(0)->getModifiedTime(), 300);
}

TEST(CacheDataSourceTotals, GoRoundWhereTheNumbersEnd) {
    FrameCacheEntry node(3, "comp", "/comp");
    for (int i = 0; i < 2; ++i) {
        FrameCacheEntry* feature = addTo(node, 4, "PROXY");
        feature->setFileSize(std::numeric_limits<std::uint64_t>::max());
        feature->setFileCount(std::numeric_limits<int>::max());
    }
    EXPECT_EQ(CacheDataSource::calculateFilesizeForNode(&node),
              std::numeric_limits<std::uint64_t>::max() - 1);
    EXPECT_EQ(CacheDataSource::calculateFilecountForNode(&node), -2);
}

TEST(CacheDataSourceTotals, TheNewestChildDatesTheParent) {
    const auto node = compositionWithTimes({100, 50});
    EXPECT_EQ(CacheDataSource::calculateLastModifiedForNode(node.get()), 100);
    EXPECT_EQ(node->getModifiedTime(), 100);
}

TEST(CacheDataSourceTotals, ParentOfUndatedChildrenShows1970) {
    const auto node = compositionWithTimes({0, 0});
    EXPECT_EQ(CacheDataSource::calculateLastModifiedForNode(node.get()), 0);
    FrameCacheEntry in1970;
    in1970.setModifiedTime(0);
    EXPECT_EQ(node->getLastModifiedTime(), in1970.getLastModifiedTime());
}

TEST(CacheDataSourceTotals, TimesBefore1970CountAs1970InTheParent) {
    const auto node = compositionWithTimes({-100, -50});
    EXPECT_EQ(CacheDataSource::calculateLastModifiedForNode(node.get()), 0);
}

struct Stripped {
    const char* path;
    const char* stripped;
};

class StripTrailingSlashes : public ::testing::TestWithParam<Stripped> {};

TEST_P(StripTrailingSlashes, NeverTakesTheFirstCharacter) {
    std::string path = GetParam().path;
    CacheDataSource::stripTrailingSlashes(path.data());
    EXPECT_STREQ(path.c_str(), GetParam().stripped);
}

INSTANTIATE_TEST_SUITE_P(Paths, StripTrailingSlashes,
                         ::testing::Values(Stripped{"/a/b//", "/a/b"}, Stripped{"/a/b", "/a/b"},
                                           Stripped{"/", "/"}, Stripped{"//", "/"},
                                           Stripped{"////", "/"}, Stripped{"", ""},
                                           Stripped{"a", "a"}, Stripped{"a/", "a"},
                                           Stripped{"/a//b/", "/a//b"}, Stripped{"a/ ", "a/ "}));

} // namespace
