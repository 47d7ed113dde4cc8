#include "store/KavroPISSFrameCache.h"

#include "tests/support/frame_cache_levels.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::hashOf;
using corvid::test::FrameCacheListingTest;
using corvid::test::kCompositions;
using corvid::test::kFeatures;
using corvid::test::kFrames;
using corvid::test::kProjects;
using corvid::test::Level;
using corvid::test::makeDirectory;
using corvid::test::stepOnce;
using corvid::test::Stepped;
using corvid::test::stepSized;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

std::string error(const std::string& text) {
    return "ERROR\t" + text;
}

// Every item that a prepared level gives: path -> name.
std::map<std::string, std::string> items(KavroPISSFrameCache& model, const Level& level) {
    std::map<std::string, std::string> all;
    for (;;) {
        const Stepped item = stepOnce(model, level.step);
        if (item.name == "-") {
            EXPECT_EQ(level.failure, item.answer);
            return all;
        }
        all[item.path] = item.name;
    }
}

TEST_F(FrameCacheListingTest, ProjectsAreListedWithTheirKeys) {
    makeDirectory(cache() + hashOf("p"));
    makeDirectory(cache() + hashOf("q q"));
    writeFile(cache() + "a file", "");
    writeFile(cache() + "ProjectHash.txt", hashOf("p") + " p\n" + hashOf("q q") + " q q\n");
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.PrepareProjectList());
    EXPECT_EQ(2, model.GetNumberOfProjects());
    EXPECT_THAT(items(model, kProjects), ElementsAre(Pair(cache() + hashOf("p"), "p"),
                                                     Pair(cache() + hashOf("q q"), "q q")));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(FrameCacheListingTest, CompositionsAreListedWithTheirKeys) {
    makeDirectory(project() + hashOf("comp 1"));
    writeFile(cache() + "CompositionHash.txt", hashOf("comp 1") + " comp 1\n");
    KavroPISSFrameCache model(cache().c_str(), "p");
    EXPECT_EQ(1, model.PrepareCompositionList());
    EXPECT_EQ(1, model.GetNumberOfCompositions());
    const Stepped item = stepOnce(model, kCompositions.step);
    EXPECT_EQ(1, item.answer);
    EXPECT_EQ(project() + hashOf("comp 1"), item.path);
    EXPECT_EQ("comp 1", item.name);
}

TEST_F(FrameCacheListingTest, FeaturesAreListedByTheirNamesKnownOrNot) {
    for (const char* name : {"SPEC_RENDER", "something else", ".hidden"}) {
        makeDirectory(composition() + name);
    }
    writeFile(composition() + "file", "");
    KavroPISSFrameCache model(cache().c_str(), "p", "c");
    EXPECT_EQ(1, model.PrepareFeatureList());
    EXPECT_EQ(3, model.GetNumberOfFeatures());
    EXPECT_THAT(items(model, kFeatures),
                UnorderedElementsAre(Pair(composition() + "SPEC_RENDER", "SPEC_RENDER"),
                                     Pair(composition() + "something else", "something else"),
                                     Pair(composition() + ".hidden", ".hidden")));
}

TEST_F(FrameCacheListingTest, FramesAreFilesHiddenOnesAndLinksIncluded) {
    writeFile(feature() + "00000007.raw", "");
    writeFile(feature() + ".hidden", "");
    makeDirectory(feature() + "directory");
    ASSERT_EQ(0, ::symlink("directory", (feature() + "link").c_str()));
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    EXPECT_EQ(1, model.PrepareFrameCacheList());
    EXPECT_EQ(3, model.GetNumberOfFramesInFrameCache());
    EXPECT_THAT(items(model, kFrames),
                UnorderedElementsAre(Pair(feature() + "00000007.raw", "00000007.raw"),
                                     Pair(feature() + ".hidden", ".hidden"),
                                     Pair(feature() + "link", "link")));
}

