#include "store/KavroPISSFrameCache.h"

#include "store/PISSMD5.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::hashOf;
using corvid::test::exists;
using corvid::test::makeDirectory;
using corvid::test::snapshot;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FrameCacheQueriesTest : public corvid::test::ProductTest {
protected:
    FrameCacheQueriesTest() { makeDirectory(cache()); }

    std::string cache() const { return root.path("cache/"); }
    std::string feature(const std::string& project, const std::string& composition,
                        const std::string& name) const {
        return cache() + hashOf(project) + "/" + hashOf(composition) + "/" + name + "/";
    }
    void addFrame(const std::string& project, const std::string& composition,
                  const std::string& name, std::size_t size = 0) const {
        KavroPISSFrameCache(cache().c_str(), project.c_str(), composition.c_str(), name.c_str());
        writeFile(feature(project, composition, name) + "00000001.raw", std::string(size, 'x'));
    }
    static void setTime(const std::string& path, std::time_t seconds) {
        timespec times[2] = {};
        times[0].tv_sec = times[1].tv_sec = seconds;
        ASSERT_EQ(0, ::utimensat(AT_FDCWD, path.c_str(), times, 0));
    }
    static long dateOf(KavroPISSFrameCache& model) {
        long date = -1;
        EXPECT_EQ(1, model.GetLastModifiedDateForFeature(&date));
        return date;
    }
    static void expectNow(KavroPISSFrameCache& model) {
        const long before = std::time(nullptr);
        const long date = dateOf(model);
        EXPECT_GE(date, before);
        EXPECT_LE(date, std::time(nullptr));
    }
};

TEST_F(FrameCacheQueriesTest, TheSizeIsThatOfAllProjects) {
    addFrame("p", "c", "PROXY", 1000);
    addFrame("p", "d", "SPEC_RENDER", 200);
    addFrame("q", "c", "PROXY", 30);
    writeFile(cache() + hashOf("q") + "/.hidden", "1234");
    EXPECT_EQ(1234U, KavroPISSFrameCache(cache().c_str()).GetSize());
}

TEST_F(FrameCacheQueriesTest, AnEmptyOrMissingRootHasNoSize) {
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(0U, model.GetSize());
    corvid::test::removeTree(cache());
    root.clearLog();
    EXPECT_EQ(0U, model.GetSize());
    EXPECT_THAT(root.logMessages(),
                ElementsAre("ERROR\tPrepareProjectList::GetDirectoryOrFileList( '" + cache() +
                            "' ) failed\n"));
}

TEST_F(FrameCacheQueriesTest, OnlyDirectoriesBeforeAnUnknownOneAddToTheSize) {
    for (const char* key : {"a", "b", "c", "d", "e"}) {
        addFrame(key, "c", "PROXY", 100);
    }
    writeFile(cache() + "unknown/file", std::string(7, 'x'));
    KavroPISSFrameCache model(cache().c_str());
    model.PrepareProjectList();
    std::uint64_t before = 0;
    for (;;) {
        char* path = nullptr;
        char* name = nullptr;
        const int isItem = model.GetNextItemInProjectList(&path, &name);
        std::free(path);
        std::free(name);
        if (isItem == 0) {
            break;
        }
        before += 100;
    }
    EXPECT_EQ(before, model.GetSize());
    EXPECT_TRUE(
        root.hasLogged("ERROR\tGetNextItemInProjectList: FindOriginalProjectKeyGivenHash[unknown] "
                       "failed\n"));
}

