#include "MacCacheManager/ProgramEntry.h"

#include "MacCacheManager/AppController.h"
#include "runtime/maro_log.h"
#include "tests/support/own_process.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using corvid::test::EnvironmentGuard;
using corvid::test::runDisabledTest;
using ::testing::ElementsAre;

const char kStarted[] = "*** Cache Manager: new session started  ";
const char kDevEnabled[] = "DEV\tDev logging enabled";

constexpr char kArgumentsVariable[] = "CORVID_TEST_ARGUMENTS";

// Logging starts once in a process, so each session is a process of its own: this test program,
// started again for the one disabled test below.
TEST(StartSessionChild, DISABLED_TakesTheArgumentsOfItsEnvironment) {
    std::vector<std::string> arguments = {"CacheManager"};
    if (qEnvironmentVariableIsSet(kArgumentsVariable)) {
        for (const QByteArray& argument : qgetenv(kArgumentsVariable).split('\n')) {
            arguments.push_back(argument.toStdString());
        }
    }
    std::vector<const char*> pointers;
    for (const std::string& argument : arguments) {
        pointers.push_back(argument.c_str());
    }
    setDevLoggingEnabled(true); // a session decides for itself
    corvid::startSession(static_cast<int>(pointers.size()), pointers.data());
    maro_log("later");
    std::cout << (g_shouldJumpToLastModified ? "oldest " : "")
              << (isDevLoggingEnabled() ? "developer " : "");
}

struct Session {
    std::vector<std::string> log;
    bool selectsOldest;
    bool isDeveloper;
    std::string errors; // what it said on standard error
};

using Messages = std::vector<std::string>;

class StartSession : public corvid::test::ProductTest {
protected:
    StartSession() { root.clearLog(); }

    Session start(const std::vector<std::string>& arguments) {
        std::string joined;
        for (const std::string& argument : arguments) {
            joined += (&argument == arguments.data() ? "" : "\n") + argument;
        }
        const EnvironmentGuard environment(kArgumentsVariable,
                                           arguments.empty() ? nullptr : joined.c_str());
        root.clearLog();
        QByteArray errors;
        const QByteArray output = runDisabledTest("StartSessionChild.*", &errors);
        const qsizetype ours =
            errors.indexOf("Cache Manager:"); // the toolkit may have spoken before
        return {corvid::test::exists(root.logFile() + "/") ? Messages{} : root.logMessages(),
                output.contains("oldest "), output.contains("developer "),
                ours >= 0 ? errors.mid(ours).toStdString() : ""};
    }
};

TEST_F(StartSession, WithoutArgumentsWritesNoLog) {
    const Session session = start({});
    EXPECT_FALSE(corvid::test::exists(root.logFile()));
    EXPECT_FALSE(session.selectsOldest);
    EXPECT_FALSE(session.isDeveloper);
}

TEST_F(StartSession, TheSwitchesAloneWriteNoLog) {
    const Session session = start({"-lastModified", "-devLogging"});
    EXPECT_FALSE(corvid::test::exists(root.logFile()));
    EXPECT_TRUE(session.selectsOldest);
    EXPECT_TRUE(session.isDeveloper);
}

TEST_F(StartSession, SaysOnceOnStandardErrorThatTheLogAskedForCannotBeWritten) {
    EXPECT_EQ(start({"1"}).errors, "");
    corvid::test::removeTree(root.logFile());
    corvid::test::makeDirectory(root.logFile());
    EXPECT_EQ(start({"1"}).errors,
              "Cache Manager: cannot write the log '" + root.logFile() + "': Is a directory\n");
    EXPECT_EQ(start({"-lastModified"}).errors, "") << "no log was asked for";
    EXPECT_EQ(::rmdir(root.logFile().c_str()), 0) << "something was written in its place";
}

TEST_F(StartSession, TheProgramsOwnNameIsNoArgument) {
    const char* const name[] = {"-lastModified"};
    corvid::startSession(1, name);
    EXPECT_FALSE(g_shouldJumpToLastModified);
    corvid::startSession(0, nullptr);
    EXPECT_FALSE(g_shouldJumpToLastModified);
}

class OtherArgument : public StartSession, public ::testing::WithParamInterface<const char*> {};

TEST_P(OtherArgument, StartsTheLogAndIsNoSwitch) {
    const Session session = start({GetParam()});
    EXPECT_THAT(session.log, ElementsAre(kStarted, "later"));
    EXPECT_FALSE(session.selectsOldest);
    EXPECT_FALSE(session.isDeveloper);
}

INSTANTIATE_TEST_SUITE_P(Arguments, OtherArgument,
                         ::testing::Values("/var/log", "ab", "a", "0", "1", "00", "-psn_0_12345",
                                           "-lastModified2", "-lastModifie", "-LastModified",
                                           "lastModified", "-devlogging", "-devLogging ",
                                           "-DEVLOGGING"));

TEST_F(StartSession, AnEmptyArgumentStartsTheLogToo) {
    EXPECT_THAT(start({"", "-lastModified"}).log, ElementsAre(kStarted, "later"));
}

TEST_F(StartSession, TheDirectoryArgumentIsNotUsed) {
    const std::string elsewhere = root.path("elsewhere");
    corvid::test::makeDirectory(elsewhere);
    EXPECT_THAT(start({elsewhere}).log, ElementsAre(kStarted, "later"));
    EXPECT_FALSE(corvid::test::exists(elsewhere + "/CorvidPro-cman.log"));
}

TEST_F(StartSession, DeveloperLoggingAddsItsLine) {
    const Session session = start({"-devLogging", "/tmp"});
    EXPECT_THAT(session.log, ElementsAre(kStarted, kDevEnabled, "later"));
    EXPECT_TRUE(session.isDeveloper);
}

TEST_F(StartSession, ArgumentsComeInAnyOrder) {
    const std::vector<std::vector<std::string>> orders = {{"/tmp", "-devLogging", "-lastModified"},
                                                          {"-lastModified", "/tmp", "-devLogging"},
                                                          {"-devLogging", "-lastModified", "0"}};
    for (const auto& arguments : orders) {
        const Session session = start(arguments);
        EXPECT_TRUE(session.selectsOldest);
        EXPECT_THAT(session.log, ElementsAre(kStarted, kDevEnabled, "later"));
    }
}

TEST_F(StartSession, LaterOtherArgumentsAreIgnored) {
    EXPECT_THAT(start({"/tmp", "0", "more"}).log, ElementsAre(kStarted, "later"));
    EXPECT_THAT(start({"0", "/tmp", "more"}).log, ElementsAre(kStarted, "later"));
}

TEST_F(StartSession, ALogThatCannotBeWrittenDoesNotStopTheStart) {
    corvid::test::removeTree(root.path("private"));
    EXPECT_TRUE(start({"/tmp", "-lastModified"}).selectsOldest);
    EXPECT_FALSE(corvid::test::exists(root.logFile()));
}

} // namespace
