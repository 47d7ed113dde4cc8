#include "upkeep/cache_list.h"

#include "tests/support/failing_calls.h"
#include "tests/support/forked_child.h"
#include "tests/support/small_cache.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

using namespace corvid;       // NOLINT(google-build-using-namespace)
using namespace corvid::test; // NOLINT(google-build-using-namespace)
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class CacheListTest : public SmallCacheTest {
protected:
    static CacheList list(const std::vector<std::string>& roots,
                          const std::vector<std::string>& items = {}) {
        return listCaches({.roots = roots, .items = items});
    }
    static std::string errorOf(const CacheListTest& test, const std::string& item) {
        try {
            static_cast<void>(list({test.cache(), test.cache("Second")}, {item}));
        } catch (const UnknownItem& unknown) {
            return unknown.what();
        }
        return "";
    }
    static std::vector<std::string> namesIn(const CacheList& list) {
        std::vector<std::string> names;
        for (const ListedRoot& root : list.roots) {
            for (const ListedProject& project : root.projects) {
                names.push_back(project.key);
                for (const ListedComposition& composition : project.compositions) {
                    names.push_back("  " + composition.key);
                    for (const ListedFeature& feature : composition.features) {
                        names.push_back("    " + feature.directory);
                    }
                }
            }
        }
        return names;
    }
};

TEST_F(CacheListTest, SumsGoUpward) {
    const std::string preview = addFeature(cache(), "/a.aep", "Main", "SPEC_PREVIEW");
    const std::string render = addFeature(cache(), "/a.aep", "Main", "SPEC_RENDER");
    const std::string other = addFeature(cache(), "/a.aep", "Other", "odd one");
    addFrame(preview, 3, 100, 1000);
    addFrame(preview, 12, 200, 3000);
    addFrame(render, 1, 1000, 2000);
    addFrame(other, 5, 10000, 4000);
    writeFile(other + "/nested/00000001.raw", "12345");
    setTime(other + "/nested/00000001.raw", 9000);

    const CacheList all = list({cache()});

    ASSERT_EQ(all.roots.size(), 1U);
    const ListedProject& project = all.roots[0].projects.at(0);
    EXPECT_EQ(project.numbers.bytes, 11305U);
    EXPECT_EQ(project.numbers.files, 5U);
    EXPECT_EQ(project.numbers.newest, 4000) << "only files directly in a feature have a say";
    EXPECT_EQ(project.numbers.oldest, 1000);
    for (const ListedComposition& composition : project.compositions) {
        if (composition.key == "Main") {
            EXPECT_EQ(composition.numbers.bytes, 1300U);
            EXPECT_EQ(composition.features.at(0).firstFrame, 3U);
            EXPECT_EQ(composition.features.at(0).lastFrame, 12U);
            EXPECT_STREQ(composition.features.at(0).label(), "Spec Preview");
        } else {
            EXPECT_EQ(composition.features.at(0).label(), nullptr);
            EXPECT_EQ(composition.features.at(0).numbers.files, 2U);
        }
    }
    EXPECT_EQ(all.totals.bytes, 11305U);
    EXPECT_EQ(all.projects, 1U);
    EXPECT_EQ(all.compositions, 2U);
    EXPECT_EQ(all.features, 3U);
    EXPECT_TRUE(all.isComplete());
}

TEST_F(CacheListTest, AFileOfSeveralNamesIsAllocatedOnceInEachNode) {
    const std::string first = addFeature(cache(), "/a.aep", "Main", "PROXY");
    const std::string second = addFeature(cache(), "/b.aep", "Main", "PROXY");
    writeFile(first + "/00000001.raw", std::string(100000, 'x'));
    ASSERT_EQ(::link((first + "/00000001.raw").c_str(), (first + "/00000002.raw").c_str()), 0);
    ASSERT_EQ(::link((first + "/00000001.raw").c_str(), (second + "/00000001.raw").c_str()), 0);
    struct stat status {};
    ASSERT_EQ(::stat((first + "/00000001.raw").c_str(), &status), 0);
    const auto blocks = static_cast<std::uint64_t>(status.st_blocks) * 512;
    ASSERT_GT(blocks, 0U);

    const CacheList all = list({cache()});

    EXPECT_EQ(all.totals.bytes, 300000U);
    EXPECT_EQ(all.totals.allocated, blocks);
    EXPECT_EQ(all.roots[0].numbers.allocated, blocks);
    for (const ListedProject& project : all.roots[0].projects) {
        EXPECT_EQ(project.numbers.allocated, blocks);
        EXPECT_EQ(project.compositions.at(0).features.at(0).numbers.allocated, blocks);
    }
}

