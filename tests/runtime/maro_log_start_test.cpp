#include "runtime/maro_log.h"

#include "tests/support/failing_calls.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using corvid::test::Call;
using corvid::test::exists;
using corvid::test::linesOf;
using corvid::test::makeDirectory;
using corvid::test::readFile;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;

std::string logFilePath() {
    char path[4096] = {};
    getLogFilePath(path, sizeof(path));
    return path;
}

void logOnEveryLevel() {
    maro_logDev("developer %d", 1);
    maro_log("ordinary %d", 2);
    maro_logWarning("warning %d", 3);
    maro_logToDo("to do %d", 4);
    maro_logError("error %d", 5);
    maro_logAlways("always %d", 6);
}

// The test's program is started again for the statement, so that it meets the start values.
#define EXPECT_IN_FRESH_PROCESS(statement)                                                         \
    GTEST_FLAG_SET(death_test_style, "threadsafe");                                                \
    EXPECT_EXIT(                                                                                   \
        {                                                                                          \
            statement;                                                                             \
            std::exit(HasFailure() ? 1 : 0); /* NOLINT(concurrency-mt-unsafe) */                   \
        },                                                                                         \
        ::testing::ExitedWithCode(0), "")

// A root without the fixture's own initialisation.
class FreshRoot {
public:
    FreshRoot() {
        char path[] = "/tmp/corvid-fresh-XXXXXX";
        m_path = ::mkdtemp(path);
        makeDirectory(m_path + "/private/tmp");
        ::setenv("CORVIDPRO_ROOT", m_path.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
    }
    ~FreshRoot() { corvid::test::removeTree(m_path); }
    FreshRoot(const FreshRoot&) = delete;
    FreshRoot& operator=(const FreshRoot&) = delete;

    std::string logFile() const { return m_path + "/private/tmp/fresh.log"; }

private:
    std::string m_path;
};

void checkNothingIsLoggedBeforeInitialisation() {
    const FreshRoot root;
    const auto opened = corvid::test::callsMade(Call::Open);
    logOnEveryLevel();
    rollMaroLogFile();
    EXPECT_EQ(corvid::test::callsMade(Call::Open), opened);
    EXPECT_EQ(logFilePath(), "");
    initializeAndDetermineMaroLogging("fresh.log", "/tmp");
    EXPECT_FALSE(exists(root.logFile()));
    maro_logAlways("first");
    EXPECT_EQ(linesOf(root.logFile()).size(), 1U);
    // The roll-over before initialisation did not count either.
    rollMaroLogFile();
    EXPECT_TRUE(exists(root.logFile() + ".0.txt"));
}

TEST(MaroLogStartTest, NothingIsLoggedBeforeInitialisation) {
    EXPECT_IN_FRESH_PROCESS(checkNothingIsLoggedBeforeInitialisation());
}

void checkSwitchesAtStart() {
    const FreshRoot root;
    EXPECT_FALSE(isDevLoggingEnabled());
    initializeAndDetermineMaroLogging("fresh.log", "/tmp");
    maro_logDev("silent");
    maro_log("written");
    const std::vector<std::string> lines = linesOf(root.logFile());
    EXPECT_THAT(lines, ElementsAre(MatchesRegex("<.*>\t<Thread=[0-9]+>\twritten")));
}

TEST(MaroLogStartTest, OnlyTheDeveloperLevelIsOffAtStart) {
    EXPECT_IN_FRESH_PROCESS(checkSwitchesAtStart());
}

void checkAnEarlierRunsBackupIsReplaced() {
    const FreshRoot root;
    writeFile(root.logFile() + ".0.txt", "earlier 0");
    writeFile(root.logFile() + ".1.txt", "earlier 1");
    initializeAndDetermineMaroLogging("fresh.log", "/tmp");
    maro_log("now");
    rollMaroLogFile();
    EXPECT_THAT(linesOf(root.logFile() + ".0.txt"), ElementsAre(MatchesRegex(".*\tnow")));
    EXPECT_EQ(readFile(root.logFile() + ".1.txt"), "earlier 1");
}

TEST(MaroLogStartTest, ANewProcessOverwritesBackupZeroFirst) {
    EXPECT_IN_FRESH_PROCESS(checkAnEarlierRunsBackupIsReplaced());
}

void checkLoggingWithoutLocksDoesNotCrash() {
    const FreshRoot root;
    cleanupMaroTime();
    cleanupMaroLogging();
    initMaroTime();
    initMaroTime();
    initializeAndDetermineMaroLogging("fresh.log", "/tmp");
    maro_log("last");
    cleanupMaroLogging();
    cleanupMaroLogging();
    cleanupMaroTime();
    cleanupMaroTime();
    EXPECT_EQ(linesOf(root.logFile()).size(), 1U);
}

TEST(MaroLogStartTest, CleaningUpIsHarmlessBeforeInitialisationAndTwice) {
    EXPECT_IN_FRESH_PROCESS(checkLoggingWithoutLocksDoesNotCrash());
}

class MaroLogPathTest : public corvid::test::ProductTest {};

TEST_F(MaroLogPathTest, TheDirectoryArgumentIsNotUsed) {
    initializeAndDetermineMaroLogging("CorvidPro-cman.log", "/somewhere/else");
    EXPECT_EQ(logFilePath(), root.path("private/tmp/CorvidPro-cman.log"));
    initializeAndDetermineMaroLogging("other.log", nullptr);
    EXPECT_EQ(logFilePath(), root.path("private/tmp/other.log"));
}

TEST_F(MaroLogPathTest, InitialisingReturnsTheLengthOfThePath) {
    const std::string path = root.path("elsewhere.log");
    EXPECT_EQ(initializeMaroLogging(path.c_str()), static_cast<int>(path.size()));
    EXPECT_EQ(logFilePath(), path);
    const std::string fixed = root.path("private/tmp/a.log");
    EXPECT_EQ(initializeAndDetermineMaroLogging("a.log", "/tmp"), static_cast<int>(fixed.size()));
}

TEST_F(MaroLogPathTest, InitialisingAgainMovesTheLogToTheNewPath) {
    maro_log("one");
    initializeMaroLogging(root.path("second.log").c_str());
    maro_log("two");
    EXPECT_EQ(root.logText(), "one\n");
    EXPECT_THAT(linesOf(root.path("second.log")), ElementsAre(MatchesRegex(".*\ttwo")));
}

TEST_F(MaroLogPathTest, AShorterPathLeavesNothingOfTheLongerOne) {
    initializeMaroLogging((root.path() + std::string(500, 'x')).c_str());
    initializeMaroLogging("/a");
    EXPECT_EQ(logFilePath(), "/a");
}

TEST_F(MaroLogPathTest, APathOf2000CharactersIsCutAt1023) {
    const std::string path = "/" + std::string(1999, 'p');
    EXPECT_EQ(initializeMaroLogging(path.c_str()), 2000);
    EXPECT_EQ(logFilePath(), path.substr(0, 1023));
}

TEST_F(MaroLogPathTest, AFileNameOf2000CharactersIsCutWithItsPathAt1023) {
    initializeAndDetermineMaroLogging(std::string(2000, 'n').c_str(), "/tmp");
    EXPECT_EQ(logFilePath(), root.path("private/tmp/" + std::string(2000, 'n')).substr(0, 1023));
}

TEST_F(MaroLogPathTest, TheLogsPathIsCutToTheCallersBuffer) {
    initializeMaroLogging("/twelve/chars");
    char buffer[16];
    std::memset(buffer, '#', sizeof(buffer));
    EXPECT_EQ(getLogFilePath(buffer, 8), 13);
    EXPECT_STREQ(buffer, "/twelve");
    EXPECT_EQ(buffer[8], '#');
    std::memset(buffer, '#', sizeof(buffer));
    EXPECT_EQ(getLogFilePath(buffer, 0), 13);
    EXPECT_EQ(buffer[0], '#');
    EXPECT_EQ(getLogFilePath(buffer, 1), 13);
    EXPECT_STREQ(buffer, "");
}

} // namespace
