#include "store/cache_reading.h"

#include "store/KavroPISSFrameCache.h"
#include "tests/support/forked_child.h"
#include "tests/support/frame_cache_levels.h"
#include "tests/support/product_root.h"
#include "tests/support/random_cache.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::CacheReading;
using corvid::DirectoryMeasure;
using corvid::hashOf;
using corvid::ProblemKind;
using corvid::readCaches;
using corvid::ReadComposition;
using corvid::ReadFeature;
using corvid::ReadProject;
using corvid::ReadRoot;
using corvid::RootState;
using corvid::test::holdsInChild;
using corvid::test::kCompositions;
using corvid::test::kFeatures;
using corvid::test::kProjects;
using corvid::test::makeDirectory;
using corvid::test::RandomCache;
using corvid::test::stepOnce;
using corvid::test::Stepped;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string lastComponent(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

class CacheReadingTest : public corvid::test::ProductTest {
protected:
    std::string cache() const { return root.path("cache/"); }
    CacheReading read() const {
        return readCaches({.roots = {root.path("cache")}, .stop = nullptr});
    }

    // Steps a model and expects the items in its order; where it ends before the directory does,
    // the item has no key.
    template <class Item>
    void expectLevel(KavroPISSFrameCache& model, const std::vector<Item>& items,
                     Stepped (*step)(KavroPISSFrameCache&)) {
        for (const Item& item : items) {
            const Stepped stepped = step(model);
            EXPECT_EQ(lastComponent(stepped.path), item.directory);
            EXPECT_EQ(stepped.answer != 0, item.isNamed());
            if (stepped.answer == 0) {
                ++m_unnamed;
                return;
            }
            EXPECT_EQ(stepped.name, item.key);
        }
    }

    void expectSameProject(const ReadProject& project) {
        KavroPISSFrameCache model(cache().c_str(), project.key.c_str());
        ASSERT_EQ(1, model.PrepareCompositionList());
        ASSERT_EQ(static_cast<std::size_t>(model.GetNumberOfCompositions()),
                  project.compositions.size());
        EXPECT_TRUE(project.opened);
        expectLevel(model, project.compositions, [](KavroPISSFrameCache& stepped) {
            return stepOnce(stepped, kCompositions.step);
        });
        for (const ReadComposition& composition : project.compositions) {
            ++m_compositions;
            if (composition.directory == hashOf(composition.key)) {
                expectSameComposition(project.key, composition);
            } else if (composition.isNamed()) {
                ++m_wrong;
            }
        }
    }

    void expectSameComposition(const std::string& project, const ReadComposition& composition) {
        KavroPISSFrameCache model(cache().c_str(), project.c_str(), composition.key.c_str());
        ASSERT_EQ(1, model.PrepareFeatureList());
        ASSERT_EQ(static_cast<std::size_t>(model.GetNumberOfFeatures()),
                  composition.features.size());
        EXPECT_TRUE(composition.opened);
        for (const ReadFeature& feature : composition.features) {
            const Stepped item = stepOnce(model, kFeatures.step);
            EXPECT_EQ(item.name, feature.directory);
            expectSameNumbers(project, composition.key, item.path, feature);
            ++m_features;
        }
    }

    void expectSameNumbers(const std::string& project, const std::string& composition,
                           const std::string& path, const ReadFeature& feature) {
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
                                  feature.directory.c_str());
        const long before = std::time(nullptr);
        long date = 0;
        model.GetLastModifiedDateForFeature(&date);
        if (measure.newest != 0) {
            EXPECT_EQ(date, measure.newest) << path;
        } else {
            EXPECT_GE(date, before) << path;
        }
    }

    int m_compositions = 0;
    int m_wrong = 0;
    int m_unnamed = 0;
    int m_features = 0;
};

TEST_F(CacheReadingTest, GivesWhatSteppingAModelGivesOnAnyCache) {
    for (unsigned seed = 1; seed <= 50 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        corvid::test::removeTree(root.path("cache"));
        const RandomCache made(cache(), seed);
        const auto before = corvid::test::snapshot(cache());
        const CacheReading reading = read();
        ASSERT_EQ(before, corvid::test::snapshot(cache())) << "the reading changed the cache";
        ASSERT_EQ(1U, reading.roots.size());
        EXPECT_EQ(RootState::Ok, reading.roots[0].state);
        KavroPISSFrameCache model(cache().c_str());
        model.PrepareProjectList();
        expectLevel(model, reading.roots[0].projects,
                    [](KavroPISSFrameCache& stepped) { return stepOnce(stepped, kProjects.step); });
        for (const ReadProject& project : reading.roots[0].projects) {
            expectSameProject(project);
        }
    }
    // What the comparison is about did occur.
    EXPECT_GT(m_compositions, 100);
    EXPECT_GT(m_features, 200);
    EXPECT_GT(m_wrong, 5);
    EXPECT_GT(m_unnamed, 5);
}