TEST_F(CacheListTest, WhatNoTableNamesIsAStrayAndCountsByItself) {
    const std::string feature = addFeature(cache(), "/a.aep", "Main", "PROXY");
    addFrame(feature, 1, 7, 1000);
    const std::string unnamed = cache() + "/" + hashOf("unknown");
    writeFile(unnamed + "/" + hashOf("c") + "/PROXY/00000001.raw", std::string(30, 'x'));
    writeFile(unnamed + "/loose", std::string(5, 'x'));
    const std::string project = cache() + "/" + hashOf("/a.aep");
    writeFile(project + "/" + hashOf("lost") + "/PROXY/00000001.raw", std::string(11, 'x'));
    writeFile(project + "/notes.txt", std::string(13, 'x'));
    writeFile(cache() + "/backup/old/deep/file", std::string(17, 'x'));
    writeFile(cache() + "/.DS_Store", "hidden");
    writeFile(cache() + "/.hidden/x/y/file", "hidden");
    makeDirectory(project + "/.hidden");

    const CacheList all = list({cache()});

    std::map<std::string, std::pair<std::string, std::uint64_t>> strays;
    for (const ListedStray& stray : all.roots.at(0).strays) {
        strays[stray.path] = {wordOf(stray.kind), stray.numbers.bytes};
    }
    const std::map<std::string, std::pair<std::string, std::uint64_t>> expected = {
        {hashOf("unknown"), {"unnamed-project", 35}},
        {hashOf("/a.aep") + "/" + hashOf("lost"), {"unnamed-composition", 11}},
        {hashOf("/a.aep") + "/notes.txt", {"foreign", 13}},
        {"backup", {"foreign", 17}}};
    EXPECT_EQ(strays, expected);
    EXPECT_EQ(all.strays.count, 4U);
    EXPECT_EQ(all.strays.numbers.bytes, 76U);
    EXPECT_EQ(all.strays.numbers.files, 5U);
    EXPECT_EQ(all.totals.bytes, 7U);
    EXPECT_TRUE(all.isComplete());
}

TEST_F(CacheListTest, ARootThatCannotBeReadSaysWhyAndLeavesTheOthersWhole) {
    addFrame(addFeature(cache(), "/a.aep", "Main", "PROXY"), 1, 7, 1000);
    writeFile(root.path("file"), "");
    const CacheList all = list({root.path("none"), root.path("file"), cache()});
    ASSERT_EQ(all.roots.size(), 3U);
    EXPECT_EQ(all.roots[0].state, ListedState::Missing);
    EXPECT_EQ(all.roots[1].state, ListedState::NotADirectory);
    EXPECT_EQ(all.roots[2].state, ListedState::Ok);
    EXPECT_FALSE(all.roots[0].volume);
    ASSERT_TRUE(all.roots[2].volume);
    struct statvfs volume {};
    ASSERT_EQ(::statvfs(cache().c_str(), &volume), 0);
    EXPECT_EQ(all.roots[2].volume->total, volume.f_blocks * volume.f_frsize);
    EXPECT_EQ(all.totals.bytes, 7U);
    ASSERT_EQ(all.problems.size(), 2U);
    EXPECT_EQ(all.problems[0].path, root.path("none"));
    EXPECT_EQ(all.problems[0].kind, ListProblemKind::Missing);
    EXPECT_EQ(all.problems[1].kind, ListProblemKind::NotADirectory);
    EXPECT_FALSE(all.isComplete());
}

TEST_F(CacheListTest, ClosedFoldersAndFilesWithoutAnAnswerAreProblems) {
    const std::string feature = addFeature(cache(), "/a.aep", "Main", "PROXY");
    const std::string closed = addFeature(cache(), "/a.aep", "Main", "SPEC_RENDER");
    ASSERT_EQ(::symlink("nowhere", (feature + "/00000001.raw").c_str()), 0);
    ASSERT_EQ(::symlink("nowhere", (feature + "/00000002.raw").c_str()), 0);
    ASSERT_EQ(::chmod(closed.c_str(), 0), 0);
    letOthersIn(root);
    ASSERT_EQ(::chmod(closed.c_str(), 0), 0);
    EXPECT_TRUE(holdsInChild([&] {
        if (!becomeNobody()) {
            return false;
        }
        const CacheList all = list({cache()});
        std::map<std::string, std::uint64_t> counts;
        for (const ListProblem& problem : all.problems) {
            counts[problem.path] = problem.count;
        }
        return counts == std::map<std::string, std::uint64_t>{{feature, 2}, {closed, 1}};
    }));
}

