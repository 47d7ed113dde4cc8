#include "store/KavroPISSFrameCache.h"

#include "store/PISSMD5.h"
#include "tests/support/failing_calls.h"
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
using corvid::test::exists;
using corvid::test::FailNth;
using corvid::test::makeDirectory;
using corvid::test::readFile;
using corvid::test::Snapshot;
using corvid::test::snapshot;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A cache with one project of one composition, beside a folder that nothing may touch.
class FrameCacheRemovalTest : public corvid::test::ProductTest {
protected:
    FrameCacheRemovalTest() {
        writeFile(root.path("guarded/inner/frame.raw"), "kept");
        writeFile(root.path("cache-guarded/frame.raw"), "kept");
        m_guarded = guarded();
        writeFile(feature() + "/00000001.raw", "one");
        writeFile(feature() + "/00000002.raw", "two");
        writeFile(composition() + "/PROXY/00000001.raw", "three");
        const KavroPISSFrameCache recorded(cache().c_str(), "p", "c");
        root.clearLog();
    }
    void TearDown() override { EXPECT_EQ(m_guarded, guarded()); }

    std::vector<Snapshot> guarded() const {
        return {snapshot(root.path("guarded")), snapshot(root.path("cache-guarded"))};
    }
    std::string cache() const { return root.path("cache/"); }
    std::string project() const { return cache() + hashOf("p"); }
    std::string composition() const { return project() + "/" + hashOf("c"); }
    std::string feature() const { return composition() + "/SPEC_RENDER"; }
    std::string readOnlyFile(const std::string& path) const {
        writeFile(path, "protected");
        EXPECT_EQ(0, ::chmod(path.c_str(), 0444));
        return path;
    }
    static std::string cannotDelete(const std::string& file) {
        return "ERROR\tDeleteDirectory: Failed to DeleteFile '" + file + "'\n";
    }
    static std::string cannotRecurse(const std::string& path) {
        return "ERROR\tDeleteDirectory: DeleteDirectory recursive call on " + path + " failed\n";
    }
    static std::string cannotList(const std::string& path) {
        return "ERROR\tDeleteDirectory::GetDirectoryOrFileList( '" + path + "' ) failed\n";
    }
    static std::string cannotRemove(const std::string& path) {
        return "ERROR\tDeleteDirectory: Failed to rmdirX top level '" + path + "'\n";
    }

private:
    std::vector<Snapshot> m_guarded;
};

// A model without a root, with keys all the same.
class FrameCacheRemovalWithoutRootTest : public FrameCacheRemovalTest {
protected:
    FrameCacheRemovalWithoutRootTest() { writeFile(root.productFile("Config.txt"), ""); }
};

TEST_F(FrameCacheRemovalTest, ADirectoryGoesWithEverythingInIt) {
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.DeleteDirectory(project().c_str()));
    EXPECT_FALSE(exists(project()));
    EXPECT_TRUE(exists(cache() + "ProjectHash.txt"));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(FrameCacheRemovalTest, AnEmptyDirectoryGoes) {
    makeDirectory(cache() + "empty");
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.DeleteDirectory((cache() + "empty").c_str()));
    EXPECT_FALSE(exists(cache() + "empty"));
}

TEST_F(FrameCacheRemovalTest, TheRootItselfCanBeRemoved) {
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.DeleteDirectory(cache().c_str()));
    EXPECT_FALSE(exists(root.path("cache")));
}

TEST_F(FrameCacheRemovalTest, APathMayHaveDoubledAndTrailingSeparators) {
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.DeleteDirectory((cache() + "//" + hashOf("p") + "//").c_str()));
    EXPECT_FALSE(exists(project()));
}

TEST_F(FrameCacheRemovalTest, APathOutsideTheRootIsRefused) {
    KavroPISSFrameCache model(cache().c_str());
    for (const std::string& path :
         {root.path("guarded"), root.path("cache-guarded"), root.path("cache"),
          root.path("./cache/"), std::string("/"), std::string("."), std::string()}) {
        root.clearLog();
        EXPECT_EQ(0, model.DeleteDirectory(path.c_str()));
        EXPECT_THAT(
            root.logMessages(),
            ElementsAre("ERROR\tDeleteDirectory: Failed sanity check on path of '" + path + "'\n"));
    }
    EXPECT_TRUE(exists(feature() + "/00000001.raw"));
}

TEST_F(FrameCacheRemovalTest, ANullPathIsRefused) {
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(0, model.DeleteDirectory(nullptr));
    EXPECT_THAT(root.logMessages(),
                ElementsAre("ERROR\tDeleteDirectory: Failed sanity check on path of ''\n"));
}

TEST_F(FrameCacheRemovalTest, AMissingDirectoryCannotBeListed) {
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(0, model.DeleteDirectory((cache() + "missing").c_str()));
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotList(cache() + "missing")));
}

TEST_F(FrameCacheRemovalTest, AFileIsNoDirectory) {
    KavroPISSFrameCache model(cache().c_str());
    const std::string file = feature() + "/00000001.raw";
    EXPECT_EQ(0, model.DeleteDirectory(file.c_str()));
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotList(file)));
    EXPECT_EQ("one", readFile(file));
}