TEST_F(FrameCacheListingTest, AFrameStepAnswersTheNumberInTheName) {
    const std::vector<std::pair<std::string, int>> frames{
        {"00000007.raw", 7}, {"notes.txt", 0},   {"12345678.raw", 12345678}, {"42", 42},
        {"3.4.raw", 3},      {".hidden.raw", 0}, {"15abc.raw", 15},          {"00000000.raw", 0}};
    for (const auto& [name, number] : frames) {
        corvid::test::removeTree(cache());
        writeFile(feature() + name, "");
        KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
        ASSERT_EQ(1, model.PrepareFrameCacheList());
        const Stepped item = stepOnce(model, kFrames.step);
        EXPECT_EQ(number, item.answer) << name;
        EXPECT_EQ(name, item.name);
        EXPECT_EQ(-1, stepOnce(model, kFrames.step).answer);
    }
}

TEST_F(FrameCacheListingTest, AnUnknownDirectoryEndsTheWalkAtItself) {
    makeDirectory(cache() + "unknown");
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.PrepareProjectList());
    EXPECT_EQ(1, model.GetNumberOfProjects());
    for (int i = 0; i < 3; ++i) {
        const Stepped item = stepOnce(model, kProjects.step);
        EXPECT_EQ(0, item.answer);
        EXPECT_EQ(cache() + "unknown", item.path);
        EXPECT_EQ("-", item.name);
    }
    const std::string message =
        error("GetNextItemInProjectList: FindOriginalProjectKeyGivenHash[unknown] failed\n");
    EXPECT_THAT(root.logMessages(), ElementsAre(message, message, message));
}

TEST_F(FrameCacheListingTest, AnUnknownCompositionEndsTheWalkAtItself) {
    makeDirectory(project() + "unknown");
    KavroPISSFrameCache model(cache().c_str(), "p");
    EXPECT_EQ(1, model.PrepareCompositionList());
    EXPECT_EQ(0, stepOnce(model, kCompositions.step).answer);
    EXPECT_EQ(0, stepOnce(model, kCompositions.step).answer);
    const std::string message = error(
        "GetNextItemInCompositionList: FindOriginalCompositionKeyGivenHash[unknown] failed\n");
    EXPECT_THAT(root.logMessages(), ElementsAre(message, message));
}

TEST_F(FrameCacheListingTest, OnlyTheDirectoriesBeforeAnUnknownOneAreGiven) {
    std::string table;
    for (const char* key : {"a", "b", "c", "d", "e"}) {
        makeDirectory(cache() + hashOf(key));
        table += hashOf(key) + " " + key + "\n";
    }
    makeDirectory(cache() + "unknown");
    writeFile(cache() + "ProjectHash.txt", table);
    sDirectoryOrFileListEntry* head = nullptr;
    sDirectoryOrFileListEntry* tail = nullptr;
    int count = 0;
    PISSGetDirectoryOrFileList(cache().c_str(), 1, &head, &tail, &count);
    corvid::NameList listed;
    listed.adopt(head, tail, static_cast<std::size_t>(count));
    std::size_t before = 0;
    while (std::string(listed.next()->name) != "unknown") {
        ++before;
    }
    KavroPISSFrameCache model(cache().c_str());
    model.PrepareProjectList();
    EXPECT_EQ(6, model.GetNumberOfProjects());
    std::size_t given = 0;
    while (stepOnce(model, kProjects.step).answer == 1) {
        ++given;
    }
    EXPECT_EQ(before, given);
}

TEST_F(FrameCacheListingTest, PreparingAnyLevelEndsTheListingBefore) {
    writeFile(feature() + "00000001.raw", "");
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    EXPECT_EQ(1, model.PrepareFrameCacheList());
    EXPECT_EQ(1, model.PrepareFeatureList());
    EXPECT_EQ("PROXY", stepOnce(model, kFeatures.step).name);
    EXPECT_EQ(0, stepOnce(model, kFeatures.step).answer);
    EXPECT_EQ(-1, stepOnce(model, kFrames.step).answer);
    EXPECT_EQ(1, model.GetNumberOfFramesInFrameCache());
    EXPECT_EQ(1, model.GetNumberOfFeatures());
}

