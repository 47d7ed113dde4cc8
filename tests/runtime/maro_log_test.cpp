#include "runtime/maro_log.h"

#include "tests/support/failing_calls.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <ctime>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::test::Call;
using corvid::test::EnvironmentGuard;
using corvid::test::exists;
using corvid::test::FailNth;
using corvid::test::makeDirectory;
using corvid::test::readFile;
using corvid::test::ShortWrites;
using corvid::test::writeFile;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::Ge;
using ::testing::Le;
using ::testing::MatchesRegex;

unsigned permissions(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0U;
}

void logOnEveryLevel() {
    maro_logDev("developer %d", 1);
    maro_log("ordinary %d", 2);
    maro_logWarning("warning %d", 3);
    maro_logToDo("to do %d", 4);
    maro_logError("error %d", 5);
    maro_logAlways("always %d", 6);
}

class UmaskGuard {
public:
    explicit UmaskGuard(mode_t mask) : m_before(::umask(mask)) {}
    ~UmaskGuard() { ::umask(m_before); }
    UmaskGuard(const UmaskGuard&) = delete;
    UmaskGuard& operator=(const UmaskGuard&) = delete;

private:
    mode_t m_before;
};

class MaroLogTest : public corvid::test::ProductTest {};

TEST_F(MaroLogTest, ALineIsStampThreadTagAndMessage) {
    maro_logWarning("Cannot open '%s'", "x");
    EXPECT_THAT(root.logLines(),
                ElementsAre(MatchesRegex(
                    "<[A-Z][a-z][a-z] [A-Z][a-z][a-z] [ 0-9][0-9] "
                    "[0-9][0-9]:[0-9][0-9]:[0-9][0-9] [0-9]{4}>\t<Thread=[0-9]+>\tWARNING\t"
                    "Cannot open 'x'")));
}

TEST_F(MaroLogTest, TheStampIsTheLocalTimeOfTheCall) {
    const EnvironmentGuard zone("TZ", "XYZ-5:30");
    const std::time_t before = std::time(nullptr);
    maro_log("now");
    const std::time_t after = std::time(nullptr);
    const std::string line = root.logLines().at(0);
    std::tm stamp{};
    ASSERT_NE(::strptime(line.substr(1, 24).c_str(), "%a %b %d %H:%M:%S %Y", &stamp), nullptr);
    EXPECT_THAT(::timegm(&stamp) - (5 * 60 + 30) * 60, AllOf(Ge(before), Le(after)));
}

TEST_F(MaroLogTest, EachLevelHasItsTag) {
    setDevLoggingEnabled(true);
    logOnEveryLevel();
    EXPECT_THAT(root.logMessages(),
                ElementsAre("DEV\tdeveloper 1", "ordinary 2", "WARNING\twarning 3",
                            "TO DO:\tto do 4", "ERROR\terror 5", "always 6"));
}

TEST_F(MaroLogTest, ALineEndsInOneLineFeed) {
    maro_log("plain");
    maro_log("ends itself\n");
    EXPECT_EQ(root.logText(), "plain\nends itself\n\n");
}

TEST_F(MaroLogTest, AnEmptyMessageStillMakesALine) {
    maro_logAlways("%s", "");
    EXPECT_EQ(root.logText(), "\n");
    EXPECT_EQ(root.logLines().size(), 1U);
}

TEST_F(MaroLogTest, TheThreadFieldCanBeSwitchedOff) {
    setThreadLoggingEnabled(false);
    maro_logError("bare");
    EXPECT_THAT(root.logLines(), ElementsAre(MatchesRegex("<[^>]*>\tERROR\tbare")));
}

TEST_F(MaroLogTest, TheThreadFieldIsTheCallingThreadsNumber) {
    maro_log("here");
    const std::string field = "<Thread=" + std::to_string(getCurrentThread()) + ">\t";
    EXPECT_EQ(root.logLines().at(0).substr(27), field + "here");
}

