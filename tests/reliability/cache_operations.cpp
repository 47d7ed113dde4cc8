#include "tests/reliability/operation.h"

#include "files/owned_text.h"
#include "store/KavroPISSFrameCache.h"
#include "tests/reliability/migration.h"

#include <cerrno>
#include <string>

#include <sys/stat.h>

namespace corvid::test {
namespace {

// Steps a prepared level to its end; how many items it gave.
template <class Step>
int stepsOf(Step step) {
    int count = 0;
    for (int isItem = 1; isItem == 1; count += isItem) {
        char* path = nullptr;
        char* name = nullptr;
        isItem = step(&path, &name);
        const OwnedText ownedPath(path);
        const OwnedText ownedName(name);
    }
    return count;
}

// What reports success has listed everything.
Answer listLevels(ProductWorld& world) {
    KavroPISSFrameCache cache(world.firstRoot().c_str(), world.twin.c_str(),
                              world.extraComp.c_str(), "PROXY");
    if (cache.PrepareProjectList() == 0) {
        return Answer::Failure;
    }
    EXPECT_EQ(cache.GetNumberOfProjects(), 2);
    const int projects = stepsOf(
        [&cache](char** path, char** name) { return cache.GetNextItemInProjectList(path, name); });
    if (cache.PrepareCompositionList() == 0) {
        return Answer::Failure;
    }
    EXPECT_EQ(cache.GetNumberOfCompositions(), 2);
    const int compositions = stepsOf([&cache](char** path, char** name) {
        return cache.GetNextItemInCompositionList(path, name);
    });
    if (cache.PrepareFeatureList() == 0) {
        return Answer::Failure;
    }
    EXPECT_EQ(cache.GetNumberOfFeatures(), 3);
    if (cache.PrepareFrameCacheList() == 0) {
        return Answer::Failure;
    }
    EXPECT_EQ(cache.GetNumberOfFramesInFrameCache(), 3) << "two files and a link";
    return answerOf(projects == 2 && compositions == 2);
}

Answer measure(ProductWorld& world) {
    static constexpr std::uint64_t kMost = 1000000;
    KavroPISSFrameCache cache(world.firstRoot().c_str());
    EXPECT_LT(cache.GetSize(), kMost);
    return Answer::None;
}

Answer askForFiles(ProductWorld& world) {
    KavroPISSFrameCache cache(world.firstRoot().c_str(), world.solo.c_str());
    return answerOf(cache.DoesProjectHaveAnyCacheFiles(world.solo.c_str()));
}

std::vector<Operation> readingOperations() {
    return {
        {.name = "ListLevels", .run = listLevels},
        {.name = "Measure", .run = measure},
        {.name = "AskForFiles", .run = askForFiles},
    };
}

std::vector<Operation> openingOperations() {
    return {
        {.name = "OpenNewComposition",
         .run =
             [](ProductWorld& world) {
                 const KavroPISSFrameCache cache(world.firstRoot().c_str(), "new project",
                                                 "new composition");
                 return Answer::None;
             }},
        {.name = "OpenNewFeature",
         .run =
             [](ProductWorld& world) {
                 const KavroPISSFrameCache cache(false, world.solo.c_str(), world.mainComp.c_str(),
                                                 "DEPTH");
                 return Answer::None;
             }},
        {.name = "OpenNewRoot",
         .run =
             [](ProductWorld& world) {
                 const KavroPISSFrameCache cache(world.path("third/new").c_str(), "project",
                                                 "composition", "PROXY");
                 return Answer::None;
             }},
        {.name = "CreateFrame",
         .run =
             [](ProductWorld& world) {
                 KavroPISSFrameCache cache(world.firstRoot().c_str(), world.solo.c_str(),
                                           world.mainComp.c_str(), "PROXY");
                 return answerOf(cache.TestFunctionToCreateAFrameFile(12));
             }},
    };
}

Answer deleteProject(ProductWorld& world) {
    KavroPISSFrameCache cache(world.firstRoot().c_str());
    return answerOf(cache.DeleteProject(world.twin.c_str()));
}

Answer deleteComposition(ProductWorld& world) {
    KavroPISSFrameCache cache(world.firstRoot().c_str(), world.twin.c_str());
    return answerOf(cache.DeleteComposition(world.extraComp.c_str()));
}

Answer deleteFeature(ProductWorld& world) {
    KavroPISSFrameCache cache(world.firstRoot().c_str(), world.twin.c_str(),
                              world.extraComp.c_str());
    return answerOf(cache.DeleteFeature("PROXY"));
}

Answer deleteAllFrames(ProductWorld& world) {
    KavroPISSFrameCache cache(world.firstRoot().c_str(), world.twin.c_str(), world.mainComp.c_str(),
                              "SPEC_PREVIEW");
    return answerOf(cache.DeleteAllFrames());
}

std::vector<Operation> removingOperations() {
    return {
        {.name = "DeleteProject", .run = deleteProject},
        {.name = "DeleteComposition", .run = deleteComposition},
        {.name = "DeleteFeature", .run = deleteFeature},
        {.name = "DeleteAllFrames", .run = deleteAllFrames},
        // It stops at a frame that nobody may write, whatever else happens.
        {.name = "DeleteProtectedFrame",
         .run =
             [](ProductWorld& world) {
                 KavroPISSFrameCache cache(world.firstRoot().c_str(), world.solo.c_str(),
                                           world.mainComp.c_str());
                 return answerOf(cache.DeleteFeature("PROXY"));
             },
         .arrange =
             [](ProductWorld& world) {
                 const std::string frame = world.firstRoot() + hashOf(world.solo) + "/" +
                                           hashOf(world.mainComp) + "/PROXY/00000007.raw";
                 EXPECT_EQ(::chmod(frame.c_str(), 0444), 0);
             }},
    };
}

// What is moved is whole at its old place or at the new one.
void expectWholeSomewhere(const ProductWorld& world, const Disk& before, const Disk& after) {
    const std::string from = world.soloIn(world.firstRoot());
    const std::string to = world.soloIn(world.secondRoot());
    EXPECT_TRUE(holdsTheSame(before, from, after, from) || holdsTheSame(before, from, after, to))
        << "neither the source nor the copy is whole";
}

Answer moveProject(ProductWorld& world) {
    KavroPISSFrameCache cache(world.firstRoot().c_str());
    return answerOf(cache.MoveProject(world.solo.c_str(), world.secondRoot().c_str()));
}

Answer copyProject(ProductWorld& world) {
    std::optional<FailNth> otherVolume;
    {
        const Undisturbed plan;
        otherVolume.emplace(Call::Rename, 1, EXDEV, hashOf(world.solo), Lasting::FromThenOn);
    }
    return moveProject(world);
}

Answer renameProject(ProductWorld& world) {
    KavroPISSFrameCache cache(world.firstRoot().c_str());
    return answerOf(cache.RenameProject(world.twin.c_str(), "/Shots/New name.aep", nullptr,
                                        world.secondRoot().c_str()));
}

} // namespace

std::vector<Operation> cacheOperations() {
    std::vector<Operation> all = {
        {.name = "MoveProject", .run = moveProject, .check = expectWholeSomewhere},
        {.name = "CopyProject",
         .run = copyProject,
         .check = expectWholeSomewhere,
         .mayStay = "first/",
         .uses = Call::Rename},
        // It goes on when the new key cannot be written into the table.
        {.name = "RenameProject", .run = renameProject, .mayStay = "first/ProjectHash.txt"},
        {.name = "Migrate",
         .run =
             [](ProductWorld& world) {
                 migrateSolo(world, world.path("first"), world.path("second"));
                 return Answer::None;
             },
         .check = expectWholeSomewhere},
    };
    for (const std::vector<Operation>& more :
         {readingOperations(), openingOperations(), removingOperations()}) {
        all.insert(all.end(), more.begin(), more.end());
    }
    return all;
}

} // namespace corvid::test
