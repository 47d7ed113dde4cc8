#include "store/KavroPISSFrameCache.h"

#include "store/PISSMD5.h"
#include "tests/support/product_root.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

using Query = int (KavroPISSFrameCache::*)(char*, int) const;
using corvid::hashOf;

class FrameCachePathsTest : public corvid::test::ProductTest {
protected:
    std::string cache() const { return root.path("cache/"); }
    std::string project() const { return cache() + hashOf("p") + "/"; }
    std::string composition() const { return project() + hashOf("c") + "/"; }
    static void expectPath(const KavroPISSFrameCache& model, Query query,
                           const std::string& expected) {
        char path[4096] = "unchanged";
        EXPECT_EQ(1, (model.*query)(path, sizeof(path)));
        EXPECT_EQ(expected, path);
    }
    static void expectNone(const KavroPISSFrameCache& model, Query query) {
        char path[64] = "unchanged";
        EXPECT_EQ(0, (model.*query)(path, sizeof(path)));
        EXPECT_STREQ("", path);
    }
};

TEST_F(FrameCachePathsTest, AFeatureHasEveryPath) {
    const KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    expectPath(model, &KavroPISSFrameCache::GetCompletePathToCacheRoot, cache());
    expectPath(model, &KavroPISSFrameCache::GetCompletePathToProject, project());
    expectPath(model, &KavroPISSFrameCache::GetCompletePathToComposition, composition());
    expectPath(model, &KavroPISSFrameCache::GetCompletePathToFrameCache, composition() + "PROXY/");
}

TEST_F(FrameCachePathsTest, ACompositionHasNoPathToAFeature) {
    const KavroPISSFrameCache model(cache().c_str(), "p", "c");
    expectPath(model, &KavroPISSFrameCache::GetCompletePathToComposition, composition());
    expectNone(model, &KavroPISSFrameCache::GetCompletePathToFrameCache);
}

TEST_F(FrameCachePathsTest, AProjectHasNoPathToACompositionOrFeature) {
    const KavroPISSFrameCache model(cache().c_str(), "p");
    expectPath(model, &KavroPISSFrameCache::GetCompletePathToProject, project());
    expectNone(model, &KavroPISSFrameCache::GetCompletePathToComposition);
    expectNone(model, &KavroPISSFrameCache::GetCompletePathToFrameCache);
}

TEST_F(FrameCachePathsTest, ARootHasNoOtherPath) {
    const KavroPISSFrameCache model(cache().c_str());
    expectPath(model, &KavroPISSFrameCache::GetCompletePathToCacheRoot, cache());
    expectNone(model, &KavroPISSFrameCache::GetCompletePathToProject);
    expectNone(model, &KavroPISSFrameCache::GetCompletePathToComposition);
    expectNone(model, &KavroPISSFrameCache::GetCompletePathToFrameCache);
}

TEST_F(FrameCachePathsTest, AModelWithoutARootHasNoPath) {
    corvid::test::writeFile(root.productFile("Config.txt"), "");
    const KavroPISSFrameCache model(false, "p", "c", "PROXY");
    expectNone(model, &KavroPISSFrameCache::GetCompletePathToCacheRoot);
    expectNone(model, &KavroPISSFrameCache::GetCompletePathToProject);
    expectNone(model, &KavroPISSFrameCache::GetCompletePathToComposition);
    expectNone(model, &KavroPISSFrameCache::GetCompletePathToFrameCache);
}

TEST_F(FrameCachePathsTest, TheCompositionHashDependsOnTheCompositionAlone) {
    const KavroPISSFrameCache model(cache().c_str(), "q", "c");
    expectPath(model, &KavroPISSFrameCache::GetCompletePathToComposition,
               cache() + hashOf("q") + "/" + hashOf("c") + "/");
}

TEST_F(FrameCachePathsTest, EveryQueryLeavesABufferThatIsNoneAlone) {
    const KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    for (const Query query : {&KavroPISSFrameCache::GetCompletePathToCacheRoot,
                              &KavroPISSFrameCache::GetCompletePathToProject,
                              &KavroPISSFrameCache::GetCompletePathToComposition,
                              &KavroPISSFrameCache::GetCompletePathToFrameCache}) {
        char path[] = "unchanged";
        EXPECT_EQ(0, (model.*query)(nullptr, 100));
        EXPECT_EQ(0, (model.*query)(path, 0));
        EXPECT_EQ(0, (model.*query)(path, -5));
        EXPECT_STREQ("unchanged", path);
    }
}

TEST_F(FrameCachePathsTest, APathThatIsTooLongIsCutSilently) {
    const KavroPISSFrameCache model(cache().c_str(), "p");
    char path[16];
    std::memset(path, '#', sizeof(path));
    EXPECT_EQ(1, model.GetCompletePathToProject(path, 10));
    EXPECT_EQ(project().substr(0, 9), path);
    EXPECT_EQ('#', path[10]);
    EXPECT_EQ(1, model.GetCompletePathToCacheRoot(path, 1));
    EXPECT_STREQ("", path);
    EXPECT_TRUE(root.logMessages().empty());
}

TEST_F(FrameCachePathsTest, AFeatureMayHaveAnyName) {
    const KavroPISSFrameCache model(cache().c_str(), "p", "c", "other feature");
    expectPath(model, &KavroPISSFrameCache::GetCompletePathToFrameCache,
               composition() + "other feature/");
}

TEST_F(FrameCachePathsTest, TheKnownFeaturesStandInTheirOrder) {
    ASSERT_EQ(3U, std::size(KAVRO_FEATURE_SUBDIRS));
    EXPECT_STREQ("SPEC_PREVIEW", KAVRO_FEATURE_SUBDIRS[0]);
    EXPECT_STREQ("SPEC_RENDER", KAVRO_FEATURE_SUBDIRS[1]);
    EXPECT_STREQ("PROXY", KAVRO_FEATURE_SUBDIRS[2]);
}

} // namespace