TEST_F(MaroLogTest, DeveloperLinesAreSilentUntilSwitchedOn) {
    maro_logDev("before");
    setDevLoggingEnabled(true);
    EXPECT_TRUE(isDevLoggingEnabled());
    maro_logDev("during");
    setDevLoggingEnabled(false);
    EXPECT_FALSE(isDevLoggingEnabled());
    maro_logDev("after");
    EXPECT_EQ(root.logText(), "DEV\tduring\n");
}

TEST_F(MaroLogTest, LoggingOffSilencesOnlyTheOrdinaryAndTheDeveloperLevel) {
    setDevLoggingEnabled(true);
    setLoggingEnabled(false);
    logOnEveryLevel();
    EXPECT_THAT(root.logMessages(),
                ElementsAre("WARNING\twarning 3", "TO DO:\tto do 4", "ERROR\terror 5", "always 6"));
}

TEST_F(MaroLogTest, LoggingSwitchedOnAgainWritesAgain) {
    setLoggingEnabled(false);
    maro_log("silent");
    setLoggingEnabled(true);
    maro_log("heard");
    EXPECT_EQ(root.logText(), "heard\n");
}

TEST_F(MaroLogTest, TextFromTheDiskIsNeverReadAsAFormat) {
    maro_logError("on '%s'", "100%s%n%d%%");
    EXPECT_TRUE(root.hasLogged("ERROR\ton '100%s%n%d%%'"));
}

TEST_F(MaroLogTest, EveryLengthAroundTheLineBufferIsWrittenWhole) {
    std::string expected;
    for (std::size_t length = 3990; length <= 4110; ++length) {
        const std::string message(length, 'm');
        maro_log("%s|", message.c_str());
        expected += message + "|\n";
    }
    EXPECT_TRUE(root.logText() == expected) << "a message was cut or doubled";
}

TEST_F(MaroLogTest, AMessageOfAMebibyteIsWrittenWhole) {
    std::string message(1U << 20U, 'a');
    for (std::size_t i = 0; i < message.size(); ++i) {
        message[i] = static_cast<char>('a' + i % 26);
    }
    maro_logError("%s", message.c_str());
    maro_log("next");
    EXPECT_TRUE(root.logText() == "ERROR\t" + message + "\nnext\n") << "the message was changed";
}

TEST_F(MaroLogTest, AnOrdinaryLineIsOneWriteWithoutAllocation) {
    maro_log("warm up");
    const auto writes = corvid::test::callsMade(Call::Write);
    const auto allocations = corvid::test::callsMade(Call::Malloc);
    maro_logWarning("one %s", "line");
    EXPECT_EQ(corvid::test::callsMade(Call::Write) - writes, 1U);
    EXPECT_EQ(corvid::test::callsMade(Call::Malloc) - allocations, 0U);
}

TEST_F(MaroLogTest, TheLogIsReadableAndWritableByAllWhateverTheUmask) {
    const UmaskGuard mask(077);
    maro_log("line");
    EXPECT_EQ(permissions(root.logFile()), 0666U);
}

TEST_F(MaroLogTest, PermissionsTakenAwayComeBackWithTheNextLine) {
    maro_log("line");
    ASSERT_EQ(::chmod(root.logFile().c_str(), 0600), 0);
    maro_log("line");
    EXPECT_EQ(permissions(root.logFile()), 0666U);
}

TEST_F(MaroLogTest, LinesAreAppendedToWhatAnotherProcessWrote) {
    writeFile(root.logFile(), "foreign line\n");
    maro_log("ours");
    EXPECT_EQ(root.logLines().front(), "foreign line");
    EXPECT_TRUE(root.hasLogged("ours"));
}

TEST_F(MaroLogTest, ALogRemovedMeanwhileIsStartedAnew) {
    maro_log("gone");
    root.clearLog();
    maro_log("kept");
    EXPECT_EQ(root.logText(), "kept\n");
}

