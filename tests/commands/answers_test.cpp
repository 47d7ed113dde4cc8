// status, export and settings.

#include "tests/commands/commands_fixture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include <sys/stat.h>

namespace {

using namespace corvid::test; // NOLINT(google-build-using-namespace)
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

using StatusCommand = CommandsTest;

TEST_F(StatusCommand, TellsHowFullEverythingIs) {
    writeFile(root.path(".corvid-held/Cache/20261101-1/x/00000001.raw"), std::string(77, 'x'));
    const ProgramRun run = corvidCache({"status", "--json"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, HasSubstr("{\"path\": \"" + cache() + "\", \"used\": 3000, "));
    EXPECT_THAT(run.out, HasSubstr("\"held\": 77, \"limit\": 20971520000, "));
    EXPECT_THAT(run.out, HasSubstr("\"days_left\": null"));
    EXPECT_THAT(
        corvidCache({"status"}).out,
        HasSubstr("All caches together: 3.42 KB of the 19.53 GB that the settings allow\n"));
}

TEST_F(StatusCommand, OverTheLimitIsStatusOne) {
    writeFile(root.productFile("Config.txt"), "default int\tSizeOfFrameCacheInMB 0\n");
    const ProgramRun run = corvidCache({"status"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, HasSubstr(": over the limit\n"));
    writeFile(root.productFile("Config.txt"), "default int\tSizeOfFrameCacheInMB -1\n");
    EXPECT_EQ(corvidCache({"status"}).status, 0);
    EXPECT_THAT(corvidCache({"status"}).out, HasSubstr("no limit is set\n"));
    EXPECT_THAT(corvidCache({"status", "--json"}).out, HasSubstr("\"limit\": null"));
}

TEST_F(StatusCommand, SettingsAndHoldingAreasThatCannotBeReadAreProblems) {
    makeDirectory(root.productFile("Config.txt"));
    writeFile(root.path(".corvid-held/Cache"), "no folder");
    const ProgramRun run = corvidCache({"status", "--json"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, HasSubstr("\"held\": null, \"limit\": null, "));
    EXPECT_THAT(run.out, HasSubstr("The settings cannot be read."));
    EXPECT_THAT(run.out, HasSubstr("The holding area beside it cannot be read."));
    const ProgramRun settings = corvidCache({"settings", "show", "--json"});
    EXPECT_EQ(settings.status, 1);
    EXPECT_THAT(settings.out, HasSubstr("\"complete\": false"));
}

TEST_F(StatusCommand, AVeryLongTimeoutIsOne) {
    EXPECT_EQ(corvidCache({"status", "--timeout", "100000w"}).status, 0);
}

TEST_F(StatusCommand, OfARootThatIsGoneNothingIsKnown) {
    registerRoot(root.path("gone"));
    const ProgramRun run = corvidCache({"status", "--json"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out,
                HasSubstr("/gone\", \"used\": null, \"allocated\": null, \"held\": null, "));
    EXPECT_THAT(run.out, HasSubstr("\"free\": null, \"total\": null"));
}

class ExportCommand : public CommandsTest {
protected:
    std::string file() const { return root.path("corvid.prom"); }
};

TEST_F(ExportCommand, WritesFiguresForCollectors) {
    const ProgramRun run = corvidCache({"export", "--format", "prometheus"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, HasSubstr("corvid_cache_root_bytes{root=\"" + cache() + "\"} 3000\n"));
    EXPECT_THAT(run.out, HasSubstr("\ncorvid_cache_last_complete_reading_timestamp_seconds "));
    EXPECT_THAT(corvidCache({"export", "--format", "openmetrics"}).out, EndsWith("# EOF\n"));
    EXPECT_EQ(corvidCache({"export", "--format", "csv"}).out, corvidCache({"list", "--csv"}).out);
    const std::string lines = corvidCache({"export", "--format", "json"}).out;
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2);
    EXPECT_THAT(lines, StartsWith("{\"root\": \"" + cache() +
                                  "\", \"project\": \"/Shots/a.aep\", \"composition\": \"Main\", "
                                  "\"feature\": \"SPEC_PREVIEW\", "));
}

TEST_F(ExportCommand, ReplacesAFileWhole) {
    writeFile(file(), "old");
    const ProgramRun run = corvidCache({"export", "--format", "prometheus", "-o", file()});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(readFile(file()), HasSubstr("corvid_cache_root_bytes"));
}

TEST_F(ExportCommand, KeepsTheTimeOfTheLastCompleteReading) {
    EXPECT_EQ(corvidCache({"export", "--format", "prometheus", "-o", file()}).status, 0);
    const auto timeIn = [this] {
        const std::string text = readFile(file());
        const std::size_t place =
            text.rfind("corvid_cache_last_complete_reading_timestamp_seconds ");
        return place != std::string::npos ? text.substr(place) : "";
    };
    const std::string before = timeIn();
    EXPECT_NE(before, "");
    registerRoot(root.path("gone"));
    EXPECT_EQ(corvidCache({"export", "--format", "prometheus", "-o", file()}).status, 1);
    EXPECT_EQ(timeIn(), before);
}

TEST_F(ExportCommand, WhatCannotBeWrittenIsToldAndTheOldFileStays) {
    makeDirectory(file());
    const ProgramRun run = corvidCache({"export", "--format", "prometheus", "-o", file()});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr(file() + ": cannot be written"));
    EXPECT_EQ(corvidCache({"export", "--format", "csv", "-o", root.path("none/x")}).status, 1);
}

TEST_F(ExportCommand, AReaderNeverSeesHalfOfIt) {
    EXPECT_EQ(corvidCache({"export", "--format", "openmetrics", "-o", file()}).status, 0);
    std::atomic<bool> isOver = false;
    int torn = 0;
    int read = 0;
    std::thread reader([&] {
        while (!isOver) {
            const std::string text = readFile(file());
            torn += text.size() > 6 && text.substr(text.size() - 6) == "# EOF\n" ? 0 : 1;
            ++read;
        }
    });
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(corvidCache({"export", "--format", "openmetrics", "-o", file()}).status, 0);
    }
    isOver = true;
    reader.join();
    EXPECT_EQ(torn, 0);
    EXPECT_GT(read, 100);
}

using CheckCommand = CommandsTest;

TEST_F(CheckCommand, TellsWhatItFindsAndEndsWithStatusOne) {
    const ProgramRun healthy = corvidCache({"check"});
    EXPECT_THAT(healthy.out, StartsWith("unregistered-project: "));
    corvid::test::writeFile(cache() + "/ProjectHash.txt", "");
    const ProgramRun run = corvidCache({"check"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out,
                StartsWith("unnamed-project: " + cache() + "/" + corvid::hashOf(project()) +
                           "\n    2.93 KB in 2 files\n    Add a line that names it "));
    const ProgramRun json = corvidCache({"check", "--json"});
    EXPECT_EQ(json.status, 1);
    EXPECT_THAT(json.out, HasSubstr("\"hides\": {\"bytes\": 3000, \"files\": 2}, \"fix\": \"Add "));
}

TEST_F(CheckCommand, HasNothingToSayOfAHealthyCache) {
    registerRoot(cache(), project());
    registerRoot(cache("Second") + "/", "/Shots/b.aep");
    const ProgramRun run = corvidCache({"check"});
    EXPECT_EQ(run.out, "Nothing was found.\n");
    EXPECT_EQ(run.status, 0);
}

class QueueCommand : public CommandsTest {
protected:
    std::string queue() const { return root.productFile("RenderQueue/RQ.txt"); }
};

TEST_F(QueueCommand, ListsTheJobs) {
    writeFile(queue(), "{\n\tRQItem string\tProject /Shots/a.aep\n\tRQItem string\tState queued\n"
                       "\tRQItem int\tframes 250\n\t{\n\t\t{\n\t\t\tOM string\tfile /out/x.mov\n"
                       "\t\t}\n\t}\n}\n{\n\tRQItem string\tcolour \xff\n\t{\n\t}\n}\n");
    const Snapshot before = snapshot(root.path());
    const ProgramRun run = corvidCache({"queue", "list"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "  Job  State             Modules  Files\n"
                       "    1  queued                  1  /Shots/a.aep, /out/x.mov\n"
                       "    2  -                       0  \n");
    const ProgramRun json = corvidCache({"queue", "list", "--json"});
    EXPECT_THAT(json.out, HasSubstr("{\"name\": \"RQItem\", \"key\": \"frames\", "
                                    "\"value\": \"250\"}"));
    EXPECT_THAT(json.out, HasSubstr("\"modules\": [{\"pairs\": [{\"name\": \"OM\", "));
    EXPECT_THAT(json.out, HasSubstr("\"value_bytes\": \"/w==\""));
    EXPECT_EQ(snapshot(root.path()), before);
}

TEST_F(QueueCommand, AMissingQueueIsEmptyAndStaysMissing) {
    const Snapshot before = snapshot(root.path());
    const ProgramRun run = corvidCache({"queue", "list", "--json"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, HasSubstr("\"jobs\": []"));
    EXPECT_EQ(snapshot(root.path()), before);
}

TEST_F(QueueCommand, ABrokenQueueGivesWhatStandsBeforeTheBreak) {
    writeFile(queue(), "{\n\tRQItem string\tState queued\n\t{\n\t}\n}\nnonsense here\n");
    const ProgramRun run = corvidCache({"queue", "list", "--json"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, HasSubstr("\"complete\": false"));
    EXPECT_THAT(run.out, HasSubstr("\"state\": \"queued\""));
    EXPECT_EQ(corvidCache({"queue", "list"}).err,
              "corvid-cache: The render queue cannot be read to its end.\n");
}

using SettingsCommand = CommandsTest;

TEST_F(SettingsCommand, ShowsEveryKeyAndSetsOne) {
    const ProgramRun before = corvidCache({"settings", "show"});
    EXPECT_THAT(before.out, HasSubstr("SizeOfFrameCacheInMB                20000\n"));
    const ProgramRun run = corvidCache({"settings", "set", "SizeOfFrameCacheInMB", "50000"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out + run.err, "");
    EXPECT_THAT(corvidCache({"settings", "show", "--json"}).out,
                HasSubstr("\"SizeOfFrameCacheInMB\": 50000"));
    EXPECT_EQ(corvidCache({"settings", "set", "SizeOfFrameCacheInMB", "-1"}).status, 0);
    EXPECT_THAT(corvidCache({"settings", "show"}).out,
                HasSubstr("SizeOfFrameCacheInMB                -1\n"));
}

TEST_F(SettingsCommand, SaysWhatIsWrong) {
    EXPECT_EQ(corvidCache({"settings", "set", "Size", "5"}).err,
              "corvid-cache: 'Size' is no setting; 'corvid-cache settings show' lists them "
              "(see 'corvid-cache --help')\n");
    EXPECT_EQ(corvidCache({"settings", "set", "SizeOfFrameCacheInMB", "5x"}).err,
              "corvid-cache: SizeOfFrameCacheInMB: '5x' is not a whole number of 32 bits "
              "(see 'corvid-cache --help')\n");
}

TEST_F(SettingsCommand, AFileThatCannotBeReadIsToldOf) {
    makeDirectory(root.productFile("Config.txt"));
    EXPECT_EQ(corvidCache({"settings", "show"}).status, 1);
    EXPECT_EQ(corvidCache({"settings", "show"}).err,
              "corvid-cache: The settings cannot be read.\n");
    const ProgramRun run = corvidCache({"settings", "set", "SizeOfFrameCacheInMB", "5"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "corvid-cache: the settings cannot be written\n");
}

} // namespace