TEST_F(FrameCacheListingTest, ReleasingTheListingLeavesNothingToStep) {
    makeDirectory(composition() + "PROXY");
    KavroPISSFrameCache model(cache().c_str(), "p", "c");
    model.ReleaseFileDirectoryListIfUsed();
    model.PrepareFeatureList();
    model.ReleaseFileDirectoryListIfUsed();
    EXPECT_EQ(0, stepOnce(model, kFeatures.step).answer);
    EXPECT_THAT(root.logMessages(), IsEmpty());
    EXPECT_EQ(1, model.PrepareFeatureList());
    EXPECT_EQ("PROXY", stepOnce(model, kFeatures.step).name);
}

TEST_F(FrameCacheListingTest, SizedStepsOfProjectsAndCompositionsGiveTheSizeOfTheDirectory) {
    writeFile(feature() + "00000001.raw", std::string(1000, 'x'));
    writeFile(feature() + "nested/.hidden", std::string(234, 'x'));
    KavroPISSFrameCache model(cache().c_str(), "p", "c");
    std::uint64_t size = 7;
    model.PrepareProjectList();
    const Stepped atProject = stepSized(model, kProjects.sizedStep, size);
    EXPECT_EQ(1, atProject.answer);
    EXPECT_EQ("p", atProject.name);
    EXPECT_EQ(1234U, size);
    model.PrepareCompositionList();
    size = 7;
    const Stepped atComposition = stepSized(model, kCompositions.sizedStep, size);
    EXPECT_EQ(1, atComposition.answer);
    EXPECT_EQ("c", atComposition.name);
    EXPECT_EQ(1234U, size);
    EXPECT_EQ(0, stepSized(model, kCompositions.sizedStep, size).answer);
    EXPECT_EQ(0U, size);
}

TEST_F(FrameCacheListingTest, TheSizedFeatureStepTakesTheCompositionStep) {
    writeFile(feature() + "00000001.raw", std::string(1000, 'x'));
    KavroPISSFrameCache model(cache().c_str(), "p", "c");
    model.PrepareCompositionList();
    std::uint64_t size = 7;
    const Stepped item = stepSized(model, kFeatures.sizedStep, size);
    EXPECT_EQ(1, item.answer);
    EXPECT_EQ(project() + hashOf("c"), item.path);
    EXPECT_EQ("c", item.name);
    EXPECT_EQ(1000U, size);
    model.PrepareFeatureList();
    EXPECT_EQ(0, stepSized(model, kFeatures.sizedStep, size).answer);
    EXPECT_EQ(0U, size);
    EXPECT_THAT(root.logMessages(),
                ElementsAre(error("GetNextItemInCompositionList: "
                                  "FindOriginalCompositionKeyGivenHash[PROXY] failed\n")));
}

TEST_F(FrameCacheListingTest, TheSizedFrameStepTakesTheCompositionStepToo) {
    writeFile(feature() + "00000005.raw", std::string(1000, 'x'));
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    model.PrepareCompositionList();
    std::uint64_t size = 7;
    const Stepped item = stepSized(model, kFrames.sizedStep, size);
    EXPECT_EQ(1, item.answer);
    EXPECT_EQ("c", item.name);
    struct stat status {};
    ASSERT_EQ(0, ::stat((project() + hashOf("c")).c_str(), &status));
    EXPECT_EQ(static_cast<std::uint64_t>(status.st_size), size);
    EXPECT_EQ(-1, stepSized(model, kFrames.sizedStep, size).answer);
    EXPECT_EQ(0U, size);
    model.PrepareFrameCacheList();
    EXPECT_EQ(-1, stepSized(model, kFrames.sizedStep, size).answer);
}

TEST_F(FrameCacheListingTest, ALongPathIsGivenWhole) {
    const std::string name(200, 'n');
    const std::string deep = root.path(std::string(200, 'd') + "/" + std::string(200, 'e') + "/");
    KavroPISSFrameCache(deep.c_str(), "p", "c", name.c_str());
    KavroPISSFrameCache model(deep.c_str(), "p", "c");
    ASSERT_EQ(1, model.PrepareFeatureList());
    EXPECT_EQ(deep + hashOf("p") + "/" + hashOf("c") + "/" + name,
              stepOnce(model, kFeatures.step).path);
}

} // namespace
