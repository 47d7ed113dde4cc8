#include "store/KavroPISSFrameCache.h"

#include "runtime/maro_log.h"
#include "store/PISSMD5.h"
#include "tests/support/failing_calls.h"
#include "tests/support/forked_child.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using corvid::hashOf;
using corvid::test::Call;
using corvid::test::exists;
using corvid::test::FailNth;
using corvid::test::readFile;
using corvid::test::Snapshot;
using corvid::test::snapshot;
using corvid::test::startChild;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FrameCacheRemovalBulkTest : public corvid::test::ProductTest {
protected:
    FrameCacheRemovalBulkTest() {
        writeFile(root.path("guarded/00000001.raw"), "kept");
        m_guarded = snapshot(root.path("guarded"));
    }
    void TearDown() override { EXPECT_EQ(m_guarded, snapshot(root.path("guarded"))); }

    std::string cache() const { return root.path("cache/"); }
    std::string project() const { return cache() + hashOf("p") + "/"; }
    std::string composition() const { return project() + hashOf("c") + "/"; }
    std::string feature() const { return composition() + "PROXY/"; }
    static std::string cannotDelete(const std::string& file) {
        return "ERROR\tDeleteDirectory: Failed to DeleteFile '" + file + "'\n";
    }
    std::string cannotList() const {
        return "ERROR\tPrepareFrameCacheList::GetDirectoryOrFileList( '" + feature() +
               "' ) failed\n";
    }

private:
    Snapshot m_guarded;
};

TEST_F(FrameCacheRemovalBulkTest, AllFramesGoAndTheFeatureStays) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    writeFile(feature() + "00000001.raw", "1");
    writeFile(feature() + "notes.txt", "2");
    writeFile(feature() + ".hidden", "3");
    writeFile(feature() + "sub/00000002.raw", "4");
    ASSERT_EQ(1, model.PrepareFrameCacheList());
    EXPECT_EQ(1, model.DeleteAllFrames());
    EXPECT_THAT(snapshot(feature()), ElementsAre(::testing::Key("."), ::testing::Key("sub"),
                                                 ::testing::Key("sub/00000002.raw")));
    EXPECT_EQ(0, model.GetNumberOfFramesInFrameCache());
    char* path = nullptr;
    char* name = nullptr;
    EXPECT_EQ(-1, model.GetNextItemInFrameCacheList(&path, &name));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(FrameCacheRemovalBulkTest, RemovingAllFramesIsAnnouncedAtDeveloperLevel) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    setDevLoggingEnabled(true);
    EXPECT_EQ(1, model.DeleteAllFrames());
    EXPECT_THAT(root.logMessages(), ElementsAre("DEV\tIMPORTANT!!! DeleteAllFrames called"));
}

TEST_F(FrameCacheRemovalBulkTest, AllFramesNeedAFeature) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c");
    EXPECT_EQ(0, model.DeleteAllFrames());
    EXPECT_THAT(root.logMessages(),
                ElementsAre("ERROR\tDeleteAllFrames: GetCompletePathToFrameCache failed\n"));
}

TEST_F(FrameCacheRemovalBulkTest, AllFramesNeedADirectory) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    ASSERT_EQ(0, ::rmdir(feature().c_str()));
    EXPECT_EQ(0, model.DeleteAllFrames());
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotList()));
    EXPECT_EQ(0, model.GetNumberOfFramesInFrameCache());
}

TEST_F(FrameCacheRemovalBulkTest, AllFramesOfAFeatureThatIsALinkAreLeft) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    ASSERT_EQ(0, ::rmdir(feature().c_str()));
    ASSERT_EQ(0, ::symlink(root.path("guarded").c_str(), (composition() + "PROXY").c_str()));
    EXPECT_EQ(0, model.DeleteAllFrames());
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotList()));
}

TEST_F(FrameCacheRemovalBulkTest, AReadOnlyFrameStopsTheRemovalOfAllFrames) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    const std::string frame = feature() + "00000001.raw";
    writeFile(frame, "kept");
    ASSERT_EQ(0, ::chmod(frame.c_str(), 0444));
    EXPECT_EQ(0, model.DeleteAllFrames());
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotDelete(frame)));
    EXPECT_EQ("kept", readFile(frame));
}

TEST_F(FrameCacheRemovalBulkTest, AFrameThatTheSystemKeepsStopsTheRemovalOfAllFrames) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    writeFile(feature() + "00000001.raw", "kept");
    const FailNth failing(Call::Unlink, 1, EIO, "00000001.raw");
    EXPECT_EQ(0, model.DeleteAllFrames());
    EXPECT_EQ(1, failing.failures());
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotDelete(feature() + "00000001.raw")));
}

