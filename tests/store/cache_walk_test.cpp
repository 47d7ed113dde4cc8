#include "store/cache_walk.h"

#include "store/KavroPISSFrameCache.h"
#include "tests/support/forked_child.h"
#include "tests/support/frame_cache_levels.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::DirectoryMeasure;
using corvid::hashOf;
using corvid::ProjectToWalk;
using corvid::WalkedComposition;
using corvid::WalkedFeature;
using corvid::WalkedProject;
using corvid::walkProjects;
using corvid::test::holdsInChild;
using corvid::test::kCompositions;
using corvid::test::kFeatures;
using corvid::test::kProjects;
using corvid::test::makeDirectory;
using corvid::test::stepOnce;
using corvid::test::Stepped;
using corvid::test::writeFile;
using ::testing::IsEmpty;

// A cache of random shape: levels that are empty, directories that no table line names or that a
// line names wrongly, stray files, hidden files, links, nested directories.
class RandomCache {
public:
    RandomCache(std::string root, unsigned seed) : m_root(std::move(root)), m_random(seed) {
        makeDirectory(m_root);
        std::string table;
        for (int i = upTo(3); i > 0; --i) {
            const std::string key = "/projects/some project " + std::to_string(i) + ".aep";
            makeProject(m_root + hashOf(key) + "/");
            table += hashOf(key) + " " + key + "\n";
        }
        writeFile(m_root + "ProjectHash.txt", table);
        std::shuffle(m_lines.begin(), m_lines.end(), m_random);
        std::string compositions;
        for (const std::string& line : m_lines) {
            compositions += line;
        }
        writeFile(m_root + "CompositionHash.txt", compositions);
    }

private:
    int upTo(int most) { return std::uniform_int_distribution<int>(0, most)(m_random); }
    bool oneIn(int n) { return upTo(n - 1) == 0; }

    void makeProject(const std::string& path) {
        makeDirectory(path);
        makeStrays(path);
        for (int i = upTo(5); i > 0; --i) {
            const std::string key = "comp " + std::to_string(upTo(9));
            const int kind = upTo(14);
            if (kind == 0) { // no line names it
                makeComposition(path + hashOf("nobody knows " + key) + "/");
                continue;
            }
            makeComposition(path + hashOf(key) + "/");
            // Sometimes the line gives a key that leads to another directory.
            m_lines.push_back(hashOf(key) + " " + (kind == 1 ? "not " + key : key) + "\n");
        }
    }
    void makeComposition(const std::string& path) {
        makeDirectory(path);
        makeStrays(path);
        for (const char* feature :
             {"SPEC_PREVIEW", "SPEC_RENDER", "PROXY", ".hidden", "other one"}) {
            if (!oneIn(3)) {
                makeFeature(path + feature + "/");
            }
        }
    }
    void makeFeature(const std::string& path) {
        makeDirectory(path);
        for (int i = upTo(5); i > 0; --i) {
            makeFile(path + "0000000" + std::to_string(i) + ".raw");
        }
        if (oneIn(3)) {
            makeFile(path + "nested/deeper/00000009.raw");
            makeDirectory(path + "nested/empty");
        }
        makeStrays(path);
    }
    void makeStrays(const std::string& path) {
        if (oneIn(5)) {
            makeFile(path + ".hidden.raw");
        }
        if (oneIn(6)) {
            static_cast<void>(::symlink("nowhere", (path + "dead").c_str()));
        }
        if (oneIn(6)) {
            static_cast<void>(::symlink("..", (path + "up").c_str()));
        }
    }
    void makeFile(const std::string& path) {
        writeFile(path, std::string(static_cast<std::size_t>(upTo(3000)), 'f'));
        timespec times[2] = {};
        times[0].tv_sec = times[1].tv_sec = 1'700'000'000 + upTo(1'000'000);
        ::utimensat(AT_FDCWD, path.c_str(), times, 0);
    }

    std::string m_root;
    std::mt19937 m_random;
    std::vector<std::string> m_lines;
};

