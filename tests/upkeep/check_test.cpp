#include "upkeep/check.h"

#include "tests/support/forked_child.h"
#include "tests/support/small_cache.h"
#include "tools/sample_cache.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include <sys/stat.h>

namespace {

using namespace corvid;       // NOLINT(google-build-using-namespace)
using namespace corvid::test; // NOLINT(google-build-using-namespace)
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// A healthy cache of two projects; each test plants one fault.
class CheckTest : public SmallCacheTest {
protected:
    CheckTest() {
        addFrame(addFeature(cache(), kA, "Main", "PROXY"), 1, 1000, 1000);
        addFrame(addFeature(cache(), kB, "Title", "PROXY"), 1, 500, 1000);
        registerRoot(cache(), kA);
        registerRoot(cache(), kB);
    }

    std::vector<Finding> check() const {
        const Snapshot before = snapshot(cache());
        KavroPISSFrameCacheRegistry registry;
        std::vector<Finding> findings =
            checkCaches(listCaches({.roots = distinctCacheRoots(registry)}));
        EXPECT_EQ(snapshot(cache()), before) << "checking changed something";
        return findings;
    }
    // The only finding, of this kind, with so many hidden bytes.
    Finding only(FindingKind kind, std::uint64_t hiddenBytes) {
        const std::vector<Finding> findings = check();
        EXPECT_EQ(findings.size(), 1U);
        for (const Finding& finding : findings) {
            EXPECT_STREQ(wordOf(finding.kind), wordOf(kind)) << finding.path;
            EXPECT_EQ(finding.hiddenBytes, hiddenBytes);
            EXPECT_EQ(finding.hiddenFiles, hiddenBytes > 0 ? 1U : 0U);
        }
        return findings.empty() ? Finding{} : findings.front();
    }
    std::string table(const std::string& name) const { return cache() + "/" + name; }
    void change(const std::string& name, const std::string& from, const std::string& to) {
        std::string text = readFile(table(name));
        const std::size_t place = text.find(from);
        ASSERT_NE(place, std::string::npos) << text;
        writeFile(table(name), text.replace(place, from.size(), to));
    }
    void append(const std::string& name, const std::string& text) {
        writeFile(table(name), readFile(table(name)) + text);
    }

