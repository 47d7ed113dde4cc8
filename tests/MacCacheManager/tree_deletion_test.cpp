#include "MacCacheManager/tree_deletion.h"

#include "MacCacheManager/CacheDataSource.h"
#include "MacCacheManager/tree_selection.h"
#include "store/KavroPISSFrameCache.h"
#include "tests/support/cache_tree.h"

#include <algorithm>
#include <filesystem>
#include <random>
#include <set>

#include <sys/stat.h>
#include <unistd.h>

using namespace corvid::test;
using corvid::carryOut;
using corvid::deletionSteps;
using corvid::DetachedNodes;
using corvid::hashOf;
using corvid::pathsToDelete;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Level = corvid::DeletionStep::Level;

namespace {

// Every path below a folder; links are not followed.
std::set<std::string> pathsBelow(const std::string& folder) {
    std::set<std::string> paths;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        paths.insert(entry.path().string());
    }
    return paths;
}

bool isAtOrBelow(const std::string& path, const std::string& directory) {
    return path == directory || path.rfind(directory + "/", 0) == 0;
}

class TreeDeletion : public ProductTest {
protected:
    void addFeature(const std::string& project, const std::string& composition,
                    const std::string& feature, int frames = 1) {
        cache.addProject(project);
        cache.addComposition(project, composition);
        makeDirectory(cache.compositionPath(project, composition) + "/" + feature);
        for (int frame = 0; frame < frames; ++frame) {
            cache.addFrame(project, composition, feature, frame, 10, 1600000000);
        }
    }
    FrameCacheEntry& tree() { return *source.getRootNode(); }
    void read() {
        writeFile(root.productFile("FrameCache.cvp"),
                  registryLine("p", "PathToCache", cache.path()) +
                      registryLine("q", "PathToCache", other.path()));
        source.setShouldProvideData(true);
        source.reload();
    }
    FrameCacheEntry* node(const std::vector<std::string>& names) {
        FrameCacheEntry* found = &tree();
        for (const std::string& name : names) {
            found = &childNamed(*found, name);
        }
        return found;
    }
    std::vector<std::string> preview(const std::vector<FrameCacheEntry*>& nodes) {
        return pathsToDelete(deletionSteps(nodes));
    }
    void deleteNodes(const std::vector<FrameCacheEntry*>& nodes) {
        carryOut(deletionSteps(nodes), nullptr, detached);
    }

    HandMadeCache cache{root.path("cache")};
    HandMadeCache other{root.path("other")};
    CacheDataSource source;
    DetachedNodes detached;
};

TEST_F(TreeDeletion, OfNothingHasNoSteps) {
    read();
    EXPECT_THAT(deletionSteps({}), IsEmpty());
    EXPECT_THAT(deletionSteps({nullptr}), IsEmpty());
    EXPECT_THAT(deletionSteps({&tree()}), IsEmpty());
    FrameCacheEntry alone(corvid::kFeatureNode, "PROXY", "PROXY");
    EXPECT_THAT(deletionSteps({&alone}), IsEmpty());
}

TEST_F(TreeDeletion, GoesOnToParentsThatAreEmptied) {
    addFeature("p", "c", "PROXY");
    addFeature("p", "c", "SPEC_RENDER");
    addFeature("p", "d", "PROXY");
    read();
    const std::vector<FrameCacheEntry*> nodes = {
        node({"p", "c", "PROXY"}), node({"p", "c", "SPEC_RENDER"}), node({"p", "d", "PROXY"})};
    const auto steps = deletionSteps(nodes);

    std::vector<std::string> names;
    for (const auto& step : steps) {
        names.push_back(step.name());
    }
    EXPECT_THAT(names, ElementsAre("PROXY", "SPEC_RENDER", "c", "PROXY", "d", "p"));
    EXPECT_THAT(pathsToDelete(steps),
                ElementsAre(cache.compositionPath("p", "c") + "/PROXY",
                            cache.compositionPath("p", "c") + "/SPEC_RENDER",
                            cache.compositionPath("p", "c"),
                            cache.compositionPath("p", "d") + "/PROXY",
                            cache.compositionPath("p", "d"), cache.projectPath("p")));
    EXPECT_EQ(tree().getNumberOfChildren(), 1) << "steps alone change no tree";

    carryOut(steps, nullptr, detached);

    EXPECT_EQ(tree().getNumberOfChildren(), 0);
    EXPECT_EQ(detached.size(), 6U);
    EXPECT_FALSE(exists(cache.projectPath("p")));
}

// The names of a composition reach the model in each other's place.
TEST_F(TreeDeletion, OfACompositionRemovesWhatTheExchangedNamesMean) {
    addFeature("p", "c", "PROXY");
    addFeature("p", "d", "PROXY");
    addFeature("c", "p", "PROXY");
    read();

    EXPECT_THAT(preview({node({"p", "c"})}), ElementsAre(cache.compositionPath("c", "p")));
    EXPECT_THAT(preview({node({"p", "d"})}), IsEmpty());
    // Both are gone from the tree then, and their emptied project goes by the last one's name.
    EXPECT_THAT(preview({node({"p", "d"}), node({"p", "c"})}),
                ElementsAre(cache.compositionPath("c", "p"), cache.projectPath("c")));
}

TEST_F(TreeDeletion, TellsTheDirectoryThatATableNames) {
    makeDirectory(cache.path() + "/odd");
    cache.addProjectLine("odd", "p");
    read();
    EXPECT_THAT(preview({node({"p"})}), ElementsAre(cache.path() + "/odd"));
}

