// Hostile caches at rest: what is listed, measured, removed and moved, against a plain walk.

#include "store/KavroPISSFrameCache.h"
#include "tests/reliability/hostile_walk.h"
#include "tests/reliability/hostile_world.h"
#include "tests/reliability/product_world.h"
#include "tests/support/failing_calls.h"
#include "tests/support/frame_cache_levels.h"
#include "tools/sample_plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace {

using namespace corvid::test;
using corvid::SampleNumbers;
using Names = std::vector<std::string>;
using Keys = std::map<std::string, std::string>; // by directory

class HostileCacheTest : public ProductTest {
protected:
    // One world and one cache each; every second process has no rights.
    template <class Body>
    void inEachWorld(const HostileOptions& options, Body body) {
        forEachHostileWorld(root, options,
                            [&body](HostileWorld& world, const HostileOptions& made) {
                                const int descriptors = openDescriptors();
                                SampleNumbers numbers(made.seed);
                                body(world, numbers, made.isDeep);
                                EXPECT_EQ(openDescriptors(), descriptors);
                            });
    }
};

bool isRealDirectory(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// What a walk sees of a level: up to the first directory that the table does not name.
Names namedOnly(const Names& directories, const Keys& keys) {
    Names named;
    for (const std::string& directory : directories) {
        if (keys.count(directory) == 0) {
            break;
        }
        named.push_back(directory);
    }
    return named;
}

Names keysOf(const Names& directories, const Keys& keys) {
    Names names;
    for (const std::string& directory : directories) {
        names.push_back(keys.at(directory));
    }
    return names;
}

Keys projectKeys(const HostileCache& cache) {
    Keys keys;
    for (const HostileProject& project : cache.projects()) {
        keys[project.directory] = project.key;
    }
    return keys;
}

Keys compositionKeys(const HostileCache& cache) {
    Keys keys;
    for (const HostileProject& project : cache.projects()) {
        for (const HostileComposition& composition : project.compositions) {
            keys[composition.directory] = composition.key;
        }
    }
    return keys;
}

// Prepares a level and steps through it: the names it gives. The directory is the level's.
Names stepped(KavroPISSFrameCache& model, const Level& level, const std::string& directory) {
    const PlainListing plain = plainListing(directory);
    EXPECT_EQ((model.*level.prepare)() == 1, plain.isReadable);
    const bool isOfFiles = level.count == kFrames.count;
    EXPECT_EQ(static_cast<std::size_t>((model.*level.count)()),
              (isOfFiles ? plain.files() : plain.directories()).size());
    Names names;
    for (;;) {
        const Stepped step = stepOnce(model, level.step);
        if (step.name == "-") {
            return names;
        }
        names.push_back(step.name);
    }
}

void expectFeature(const HostileWorld& world, const std::string& project,
                   const std::string& composition, const std::string& directory,
                   const std::string& feature) {
    const std::string path = directory + "/" + feature;
    const PlainMeasure plain = plainMeasure(path);
    EXPECT_EQ(PISSGetSizeOfDirectoryContents(path.c_str()), plain.bytes);
    EXPECT_EQ(PISSGetFileCount(path.c_str()), plain.files);
    if (!exists(path)) { // the composition does not let this process in
        return;
    }
    KavroPISSFrameCache model(world.root().c_str(), project.c_str(), composition.c_str(),
                              feature.c_str());
    EXPECT_EQ(stepped(model, kFrames, path), plainListing(path).files());
    const long start = std::time(nullptr);
    long date = 0;
    model.GetLastModifiedDateForFeature(&date);
    if (plain.newest != 0) {
        EXPECT_EQ(date, plain.newest);
    } else {
        EXPECT_GE(date, start);
    }
}

void expectProject(const HostileWorld& world, const std::string& project,
                   const std::string& directory) {
    const Keys keys = compositionKeys(world.cache);
    KavroPISSFrameCache model(world.root().c_str(), project.c_str());
    const Names compositions = namedOnly(plainListing(directory).directories(), keys);
    EXPECT_EQ(stepped(model, kCompositions, directory), keysOf(compositions, keys));
    for (const std::string& composition : compositions) {
        const std::string path = directory + "/" + composition;
        KavroPISSFrameCache inner(world.root().c_str(), project.c_str(),
                                  keys.at(composition).c_str());
        const Names features = plainListing(path).directories();
        EXPECT_EQ(stepped(inner, kFeatures, path), features);
        for (const std::string& feature : features) {
            expectFeature(world, project, keys.at(composition), path, feature);
        }
    }
}

TEST_F(HostileCacheTest, IsListedAndMeasuredAsByAPlainWalk) {
    inEachWorld({}, [](HostileWorld& world, SampleNumbers&, bool) {
        const Keys keys = projectKeys(world.cache);
        KavroPISSFrameCache model(world.root().c_str());
        const Names projects = namedOnly(plainListing(world.cache.path()).directories(), keys);
        EXPECT_EQ(stepped(model, kProjects, world.cache.path()), keysOf(projects, keys));
        std::uint64_t bytes = 0;
        model.PrepareProjectList();
        for (const std::string& project : projects) {
            const std::string path = world.root() + project;
            std::uint64_t size = 0;
            const Stepped step = stepSized(model, kProjects.sizedStep, size);
            EXPECT_EQ(step.path, path);
            EXPECT_EQ(size, plainMeasure(path).bytes);
            bytes += size;
            expectProject(world, keys.at(project), path);
        }
        EXPECT_EQ(model.GetSize(), bytes);
    });
}

// Removals of one cache, each compared with what its tree allows.
class Removals {
public:
    Removals(const HostileWorld& world, SampleNumbers& numbers)
        : m_world(world), m_numbers(numbers) {}

    void ofProject(const HostileProject& project) {
        for (const HostileComposition& composition : project.compositions) {
            for (const std::string& feature : composition.features) {
                ofFrames(project, composition, feature);
                if (m_numbers.oneIn(2)) {
                    expect({project.directory, composition.directory, feature}, [&] {
                        return KavroPISSFrameCache(root(), project.key.c_str(),
                                                   composition.key.c_str())
                            .DeleteFeature(feature.c_str());
                    });
                }
            }
            if (m_numbers.oneIn(2)) {
                expect({project.directory, composition.directory}, [&] {
                    return KavroPISSFrameCache(root(), project.key.c_str())
                        .DeleteComposition(composition.key.c_str());
                });
            }
        }
        ofAnything({project.directory});
        expect({project.directory},
               [&] { return KavroPISSFrameCache(root()).DeleteProject(project.key.c_str()); });
    }
    // Whatever else is in the directory at the end of a chain.
    void ofAnything(const Names& chain) {
        for (const PlainEntry& entry : plainListing(pathOf(chain)).entries) {
            Names inner = chain;
            inner.push_back(entry.name);
            if (chain.size() < 4 && m_numbers.oneIn(2)) {
                ofAnything(inner);
            }
            if (m_numbers.oneIn(2)) {
                const std::string path = pathOf(inner) + (m_numbers.oneIn(3) ? "//" : "");
                expect(inner,
                       [&] { return KavroPISSFrameCache(root()).DeleteDirectory(path.c_str()); });
            }
        }
    }
    std::uint64_t done() const { return m_done; }

private:
    const char* root() {
        m_root = m_world.root();
        return m_root.c_str();
    }
    std::string pathOf(const Names& chain) const {
        std::string path = m_world.cache.path();
        for (const std::string& name : chain) {
            path.append("/").append(name);
        }
        return path;
    }
    template <class Operation>
    void expect(const Names& chain, Operation operation) {
        const bool isPossible = canBeRemoved(m_world.cache.path(), chain);
        const bool isDone = operation() == 1;
        EXPECT_EQ(isDone, isPossible) << pathOf(chain);
        EXPECT_FALSE(isDone && exists(pathOf(chain))) << pathOf(chain);
        m_done += isDone ? 1 : 0;
    }
    void ofFrames(const HostileProject& project, const HostileComposition& composition,
                  const std::string& feature) {
        const Names chain = {project.directory, composition.directory, feature};
        const std::string path = pathOf(chain);
        std::error_code isClosed;
        // Making the model creates a directory that is missing, wherever links lead.
        if (!std::filesystem::is_directory(path, isClosed)) {
            return;
        }
        const bool isPossible = canFilesBeRemoved(m_world.cache.path(), chain);
        KavroPISSFrameCache model(root(), project.key.c_str(), composition.key.c_str(),
                                  feature.c_str());
        EXPECT_EQ(model.DeleteAllFrames() == 1, isPossible) << path;
        EXPECT_TRUE(!isPossible || plainListing(path).files().empty()) << path;
    }

    const HostileWorld& m_world;
    SampleNumbers& m_numbers;
    std::string m_root;
    std::uint64_t m_done = 0;
};

TEST_F(HostileCacheTest, LosesWhatCanBeRemovedAndNothingElse) {
    const SharedNumber done;
    inEachWorld({}, [&done](HostileWorld& world, SampleNumbers& numbers, bool) {
        Removals removals(world, numbers);
        for (const HostileProject& project : world.cache.projects()) {
            removals.ofProject(project);
        }
        removals.ofAnything({});
        *done += removals.done();
    });
    EXPECT_GT(*done, 0U);
}

// Moves a directory by a copy, as between two volumes.
template <class Move>
void expectMove(bool isDeep, const std::string& name, const std::string& from,
                const std::string& to, Move move) {
    const bool isPossible = canBeCopied(from);
    const std::set<std::uint64_t> before = contentsOf(from);
    const std::set<std::uint64_t> visible = contentsOf(from, HiddenEntries::LeftOut);
    bool isDone = false;
    {
        const FailNth fail(Call::Rename, 1, EXDEV, name, Lasting::FromThenOn);
        isDone = move() == 1;
        EXPECT_GT(fail.failures(), 0);
    }
    if (!isDeep) { // no command can name what lies deeper than a path reaches
        EXPECT_EQ(isDone, isPossible) << from;
    }
    if (isDone) {
        EXPECT_EQ(contentsOf(to + "/" + name), visible) << from;
    } else {
        EXPECT_EQ(contentsOf(from), before) << from;
    }
}

TEST_F(HostileCacheTest, IsMovedByCopyingWholeOrStays) {
    constexpr std::uint64_t kSmall = 1U << 20U;
    inEachWorld(
        {.sparseBytes = kSmall}, [](HostileWorld& world, SampleNumbers& numbers, bool isDeep) {
            const std::string to = world.beside("target");
            makeDirectory(to);
            for (const HostileProject& project : world.cache.projects()) {
                const std::string path = world.root() + project.directory;
                const std::string composition = path + "/" + project.compositions[0].directory;
                const std::string& feature = project.compositions[0].features.back();
                if (isRealDirectory(path) && isRealDirectory(composition) &&
                    isRealDirectory(composition + "/" + feature) && numbers.oneIn(2)) {
                    const std::string beside = world.beside("target of " + project.directory);
                    makeDirectory(beside);
                    expectMove(isDeep, feature, composition + "/" + feature, beside, [&] {
                        return KavroPISSFrameCache(world.root().c_str())
                            .MoveDirectory((composition + "/").c_str(), feature.c_str(),
                                           beside.c_str());
                    });
                }
                // A link in the place of the project would be followed, to whatever it leads.
                if (isRealDirectory(path) || !exists(path)) {
                    expectMove(isDeep, project.directory, path, to, [&] {
                        return KavroPISSFrameCache(world.root().c_str())
                            .MoveProject(project.key.c_str(), to.c_str());
                    });
                }
            }
        });
}

} // namespace
