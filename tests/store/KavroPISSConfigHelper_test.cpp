#include "store/KavroPISSConfigHelper.h"

#include "store/PISSMD5.h"
#include "tests/support/failing_calls.h"
#include "tests/support/forked_child.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using corvid::hashOf;
using corvid::test::Call;
using corvid::test::exists;
using corvid::test::FailNth;
using corvid::test::Lasting;
using corvid::test::linesOf;
using corvid::test::makeDirectory;
using corvid::test::readFile;
using corvid::test::writeFile;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Helper = KavroPISSConfigHelper;

class ConfigHelperUpdateTest : public corvid::test::ProductTest {
protected:
    ConfigHelperUpdateTest() {
        makeDirectory(root.path("Shots"));
        writeFile(config(), "default int\tsize 1\ndefault string\tname some where\n");
    }

    std::string config() const { return root.productFile("Config.txt"); }
    std::string registry() const { return root.productFile("FrameCache.cvp"); }
    std::string projectFile() const { return root.path("Shots/.CorvidPro2ProjectConfig.cvp"); }
    std::string text(const std::string& lines) const { return "cvp-version:1\n" + lines; }
    std::string line(const std::string& identity, const std::string& rest) const {
        return hashOf(identity) + " " + rest + "\n";
    }
    static std::string cannot(const char* what, const std::string& name, const std::string& key) {
        return std::string("ERROR\tUnable to ") + what + " for: [" + name + "] [" + key + "]";
    }
    // The errors of an update whose text cannot be kept: neither changed nor added.
    std::vector<std::string> errorsOf(const std::function<int()>& update) {
        root.clearLog();
        EXPECT_EQ(0, update());
        return root.logMessages();
    }

    const char* kChange = "change the persistent storage item";
    const char* kAdd = "ADD to the persistent storage item";
    const char* kCommit = "commit persistent storage transaction";
    KavroPISSProjectKeys project{root.path("Shots/Edit.aep").c_str()};
    KavroPISSCompKeys composition{"comp identity", "comp", &project};
};

