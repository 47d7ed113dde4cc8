#include "tests/reliability/kill_run.h"

#include "store/KavroPISSConfigHelper.h"
#include "store/KavroPISSFrameCache.h"
#include "store/Kavro_PISSRenderQueue.h"
#include "tests/reliability/queue_jobs.h"

#include <string>

namespace corvid::test {
namespace {

using Helper = KavroPISSConfigHelper;

// Lines of a length that a text takes several writes for.
void lengthen(const std::string& path, const std::string& line) {
    std::string text = readFile(path);
    for (int i = 0; i < 60; ++i) {
        text += line + std::to_string(i) + "\n";
    }
    writeFile(path, text);
}

// One commit for each of the two files.
bool changeSettings(ProductWorld& world, int turn) {
    const std::string value = "/" + std::string(turn % 4 == 0 ? 300 : 3, 'x');
    const KavroPISSProjectKeys project(world.solo.c_str());
    const KavroPISSCompKeys composition{"comp", "Comp", &project};
    return turn % 2 == 0
               ? Helper::addOrUpdateGlobalStringSetting("Note", value.c_str()) == 1 &&
                     Helper::addOrUpdateCompIntegerSetting(&composition, "Quality", turn) == 1
               : Helper::addOrUpdateGlobalIntegerSetting("SizeOfFrameCacheInMB", turn) == 1 &&
                     Helper::addOrUpdateProjectStringSetting(&project, "Note", value.c_str()) == 1;
}

// The settings that no turn changes are still found, and others can be made.
void expectSettings(ProductWorld& world, const Disk& /*start*/) {
    char text[1024];
    EXPECT_EQ(Helper::queryStringSetting(text, sizeof(text), "SpecRenderRenderSettingsTemplate",
                                         "default", nullptr, nullptr),
              1);
    EXPECT_STREQ(text, "As it is");
    EXPECT_TRUE(changeSettings(world, 101));
    int number = 0;
    EXPECT_EQ(
        Helper::queryIntegerSetting(&number, "SizeOfFrameCacheInMB", "default", nullptr, nullptr),
        1);
    EXPECT_EQ(number, 101);
}

bool changeRegistry(ProductWorld& world, int turn) {
    const std::string root = turn % 2 == 0 ? world.secondRoot() : world.firstRoot();
    return Helper::addOrUpdateRegistryStringSetting(world.solo.c_str(), "PathToCache",
                                                    root.c_str()) == 1;
}

bool recordKeys(ProductWorld& world, int turn) {
    const std::string number = std::to_string(turn);
    const std::string project = "/Shots/Project " + number + ".aep";
    const std::string composition = "Composition " + number;
    const KavroPISSFrameCache cache(world.firstRoot().c_str(), project.c_str(),
                                    composition.c_str());
    return cache.DoesProjectHashAlreadyExist(hashOf(project).c_str(), project.c_str()) == 1;
}

// A job comes in, and in every second turn the last one goes.
bool changeQueue(ProductWorld& /*world*/, int turn) {
    KavroPISSRenderQueue queue;
    return queue.StartTransaction() == 1 &&
           (turn % 2 == 0 ? addJob(queue, std::to_string(turn).c_str())
                          : queue.DeleteRenderQueueItem(3) == 1) &&
           queue.Commit() == 1;
}

// The first job is done, and another one comes in.
bool archiveJob(ProductWorld& /*world*/, int turn) {
    KavroPISSRenderQueue queue;
    return queue.StartTransaction() == 1 && queue.MoveRenderQueueItemToHistory(1) == 1 &&
           addJob(queue, std::to_string(turn).c_str()) && queue.Commit() == 1;
}

// A job is in the queue until it is in the history.
void expectNoGap(const ProductWorld& world, const Disk& /*start*/, const Disk& after) {
    expectJobsKept(world, after);
    bool wasMissing = false;
    for (int turn = 0; turn < 10; ++turn) {
        const bool isMissing = !isJobKept(world, after, std::to_string(turn));
        EXPECT_FALSE(wasMissing && !isMissing) << "the job before " << turn << " is lost";
        wasMissing = isMissing;
    }
}

void expectQueue(ProductWorld& world, const Disk& /*start*/) {
    KavroPISSRenderQueue queue;
    EXPECT_EQ(queue.StartTransaction(), 1);
    EXPECT_TRUE(addJob(queue, "afterwards"));
    EXPECT_EQ(queue.Commit(), 1);
    EXPECT_TRUE(isJobKept(world, world.disk(), "afterwards"));
}

} // namespace

std::vector<KillScenario> storeScenarios() {
    return {
        {.name = "Settings",
         .turn = changeSettings,
         .arrange =
             [](ProductWorld& world) {
                 lengthen(world.root.productFile("Config.txt"), "default string\tNote some text ");
             },
         .goOn = expectSettings},
        {.name = "Registry",
         .turn = changeRegistry,
         .arrange =
             [](ProductWorld& world) {
                 lengthen(world.root.productFile("FrameCache.cvp"),
                          hashOf("key") + " string\tNote some text ");
             },
         .goOn = [](ProductWorld& world, const Disk&) { EXPECT_TRUE(changeRegistry(world, 0)); }},
        {.name = "HashTables",
         .turn = recordKeys,
         .goOn = [](ProductWorld& world, const Disk&) { EXPECT_TRUE(recordKeys(world, 100)); }},
        {.name = "Queue",
         .turn = changeQueue,
         .check = [](const ProductWorld& world, const Disk&,
                     const Disk& after) { expectJobsKept(world, after); },
         .goOn = expectQueue},
        {.name = "QueueAndHistory",
         .turn = archiveJob,
         .writesShort = false,
         .check = expectNoGap,
         .goOn = expectQueue},
    };
}

} // namespace corvid::test