TEST_F(TreeDeletion, TellsNothingOfANameThatLeadsOutOfTheCache) {
    addFeature("p", "c", "PROXY");
    cache.addProjectLine("..", "q");
    read();
    EXPECT_THAT(pathsToDelete(deletionSteps("q", nullptr, nullptr, node({"p"}))), IsEmpty());
    EXPECT_THAT(pathsToDelete(deletionSteps("p", "c", "", node({"p", "c", "PROXY"}))),
                ElementsAre(cache.compositionPath("p", "c"), cache.projectPath("p")));
}

TEST_F(TreeDeletion, TakesANameThatDoesNotFitForAnEmptyOne) {
    addFeature("p", "c", "PROXY");
    read();
    const std::string name = std::string(1025, 'p');
    EXPECT_THAT(pathsToDelete(deletionSteps(name.c_str(), nullptr, nullptr, node({"p"}))),
                IsEmpty());
}

TEST_F(TreeDeletion, LookingChangesNothingOnTheDisk) {
    addFeature("p", "c", "PROXY");
    read();
    const std::vector<FrameCacheEntry*> nodes = {node({"p", "c"})};
    const Snapshot before = snapshot(root.path());

    static_cast<void>(preview(nodes));
    EXPECT_EQ(snapshot(root.path()), before);

    removeTree(cache.path());
    EXPECT_THAT(preview({node({"p"}), node({"p", "c"}), node({"p", "c", "PROXY"})}), IsEmpty());
    EXPECT_FALSE(exists(cache.path()));
}

TEST_F(TreeDeletion, ReportsTheNameAndTheFilesThatAreGone) {
    addFeature("p", "c", "PROXY", 2);
    read();
    std::vector<std::pair<std::string, std::uint64_t>> reports;
    carryOut(
        deletionSteps({node({"p"})}),
        [&](const std::string& name, std::uint64_t files) { reports.emplace_back(name, files); },
        detached);
    EXPECT_THAT(reports, ElementsAre(std::pair("p", 1), std::pair("p", 2)));
}

TEST_F(TreeDeletion, TakesANodeOutOfTheTreeThoughItsFilesCannotBeRemoved) {
    addFeature("p", "c", "PROXY");
    const std::string frame = cache.compositionPath("p", "c") + "/PROXY/00000000.raw";
    ASSERT_EQ(::chmod(frame.c_str(), 0444), 0);
    read();
    deleteNodes({node({"p"})});
    EXPECT_TRUE(exists(frame));
    EXPECT_EQ(tree().getNumberOfChildren(), 0);
}

// Small caches whose projects and compositions have names in common, so that exchanged ones often
// mean something.
class RandomDeletion : public TreeDeletion, public ::testing::WithParamInterface<unsigned> {
protected:
    bool oneIn(int n) { return std::uniform_int_distribution<int>(1, n)(m_random) == 1; }
    void fill(HandMadeCache& place) {
        for (const char* project : {"a", "b", "c"}) {
            if (!oneIn(3)) {
                fillProject(place, project);
            }
        }
        if (oneIn(3)) {
            writeFile(place.path() + "/odd/" + hashOf("a") + "/PROXY/00000001.raw", "odd");
            place.addProjectLine("odd", "d");
        }
        writeFile(place.path() + "/stranger/file", "nobody's");
    }
    void fillProject(HandMadeCache& place, const std::string& project) {
        place.addProject(project);
        for (const char* composition : {"a", "b", "c", "d"}) {
            if (oneIn(2)) {
                continue;
            }
            place.addComposition(project, composition);
            for (const char* feature : {"SPEC_PREVIEW", "PROXY", "Depth Pass"}) {
                if (oneIn(2)) {
                    place.addFrame(project, composition, feature, 1, 10, 1600000000);
                }
            }
            if (oneIn(6)) {
                const std::string link = place.compositionPath(project, composition) + "/link";
                EXPECT_EQ(::symlink(root.path("precious").c_str(), link.c_str()), 0);
            }
        }
    }
    std::vector<FrameCacheEntry*> someNodes() {
        return corvid::topmostSelected(
            &tree(), [this](const FrameCacheEntry* each) { return each != &tree() && oneIn(3); });
    }

private:
    std::mt19937 m_random{GetParam()};
};

TEST_P(RandomDeletion, RemovesWhatItsPreviewTells) {
    writeFile(root.path("precious/file"), "keep me");
    fill(cache);
    fill(other);
    read();
    const std::vector<FrameCacheEntry*> nodes = someNodes();
    const auto steps = deletionSteps(nodes);
    const std::vector<std::string> told = pathsToDelete(steps);
    const std::set<std::string> before = pathsBelow(root.path());

    if (GetParam() % 2 == 0) {
        carryOut(steps, nullptr, detached);
    } else {
        for (FrameCacheEntry* each : nodes) {
            deleteNodes({each});
        }
    }

    for (const std::string& path : before) {
        const bool isTold =
            std::any_of(told.begin(), told.end(),
                        [&](const std::string& directory) { return isAtOrBelow(path, directory); });
        if (isTold && exists(path)) {
            // Gone and made anew, empty, on the way to a feature that had gone with it.
            EXPECT_TRUE(std::filesystem::is_directory(path)) << path;
            for (const std::string& left : pathsBelow(path)) {
                EXPECT_TRUE(std::filesystem::is_directory(left)) << left;
            }
        } else {
            EXPECT_EQ(exists(path), !isTold) << path;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(TreeDeletion, RandomDeletion, ::testing::Range(0U, 30U));

} // namespace
