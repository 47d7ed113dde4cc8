#include "tests/reliability/kill_run.h"

#include "files/owned_text.h"
#include "store/KavroPISSFrameCache.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "tests/reliability/migration.h"
#include "tests/support/failing_calls.h"

#include <cerrno>
#include <string>

namespace corvid::test {
namespace {

constexpr int kDoomed = 4;

std::string doomed(int number) {
    return "/Shots/Doomed " + std::to_string(number) + ".aep";
}

void addDoomedProjects(ProductWorld& world) {
    for (int number = 0; number < kDoomed; ++number) {
        for (const std::string& composition : {world.mainComp, world.extraComp}) {
            for (const char* feature : KAVRO_FEATURE_SUBDIRS) {
                KavroPISSFrameCache cache(world.firstRoot().c_str(), doomed(number).c_str(),
                                          composition.c_str(), feature);
                EXPECT_EQ(cache.TestFunctionToCreateAFrameFile(number), 1);
                EXPECT_EQ(cache.TestFunctionToCreateAFrameFile(number + 1), 1);
            }
        }
    }
}

bool removeProject(ProductWorld& world, int turn) {
    KavroPISSFrameCache cache(world.firstRoot().c_str());
    return cache.DeleteProject(doomed(turn).c_str()) == 1;
}

// What the kill has left goes as well, and nothing else does.
void removeTheRest(ProductWorld& world, const Disk& start) {
    for (int number = 0; number < kDoomed; ++number) {
        const std::string directory = world.firstRoot() + hashOf(doomed(number));
        const bool isThere = exists(directory);
        EXPECT_EQ(removeProject(world, number), isThere) << number;
        EXPECT_FALSE(exists(directory)) << number;
    }
    const Disk after = world.disk();
    for (const std::string& kept : {world.solo, world.twin}) {
        const std::string path = world.relative(world.firstRoot() + hashOf(kept));
        EXPECT_TRUE(holdsTheSame(start, path, after, path)) << kept;
    }
}

// In turn there and back again.
std::string sourceOf(const ProductWorld& world, int turn) {
    return world.root.path(turn % 2 == 0 ? "first" : "second");
}
std::string targetOf(const ProductWorld& world, int turn) {
    return sourceOf(world, turn + 1);
}

bool moveSolo(ProductWorld& world, int turn) {
    KavroPISSFrameCache cache(sourceOf(world, turn).c_str(), world.solo.c_str());
    return cache.MoveProject(world.solo.c_str(), targetOf(world, turn).c_str()) == 1;
}

void nameSoloInBothRoots(ProductWorld& world) {
    const KavroPISSFrameCache cache(world.secondRoot().c_str(), world.solo.c_str());
}

bool isWholeIn(const ProductWorld& world, const std::string& root, const Disk& start,
               const Disk& disk) {
    return holdsTheSame(start, world.soloIn(world.firstRoot()), disk, world.soloIn(root + "/"));
}

// Also when it is being copied: the source goes only when the copy is complete.
void expectSoloWhole(const ProductWorld& world, const Disk& start, const Disk& after) {
    EXPECT_TRUE(isWholeIn(world, world.root.path("first"), start, after) ||
                isWholeIn(world, world.root.path("second"), start, after))
        << "neither the source nor the copy is whole";
}

// The turn that takes the whole project to the other root.
int turnFromWhole(const ProductWorld& world, const Disk& start) {
    return isWholeIn(world, world.root.path("first"), start, world.disk()) ? 0 : 1;
}

void moveOnceMore(ProductWorld& world, const Disk& start) {
    const int turn = turnFromWhole(world, start);
    EXPECT_TRUE(moveSolo(world, turn));
    EXPECT_TRUE(isWholeIn(world, targetOf(world, turn), start, world.disk()));
    EXPECT_FALSE(exists(sourceOf(world, turn) + "/" + hashOf(world.solo)));
}

bool migrateTurn(ProductWorld& world, int turn) {
    migrateSolo(world, sourceOf(world, turn), targetOf(world, turn));
    return exists(targetOf(world, turn) + "/" + hashOf(world.solo));
}

// Brings data, settings, tables and registry together again, wherever the kill came.
void migrateOnceMore(ProductWorld& world, const Disk& start) {
    const int turn = turnFromWhole(world, start);
    EXPECT_TRUE(migrateTurn(world, turn));
    EXPECT_TRUE(isWholeIn(world, targetOf(world, turn), start, world.disk()));
    KavroPISSFrameCacheRegistry registry;
    char* root = nullptr;
    registry.GetItem(&root, world.solo.c_str(), kPathToCache);
    const OwnedText owned(root);
    EXPECT_STREQ(root, targetOf(world, turn).c_str());
    EXPECT_FALSE(treeOnDisk(world).hasUnnamed);
}

template <bool (*turn)(ProductWorld&, int)>
bool onOtherVolume(ProductWorld& world, int number) {
    const FailNth otherVolume(Call::Rename, 1, EXDEV, hashOf(world.solo), Lasting::FromThenOn);
    return turn(world, number);
}

template <void (*goOn)(ProductWorld&, const Disk&)>
void goOnOnOtherVolume(ProductWorld& world, const Disk& start) {
    const FailNth otherVolume(Call::Rename, 1, EXDEV, hashOf(world.solo), Lasting::FromThenOn);
    goOn(world, start);
}

std::vector<std::string> bothPlaces(const ProductWorld& world) {
    return {world.soloIn(world.firstRoot()), world.soloIn(world.secondRoot())};
}

} // namespace

std::vector<KillScenario> cacheScenarios() {
    return {
        {.name = "RemoveProjects",
         .turn = removeProject,
         .turns = kDoomed,
         .arrange = addDoomedProjects,
         .goOn = removeTheRest},
        {.name = "MoveProject",
         .turn = moveSolo,
         .arrange = nameSoloInBothRoots,
         .check = expectSoloWhole,
         .goOn = moveOnceMore},
        {.name = "CopyProject",
         .turn = onOtherVolume<moveSolo>,
         .turns = 2,
         .arrange = nameSoloInBothRoots,
         .halfDone = bothPlaces,
         .check = expectSoloWhole,
         .goOn = goOnOnOtherVolume<moveOnceMore>},
        {.name = "Migrate",
         .turn = migrateTurn,
         .turns = 3,
         .check = expectSoloWhole,
         .goOn = migrateOnceMore},
        {.name = "MigrateToOtherVolume",
         .turn = onOtherVolume<migrateTurn>,
         .turns = 2,
         .halfDone = bothPlaces,
         .check = expectSoloWhole,
         .goOn = goOnOnOtherVolume<migrateOnceMore>},
    };
}

} // namespace corvid::test