TEST_F(FrameCacheRemovalTest, AReadOnlyFileStopsTheRemovalBeforeAnySubdirectory) {
    readOnlyFile(project() + "/protected");
    const Snapshot below = snapshot(composition());
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(0, model.DeleteDirectory(project().c_str()));
    EXPECT_EQ(below, snapshot(composition()));
    EXPECT_EQ("protected", readFile(project() + "/protected"));
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotDelete(project() + "/protected")));
}

TEST_F(FrameCacheRemovalTest, FilesGoBeforeSubdirectoriesAtEveryLevel) {
    writeFile(project() + "/file", "");
    writeFile(composition() + "/file", "");
    const std::string inner = composition() + "/only/inner";
    readOnlyFile(inner + "/protected");
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(0, model.DeleteDirectory(project().c_str()));
    EXPECT_FALSE(exists(project() + "/file"));
    EXPECT_FALSE(exists(composition() + "/file"));
    EXPECT_TRUE(exists(inner + "/protected"));
    EXPECT_THAT(root.logMessages(),
                ElementsAre(cannotDelete(inner + "/protected"), cannotRecurse(inner),
                            cannotRecurse(composition() + "/only"), cannotRecurse(composition())));
}

TEST_F(FrameCacheRemovalTest, AFileWithAnyWriteBitIsNotProtected) {
    for (const mode_t mode : {0200U, 0020U, 0002U}) {
        const std::string file = readOnlyFile(cache() + "sub/file");
        ASSERT_EQ(0, ::chmod(file.c_str(), mode));
        KavroPISSFrameCache model(cache().c_str());
        EXPECT_EQ(1, model.DeleteDirectory((cache() + "sub").c_str()));
        EXPECT_FALSE(exists(cache() + "sub"));
    }
}

TEST_F(FrameCacheRemovalTest, AFileThatTheSystemKeepsStopsTheRemoval) {
    KavroPISSFrameCache model(cache().c_str());
    const FailNth failing(Call::Unlink, 1, EACCES, "00000001.raw");
    EXPECT_EQ(0, model.DeleteDirectory(feature().c_str()));
    EXPECT_EQ(1, failing.failures());
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotDelete(feature() + "/00000001.raw")));
    EXPECT_EQ("one", readFile(feature() + "/00000001.raw"));
}

TEST_F(FrameCacheRemovalTest, ADirectoryThatTheSystemKeepsIsReported) {
    KavroPISSFrameCache model(cache().c_str());
    const FailNth failing(Call::RemoveDir, 1, EBUSY, hashOf("p"));
    EXPECT_EQ(0, model.DeleteDirectory(project().c_str()));
    EXPECT_EQ(1, failing.failures());
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotRemove(project())));
    EXPECT_TRUE(exists(project()));
    EXPECT_FALSE(exists(composition()));
}

TEST_F(FrameCacheRemovalTest, ASubdirectoryThatTheSystemKeepsEndsTheRemoval) {
    KavroPISSFrameCache model(cache().c_str());
    const FailNth failing(Call::RemoveDir, 1, EBUSY, "SPEC_RENDER");
    EXPECT_EQ(0, model.DeleteDirectory(composition().c_str()));
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotRemove(feature()), cannotRecurse(feature())));
    EXPECT_TRUE(exists(feature()));
}

TEST_F(FrameCacheRemovalTest, ASubdirectoryThatCannotBeOpenedEndsTheRemoval) {
    KavroPISSFrameCache model(cache().c_str());
    const FailNth failing(Call::Open, 1, EACCES, "SPEC_RENDER");
    EXPECT_EQ(0, model.DeleteDirectory(project().c_str()));
    EXPECT_EQ(1, failing.failures());
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotList(feature()), cannotRecurse(feature()),
                                                cannotRecurse(composition())));
    EXPECT_TRUE(exists(feature() + "/00000001.raw"));
}

TEST_F(FrameCacheRemovalTest, ProgressTellsTheFilesRemovedSoFar) {
    KavroPISSFrameCache model(cache().c_str());
    std::vector<std::uint64_t> told;
    model.setProgress([&told](std::uint64_t files) { told.push_back(files); });
    EXPECT_EQ(1, model.DeleteDirectory(project().c_str()));
    EXPECT_THAT(told, ElementsAre(1U, 2U, 3U));
}

TEST_F(FrameCacheRemovalTest, AProjectGoesButItsTableEntryStays) {
    const std::string table = readFile(cache() + "ProjectHash.txt");
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.DeleteProject("p"));
    EXPECT_FALSE(exists(project()));
    EXPECT_EQ(table, readFile(cache() + "ProjectHash.txt"));
    EXPECT_EQ(1, model.DoesProjectHashAlreadyExist(hashOf("p").c_str(), "p"));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(FrameCacheRemovalTest, AReadOnlyFileStopsTheRemovalOfItsProject) {
    makeDirectory(root.path("spare"));
    ASSERT_EQ(0, ::rename((composition() + "/PROXY").c_str(), root.path("spare/PROXY").c_str()));
    const std::string file = readOnlyFile(feature() + "/zzz/protected");
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(0, model.DeleteProject("p"));
    EXPECT_EQ("protected", readFile(file));
    EXPECT_THAT(
        root.logMessages(),
        ElementsAre(cannotDelete(file), cannotRecurse(feature() + "/zzz"), cannotRecurse(feature()),
                    cannotRecurse(composition()),
                    "ERROR\tDeleteProject: Failed to DeleteDirectory '" + project() + "'\n"));
}