TEST_F(CacheReadingTest, NoRootsGiveNoResult) {
    EXPECT_THAT(readCaches({}).roots, IsEmpty());
}

TEST_F(CacheReadingTest, ARootThatCannotBeReadSaysWhy) {
    writeFile(root.path("a file"), "");
    makeDirectory(root.path("closed"));
    ASSERT_EQ(0, ::chmod(root.path("closed").c_str(), 0));
    corvid::test::letOthersIn(root);
    EXPECT_TRUE(holdsInChild([this] {
        if (!corvid::test::becomeNobody()) {
            return false;
        }
        const CacheReading reading =
            readCaches({.roots = {root.path("missing"), root.path("a file"),
                                  root.path("a file/below"), root.path("closed")}});
        const std::vector<corvid::ReadingProblem> problems = corvid::problemsOf(reading);
        return reading.roots[0].state == RootState::Missing &&
               reading.roots[1].state == RootState::NotADirectory &&
               reading.roots[2].state == RootState::NotADirectory &&
               reading.roots[3].state == RootState::Unreadable && problems.size() == 4 &&
               problems[0].path == root.path("missing") &&
               problems[0].kind == ProblemKind::Missing &&
               problems[1].kind == ProblemKind::NotADirectory &&
               problems[3].kind == ProblemKind::Unreadable;
    }));
}

TEST_F(CacheReadingTest, WhatNoTableNamesIsReadLikeTheRest) {
    writeFile(cache() + "ProjectHash.txt", "p named\n");
    writeFile(cache() + "p/c/PROXY/00000001.raw", "12345");
    writeFile(cache() + "stray/c/PROXY/00000001.raw", "123");
    writeFile(cache() + "note.txt", "");
    writeFile(cache() + ".hidden", "");
    writeFile(cache() + "p/note.txt", "");
    writeFile(cache() + "p/c/note.txt", "");
    const CacheReading reading = read();
    const ReadRoot& only = reading.roots[0];
    EXPECT_THAT(only.others, ElementsAre("note.txt"));
    ASSERT_EQ(2U, only.projects.size());
    const ReadProject* named = only.inDirectory("p");
    const ReadProject* stray = only.inDirectory("stray");
    ASSERT_TRUE(named != nullptr && stray != nullptr && only.inDirectory("none") == nullptr);
    EXPECT_EQ("named", named->key);
    EXPECT_FALSE(stray->isNamed());
    EXPECT_THAT(named->others, ElementsAre("note.txt"));
    ASSERT_EQ(1U, stray->compositions.size());
    EXPECT_FALSE(stray->compositions[0].isNamed());
    EXPECT_THAT(named->compositions[0].others, ElementsAre("note.txt"));
    EXPECT_EQ(5U, named->compositions[0].features[0].parts.total().bytes);
    EXPECT_EQ(3U, stray->inDirectory("c")->features[0].parts.total().bytes);
    EXPECT_THAT(corvid::problemsOf(reading), IsEmpty());
}

TEST_F(CacheReadingTest, WhatCannotBeReadBelowARootIsAProblemEach) {
    writeFile(cache() + "p/c/PROXY/00000001.raw", "");
    makeDirectory(cache() + "closed");
    makeDirectory(cache() + "p/closed");
    makeDirectory(cache() + "p/c/closed");
    ASSERT_EQ(0, ::symlink("nowhere", (cache() + "p/c/PROXY/dead").c_str()));
    for (const char* folder : {"closed", "p/closed", "p/c/closed"}) {
        ASSERT_EQ(0, ::chmod((cache() + folder).c_str(), 0));
    }
    corvid::test::letOthersIn(root);
    EXPECT_TRUE(holdsInChild([this] {
        if (!corvid::test::becomeNobody()) {
            return false;
        }
        std::vector<std::string> paths;
        for (const corvid::ReadingProblem& problem : corvid::problemsOf(read())) {
            paths.push_back(problem.path);
        }
        std::sort(paths.begin(), paths.end());
        return paths == std::vector<std::string>{cache() + "closed", cache() + "p/c/PROXY/dead",
                                                 cache() + "p/c/closed", cache() + "p/closed"};
    }));
}

