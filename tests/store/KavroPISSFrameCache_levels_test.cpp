#include "store/KavroPISSFrameCache.h"

#include "tests/support/failing_calls.h"
#include "tests/support/frame_cache_levels.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <map>
#include <string>

namespace {

using corvid::test::Call;
using corvid::test::FailNth;
using corvid::test::FrameCacheListingTest;
using corvid::test::kCompositions;
using corvid::test::kFeatures;
using corvid::test::kFrames;
using corvid::test::kProjects;
using corvid::test::Level;
using corvid::test::makeDirectory;
using corvid::test::stepOnce;
using corvid::test::Stepped;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string error(const std::string& text) {
    return "ERROR\t" + text;
}

class FrameCacheLevelTest : public FrameCacheListingTest,
                            public ::testing::WithParamInterface<Level> {
protected:
    Level level = GetParam();
};

TEST_P(FrameCacheLevelTest, PreparingWithoutThePathFails) {
    writeFile(root.productFile("Config.txt"), "");
    KavroPISSFrameCache model(false);
    root.clearLog();
    EXPECT_EQ(0, (model.*level.prepare)());
    EXPECT_EQ(0, (model.*level.count)());
    EXPECT_THAT(root.logMessages(), ElementsAre(error(std::string("Prepare") + level.name + ": " +
                                                      level.pathQuery + " failed\n")));
}

TEST_P(FrameCacheLevelTest, PreparingADirectoryThatIsGoneFails) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    ASSERT_EQ(1, (model.*level.prepare)());
    corvid::test::removeTree(cache());
    EXPECT_EQ(0, (model.*level.prepare)());
    EXPECT_EQ(0, (model.*level.count)());
    const std::map<std::string, std::string> directories{{"ProjectList", cache()},
                                                         {"CompositionList", project()},
                                                         {"FeatureList", composition()},
                                                         {"FrameCacheList", feature()}};
    EXPECT_THAT(
        root.logMessages(),
        ElementsAre(error(std::string("Prepare") + level.name + "::GetDirectoryOrFileList( '" +
                          directories.at(level.name) + "' ) failed\n")));
    EXPECT_EQ(level.failure, stepOnce(model, level.step).answer);
}

TEST_P(FrameCacheLevelTest, WantOfMemoryInListingFails) {
    writeFile(feature() + "00000001.raw", "");
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    const FailNth failing(Call::Malloc, 1, ENOMEM);
    EXPECT_EQ(0, (model.*level.prepare)());
    EXPECT_EQ(1, failing.failures());
    ASSERT_EQ(2U, root.logMessages().size());
    EXPECT_EQ(error("GetDirectoryOrFileList: malloc failed\n"), root.logMessages()[0]);
}

TEST_P(FrameCacheLevelTest, AnEmptyLevelHasNoItems) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    EXPECT_EQ(level.failure, stepOnce(model, level.step).answer);
    if (level.failure == 0) {
        corvid::test::removeTree(cache());
        makeDirectory(level.name == std::string("ProjectList")   ? cache()
                      : level.name == std::string("FeatureList") ? composition()
                                                                 : project());
    }
    EXPECT_EQ(1, (model.*level.prepare)());
    EXPECT_EQ(0, (model.*level.count)());
    const Stepped end = stepOnce(model, level.step);
    EXPECT_EQ(level.failure, end.answer);
    EXPECT_EQ("-", end.path);
    EXPECT_EQ("-", end.name);
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_P(FrameCacheLevelTest, BothResultPointersMustBeGiven) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    char* text = nullptr;
    EXPECT_EQ(level.failure, (model.*level.step)(nullptr, &text));
    EXPECT_EQ(level.failure, (model.*level.step)(&text, nullptr));
    EXPECT_THAT(root.logMessages(),
                ElementsAre(error(level.nullResults), error(level.nullResults)));
}

TEST_P(FrameCacheLevelTest, TheSizePointerMustBeGiven) {
    writeFile(feature() + "00000001.raw", "");
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    (model.*level.prepare)();
    char* path = nullptr;
    char* name = nullptr;
    EXPECT_EQ(level.failure, (model.*level.sizedStep)(&path, &name, nullptr));
    EXPECT_EQ(nullptr, path);
    EXPECT_THAT(root.logMessages(), ElementsAre(error(level.nullSize)));
    std::uint64_t size = 7;
    EXPECT_EQ(level.failure, (model.*level.sizedStep)(nullptr, &name, &size));
    EXPECT_EQ(0U, size);
}

TEST_P(FrameCacheLevelTest, WantOfMemoryInAStepFailsWithoutAdvancing) {
    writeFile(feature() + "00000001.raw", "");
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    (model.*level.prepare)();
    {
        const FailNth failing(Call::Strdup, 1, ENOMEM);
        const Stepped failed = stepOnce(model, level.step);
        EXPECT_EQ(level.failure, failed.answer);
        EXPECT_EQ("-", failed.path);
        EXPECT_EQ(1, failing.failures());
    }
    EXPECT_THAT(root.logMessages(), ElementsAre(error(std::string("GetNextItemIn") + level.name +
                                                      ": malloc failed\n")));
    EXPECT_EQ(1, stepOnce(model, level.step).answer);
}

// A model that has listed anything has a root, so that the project level always has its path.
class FrameCacheLowerLevelTest : public FrameCacheLevelTest {};

TEST_P(FrameCacheLowerLevelTest, SteppingWithoutThePathFails) {
    makeDirectory(cache() + "something");
    KavroPISSFrameCache model(cache().c_str());
    model.PrepareProjectList();
    EXPECT_EQ(level.failure, stepOnce(model, level.step).answer);
    EXPECT_THAT(root.logMessages(), ElementsAre(error(std::string("GetNextItemIn") + level.name +
                                                      ": Unable to " + level.pathQuery + "\n")));
}

INSTANTIATE_TEST_SUITE_P(AllBelowTheRoot, FrameCacheLowerLevelTest,
                         ::testing::Values(kCompositions, kFeatures, kFrames),
                         [](const ::testing::TestParamInfo<Level>& each) {
                             return std::string(each.param.name);
                         });

INSTANTIATE_TEST_SUITE_P(All, FrameCacheLevelTest,
                         ::testing::Values(kProjects, kCompositions, kFeatures, kFrames),
                         [](const ::testing::TestParamInfo<Level>& each) {
                             return std::string(each.param.name);
                         });

} // namespace