TEST_F(FrameCacheQueriesTest, TheNewestFrameGivesTheDate) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    const std::string directory = feature("p", "c", "PROXY");
    for (const char* name : {"00000001.raw", "00000002.raw", ".hidden", "notes.txt"}) {
        writeFile(directory + name, "");
        setTime(directory + name, 1'000'000'000);
    }
    EXPECT_EQ(1'000'000'000, dateOf(model));
    setTime(directory + "00000001.raw", 1'500'000'000);
    EXPECT_EQ(1'500'000'000, dateOf(model));
    setTime(directory + ".hidden", 1'600'000'000);
    EXPECT_EQ(1'600'000'000, dateOf(model));
}

TEST_F(FrameCacheQueriesTest, NestedDirectoriesDoNotGiveTheDate) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    const std::string directory = feature("p", "c", "PROXY");
    writeFile(directory + "00000001.raw", "");
    setTime(directory + "00000001.raw", 1'000'000'000);
    writeFile(directory + "nested/00000002.raw", "");
    EXPECT_EQ(1'000'000'000, dateOf(model));
}

TEST_F(FrameCacheQueriesTest, AFeatureWithoutFramesIsDatedNow) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    expectNow(model);
    corvid::test::removeTree(cache());
    expectNow(model);
    KavroPISSFrameCache project(cache().c_str(), "p");
    expectNow(project);
}

TEST_F(FrameCacheQueriesTest, FramesThatCannotBeAskedAreDatedNow) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    ASSERT_EQ(0, ::symlink("nowhere", (feature("p", "c", "PROXY") + "dead").c_str()));
    expectNow(model);
}

TEST_F(FrameCacheQueriesTest, AFrameExistsOnlyInThePreparedListing) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    const std::string directory = feature("p", "c", "PROXY");
    writeFile(directory + "00000012.raw", "");
    writeFile(directory + "00000013.raw", "");
    EXPECT_EQ(0, model.DoesFrameExist(12));
    model.PrepareFrameCacheList();
    EXPECT_EQ(1, model.DoesFrameExist(12));
    EXPECT_EQ(1, model.DoesFrameExist(13));
    EXPECT_EQ(0, model.DoesFrameExist(1));
    EXPECT_EQ(0, model.DoesFrameExist(0));
    EXPECT_EQ(0, model.DoesFrameExist(-1));
    writeFile(directory + "notes.txt", "");
    EXPECT_EQ(0, model.DoesFrameExist(0));
    model.PrepareFrameCacheList();
    EXPECT_EQ(1, model.DoesFrameExist(0));
    model.ReleaseFileDirectoryListIfUsed();
    EXPECT_EQ(0, model.DoesFrameExist(12));
}

TEST_F(FrameCacheQueriesTest, LookingForAFrameDoesNotMoveTheCursor) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    writeFile(feature("p", "c", "PROXY") + "00000012.raw", "");
    model.PrepareFrameCacheList();
    EXPECT_EQ(1, model.DoesFrameExist(12));
    char* path = nullptr;
    char* name = nullptr;
    EXPECT_EQ(12, model.GetNextItemInFrameCacheList(&path, &name));
    std::free(path);
    std::free(name);
    EXPECT_EQ(1, model.DoesFrameExist(12));
}

struct KnownFeature {
    const char* name;
    const char* message;
};

class FrameCacheHasFilesTest : public FrameCacheQueriesTest,
                               public ::testing::WithParamInterface<KnownFeature> {};

TEST_P(FrameCacheHasFilesTest, AFrameInAKnownFeatureIsFound) {
    addFrame("p", "comp 1", GetParam().name);
    KavroPISSFrameCache model(cache().c_str(), "p");
    EXPECT_EQ(1, model.DoesProjectHaveAnyCacheFiles("p"));
    EXPECT_THAT(root.logMessages(), ElementsAre(GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    Known, FrameCacheHasFilesTest,
    ::testing::Values(
        KnownFeature{"SPEC_PREVIEW", "DoesProjectHaveAnyCacheFiles: Frames exist in the Spec "
                                     "Preview cache for Comp:comp 1"},
        KnownFeature{"SPEC_RENDER", "DoesProjectHaveAnyCacheFiles: Frames exist in the Spec "
                                    "Render cache for Comp:comp 1."},
        KnownFeature{"PROXY", "DoesProjectHaveAnyCacheFiles: Frames exist in the Precomp Proxy "
                              "cache for Comp:comp 1."}),
    [](const ::testing::TestParamInfo<KnownFeature>& each) {
        return std::string(each.param.name);
    });

TEST_F(FrameCacheQueriesTest, OtherFeaturesHaveNoCacheFiles) {
    addFrame("p", "c", "SOMETHING");
    KavroPISSFrameCache model(cache().c_str(), "p");
    EXPECT_EQ(0, model.DoesProjectHaveAnyCacheFiles("p"));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(FrameCacheQueriesTest, LookingForCacheFilesCreatesTheKnownFeatures) {
    KavroPISSFrameCache(cache().c_str(), "p", "c", "SOMETHING");
    KavroPISSFrameCache model(cache().c_str(), "p");
    EXPECT_EQ(0, model.DoesProjectHaveAnyCacheFiles("p"));
    for (const char* name : KAVRO_FEATURE_SUBDIRS) {
        EXPECT_TRUE(exists(feature("p", "c", name)));
    }
}

TEST_F(FrameCacheQueriesTest, TheArgumentNamesTheProjectThatIsLookedInto) {
    addFrame("p", "c", "PROXY");
    KavroPISSFrameCache model(cache().c_str(), "p");
    EXPECT_EQ(0, model.DoesProjectHaveAnyCacheFiles("q"));
    EXPECT_TRUE(exists(feature("q", "c", "PROXY")));
    addFrame("q", "c", "PROXY");
    EXPECT_EQ(1, model.DoesProjectHaveAnyCacheFiles("q"));
}

TEST_F(FrameCacheQueriesTest, AProjectWithoutCompositionsHasNoCacheFiles) {
    KavroPISSFrameCache model(cache().c_str(), "p");
    EXPECT_EQ(0, model.DoesProjectHaveAnyCacheFiles("p"));
    makeDirectory(cache() + hashOf("p"));
    EXPECT_EQ(0, model.DoesProjectHaveAnyCacheFiles("p"));
    EXPECT_FALSE(exists(feature("p", "c", "PROXY")));
}

TEST_F(FrameCacheQueriesTest, AnUnknownCompositionEndsTheSearch) {
    makeDirectory(cache() + hashOf("p") + "/unknown");
    KavroPISSFrameCache model(cache().c_str(), "p");
    EXPECT_EQ(0, model.DoesProjectHaveAnyCacheFiles("p"));
}

TEST_F(FrameCacheQueriesTest, WithoutARootThereAreNoCacheFiles) {
    writeFile(root.productFile("Config.txt"), "");
    KavroPISSFrameCache model(false);
    root.clearLog();
    EXPECT_EQ(0, model.DoesProjectHaveAnyCacheFiles("p"));
    EXPECT_THAT(
        root.logMessages(),
        ElementsAre("ERROR\tDoesProjectHaveAnyCacheFiles: Unable to GetCompletePathToCacheRoot\n"));
}

TEST_F(FrameCacheQueriesTest, FramesAreWrittenByOtherCode) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    writeFile(feature("p", "c", "PROXY") + "00000001.raw", "");
    const auto before = snapshot(cache());
    EXPECT_EQ(1, model.AddFrame(2));
    EXPECT_EQ(1, model.DeleteFrame(1));
    EXPECT_EQ(1, model.StartTransaction());
    EXPECT_EQ(1, model.Commit());
    EXPECT_EQ(before, snapshot(cache()));
}

} // namespace