// Whoever clears strays away by this answer must not be told that everything is one.
TEST_F(CacheListTest, ATableThatCannotBeReadOrIsDamagedIsAProblemAndNamesNoStrays) {
    addFrame(addFeature(cache(), "/a.aep", "Main", "PROXY"), 1, 7, 1000);
    const std::string projects = cache() + "/ProjectHash.txt";
    const std::string compositions = cache() + "/CompositionHash.txt";
    const std::string whole[] = {readFile(projects), readFile(compositions)};
    const auto expectProblem = [this](const std::string& path, const char* kind) {
        const CacheList all = list({cache()});
        EXPECT_EQ(all.strays.count, 0U) << path;
        EXPECT_FALSE(all.isComplete());
        ASSERT_EQ(all.problems.size(), 1U);
        EXPECT_EQ(all.problems[0].path, path);
        EXPECT_STREQ(wordOf(all.problems[0].kind), kind);
    };
    writeFile(projects, whole[0] + std::string("\x01\x02 binary\n\xff\xfe x\n"));
    expectProblem(projects, "damaged");
    removeTree(projects);
    makeDirectory(projects);
    expectProblem(projects, "unreadable");
    removeTree(projects);
    writeFile(projects, whole[0]);
    removeTree(compositions);
    ASSERT_EQ(::mkfifo(compositions.c_str(), 0600), 0);
    expectProblem(compositions, "unreadable");
}

TEST_F(CacheListTest, AClosedFolderInAFeatureIsAProblem) {
    const std::string feature = addFeature(cache(), "/a.aep", "Main", "PROXY");
    addFrame(feature, 1, 7, 1000);
    writeFile(feature + "/closed/x", "1");
    writeFile(feature + "/open/closed/x", "1");
    letOthersIn(root);
    ASSERT_EQ(::chmod((feature + "/closed").c_str(), 0), 0);
    ASSERT_EQ(::chmod((feature + "/open/closed").c_str(), 0), 0);
    EXPECT_TRUE(holdsInChild([&] {
        if (!becomeNobody()) {
            return false;
        }
        const CacheList all = list({cache()});
        return all.problems.size() == 1 && all.problems[0].path == feature &&
               all.problems[0].count == 2;
    }));
}

TEST_F(CacheListTest, AReadingThatBreaksOffIsAProblem) {
    addFrame(addFeature(cache(), "/a.aep", "Main", "PROXY"), 1, 7, 1000);
    const FailNth broken(Call::List, 1, EIO, {}, Lasting::FromThenOn);
    EXPECT_FALSE(list({cache()}).isComplete());
}

TEST_F(CacheListTest, AProjectFileIsGoneOnlyWhereItsFolderWasLookedInto) {
    const std::string present = root.path("Shots/present.aep");
    const std::string gone = root.path("Shots/gone.aep");
    const std::string away = root.path("Volumes/Away/x.aep");
    const std::string dangling = root.path("Shots/dangling.aep");
    writeFile(present, "");
    ASSERT_EQ(::symlink("/nowhere/x", dangling.c_str()), 0);
    const std::map<std::string, ProjectFile> expected = {{present, ProjectFile::Present},
                                                         {gone, ProjectFile::Gone},
                                                         {away, ProjectFile::Unknown},
                                                         {dangling, ProjectFile::Unknown},
                                                         {"no path", ProjectFile::Unknown}};
    for (const auto& [key, file] : expected) {
        addFeature(cache(), key, "Main", "PROXY");
    }
    std::map<std::string, ProjectFile> found;
    const CacheList all = list({cache()});
    for (const ListedProject& project : all.roots.at(0).projects) {
        found[project.key] = project.projectFile;
    }
    EXPECT_EQ(found, expected);
}

TEST_F(CacheListTest, ANamedItemIsShownWithWhatItLiesIn) {
    addFrame(addFeature(cache(), "/Shots/a.aep", "Main", "PROXY"), 1, 7, 1000);
    addFrame(addFeature(cache(), "/Shots/a.aep", "Main", "SPEC_RENDER"), 1, 70, 1000);
    addFrame(addFeature(cache(), "/Shots/a.aep", "Other", "PROXY"), 1, 700, 1000);
    addFrame(addFeature(cache(), "/Shots/b.aep", "Title", "PROXY"), 1, 7000, 1000);
    const std::string a = hashOf("/Shots/a.aep");
    const std::string main = a + "/" + hashOf("Main");
    for (const std::string& name : {main, cache() + ":" + main, cache() + "/" + main,
                                    cache() + "//" + main + "/", std::string("Main")}) {
        const CacheList one = list({cache()}, {name});
        EXPECT_THAT(namesIn(one),
                    ElementsAre("/Shots/a.aep", "  Main", "    PROXY", "    SPEC_RENDER"))
            << name;
        EXPECT_EQ(one.totals.bytes, 77U) << "sums are of what is shown";
    }
    EXPECT_THAT(namesIn(list({cache()}, {main + "/PROXY", "b.aep"})), ::testing::SizeIs(6));
    EXPECT_EQ(list({cache()}, {"/Shots/b.aep"}).totals.bytes, 7000U);
    EXPECT_THAT(namesIn(list({cache()}, {"a.aep", main})), ::testing::SizeIs(6))
        << "what lies in a named item is shown whole";
}