TEST_F(CacheReadingTest, RootsStandInTheOrderInWhichTheyWereGiven) {
    std::vector<std::string> roots;
    for (int i = 0; i < 40; ++i) {
        roots.push_back(root.path("root" + std::to_string(i)));
        for (int n = 0; n < i % 7; ++n) {
            makeDirectory(roots.back() + "/" + std::to_string(n));
        }
    }
    const CacheReading reading = readCaches({.roots = roots});
    ASSERT_EQ(40U, reading.roots.size());
    for (std::size_t i = 0; i < 40; ++i) {
        EXPECT_EQ(roots[i], reading.roots[i].path);
        EXPECT_EQ(i % 7, reading.roots[i].projects.size());
        EXPECT_EQ(i % 7 != 0 ? RootState::Ok : RootState::Missing, reading.roots[i].state);
    }
}

TEST_F(CacheReadingTest, OneProjectIsReadByItself) {
    writeFile(cache() + "CompositionHash.txt", "c a key\n");
    writeFile(cache() + "p/c/PROXY/00000001.raw", "12345");
    const corvid::RootTables tables = corvid::tablesOfRoot(cache());
    const ReadProject project =
        corvid::readProject(root.path("cache"), "p", tables.compositions.get());
    EXPECT_TRUE(project.opened);
    ASSERT_EQ(1U, project.compositions.size());
    EXPECT_EQ("a key", project.compositions[0].key);
    EXPECT_EQ(5U, project.compositions[0].features[0].parts.total().bytes);
    EXPECT_FALSE(corvid::readProject(cache(), "missing", nullptr).opened);
    EXPECT_FALSE(corvid::readProject(root.path("missing"), "p", nullptr).opened);
}

TEST_F(CacheReadingTest, AReadingThatIsStoppedSaysSo) {
    writeFile(cache() + "p/c/PROXY/00000001.raw", "12345");
    std::atomic<bool> stop{true};
    const CacheReading stopped = readCaches({.roots = {cache()}, .stop = &stop});
    EXPECT_TRUE(stopped.isStopped);
    EXPECT_FALSE(stopped.roots[0].projects[0].opened);
    stop = false;
    const CacheReading whole = readCaches({.roots = {cache()}, .stop = &stop});
    EXPECT_FALSE(whole.isStopped);
    EXPECT_TRUE(whole.roots[0].projects[0].opened);
}

// A composition with one deep feature in each of a few projects.
void makeDeepProjects(const std::string& cache) {
    for (int i = 0; i < 6; ++i) {
        std::string deep = cache + "p" + std::to_string(i) + "/c/PROXY";
        for (int level = 0; level < 100; ++level) {
            deep += "/d";
        }
        writeFile(deep + "/00000001.raw", "12345");
    }
}

bool areRead(const CacheReading& reading) {
    const std::vector<ReadProject>& projects = reading.roots[0].projects;
    return projects.size() == 6 &&
           std::all_of(projects.begin(), projects.end(), [](const ReadProject& project) {
               return project.compositions.size() == 1 &&
                      project.compositions[0].features.size() == 1 &&
                      project.compositions[0].features[0].parts.total().bytes == 5;
           });
}

TEST_F(CacheReadingTest, FewDescriptorsAreHeldOpen) {
    makeDeepProjects(cache());
    EXPECT_TRUE(holdsInChild([this] {
        const struct rlimit few { 64, 64 };
        return ::setrlimit(RLIMIT_NOFILE, &few) == 0 && areRead(read());
    }));
}

TEST_F(CacheReadingTest, EverythingIsReadWhenNoThreadCanBeStarted) {
    corvid::test::letOthersIn(root);
    makeDeepProjects(cache());
    EXPECT_TRUE(holdsInChild([this] {
        const struct rlimit none { 0, 0 };
        return corvid::test::becomeNobody() && ::setrlimit(RLIMIT_NPROC, &none) == 0 &&
               areRead(read());
    }));
}

TEST_F(CacheReadingTest, ProgressIsToldOnTheCallingThread) {
    const std::string feature = cache() + "p/c/PROXY/";
    makeDirectory(feature);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(0, ::symlink("..", (feature + std::to_string(i)).c_str()));
    }
    const std::vector<std::string> manyTimesTheSame(150, cache());
    const auto caller = std::this_thread::get_id();
    std::uint64_t last = 0;
    int calls = 0;
    const CacheReading reading = readCaches({.roots = manyTimesTheSame}, [&](std::uint64_t files) {
        EXPECT_EQ(caller, std::this_thread::get_id());
        EXPECT_GE(files, last);
        last = files;
        ++calls;
    });
    const ReadProject& project = reading.roots[149].projects[0];
    EXPECT_EQ(1000U, project.compositions[0].features[0].parts.total().files);
    EXPECT_LE(last, 150000U);
    if (calls == 0) {
        GTEST_SKIP() << "this machine read 150,000 files in less than the first interval";
    }
}

} // namespace