TEST_F(ConfigHelperUpdateTest, AGlobalValueIsChangedInItsPlace) {
    EXPECT_EQ(1, Helper::addOrUpdateGlobalIntegerSetting("size", -5));
    EXPECT_EQ(1, Helper::addOrUpdateGlobalStringSetting("name", "else where"));
    EXPECT_EQ("default int\tsize -5\ndefault string\tname else where\n", readFile(config()));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(ConfigHelperUpdateTest, AMissingGlobalValueIsAddedAtTheEnd) {
    EXPECT_EQ(1, Helper::addOrUpdateGlobalIntegerSetting("frames", 3));
    EXPECT_EQ(1, Helper::addOrUpdateGlobalStringSetting("path", "/x y"));
    EXPECT_EQ("default int\tsize 1\ndefault string\tname some where\ndefault int\tframes 3\n"
              "default string\tpath /x y\n",
              readFile(config()));
}

TEST_F(ConfigHelperUpdateTest, AGlobalValueKeepsItsType) {
    EXPECT_EQ(1, Helper::addOrUpdateGlobalIntegerSetting("name", 5));
    EXPECT_EQ(1, Helper::addOrUpdateGlobalStringSetting("size", "text"));
    EXPECT_EQ("default int\tsize 1\ndefault string\tname some where\n", readFile(config()));
}

TEST_F(ConfigHelperUpdateTest, AProjectValueStandsUnderItsIdentity) {
    EXPECT_EQ(1, Helper::addOrUpdateProjectIntegerSetting(&project, "size", 3));
    EXPECT_EQ(1, Helper::addOrUpdateProjectStringSetting(&project, "name", "first"));
    EXPECT_EQ(1, Helper::addOrUpdateProjectIntegerSetting(&project, "size", 4));
    EXPECT_EQ(1, Helper::addOrUpdateProjectStringSetting(&project, "name", "second one"));
    EXPECT_EQ(text(line(project.identity, "int\tsize 4") +
                   line(project.identity, "string\tname second one")),
              readFile(projectFile()));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(ConfigHelperUpdateTest, ACompositionValueStandsInItsProjectsFile) {
    EXPECT_EQ(1, Helper::addOrUpdateProjectIntegerSetting(&project, "size", 3));
    EXPECT_EQ(1, Helper::addOrUpdateCompIntegerSetting(&composition, "size", 4));
    EXPECT_EQ(1, Helper::addOrUpdateCompStringSetting(&composition, "name", "first"));
    EXPECT_EQ(1, Helper::addOrUpdateCompIntegerSetting(&composition, "size", 5));
    EXPECT_EQ(1, Helper::addOrUpdateCompStringSetting(&composition, "name", "second"));
    EXPECT_EQ(text(line(project.identity, "int\tsize 3") + line("comp identity", "int\tsize 5") +
                   line("comp identity", "string\tname second")),
              readFile(projectFile()));
}

TEST_F(ConfigHelperUpdateTest, ARegistryValueIsAddedAndChanged) {
    EXPECT_EQ(1, Helper::addOrUpdateRegistryStringSetting("p", "PathToCache", "/a/"));
    EXPECT_EQ(1, Helper::addOrUpdateRegistryStringSetting("q", "PathToCache", "/b/"));
    EXPECT_EQ(1, Helper::addOrUpdateRegistryStringSetting("p", "PathToCache", "/c d/"));
    EXPECT_THAT(linesOf(registry()), ElementsAre(hashOf("p") + " string\tPathToCache /c d/",
                                                 hashOf("q") + " string\tPathToCache /b/"));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

// Makes one copy or entry after the other fail for want of memory until the update says this; it
// then answers 0 and leaves the file as it was.
template <class Update>
void expectToldOnce(corvid::test::ProductRoot& root, Call call, const std::string& message,
                    const std::string& file, Update update) {
    const std::string before = corvid::test::exists(file) ? readFile(file) : "";
    for (int nth = 1; nth < 100; ++nth) {
        root.clearLog();
        int answer = 1;
        {
            const FailNth failing(call, nth, ENOMEM);
            answer = update();
        }
        if (root.hasLogged(message)) {
            EXPECT_EQ(0, answer);
            EXPECT_EQ(before, readFile(file));
            return;
        }
    }
    ADD_FAILURE() << "never said: " << message;
}

TEST_F(ConfigHelperUpdateTest, AGlobalValueThereIsNoMemoryForIsAnError) {
    expectToldOnce(root, Call::Strdup, cannot(kChange, "default", "name"), config(),
                   [] { return Helper::addOrUpdateGlobalStringSetting("name", "some where"); });
    expectToldOnce(root, Call::Strdup, cannot(kAdd, "default", "new"), config(),
                   [] { return Helper::addOrUpdateGlobalStringSetting("new", "x"); });
}

TEST_F(ConfigHelperUpdateTest, AProjectValueThereIsNoMemoryForIsAnError) {
    ASSERT_EQ(1, Helper::addOrUpdateProjectStringSetting(&project, "name", "x"));
    expectToldOnce(
        root, Call::Strdup, cannot(kChange, project.identity, "name"), projectFile(),
        [this] { return Helper::addOrUpdateProjectStringSetting(&project, "name", "x"); });
    expectToldOnce(
        root, Call::Strdup, cannot(kAdd, project.identity, "new"), projectFile(),
        [this] { return Helper::addOrUpdateProjectStringSetting(&project, "new", "x"); });
}

TEST_F(ConfigHelperUpdateTest, ACompositionValueThereIsNoMemoryForIsAnError) {
    ASSERT_EQ(1, Helper::addOrUpdateCompStringSetting(&composition, "name", "x"));
    expectToldOnce(
        root, Call::Strdup, cannot(kChange, "comp identity", "name"), projectFile(),
        [this] { return Helper::addOrUpdateCompStringSetting(&composition, "name", "x"); });
    expectToldOnce(root, Call::Strdup, cannot(kAdd, "comp identity", "new"), projectFile(), [this] {
        return Helper::addOrUpdateCompIntegerSetting(&composition, "new", 1);
    });
}

TEST_F(ConfigHelperUpdateTest, ARegistryValueThereIsNoMemoryForIsAnError) {
    ASSERT_EQ(1, Helper::addOrUpdateRegistryStringSetting("p", "PathToCache", "/a/"));
    expectToldOnce(
        root, Call::Strdup,
        "ERROR\tUnable to change the persistent REGISTRY storage item for: project [p] key "
        "[PathToCache]",
        registry(),
        [] { return Helper::addOrUpdateRegistryStringSetting("p", "PathToCache", "/a/"); });
    expectToldOnce(
        root, Call::Strdup,
        "ERROR\tUnable to ADD to the persistent REGISTRY storage item for: [q] [PathToCache]",
        registry(),
        [] { return Helper::addOrUpdateRegistryStringSetting("q", "PathToCache", "/b/"); });
}

TEST_F(ConfigHelperUpdateTest, AFailedGlobalCommitIsAnError) {
    const std::string before = readFile(config());
    const FailNth full(Call::Write, 1, ENOSPC, "Config.txt", Lasting::FromThenOn);
    EXPECT_THAT(
        errorsOf([] { return Helper::addOrUpdateGlobalIntegerSetting("size", 2); }),
        ElementsAre(::testing::StartsWith("WARNING\t"), cannot(kCommit, "default", "size")));
    EXPECT_GT(full.failures(), 0);
    EXPECT_EQ(before, readFile(config()));
}

TEST_F(ConfigHelperUpdateTest, AFailedProjectCommitIsAnError) {
    corvid::test::removeTree(root.path("Shots"));
    const std::string warning = "WARNING\tPer Project Commit: Cannot open generic config file '" +
                                projectFile() + "' for writing\n";
    EXPECT_THAT(
        errorsOf([this] { return Helper::addOrUpdateProjectIntegerSetting(&project, "size", 2); }),
        ElementsAre(warning, cannot(kCommit, project.identity, "size")));
    EXPECT_THAT(errorsOf([this] {
                    return Helper::addOrUpdateCompStringSetting(&composition, "name", "x");
                }),
                ElementsAre(warning, cannot(kCommit, "comp identity", "name")));
}

TEST_F(ConfigHelperUpdateTest, AFailedRegistryCommitIsAnError) {
    makeDirectory(registry());
    EXPECT_THAT(
        errorsOf(
            [] { return Helper::addOrUpdateRegistryStringSetting("p", "PathToCache", "/a/"); }),
        ElementsAre("WARNING\tPersisentFrameCacheRegistry: Commit: Cannot open generic config "
                    "file '" +
                        registry() + "' for writing\n",
                    "ERROR\tUnable to commit persistent REGISTRY storage transaction for "
                    "project:[p] key:[PathToCache]"));
}

TEST_F(ConfigHelperUpdateTest, AProjectWithoutAFolderIsAnError) {
    const KavroPISSProjectKeys bare("Edit.aep");
    EXPECT_THAT(
        errorsOf([&bare] { return Helper::addOrUpdateProjectIntegerSetting(&bare, "size", 2); }),
        ElementsAre("WARNING\tPerProjectConfig::PerProjectConfig : pathToProject has length 0.\n",
                    cannot(kCommit, bare.identity, "size")));
}

TEST_F(ConfigHelperUpdateTest, PercentSignsAreKeptAndLoggedAsTheyStand) {
    EXPECT_EQ(1, Helper::addOrUpdateGlobalStringSetting("%s%n", "%d%s%n 100%"));
    EXPECT_THAT(linesOf(config()), Contains("default string\t%s%n %d%s%n 100%"));
    const FailNth full(Call::Write, 1, ENOSPC, "Config.txt", Lasting::FromThenOn);
    EXPECT_THAT(
        errorsOf([] { return Helper::addOrUpdateGlobalStringSetting("%s%n", "x"); }),
        ElementsAre(::testing::StartsWith("WARNING\t"), cannot(kCommit, "default", "%s%n")));
}

TEST_F(ConfigHelperUpdateTest, AMissingGlobalFileIsMadeOnTheWay) {
    ASSERT_EQ(0, ::unlink(config().c_str()));
    EXPECT_EQ(1, Helper::addOrUpdateGlobalIntegerSetting("size", 2));
    EXPECT_THAT(linesOf(config()), Contains("default int\tsize 2"));
    EXPECT_TRUE(root.hasLogged("WARNING\tCannot open generic config file '" + config() +
                               "' for reading\n"));
}

TEST_F(ConfigHelperUpdateTest, NullArgumentsAreRefused) {
    const std::string before = readFile(config());
    EXPECT_TRUE(corvid::test::holdsInChild([this] {
        return Helper::addOrUpdateGlobalIntegerSetting(nullptr, 1) == 0 &&
               Helper::addOrUpdateGlobalStringSetting(nullptr, "x") == 0 &&
               Helper::addOrUpdateProjectIntegerSetting(&project, nullptr, 1) == 0 &&
               Helper::addOrUpdateProjectStringSetting(&project, nullptr, "x") == 0 &&
               Helper::addOrUpdateCompIntegerSetting(&composition, nullptr, 1) == 0 &&
               Helper::addOrUpdateCompStringSetting(&composition, nullptr, "x") == 0 &&
               Helper::addOrUpdateRegistryStringSetting(nullptr, "key", "x") == 0 &&
               Helper::addOrUpdateRegistryStringSetting("p", nullptr, "x") == 0 &&
               Helper::addOrUpdateRegistryStringSetting("p", "key", nullptr) == 0;
    }));
    EXPECT_EQ(before, readFile(config()));
}

} // namespace
