#include "store/KavroPISSFrameCache.h"

#include "files/owned_text.h"
#include "store/PISSMD5.h"
#include "store/cache_reading.h"
#include "tests/support/forked_child.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <vector>

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
    // As the reading of the whole cache dates it, 0 for now.
    static long measuredDate(const std::string& folder) {
        return corvid::measureDirectories({folder}).at(0).total().newest;
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

// The walk through the frames ends at -1, which is the number of such a name, too.
class FrameCacheMinusOneTest : public FrameCacheQueriesTest,
                               public ::testing::WithParamInterface<const char*> {};

TEST_P(FrameCacheMinusOneTest, EndsTheLookingForADate) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    const std::string folder = feature("p", "c", "PROXY");
    for (const char* name : {"a", GetParam(), "b", "c", "d", "e", "f", "g"}) {
        writeFile(folder + name, "");
    }
    ASSERT_EQ(1, model.PrepareFrameCacheList());
    long expected = 0;
    bool isEnded = false;
    bool hasMissed = false;
    for (long time = 1000000001;; ++time) { // later and later in the order of the listing
        char* path = nullptr;
        char* name = nullptr;
        model.GetNextItemInFrameCacheList(&path, &name);
        const corvid::OwnedText ownedPath(path);
        const corvid::OwnedText ownedName(name);
        if (name == nullptr) {
            break;
        }
        setTime(path, time);
        isEnded = isEnded || std::string(name) == GetParam();
        hasMissed = hasMissed || (isEnded && std::string(name) != GetParam());
        expected = isEnded ? expected : time;
    }
    ASSERT_TRUE(hasMissed) << "nothing stands behind the name in this file system's order";
    if (expected != 0) {
        EXPECT_EQ(expected, dateOf(model));
        EXPECT_EQ(expected, measuredDate(folder));
    } else {
        expectNow(model);
        EXPECT_EQ(0, measuredDate(folder));
    }
}

INSTANTIATE_TEST_SUITE_P(Names, FrameCacheMinusOneTest,
                         ::testing::Values("-1.raw", "-1", " -1", "-01", "\t-1 x"));

TEST_F(FrameCacheQueriesTest, ARelativeRootIsMeasuredWhereTheDirectoryCannotBeRead) {
    addFrame("p", "c", "PROXY", 1234);
    corvid::test::letOthersIn(root);
    ASSERT_EQ(0, ::chmod(cache().c_str(), 0755));
    ASSERT_EQ(0, ::chmod(root.path().c_str(), 0711));
    EXPECT_TRUE(corvid::test::holdsInChild([this] {
        return ::chdir(root.path().c_str()) == 0 && corvid::test::becomeNobody() &&
               ::open(".", O_RDONLY) < 0 && KavroPISSFrameCache("cache").GetSize() == 1234;
    }));
}

TEST_F(FrameCacheQueriesTest, ACompositionWithABlankBeforeItsNameHidesNoOther) {
    for (const char* composition : {"Comp 0", " Comp 1", "Comp 2"}) {
        addFrame("p", composition, "PROXY");
    }
    KavroPISSFrameCache model(cache().c_str(), "p");
    ASSERT_EQ(1, model.PrepareCompositionList());
    std::vector<std::string> names;
    char* path = nullptr;
    char* name = nullptr;
    while (model.GetNextItemInCompositionList(&path, &name) == 1) {
        const corvid::OwnedText ownedPath(path);
        const corvid::OwnedText ownedName(name);
        names.emplace_back(name);
    }
    EXPECT_THAT(names, ::testing::UnorderedElementsAre("Comp 0", "Comp 1", "Comp 2"));
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
