// A fourth feature is one line of the table: added to a copy of it, it is known wherever features
// are.

#include "store/features.h"

#include "store/KavroPISSFrameCache.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using corvid::featureOfDirectory;
using corvid::test::ProductTest;
using ::testing::ElementsAre;
using ::testing::StrEq;

namespace {

constexpr corvid::Feature kFour[] = {
    corvid::kKnownFeatures[0],
    corvid::kKnownFeatures[1],
    corvid::kKnownFeatures[2],
    {"DEPTH", "OLD_DEPTH", "Depth Pass", "Depth of Field", "."},
};

TEST(Features, AddedOnesHaveADirectory) {
    EXPECT_THAT(
        corvid::directoriesOf(kFour).names,
        ElementsAre(StrEq("SPEC_PREVIEW"), StrEq("SPEC_RENDER"), StrEq("PROXY"), StrEq("DEPTH")));
    EXPECT_THAT(KAVRO_FEATURE_SUBDIRS,
                ElementsAre(StrEq("SPEC_PREVIEW"), StrEq("SPEC_RENDER"), StrEq("PROXY")));
}

TEST(Features, AreKnownByTheirDirectoriesExactNames) {
    EXPECT_EQ(featureOfDirectory("DEPTH", kFour), &kFour[3]);
    EXPECT_EQ(featureOfDirectory("OLD_DEPTH", kFour), &kFour[3]);
    EXPECT_EQ(featureOfDirectory("DEPTH"), nullptr);
    EXPECT_EQ(featureOfDirectory("SPEC_PROXY"), &corvid::kKnownFeatures[2]);
    for (const char* stranger : {"", "proxy", "PROXY2", "PROX"}) {
        EXPECT_EQ(featureOfDirectory(stranger), nullptr) << stranger;
    }
}

class FeatureFrames : public ProductTest {};

TEST_F(FeatureFrames, OfAnAddedFeatureAreFoundAndTold) {
    const std::string cache = root.path("cache/");
    {
        KavroPISSFrameCache model(cache.c_str(), "p", "c", "DEPTH");
        model.TestFunctionToCreateAFrameFile(1);
    }
    KavroPISSFrameCache model(cache.c_str(), "p");

    EXPECT_EQ(0, model.DoesProjectHaveAnyCacheFiles("p"));
    EXPECT_EQ(1, model.DoesProjectHaveAnyCacheFiles("p", kFour));

    EXPECT_TRUE(root.hasLogged(
        "DoesProjectHaveAnyCacheFiles: Frames exist in the Depth of Field cache for Comp:c."));
}

} // namespace
