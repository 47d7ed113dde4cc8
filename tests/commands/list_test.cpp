#include "tests/commands/commands_fixture.h"

#include <gtest/gtest.h>

namespace {

using namespace corvid::test; // NOLINT(google-build-using-namespace)
using corvid::hashOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

using ListCommand = CommandsTest;

TEST_F(ListCommand, ShowsATableForPeople) {
    const EnvironmentGuard zone("TZ", "UTC");
    const ProgramRun run = corvidCache({"list"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.out, "        Size        Files  Last modified     Name\n"
                       "     2.93 KB            2  2026-11-01 15:30  " +
                           cache() +
                           "\n"
                           "     2.93 KB            2  2026-11-01 15:30    a.aep\n"
                           "     2.93 KB            2  2026-11-01 15:30      Main\n"
                           "     2.93 KB            2  2026-11-01 15:30        Spec Preview\n"
                           "   500 bytes            1  2026-11-01 13:33  " +
                           cache("Second") +
                           "\n"
                           "   500 bytes            1  2026-11-01 13:33    b.aep\n"
                           "   500 bytes            1  2026-11-01 13:33      Title\n"
                           "   500 bytes            1  2026-11-01 13:33        Precomp Proxy\n"
                           "\n"
                           "2 projects, 2 compositions, 2 features: 3.42 KB in 3 files\n");
}

TEST_F(ListCommand, GivesADocumentForScripts) {
    const ProgramRun run = corvidCache({"list", "--json"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, StartsWith("{\"schema\": \"corvid-cache/1\", \"command\": \"list\", "));
    EXPECT_THAT(run.out, HasSubstr("\"complete\": true, \"problems\": []"));
    EXPECT_THAT(run.out, HasSubstr("\"feature\": \"SPEC_PREVIEW\", \"label\": \"Spec Preview\", "
                                   "\"path\": \"" +
                                   main + "\", \"bytes\": 3000, "));
    EXPECT_THAT(run.out, HasSubstr("\"files\": 2, \"newest\": \"2026-11-01T15:30:26Z\", "
                                   "\"oldest\": \"2026-11-01T15:30:00Z\", \"first_frame\": 1, "
                                   "\"last_frame\": 2}"));
    EXPECT_THAT(run.out, HasSubstr("\"totals\": {\"roots\": 2, \"projects\": 2, "
                                   "\"compositions\": 2, \"features\": 2, \"bytes\": 3500, "));
}

TEST_F(ListCommand, GivesLinesOfCommaSeparatedValues) {
    writeFile(main + "/note, \"x\"", "");
    addFrame(addFeature(cache(), "/Shots/with, \"quotes\".aep", "Main", "PROXY"), 1, 1, 1000);
    const ProgramRun run = corvidCache({"list", "--csv"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, StartsWith("root,project,composition,feature,bytes,allocated,files,oldest,"
                                    "newest,path\r\n"));
    EXPECT_THAT(run.out, HasSubstr(",\"/Shots/with, \"\"quotes\"\".aep\",Main,PROXY,1,"));
    EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 4);
}

TEST_F(ListCommand, DepthLeavesOutWhatLiesDeeperAndKeepsTheSums) {
    const std::string deep = corvidCache({"list", "--json"}).out;
    const ProgramRun projects = corvidCache({"list", "--json", "--depth", "project"});
    EXPECT_THAT(projects.out, HasSubstr("\"compositions\": []"));
    EXPECT_THAT(projects.out, HasSubstr("\"bytes\": 3000"));
    EXPECT_EQ(projects.out.substr(projects.out.find("\"totals\"")),
              deep.substr(deep.find("\"totals\"")));
    EXPECT_THAT(corvidCache({"list", "--json", "--depth", "root"}).out,
                HasSubstr("\"projects\": []"));
    EXPECT_THAT(corvidCache({"list", "--csv", "--depth", "composition"}).out,
                HasSubstr("/Shots/a.aep,Main,,3000,"));
    EXPECT_THAT(corvidCache({"list", "--csv", "--depth", "root"}).out,
                HasSubstr("\r\n" + cache() + ",,,,3000,"));
    EXPECT_THAT(corvidCache({"list", "--depth", "root"}).out, Not(HasSubstr("a.aep")));
}

TEST_F(ListCommand, SortsAndReverses) {
    const std::string usual = corvidCache({"list"}).out;
    EXPECT_LT(usual.find(cache() + "\n"), usual.find(cache("Second") + "\n"));
    const std::string smallest = corvidCache({"list", "--sort", "size", "--reverse"}).out;
    EXPECT_GT(smallest.find(cache() + "\n"), smallest.find(cache("Second") + "\n"));
}

TEST_F(ListCommand, OneRootMayBeNamedRegisteredOrNot) {
    addFrame(addFeature(cache("Third"), "/c.aep", "Main", "PROXY"), 1, 9, 1000);
    const ProgramRun run = corvidCache({"list", "--root", cache("Third") + "/", "--json"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, HasSubstr("\"roots\": 1"));
    EXPECT_THAT(run.out, HasSubstr("\"bytes\": 9,"));
}

TEST_F(ListCommand, AnItemThatIsNotThereIsWrongUsage) {
    const ProgramRun run = corvidCache({"list", "no\nsuch"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "corvid-cache: no item is called 'no\\nsuch' (see 'corvid-cache --help')\n");
    EXPECT_EQ(corvidCache({"list", "--json", "nothing"}).out, "");
    EXPECT_THAT(corvidCache({"list", "a.aep"}).out, Not(HasSubstr("b.aep")));
}

TEST_F(ListCommand, AMissingRootIsAProblemAndTheOthersAreListed) {
    registerRoot(root.path("gone"));
    const ProgramRun run = corvidCache({"list"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, HasSubstr("missing           " + root.path("gone") + "\n"));
    EXPECT_THAT(run.out, HasSubstr("a.aep"));
    EXPECT_EQ(run.err, "corvid-cache: " + root.path("gone") + ": The cache root does not exist.\n");
    const ProgramRun json = corvidCache({"list", "--json"});
    EXPECT_EQ(json.status, 1);
    EXPECT_EQ(json.err, "");
    EXPECT_THAT(json.out, HasSubstr("\"complete\": false"));
    EXPECT_THAT(json.out, HasSubstr("\"kind\": \"missing\""));
    EXPECT_THAT(json.out, HasSubstr("\"state\": \"missing\", \"volume\": null"));
}

TEST_F(ListCommand, NamesOfAnyBytesAreEscapedOrStandBeside) {
    addFrame(addFeature(cache(), "/Shots/\x1b[31m\xff.aep", "Main", "PROXY"), 1, 1, 1000);
    EXPECT_THAT(corvidCache({"list"}).out, HasSubstr("\\x1b[31m\\xff.aep\n"));
    const ProgramRun json = corvidCache({"list", "--json"});
    EXPECT_THAT(json.out, HasSubstr("\"name\": \"\\u001b[31m\xef\xbf\xbd.aep\", "
                                    "\"name_bytes\": \"G1szMW3/LmFlcA==\""));
    EXPECT_THAT(json.out, HasSubstr("\"key_bytes\""));
}

TEST_F(ListCommand, ARegistryThatCannotBeReadIsAProblem) {
    removeTree(root.productFile("FrameCache.cvp"));
    makeDirectory(root.productFile("FrameCache.cvp"));
    for (const char* command : {"list", "status", "check"}) {
        const ProgramRun run = corvidCache({command, "--json"});
        EXPECT_EQ(run.status, 1) << command;
        EXPECT_THAT(run.out, HasSubstr("\"complete\": false")) << command;
    }
    const ProgramRun metrics = corvidCache({"export", "--format", "prometheus"});
    EXPECT_EQ(metrics.status, 1);
    EXPECT_THAT(metrics.err, HasSubstr("FrameCache.cvp: The registry cannot be read.\n"));
    EXPECT_THAT(metrics.out, Not(HasSubstr("last_complete_reading")));
}

TEST_F(ListCommand, NoRegistryIsAnEmptyList) {
    removeTree(root.productFile("FrameCache.cvp"));
    const ProgramRun run = corvidCache({"list", "--json"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, HasSubstr("\"roots\": []"));
}

TEST_F(ListCommand, ProgressIsToldOnStandardErrorWhenAskedFor) {
    EXPECT_EQ(corvidCache({"list"}).err, "");
    EXPECT_THAT(corvidCache({"list", "--progress=always"}).err,
                StartsWith("Reading the caches: 0 files\n"));
    EXPECT_EQ(corvidCache({"list", "--progress=always", "--quiet"}).err, "");
}

} // namespace