    static constexpr char kA[] = "/Shots/a.aep";
    static constexpr char kB[] = "/Shots/b.aep";
};

TEST_F(CheckTest, AHealthyCacheHasNoFinding) {
    EXPECT_THAT(check(), IsEmpty());
}

TEST_F(CheckTest, AnUnnamedProject) {
    change("ProjectHash.txt", hashOf(kB) + " " + kB + "\n", "");
    const Finding finding = only(FindingKind::UnnamedProject, 500);
    EXPECT_EQ(finding.root, cache());
    EXPECT_EQ(finding.path, cache() + "/" + hashOf(kB));
    EXPECT_EQ(finding.fix, "Add a line that names it 'recovered " + hashOf(kB) + "'.");
}

TEST_F(CheckTest, AnUnnamedCompositionThatAnotherRootNames) {
    change("CompositionHash.txt", hashOf("Title") + " Title\n", "");
    addFeature(cache("Second"), kB, "Title", "PROXY");
    registerRoot(cache("Second"), kB);
    const Finding finding = only(FindingKind::UnnamedComposition, 500);
    EXPECT_EQ(finding.path, cache() + "/" + hashOf(kB) + "/" + hashOf("Title"));
    EXPECT_EQ(finding.fix,
              "Add the line for 'Title', which the tables of " + cache("Second") + " have.");
}

TEST_F(CheckTest, ALineWithoutItsDirectory) {
    append("CompositionHash.txt", hashOf("gone") + " gone\n");
    const Finding finding = only(FindingKind::DeadLine, 0);
    EXPECT_EQ(finding.path, table("CompositionHash.txt"));
    EXPECT_THAT(*finding.fix, HasSubstr(hashOf("gone")));
}

TEST_F(CheckTest, ASecondLineOfADirectory) {
    append("ProjectHash.txt", hashOf(kA) + " /another.aep\n");
    EXPECT_EQ(only(FindingKind::DoubleLine, 0).path, table("ProjectHash.txt"));
}

TEST_F(CheckTest, ALineWhoseKeyLeadsElsewhere) {
    change("CompositionHash.txt", hashOf("Main") + " Main\n", hashOf("Main") + " Other\n");
    EXPECT_THAT(*only(FindingKind::WrongHash, 1000).fix,
                HasSubstr("'recovered " + hashOf("Main") + "'"));
}

TEST_F(CheckTest, LinesBehindAnEmptyOne) {
    const std::string line = hashOf(kB) + " " + kB + "\n";
    change("ProjectHash.txt", line, "");
    append("ProjectHash.txt", "\n" + line);
    const Finding finding = only(FindingKind::HiddenByEmptyLine, 500);
    EXPECT_EQ(finding.path, table("ProjectHash.txt"));
    EXPECT_TRUE(finding.fix);
}

TEST_F(CheckTest, ARootWrittenInTwoWays) {
    registerRoot(cache() + "//", "/c.aep");
    EXPECT_EQ(only(FindingKind::RegistryDoubleRoot, 0).path, root.productFile("FrameCache.cvp"));
}

TEST_F(CheckTest, AProjectThatTheRegistryDoesNotHave) {
    KavroPISSFrameCacheRegistry registry;
    ASSERT_EQ(registry.DeleteItem(kB), 1);
    ASSERT_EQ(registry.Commit(), 1);
    const Finding finding = only(FindingKind::UnregisteredProject, 500);
    EXPECT_EQ(finding.path, cache() + "/" + hashOf(kB));
    EXPECT_THAT(*finding.fix, HasSubstr(kB));
}

TEST_F(CheckTest, AMissingRootIsToldAndNothingOfItIsCalledGone) {
    addFeature(cache("Away"), "/c.aep", "Main", "PROXY");
    registerRoot(cache("Away"), "/c.aep");
    removeTree(cache("Away"));
    const Finding finding = only(FindingKind::RegistryMissingRoot, 0);
    EXPECT_EQ(finding.path, cache("Away"));
    EXPECT_FALSE(finding.fix);
}

TEST_F(CheckTest, ARootInsideAnother) {
    const std::string inner = cache() + "/" + hashOf(kA) + "/.inner";
    addFrame(addFeature(inner, "/c.aep", "Main", "PROXY"), 1, 10, 1000);
    registerRoot(inner, "/c.aep");
    EXPECT_EQ(only(FindingKind::NestedRoot, 0).path, inner);
}

TEST_F(CheckTest, WhatTheLayoutDoesNotKnow) {
    writeFile(cache() + "/" + hashOf(kA) + "/notes.txt", "1234567");
    const Finding finding = only(FindingKind::Foreign, 7);
    EXPECT_EQ(finding.path, cache() + "/" + hashOf(kA) + "/notes.txt");
    EXPECT_FALSE(finding.fix);
}

TEST_F(CheckTest, NothingIsCalledGoneThatCouldNotBeLookedAt) {
    ASSERT_EQ(::chmod((cache() + "/" + hashOf(kB)).c_str(), 0), 0);
    letOthersIn(root);
    ASSERT_EQ(::chmod((cache() + "/" + hashOf(kB)).c_str(), 0), 0);
    EXPECT_TRUE(holdsInChild([] {
        KavroPISSFrameCacheRegistry registry;
        return becomeNobody() &&
               checkCaches(listCaches({.roots = distinctCacheRoots(registry)})).empty();
    }));
}

TEST(CheckOfSamples, HealthyOnesHaveNoFindingAndRandomOnesHaveWhatIsPlanted) {
    std::set<std::string> kinds;
    for (const SampleShape shape : {SampleShape::Healthy, SampleShape::Random}) {
        for (unsigned seed = 1; seed <= 10; ++seed) {
            const ProductRoot root;
            SampleOptions options;
            options.root = root.path();
            options.shape = shape;
            options.roots = 3;
            options.projects = 12;
            options.compositions = 3;
            options.seed = seed;
            makeSampleCache(options);
            KavroPISSFrameCacheRegistry registry;
            const CacheList list = listCaches({.roots = distinctCacheRoots(registry)});
            ASSERT_FALSE(list.roots.empty());
            for (const Finding& finding : checkCaches(list)) {
                EXPECT_EQ(shape, SampleShape::Random) << wordOf(finding.kind) << finding.path;
                kinds.insert(wordOf(finding.kind));
            }
        }
    }
    EXPECT_THAT(kinds,
                ::testing::UnorderedElementsAre("dead-line", "foreign", "registry-double-root"));
}

TEST_F(CheckTest, ALineThatIsTooLong) {
    const std::string key = "/" + std::string(1200, 'x') + ".aep";
    append("ProjectHash.txt", hashOf(key) + " " + key + "\n");
    bool isFound = false;
    for (const Finding& finding : check()) {
        isFound = isFound || finding.kind == FindingKind::OverLong;
    }
    EXPECT_TRUE(isFound);
}

TEST_F(CheckTest, AKeyWithALeadingBlankIsNoWrongHash) {
    addFeature(cache(), kA, " Comp 1", "PROXY");
    EXPECT_THAT(check(), IsEmpty());
}

TEST_F(CheckTest, OfADamagedTableItOnlyTells) {
    std::string noise(200000, '\0');
    for (std::size_t i = 0; i < noise.size(); ++i) {
        noise[i] = static_cast<char>(i * 7919 % 251);
    }
    append("ProjectHash.txt", noise);
    EXPECT_FALSE(check().empty());
}

} // namespace