TEST_F(FrameCacheRemovalTest, AProjectNeedsANameThatTheTableKnows) {
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(0, model.DeleteProject(nullptr));
    EXPECT_EQ(0, model.DeleteProject("unknown"));
    EXPECT_EQ(0, model.DeleteProject(hashOf("p").c_str()));
    EXPECT_THAT(root.logMessages(),
                ElementsAre("ERROR\tDeleteProject: projectName is null.",
                            "ERROR\tDeleteProject: FindProjectNameHashGivenKey[unknown] failed\n",
                            "ERROR\tDeleteProject: FindProjectNameHashGivenKey[" + hashOf("p") +
                                "] failed\n"));
    EXPECT_TRUE(exists(project()));
}

TEST_F(FrameCacheRemovalWithoutRootTest, AProjectCannotBeRemoved) {
    KavroPISSFrameCache model(false, "p");
    root.clearLog();
    EXPECT_EQ(0, model.DeleteProject("p"));
    EXPECT_THAT(root.logMessages(),
                ElementsAre("ERROR\tDeleteProject: Unable to GetCompletePathToCacheRoot\n"));
}

TEST_F(FrameCacheRemovalTest, ACompositionGoesFromThisProjectAlone) {
    const KavroPISSFrameCache other(cache().c_str(), "q", "c", "PROXY");
    KavroPISSFrameCache model(cache().c_str(), "p");
    EXPECT_EQ(1, model.DeleteComposition("c"));
    EXPECT_FALSE(exists(composition()));
    EXPECT_TRUE(exists(project()));
    EXPECT_TRUE(exists(cache() + hashOf("q") + "/" + hashOf("c") + "/PROXY"));
    EXPECT_EQ(1, model.DoesCompositionHashAlreadyExist(hashOf("c").c_str(), "c"));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(FrameCacheRemovalTest, ACompositionNeedsANameThatTheTableKnows) {
    KavroPISSFrameCache model(cache().c_str(), "p");
    EXPECT_EQ(0, model.DeleteComposition(nullptr));
    EXPECT_EQ(0, model.DeleteComposition("unknown"));
    EXPECT_THAT(
        root.logMessages(),
        ElementsAre("ERROR\tDeleteComposition: compositionName is null\n",
                    "ERROR\tDeleteComposition: FindCompositionNameHashGivenKey[unknown] failed\n"));
}

TEST_F(FrameCacheRemovalTest, ACompositionNeedsAProject) {
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(0, model.DeleteComposition("c"));
    EXPECT_THAT(root.logMessages(),
                ElementsAre("ERROR\tDeleteComposition: Unable to GetCompletePathToProject\n"));
    EXPECT_TRUE(exists(composition()));
}

TEST_F(FrameCacheRemovalTest, ACompositionThatIsNotThereFails) {
    KavroPISSFrameCache model(cache().c_str(), "q");
    EXPECT_EQ(0, model.DeleteComposition("c"));
    const std::string path = cache() + hashOf("q") + "/" + hashOf("c");
    EXPECT_THAT(
        root.logMessages(),
        ElementsAre(cannotList(path),
                    "ERROR\tDeleteComposition: Failed to DeleteDirectory '" + path + "'\n"));
}

TEST_F(FrameCacheRemovalTest, AFeatureGoesByItsName) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c");
    EXPECT_EQ(1, model.DeleteFeature("SPEC_RENDER"));
    EXPECT_FALSE(exists(feature()));
    EXPECT_TRUE(exists(composition() + "/PROXY/00000001.raw"));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(FrameCacheRemovalTest, AFeatureNeedsANameAndAComposition) {
    KavroPISSFrameCache model(cache().c_str(), "p");
    EXPECT_EQ(0, model.DeleteFeature(nullptr));
    EXPECT_EQ(0, model.DeleteFeature("SPEC_RENDER"));
    EXPECT_THAT(root.logMessages(),
                ElementsAre("ERROR\tDeleteFeature: featureName is null\n",
                            "ERROR\tDeleteFeature: Unable to GetCompletePathToComposition\n"));
    EXPECT_TRUE(exists(feature()));
}

TEST_F(FrameCacheRemovalTest, AFeatureThatIsNotThereFails) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c");
    EXPECT_EQ(0, model.DeleteFeature("SPEC_PREVIEW"));
    const std::string path = composition() + "/SPEC_PREVIEW";
    EXPECT_THAT(root.logMessages(),
                ElementsAre(cannotList(path),
                            "ERROR\tDeleteFeature: Failed to DeleteDirectory '" + path + "'\n"));
}

} // namespace
