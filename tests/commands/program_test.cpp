// What holds for every command.

#include "tests/commands/commands_fixture.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>

#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace corvid::test; // NOLINT(google-build-using-namespace)
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

using Program = CommandsTest;

const std::vector<std::vector<std::string>> kReading = {
    {"list"},
    {"list", "--json"},
    {"list", "--csv", "--sort", "size"},
    {"status"},
    {"status", "--json"},
    {"export", "--format", "prometheus"},
    {"export", "--format", "openmetrics"},
    {"export", "--format", "csv"},
    {"export", "--format", "json"},
    {"settings", "show"},
    {"settings", "show", "--json"},
    {"queue", "list"},
    {"queue", "list", "--json"},
};

TEST_F(Program, ReadingCommandsChangeNothing) {
    writeFile(cache() + "/stray", "");
    removeTree(root.productFile("Config.txt"));
    const Snapshot before = snapshot(root.path());
    for (const std::vector<std::string>& words : kReading) {
        const ProgramRun run = corvidCache(words);
        EXPECT_EQ(run.status, 0) << words[0] << run.err;
        EXPECT_NE(run.out, "") << words[0];
        EXPECT_EQ(snapshot(root.path()), before) << words[0];
    }
}

TEST_F(Program, TellsItsVersion) {
    const ProgramRun run = corvidCache({"--version"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, ::testing::MatchesRegex("corvid-cache [0-9.]+\n"));
    EXPECT_EQ(corvidCache({"list", "--version"}).out, run.out);
}

TEST_F(Program, HelpsOnStandardOutputWithAnExample) {
    EXPECT_THAT(corvidCache({"--help"}).out, HasSubstr("list"));
    for (const char* command : {"list", "status", "check", "export", "queue", "settings"}) {
        for (const auto& words : {std::vector<std::string>{command, "--help"}, {"help", command}}) {
            const ProgramRun run = corvidCache(words);
            EXPECT_EQ(run.status, 0) << command;
            EXPECT_EQ(run.err, "");
            EXPECT_THAT(run.out, HasSubstr(std::string("Example:\n  corvid-cache ") + command));
        }
    }
}

TEST_F(Program, WrongUsageIsOneLineAndStatusTwo) {
    const std::vector<std::vector<std::string>> kWrong = {
        {},
        {"nonsense"},
        {"list", "--nonsense"},
        {"list", "--depth", "nonsense"},
        {"list", "--depth"},
        {"list", "--sort", ""},
        {"list", "--csv", "--json"},
        {"list", "--timeout", "5"},
        {"list", "--timeout", "0s"},
        {"list", "--timeout", "-5s"},
        {"list", "--progress", "maybe"},
        {"list", "--json=x"},
        {"status", "extra"},
        {"export"},
        {"export", "--format", "xml"},
        {"export", "--format", "csv", "--projects", "-1"},
        {"export", "--format", "csv", "--projects", "1e400"},
        {"settings"},
        {"settings", "nonsense"},
        {"queue"},
        {"queue", "list", "extra"},
        {"settings", "set"},
        {"settings", "set", "SizeOfFrameCacheInMB"},
        {"settings", "set", "SizeOfFrameCacheInMB", "much"},
        {"settings", "set", "Nonsense", "5"},
        {"help", "nonsense"},
        {"help", "settings", "nonsense"},
        {"list", "--root", ""},
        {"list", "--json", "--timeout", "nonsense"},
        {"export", "--format", "csv", "-o", ""},
        {"export", "--format", "csv", "--json"},
        {"settings", "set", "SizeOfFrameCacheInMB", "-2"},
        {"settings", "set", "DirectoryLocationOfFrameCache", "relative"},
    };
    const Snapshot before = snapshot(root.path());
    for (const std::vector<std::string>& words : kWrong) {
        const ProgramRun run = corvidCache(words);
        const std::string named = ::testing::PrintToString(words);
        EXPECT_EQ(run.status, 2) << named;
        EXPECT_EQ(run.out, "") << named;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << named << run.err;
        EXPECT_THAT(run.err, StartsWith("corvid-cache: ")) << named;
        EXPECT_LT(run.err.size(), 300U) << run.err;
    }
    EXPECT_EQ(snapshot(root.path()), before);
}

TEST_F(Program, APipeThatClosesEndsItQuietly) {
    const std::string feature = addFeature(cache(), "/many.aep", "Main", "PROXY");
    for (int i = 0; i < 3000; ++i) {
        makeDirectory(cache() + "/" + corvid::hashOf("/many.aep") + "/" + corvid::hashOf("Main") +
                      "/feature number " + std::to_string(i));
    }
    const std::string err = root.path("err");
    const std::string command = std::string("bash -c 'set -o pipefail; ") + CORVID_CACHE_PROGRAM +
                                " list --json 2>" + err + " | head -c 10 >/dev/null'";
    EXPECT_EQ(std::system(command.c_str()), 0); // NOLINT(cert-env33-c,concurrency-mt-unsafe)
    EXPECT_EQ(readFile(err), "");
}

TEST_F(Program, AFullDiskIsTold) {
    const std::string command =
        std::string(CORVID_CACHE_PROGRAM) + " list --json 2>" + root.path("err") + " >/dev/full";
    const int status = std::system(command.c_str()); // NOLINT(cert-env33-c,concurrency-mt-unsafe)
    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_THAT(readFile(root.path("err")), HasSubstr("the answer cannot be written: "));
}

TEST_F(Program, NeedsNoHomeFolder) {
    const EnvironmentGuard home("HOME", nullptr);
    const EnvironmentGuard state("XDG_STATE_HOME", nullptr);
    EXPECT_EQ(corvidCache({"list"}).status, 0);
}

} // namespace