TEST_F(CacheListTest, ANameThatFitsNoneOrSeveralIsRefusedWithTheCandidates) {
    addFeature(cache(), "/Shots/a.aep", "Main", "PROXY");
    addFeature(cache(), "/Shots/a.aep", "Other", "PROXY");
    addFeature(cache("Second"), "/Shots/a.aep", "Main", "PROXY");
    EXPECT_EQ(errorOf(*this, "none"), "no item is called 'none'");
    EXPECT_EQ(errorOf(*this, "a.ae"), "no item is called 'a.ae'");
    EXPECT_EQ(errorOf(*this, ""), "no item is called ''");
    EXPECT_THAT(errorOf(*this, "Main"),
                HasSubstr("'Main' is the name of 2 items: " + cache() + ":"));
    const std::string id = hashOf("/Shots/a.aep");
    EXPECT_THAT(errorOf(*this, id), HasSubstr(cache("Second") + ":" + id));
    EXPECT_THAT(errorOf(*this, "Precomp Proxy"), HasSubstr("3 items"));
    EXPECT_EQ(errorOf(*this, cache("Second") + ":" + id), "");
}

TEST_F(CacheListTest, SiblingsCanBeSorted) {
    addFrame(addFeature(cache(), "/s/b.aep", "Main", "PROXY"), 1, 10, 3000);
    addFrame(addFeature(cache(), "/s/a.aep", "Main", "PROXY"), 1, 20, 1000);
    addFrame(addFeature(cache(), "/s/c.aep", "Main", "PROXY"), 1, 5, 2000);
    addFrame(addFeature(cache(), "/s/c.aep", "Main", "PROXY"), 2, 6, 2000);
    const auto sorted = [this](ListOrder order, bool isReversed) {
        CacheList all = list({cache()});
        sortList(all, order, isReversed);
        std::string names;
        for (const ListedProject& project : all.roots.at(0).projects) {
            names += project.key.substr(3, 1);
        }
        return names;
    };
    EXPECT_EQ(sorted(ListOrder::Size, false), "acb");
    EXPECT_EQ(sorted(ListOrder::Size, true), "bca");
    EXPECT_EQ(sorted(ListOrder::Date, false), "bca");
    EXPECT_EQ(sorted(ListOrder::Name, false), "abc");
    EXPECT_EQ(sorted(ListOrder::Files, false).front(), 'c');
    std::vector<std::string> byHash = {"/s/a.aep", "/s/b.aep", "/s/c.aep"};
    std::sort(byHash.begin(), byHash.end(),
              [](const std::string& x, const std::string& y) { return hashOf(x) < hashOf(y); });
    const std::string tree = {byHash[0][3], byHash[1][3], byHash[2][3]};
    EXPECT_EQ(sorted(ListOrder::Tree, false), tree);
    EXPECT_EQ(sorted(ListOrder::Tree, true), std::string(tree.rbegin(), tree.rend()));
}

TEST_F(CacheListTest, AnInterruptedReadingIsNotComplete) {
    addFrame(addFeature(cache(), "/a.aep", "Main", "PROXY"), 1, 7, 1000);
    const std::atomic<bool> stop = true;
    const CacheList all = listCaches({.roots = {cache()}, .stop = &stop});
    EXPECT_TRUE(all.isInterrupted);
    EXPECT_FALSE(all.isComplete());
    EXPECT_THAT(all.problems, IsEmpty()) << "what was not read is no problem";
}

TEST_F(CacheListTest, ListingChangesNothing) {
    addFrame(addFeature(cache(), "/a.aep", "Main", "PROXY"), 1, 7, 1000);
    writeFile(cache() + "/stray", "");
    const Snapshot before = snapshot(root.path());
    static_cast<void>(list({cache(), root.path("none")}));
    EXPECT_EQ(snapshot(root.path()), before);
}

} // namespace
