#include "files/shell_command.h"

#include "tests/support/forked_child.h"
#include "tests/support/product_root.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <string>

#include <sys/time.h>
#include <unistd.h>

namespace {

using corvid::runShellCommand;
using corvid::test::holdsInChild;
using corvid::test::readFile;

class ShellCommandTest : public corvid::test::ProductTest {};

TEST_F(ShellCommandTest, TheEscapedTextIsTheTextForTheInsideOfDoubleQuotes) {
    EXPECT_EQ(corvid::escapedForShell("a\"b\\c$d`e f'g\n"), "a\\\"b\\\\c\\$d\\`e f'g\n");
    EXPECT_EQ(corvid::escapedForShell(""), "");
}

TEST_F(ShellCommandTest, AnswersTheExitStatus) {
    EXPECT_EQ(0, runShellCommand("true", nullptr));
    EXPECT_EQ(1, runShellCommand("false", nullptr));
    EXPECT_EQ(42, runShellCommand("exit 42", nullptr));
    EXPECT_EQ(127, runShellCommand("exec 2>/dev/null; /no/such/program", nullptr));
}

TEST_F(ShellCommandTest, ACommandThatASignalEndsHasNotExited) {
    EXPECT_EQ(-1, runShellCommand("kill -KILL $$", nullptr));
    EXPECT_EQ(-1, runShellCommand("kill -KILL $$", [] {}));
}

TEST_F(ShellCommandTest, ACommandThatIsTooLongCannotBeRun) {
    EXPECT_EQ(-1, runShellCommand("true " + std::string(4U << 20U, 'x'), nullptr));
}

TEST_F(ShellCommandTest, AnEmptyCommandSucceeds) {
    EXPECT_EQ(0, runShellCommand("", nullptr));
}

TEST_F(ShellCommandTest, TheShellExpandsAndQuotes) {
    corvid::test::writeFile(root.path("a b/one"), "1");
    corvid::test::writeFile(root.path("a b/two"), "2");
    EXPECT_EQ(0, runShellCommand(
                     "cat \"" + root.path("a b") + "/\"* > \"" + root.path("out") + "\"", nullptr));
    EXPECT_EQ("12", readFile(root.path("out")));
}

TEST_F(ShellCommandTest, TheEnvironmentIsHandedOn) {
    const corvid::test::EnvironmentGuard marked("CORVID_SHELL_TEST", "value");
    EXPECT_EQ(0, runShellCommand("test \"$CORVID_SHELL_TEST\" = value", nullptr));
}

TEST_F(ShellCommandTest, WaitsForTheEndOfTheCommand) {
    EXPECT_EQ(0, runShellCommand("sleep 0.3; echo done > \"" + root.path("out") + "\"", nullptr));
    EXPECT_EQ("done\n", readFile(root.path("out")));
}

TEST_F(ShellCommandTest, TicksAboutTwentyTimesASecondWhileTheCommandRuns) {
    int ticks = 0;
    EXPECT_EQ(7, runShellCommand("sleep 1; exit 7", [&ticks] { ++ticks; }));
    EXPECT_GE(ticks, 5);
    EXPECT_LE(ticks, 40);
}

TEST_F(ShellCommandTest, IsOverWhenWhatIsThrownMeanwhileArrives) {
    EXPECT_THROW(runShellCommand("sleep 0.3; echo done > \"" + root.path("out") + "\"",
                                 [] { throw std::bad_alloc(); }),
                 std::bad_alloc);
    EXPECT_EQ("done\n", readFile(root.path("out")));
    EXPECT_EQ(-1, ::waitpid(-1, nullptr, WNOHANG));
}

TEST_F(ShellCommandTest, SignalsDoNotDisturbTheWait) {
    EXPECT_TRUE(holdsInChild([] {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        ::sigaction(SIGALRM, &action, nullptr);
        const itimerval often{{0, 20000}, {0, 20000}};
        ::setitimer(ITIMER_REAL, &often, nullptr);
        return runShellCommand("sleep 0.3; exit 5", nullptr) == 5 &&
               runShellCommand("sleep 0.3; exit 6", [] {}) == 6;
    }));
}

TEST_F(ShellCommandTest, ACommandWhoseEndIsNotKeptHasNoStatus) {
    EXPECT_TRUE(holdsInChild([] {
        ::signal(SIGCHLD, SIG_IGN);
        return runShellCommand("true", nullptr) == -1;
    }));
}

TEST_F(ShellCommandTest, LeavesNoProcessBehind) {
    EXPECT_EQ(0, runShellCommand("true", nullptr));
    EXPECT_EQ(-1, ::waitpid(-1, nullptr, WNOHANG));
    EXPECT_EQ(ECHILD, errno);
}

} // namespace
