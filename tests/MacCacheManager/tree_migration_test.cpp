#include "MacCacheManager/tree_migration.h"

#include "tests/support/cache_tree.h"
#include "tests/support/failing_calls.h"
#include "tests/support/hand_made_tree.h"

#include <cerrno>

using namespace corvid::test;
using corvid::hashOf;
using corvid::moveProject;
using corvid::MoveTarget;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

// A project with two compositions, on the disk and as a node.
class TreeMigration : public ProductTest {
protected:
    TreeMigration() {
        makeDirectory(root.path("Projects"));
        makeDirectory(newRoot());
        cache.addProject(key());
        for (const char* composition : {"Main", "Titles"}) {
            cache.addComposition(key(), composition);
            cache.addFrame(key(), composition, "PROXY", 1, 10, 1600000000);
            addNode(project, corvid::kCompositionNode, composition);
        }
        project.setPathToRootCache(cache.path().c_str());
        writeFile(registry(), registryLine(key(), "PathToCache", cache.path()));
    }
    std::string key() const { return root.path("Projects/Film.aep"); }
    std::string newRoot() const { return root.path("new"); }
    std::string registry() const { return root.productFile("FrameCache.cvp"); }
    std::string settings() const {
        return readFile(root.path("Projects/.CorvidPro2ProjectConfig.cvp"));
    }
    static std::string line(const std::string& text) { return hashOf(text) + " " + text + "\n"; }
    bool areSettingsSwitched() const {
        return readFile(registry()) == registryLine(key(), "PathToCache", newRoot()) &&
               settings().find("DirectoryLocationOfFrameCache " + newRoot() + "\n") !=
                   std::string::npos;
    }

    HandMadeCache cache{root.path("cache")};
    FrameCacheEntry project{corvid::kProjectNode, key().c_str(), cache.projectPath(key()).c_str()};
};

TEST_F(TreeMigration, MovesTheFilesAndRecordsTheFirstComposition) {
    const Snapshot frames = snapshot(cache.compositionPath(key(), "Titles") + "/PROXY");

    moveProject(project, newRoot().c_str(), nullptr);

    EXPECT_FALSE(exists(cache.projectPath(key())));
    EXPECT_TRUE(exists(newRoot() + "/" + hashOf(key()) + "/" + hashOf("Main")));
    EXPECT_EQ(snapshot(newRoot() + "/" + hashOf(key()) + "/" + hashOf("Titles") + "/PROXY"),
              frames);
    EXPECT_EQ(readFile(newRoot() + "/ProjectHash.txt"), line(key()));
    EXPECT_EQ(readFile(newRoot() + "/CompositionHash.txt"), line("Main"));
    EXPECT_TRUE(areSettingsSwitched());
    EXPECT_EQ(project.getNumberOfChildren(), 2);
    EXPECT_EQ(project.getPathToRootCache(), cache.path());
}

TEST_F(TreeMigration, RecordsNothingInTheTablesWithoutACompositionNode) {
    FrameCacheEntry bare(corvid::kProjectNode, key().c_str(), cache.projectPath(key()).c_str());
    bare.setPathToRootCache(cache.path().c_str());

    moveProject(bare, newRoot().c_str(), nullptr);

    EXPECT_TRUE(exists(newRoot() + "/" + hashOf(key())));
    EXPECT_FALSE(exists(newRoot() + "/ProjectHash.txt"));
    EXPECT_TRUE(areSettingsSwitched());
}

TEST_F(TreeMigration, SwitchesTheSettingsThoughTheMoveFailed) {
    writeFile(newRoot() + "/" + hashOf(key()), "in the way");

    moveProject(project, newRoot().c_str(), nullptr);

    EXPECT_TRUE(exists(cache.projectPath(key())));
    EXPECT_TRUE(root.hasLogged("ERROR\t MoveProject: Error moving files to new directory."));
    EXPECT_TRUE(areSettingsSwitched());
}

TEST_F(TreeMigration, ReportsFilesWhereTheyHaveToBeCopied) {
    std::vector<std::uint64_t> reports;
    {
        const FailNth otherVolume(Call::Rename, 1, EXDEV, hashOf(key()));
        moveProject(project, newRoot().c_str(),
                    [&reports](std::uint64_t files) { reports.push_back(files); });
    }
    EXPECT_THAT(reports, Not(IsEmpty()));
    EXPECT_FALSE(exists(cache.projectPath(key())));
    EXPECT_TRUE(exists(newRoot() + "/" + hashOf(key()) + "/" + hashOf("Main")));
}

TEST_F(TreeMigration, KnowsTheProjectsOfItsOwnRootAndOfRegisteredOnes) {
    HandMadeCache other(root.path("other"));
    other.addProject("q");
    cache.addProject("neighbour");
    const auto target = [this](const std::string& folder) {
        return corvid::moveTarget(project, folder.c_str());
    };

    EXPECT_EQ(target(newRoot()), MoveTarget::Usable);
    EXPECT_EQ(target(cache.projectPath(key())), MoveTarget::InOwnProject);
    EXPECT_EQ(target(other.projectPath("q")), MoveTarget::Usable);

    writeFile(registry(), registryLine("q", "PathToCache", other.path()));
    EXPECT_EQ(target(other.projectPath("q")), MoveTarget::InOtherProject);
    EXPECT_EQ(target(cache.projectPath("neighbour")), MoveTarget::InOtherProject);
}

} // namespace