std::string lastComponent(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

class CacheWalkTest : public corvid::test::ProductTest {
protected:
    std::string cache() const { return root.path("cache/"); }
    // The projects of the cache in their order, with their keys.
    std::vector<std::string> projectKeys() const {
        KavroPISSFrameCache model(cache().c_str());
        model.PrepareProjectList();
        std::vector<std::string> keys;
        for (Stepped item = stepOnce(model, kProjects.step); item.answer != 0;
             item = stepOnce(model, kProjects.step)) {
            keys.push_back(item.name);
        }
        return keys;
    }
    std::vector<WalkedProject> walkAll(const std::vector<std::string>& keys) const {
        const auto table = corvid::sharedHashTable((cache() + "CompositionHash.txt").c_str());
        std::vector<ProjectToWalk> projects;
        for (const std::string& key : keys) {
            projects.push_back({cache() + hashOf(key), table});
        }
        return walkProjects(projects, {});
    }
    std::vector<WalkedProject> walkOne(const std::string& path) const {
        return walkProjects(
            {{path, corvid::sharedHashTable((cache() + "CompositionHash.txt").c_str())}}, {});
    }

    void expectSameProject(const std::string& key, const WalkedProject& walked) {
        KavroPISSFrameCache model(cache().c_str(), key.c_str());
        ASSERT_EQ(1, model.PrepareCompositionList());
        std::size_t next = 0;
        std::size_t failed = 0;
        for (int i = 0; i < model.GetNumberOfCompositions(); ++i) {
            const Stepped item = stepOnce(model, kCompositions.step);
            if (item.answer == 0) {
                EXPECT_EQ(lastComponent(item.path), walked.unnamed);
                ++failed;
                continue;
            }
            ASSERT_LT(next, walked.items.size());
            const WalkedComposition& composition = walked.items[next++];
            EXPECT_EQ(lastComponent(item.path), composition.directory);
            EXPECT_EQ(item.name, composition.key);
            EXPECT_EQ(composition.directory == hashOf(item.name), composition.isNamedByKey);
            if (composition.isNamedByKey) {
                expectSameComposition(key, composition);
            } else {
                EXPECT_THAT(composition.features.items, IsEmpty());
            }
        }
        EXPECT_TRUE(walked.opened);
        EXPECT_EQ(next, walked.items.size());
        EXPECT_EQ(failed, walked.unnamedSteps);
    }

    void expectSameComposition(const std::string& project, const WalkedComposition& walked) {
        KavroPISSFrameCache model(cache().c_str(), project.c_str(), walked.key.c_str());
        ASSERT_EQ(1, model.PrepareFeatureList());
        ASSERT_EQ(static_cast<std::size_t>(model.GetNumberOfFeatures()),
                  walked.features.items.size());
        EXPECT_TRUE(walked.features.opened);
        for (const WalkedFeature& feature : walked.features.items) {
            const Stepped item = stepOnce(model, kFeatures.step);
            EXPECT_EQ(item.name, feature.name);
            expectSameNumbers(project, walked.key, item.path, feature);
        }
    }

    void expectSameNumbers(const std::string& project, const std::string& composition,
                           const std::string& path, const WalkedFeature& feature) {
        const DirectoryMeasure measure = feature.parts.total();
        root.clearLog();
        EXPECT_EQ(PISSGetSizeOfDirectoryContents(path.c_str()), measure.bytes) << path;
        const std::vector<std::string> messages = root.logMessages();
        root.clearLog();
        corvid::logUnreadableFiles(measure);
        EXPECT_EQ(messages, root.logMessages());
        EXPECT_EQ(PISSGetFileCount(path.c_str()), measure.files) << path;
        EXPECT_TRUE(measure.opened);
        KavroPISSFrameCache model(cache().c_str(), project.c_str(), composition.c_str(),
                                  feature.name.c_str());
        const long before = std::time(nullptr);
        long date = 0;
        model.GetLastModifiedDateForFeature(&date);
        if (measure.newest != 0) {
            EXPECT_EQ(date, measure.newest) << path;
        } else {
            EXPECT_GE(date, before) << path;
        }
    }
};

TEST_F(CacheWalkTest, GivesWhatSteppingAModelGivesOnAnyCache) {
    std::size_t compositions = 0;
    std::size_t wrong = 0;
    std::size_t unnamed = 0;
    std::size_t features = 0;
    for (unsigned seed = 1; seed <= 50; ++seed) {
        SCOPED_TRACE(seed);
        corvid::test::removeTree(root.path("cache"));
        const RandomCache made(cache(), seed);
        const std::vector<std::string> keys = projectKeys();
        const auto before = corvid::test::snapshot(cache());
        const std::vector<WalkedProject> walked = walkAll(keys);
        ASSERT_EQ(before, corvid::test::snapshot(cache())) << "the walk changed the cache";
        ASSERT_EQ(keys.size(), walked.size());
        for (std::size_t i = 0; i < keys.size(); ++i) {
            expectSameProject(keys[i], walked[i]);
            unnamed += walked[i].unnamedSteps;
            compositions += walked[i].items.size();
            for (const WalkedComposition& composition : walked[i].items) {
                wrong += composition.isNamedByKey ? 0 : 1;
                features += composition.features.items.size();
            }
        }
        if (HasFailure()) {
            return;
        }
    }
    // What the comparison is about did occur.
    EXPECT_GT(compositions, 100U);
    EXPECT_GT(features, 200U);
    EXPECT_GT(wrong, 5U);
    EXPECT_GT(unnamed, 5U);
}

TEST_F(CacheWalkTest, NoProjectsGiveNoResult) {
    EXPECT_THAT(walkProjects({}, {}), IsEmpty());
}

TEST_F(CacheWalkTest, AProjectThatCannotBeOpenedIsMarked) {
    writeFile(root.path("cache/a file"), "");
    ASSERT_EQ(0, ::symlink("nowhere", root.path("cache/dead").c_str()));
    for (const char* name : {"missing", "a file", "dead"}) {
        const auto walked = walkOne(cache() + name);
        ASSERT_EQ(1U, walked.size());
        EXPECT_FALSE(walked[0].opened) << name;
        EXPECT_THAT(walked[0].items, IsEmpty());
        EXPECT_EQ(0U, walked[0].unnamedSteps);
    }
}

TEST_F(CacheWalkTest, AnEmptyProjectIsOpenedAndHoldsNothing) {
    makeDirectory(cache() + "p");
    writeFile(cache() + "p/file", "");
    const auto walked = walkOne(cache() + "p");
    EXPECT_TRUE(walked[0].opened);
    EXPECT_THAT(walked[0].items, IsEmpty());
    EXPECT_EQ("", walked[0].unnamed);
}

TEST_F(CacheWalkTest, WithoutATableTheFirstDirectoryEndsTheWalk) {
    makeDirectory(cache() + "p/a");
    makeDirectory(cache() + "p/b");
    makeDirectory(cache() + "p/c");
    const auto walked = walkProjects({{cache() + "p", nullptr}}, {});
    EXPECT_TRUE(walked[0].opened);
    EXPECT_THAT(walked[0].items, IsEmpty());
    EXPECT_EQ(3U, walked[0].unnamedSteps);
    EXPECT_NE("", walked[0].unnamed);
}

TEST_F(CacheWalkTest, ResultsStandInTheOrderOfTheProjects) {
    std::vector<ProjectToWalk> projects;
    for (int i = 0; i < 40; ++i) {
        const std::string path = cache() + "project" + std::to_string(i);
        for (int n = 0; n < i % 7; ++n) {
            makeDirectory(path + "/" + std::to_string(n));
        }
        projects.push_back({path, nullptr});
    }
    makeDirectory(cache());
    const auto walked = walkProjects(projects, {});
    ASSERT_EQ(40U, walked.size());
    for (std::size_t i = 0; i < walked.size(); ++i) {
        EXPECT_EQ(i % 7, walked[i].unnamedSteps);
        EXPECT_EQ(i % 7 != 0, walked[i].opened);
    }
}

TEST_F(CacheWalkTest, ADirectoryIsNamedByItsKeyOnlyWithTheExactHash) {
    EXPECT_TRUE(corvid::isNamedByKey("d41d8cd98f00b204e9800998ecf8427e", ""));
    EXPECT_FALSE(corvid::isNamedByKey("D41D8CD98F00B204E9800998ECF8427E", ""));
    EXPECT_FALSE(corvid::isNamedByKey("d41d8cd98f00b204e9800998ecf8427e0", ""));
    EXPECT_FALSE(corvid::isNamedByKey(hashOf("a"), "b"));
}

// One composition with one deep feature in each of a few projects.
std::vector<ProjectToWalk> makeDeepProjects(const std::string& cache) {
    writeFile(cache + "CompositionHash.txt", hashOf("c") + " c\n");
    std::vector<ProjectToWalk> projects;
    for (int i = 0; i < 6; ++i) {
        const std::string path = cache + "p" + std::to_string(i);
        std::string deep = path + "/" + hashOf("c") + "/PROXY";
        for (int level = 0; level < 100; ++level) {
            deep += "/d";
        }
        writeFile(deep + "/00000001.raw", "12345");
        projects.push_back(
            {path, corvid::sharedHashTable((cache + "CompositionHash.txt").c_str())});
    }
    return projects;
}

bool areRead(const std::vector<WalkedProject>& walked) {
    return std::all_of(walked.begin(), walked.end(), [](const WalkedProject& project) {
        return project.items.size() == 1 && project.items[0].features.items.size() == 1 &&
               project.items[0].features.items[0].parts.total().bytes == 5;
    });
}

TEST_F(CacheWalkTest, FewDescriptorsAreHeldOpen) {
    const auto projects = makeDeepProjects(cache());
    EXPECT_TRUE(holdsInChild([&projects] {
        const struct rlimit few { 64, 64 };
        return ::setrlimit(RLIMIT_NOFILE, &few) == 0 && areRead(walkProjects(projects, {}));
    }));
}

TEST_F(CacheWalkTest, EverythingIsReadWhenNoThreadCanBeStarted) {
    corvid::test::letOthersIn(root);
    const auto projects = makeDeepProjects(cache());
    EXPECT_TRUE(holdsInChild([&projects] {
        const struct rlimit none { 0, 0 };
        return corvid::test::becomeNobody() && ::setrlimit(RLIMIT_NPROC, &none) == 0 &&
               areRead(walkProjects(projects, {}));
    }));
}

TEST_F(CacheWalkTest, ProgressIsToldOnTheCallingThread) {
    writeFile(cache() + "CompositionHash.txt", hashOf("c") + " c\n");
    const std::string feature = cache() + "p/" + hashOf("c") + "/PROXY/";
    makeDirectory(feature);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(0, ::symlink("..", (feature + std::to_string(i)).c_str()));
    }
    const auto table = corvid::sharedHashTable((cache() + "CompositionHash.txt").c_str());
    const std::vector<ProjectToWalk> manyTimesTheSame(150, {cache() + "p", table});
    const auto caller = std::this_thread::get_id();
    std::uint64_t last = 0;
    int calls = 0;
    const auto walked = walkProjects(manyTimesTheSame, [&](std::uint64_t files) {
        EXPECT_EQ(caller, std::this_thread::get_id());
        EXPECT_GE(files, last);
        last = files;
        ++calls;
    });
    EXPECT_EQ(1000U, walked[149].items[0].features.items[0].parts.total().files);
    EXPECT_LE(last, 150000U);
    if (calls == 0) {
        GTEST_SKIP() << "this machine read 150,000 files in less than the first interval";
    }
}

} // namespace