// A folder that lost its search permission would lock everybody out of what is in it.
TEST_F(MaroLogTest, WhatIsNoRegularFileInTheLogsPlaceKeepsItsMode) {
    const std::string folder = root.path("private/tmp/folder.log");
    const std::string fifo = root.path("private/tmp/fifo.log");
    makeDirectory(folder);
    ASSERT_EQ(::chmod(folder.c_str(), 0755), 0);
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const int reader = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
    for (const char* name : {"folder.log", "fifo.log", "folder.log/", "../tmp"}) {
        initializeAndDetermineMaroLogging(name, "/tmp");
        maro_logError("dropped");
    }
    ::close(reader);
    initializeAndDetermineMaroLogging("fifo.log", "/tmp");
    maro_logError("nobody reads");
    EXPECT_EQ(permissions(folder), 0755U);
    EXPECT_EQ(permissions(fifo), 0600U);
    EXPECT_EQ(permissions(root.path("private/tmp")), 0755U);
    EXPECT_EQ(::rmdir(folder.c_str()), 0) << "something was written below the directory";
}

TEST_F(MaroLogTest, WhoAsksIsToldWhyTheLogCannotBeWritten) {
    EXPECT_EQ(corvid::whyLogCannotBeWritten(), 0);
    makeDirectory(root.path("private/tmp/folder.log"));
    initializeAndDetermineMaroLogging("folder.log", "/tmp");
    EXPECT_EQ(corvid::whyLogCannotBeWritten(), EISDIR);
    initializeAndDetermineMaroLogging("missing/any.log", "/tmp");
    EXPECT_EQ(corvid::whyLogCannotBeWritten(), ENOENT);
}

TEST_F(MaroLogTest, NeitherLinesNorPermissionsGoThroughALink) {
    const std::string target = root.path("private/tmp/target");
    writeFile(target, "kept");
    ASSERT_EQ(::chmod(target.c_str(), 0600), 0);
    ASSERT_EQ(::symlink(target.c_str(), root.path("private/tmp/link.log").c_str()), 0);
    initializeAndDetermineMaroLogging("link.log", "/tmp");
    maro_logError("dropped");
    EXPECT_EQ(readFile(target), "kept");
    EXPECT_EQ(permissions(target), 0600U);
}

TEST_F(MaroLogTest, ALogInAMissingFolderIsDroppedSilently) {
    initializeAndDetermineMaroLogging("missing/deep.log", "/tmp");
    maro_logError("dropped");
    EXPECT_FALSE(exists(root.path("private/tmp/missing")));
    EXPECT_FALSE(exists(root.logFile()));
}

TEST_F(MaroLogTest, AFifoWithoutReaderDoesNotBlock) {
    const std::string fifo = root.path("private/tmp/fifo.log");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    initializeAndDetermineMaroLogging("fifo.log", "/tmp");
    maro_logError("dropped");
    EXPECT_EQ(permissions(fifo), 0600U);
}

TEST_F(MaroLogTest, AWriteThatFailsLosesOnlyItsOwnLine) {
    {
        const FailNth fail(Call::Write, 1, ENOSPC);
        maro_log("lost");
        EXPECT_EQ(fail.failures(), 1);
    }
    maro_log("kept");
    EXPECT_EQ(root.logText(), "kept\n");
}

TEST_F(MaroLogTest, AnOpenThatFailsLosesOnlyItsOwnLine) {
    {
        const FailNth fail(Call::Open, 1, EMFILE);
        maro_log("lost");
        EXPECT_EQ(fail.failures(), 1);
    }
    maro_log("kept");
    EXPECT_EQ(root.logText(), "kept\n");
}

TEST_F(MaroLogTest, WritesTakenInPiecesStillMakeAWholeLine) {
    const ShortWrites pieces(7);
    maro_logWarning("a line that takes %d pieces", 9);
    EXPECT_EQ(root.logText(), "WARNING\ta line that takes 9 pieces\n");
}

} // namespace