TEST_F(FrameCacheRemovalBulkTest, ALinkAmongTheFramesGoesAndItsTargetStays) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    ASSERT_EQ(0, ::symlink(root.path("guarded/00000001.raw").c_str(),
                           (feature() + "00000001.raw").c_str()));
    ASSERT_EQ(0, ::symlink(root.path("guarded").c_str(), (feature() + "folder").c_str()));
    EXPECT_EQ(1, model.DeleteAllFrames());
    EXPECT_THAT(snapshot(feature()), ElementsAre(::testing::Key(".")));
}

TEST_F(FrameCacheRemovalBulkTest, ProgressTellsTheFramesRemovedSoFar) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    writeFile(feature() + "00000001.raw", "");
    writeFile(feature() + "00000002.raw", "");
    std::vector<std::uint64_t> told;
    model.setProgress([&told](std::uint64_t files) { told.push_back(files); });
    EXPECT_EQ(1, model.DeleteAllFrames());
    EXPECT_THAT(told, ElementsAre(1U, 2U));
}

TEST_F(FrameCacheRemovalBulkTest, AllProjectsGoWithoutTheCallComingToItsEnd) {
    const std::string first = cache() + hashOf("a");
    const std::string second = cache() + hashOf("b");
    writeFile(first + "/c/f/00000001.raw", "");
    writeFile(second + "/c/f/00000001.raw", "");
    const KavroPISSFrameCache a(cache().c_str(), "a");
    const KavroPISSFrameCache b(cache().c_str(), "b");
    const pid_t child = startChild([this] {
        KavroPISSFrameCache model(cache().c_str());
        model.DeleteAllProjects();
        return true;
    });
    ASSERT_GT(child, 0);
    const std::string goesOn = "ERROR\tDeleteProject: projectName is null.";
    for (int i = 0; i < 1000 && (exists(first) || exists(second) || !root.hasLogged(goesOn)); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    int status = 0;
    EXPECT_EQ(0, ::waitpid(child, &status, WNOHANG)) << "the call has ended";
    ASSERT_EQ(0, ::kill(child, SIGKILL));
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_FALSE(exists(first));
    EXPECT_FALSE(exists(second));
    EXPECT_TRUE(root.hasLogged(goesOn));
}

TEST_F(FrameCacheRemovalBulkTest, AllCompositionsStay) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    const KavroPISSFrameCache other(cache().c_str(), "p", "d", "PROXY");
    writeFile(feature() + "00000001.raw", "kept");
    const Snapshot before = snapshot(cache());
    EXPECT_EQ(1, model.DeleteAllCompositions());
    EXPECT_EQ(before, snapshot(cache()));
    for (const std::string& key : {hashOf("c"), hashOf("d")}) {
        EXPECT_TRUE(root.hasLogged("ERROR\tDeleteComposition: FindCompositionNameHashGivenKey[" +
                                   key + "] failed\n"));
    }
}

TEST_F(FrameCacheRemovalBulkTest, AllFeaturesStay) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    writeFile(feature() + "00000001.raw", "kept");
    writeFile(composition() + "SPEC_RENDER/00000001.raw", "kept");
    const Snapshot before = snapshot(cache());
    EXPECT_EQ(1, model.DeleteAllFeatures());
    EXPECT_EQ(before, snapshot(cache()));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(FrameCacheRemovalBulkTest, WhatCannotBeListedIsAFailure) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    corvid::test::removeTree(cache() + hashOf("p"));
    EXPECT_EQ(0, model.DeleteAllCompositions());
    EXPECT_EQ(0, model.DeleteAllFeatures());
    EXPECT_THAT(root.logMessages(),
                ElementsAre("ERROR\tPrepareCompositionList::GetDirectoryOrFileList( '" + cache() +
                                hashOf("p") + "/' ) failed\n",
                            "ERROR\tPrepareFrameCacheList::GetDirectoryOrFileList( '" + feature() +
                                "' ) failed\n"));
}

TEST_F(FrameCacheRemovalBulkTest, AllFeaturesOfAModelWithoutAFeatureFail) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c");
    EXPECT_EQ(0, model.DeleteAllFeatures());
}

TEST_F(FrameCacheRemovalBulkTest, DeletingOneFrameDoesNothing) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    writeFile(feature() + "00000001.raw", "kept");
    EXPECT_EQ(1, model.DeleteFrame(1));
    EXPECT_EQ("kept", readFile(feature() + "00000001.raw"));
}

} // namespace
