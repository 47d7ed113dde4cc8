// Hostile caches that another process changes while they are listed, measured, removed and moved.

#include "store/KavroPISSFrameCache.h"
#include "tests/reliability/hostile_walk.h"
#include "tests/reliability/hostile_world.h"
#include "tests/reliability/product_world.h"
#include "tests/support/failing_calls.h"
#include "tests/support/frame_cache_levels.h"
#include "tools/sample_plan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace corvid::test;
using corvid::SampleNumbers;
using Model = std::unique_ptr<KavroPISSFrameCache>;

// Whatever the other process does: no crash, no hang, no descriptor that stays open, and nothing
// outside the cache that changes.
class HostileRaceTest : public ProductTest {
protected:
    void TearDown() override {
        EXPECT_GT(*m_meanwhile, 0U) << "nothing changed while anything was done";
    }

    // Calls prepare(world), and then the operation that it returns while the cache is changed.
    template <class Prepare>
    void whileDisturbed(const HostileOptions& options, Prepare prepare) {
        forEachHostileWorld(root, options, [&](HostileWorld& world, const HostileOptions& made) {
            const auto operation = prepare(world);
            const int descriptors = openDescriptors();
            const Disturber disturber(world, made.seed);
            const std::uint64_t before = disturber.changes();
            operation();
            *m_meanwhile += disturber.changes() - before;
            EXPECT_EQ(openDescriptors(), descriptors);
        });
    }

private:
    SharedNumber m_meanwhile;
};

// Steps through a level, and once more with sizes.
void walk(KavroPISSFrameCache& model, const Level& level) {
    (model.*level.prepare)();
    while (stepOnce(model, level.step).name != "-") {
    }
    (model.*level.prepare)();
    for (std::uint64_t size = 0; stepSized(model, level.sizedStep, size).name != "-";) {
    }
}

// Models of everything that the tables name, made while nothing changes: making one creates what is
// missing, wherever links lead.
struct Models {
    explicit Models(const HostileWorld& world) {
        const std::string root = world.root();
        const char* path = root.c_str();
        levels.push_back(std::make_unique<KavroPISSFrameCache>(path));
        for (const HostileProject& project : world.cache.projects()) {
            const char* key = project.key.c_str();
            levels.push_back(std::make_unique<KavroPISSFrameCache>(path, key));
            for (const HostileComposition& composition : project.compositions) {
                const char* inner = composition.key.c_str();
                levels.push_back(std::make_unique<KavroPISSFrameCache>(path, key, inner));
                for (const std::string& feature : composition.features) {
                    std::error_code isClosed;
                    if (std::filesystem::is_directory(root + project.directory + "/" +
                                                          composition.directory + "/" + feature,
                                                      isClosed)) {
                        levels.push_back(std::make_unique<KavroPISSFrameCache>(path, key, inner,
                                                                               feature.c_str()));
                    }
                }
            }
        }
    }

    std::vector<Model> levels;
};

TEST_F(HostileRaceTest, ListingAndMeasuringEnd) {
    whileDisturbed({}, [](HostileWorld& world) {
        return [models = std::make_shared<Models>(world)] {
            for (const Model& model : models->levels) {
                for (const Level* level : {&kProjects, &kCompositions, &kFeatures, &kFrames}) {
                    walk(*model, *level);
                }
                model->GetSize();
                long date = 0;
                EXPECT_EQ(model->GetLastModifiedDateForFeature(&date), 1);
            }
        };
    });
}

void removeAll(const HostileWorld& world, const Models& models) {
    for (const Model& model : models.levels) {
        model->DeleteAllFrames();
    }
    for (const Model& model : models.levels) {
        for (const HostileProject& project : world.cache.projects()) {
            for (const HostileComposition& composition : project.compositions) {
                model->DeleteFeature(composition.features.back().c_str());
            }
        }
    }
    for (const Model& model : models.levels) {
        for (const HostileProject& project : world.cache.projects()) {
            model->DeleteComposition(project.compositions.back().key.c_str());
        }
    }
    KavroPISSFrameCache& top = *models.levels.front();
    for (const HostileProject& project : world.cache.projects()) {
        top.DeleteProject(project.key.c_str());
    }
    for (const PlainEntry& entry : plainListing(world.cache.path()).entries) {
        top.DeleteDirectory((world.root() + entry.name).c_str());
    }
    top.DeleteDirectory(world.root().c_str());
}

TEST_F(HostileRaceTest, RemovalEndsAtTheCache) {
    whileDisturbed({}, [](HostileWorld& world) {
        return [&world, models = std::make_shared<Models>(world)] { removeAll(world, *models); };
    });
}

// A directory to move: the one that holds it, with a "/" at its end, and its name; a project's key.
struct Movable {
    std::string parent;
    std::string name;
    std::string project;
};

// Compositions before their projects. A link in the place of one would be followed to whatever it
// leads, and those that stood there from the start lead to the whole machine.
std::vector<Movable> movables(const HostileWorld& world) {
    std::vector<Movable> found;
    const auto addReal = [&found](const std::string& parent, const std::string& name,
                                  const std::string& project) {
        const auto isThis = [&name](const PlainEntry& entry) {
            return entry.isDirectory && entry.name == name;
        };
        const std::vector<PlainEntry> entries = plainListing(parent).entries;
        if (std::any_of(entries.begin(), entries.end(), isThis)) {
            found.push_back({parent + "/", name, project});
        }
    };
    for (const HostileProject& project : world.cache.projects()) {
        for (const HostileComposition& composition : project.compositions) {
            addReal(world.cache.path() + "/" + project.directory, composition.directory, "");
        }
        addReal(world.cache.path(), project.directory, project.key);
    }
    return found;
}

int moveByCopy(KavroPISSFrameCache& model, const Movable& directory, const std::string& to) {
    const FailNth fail(Call::Rename, 1, EXDEV, directory.name, Lasting::FromThenOn);
    const int result =
        directory.project.empty()
            ? model.MoveDirectory(directory.parent.c_str(), directory.name.c_str(), to.c_str())
            : model.MoveProject(directory.project.c_str(), to.c_str());
    EXPECT_GT(fail.failures(), 0);
    return result;
}

TEST_F(HostileRaceTest, MovingByCopyWritesOnlyToTheTarget) {
    constexpr std::uint64_t kSmall = 1U << 20U;
    whileDisturbed({.sparseBytes = kSmall}, [](HostileWorld& world) {
        const std::string to = world.beside("target");
        removeTree(to);
        makeDirectory(to);
        return [&world, to, directories = movables(world)] {
            KavroPISSFrameCache model(world.root().c_str());
            for (const Movable& directory : directories) {
                moveByCopy(model, directory, to);
            }
        };
    });
}

} // namespace
