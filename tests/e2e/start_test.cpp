// Starting and ending the program.

#include "tests/e2e/accessible.h"
#include "tests/e2e/program_test.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace corvid::test {

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class Start : public ProgramTest {};

SampleOptions twoProjects() {
    SampleOptions options;
    options.roots = 2;
    options.projects = 2;
    options.compositions = 2;
    options.frames = 4;
    return options;
}

TEST_F(Start, ShowsItsWindowOnAFilledCache) {
    makeCache(twoProjects());

    const XWindow window = startProgram();

    const QImage picture = session.settledPicture(window.id);
    QImage oneColour = picture;
    oneColour.fill(picture.pixel(0, 0));
    EXPECT_EQ(picture.size(), window.geometry.size());
    EXPECT_NE(picture, oneColour);
}

TEST_F(Start, TellsTheAccessibilityLayerTheProjects) {
    const SampleCache cache = makeCache(twoProjects());

    startProgram();

    for (const SampleProject& project : cache.projects) {
        const std::string shown = std::filesystem::path(project.node.name).filename().string();
        EXPECT_FALSE(waitForAccessible(session, shown).place.isEmpty());
    }
}

TEST_F(Start, OpensWithoutAnyProduct) {
    startProgram();

    EXPECT_TRUE(session.isRunning());
}

TEST_F(Start, EndsWithStatusZeroWhenItsWindowIsClosed) {
    makeCache(twoProjects());
    const XWindow window = startProgram();

    session.close(window.id);

    EXPECT_EQ(session.waitForExit(), 0) << session.output();
}

class EndingKey : public ProgramTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(EndingKey, EndsTheProgramWithStatusZero) {
    makeCache(twoProjects());
    const XWindow window = startProgram();

    session.pressKey(window.id, GetParam());

    EXPECT_EQ(session.waitForExit(), 0) << session.output();
}

INSTANTIATE_TEST_SUITE_P(Start, EndingKey, ::testing::Values("Ctrl+W", "Ctrl+Q"),
                         [](const auto& key) { return std::string("Ctrl") + key.param[5]; });

TEST_F(Start, WritesTheSessionLinesWhenGivenALogArgument) {
    makeCache(twoProjects());

    startProgram({"/any/folder"});

    const std::string log = readFile(logFile());
    EXPECT_THAT(log, HasSubstr("*** Cache Manager: new session started  \n"));
    EXPECT_THAT(log, HasSubstr("Application finished launching.\n"));
    EXPECT_THAT(log, HasSubstr("Notifying the datasource that it should provide data\n"));
    EXPECT_THAT(log, Not(HasSubstr("Dev logging enabled")));
}

TEST_F(Start, WritesTheLogWhenTheLogArgumentIsZero) {
    startProgram({"0"});

    EXPECT_THAT(readFile(logFile()), HasSubstr("*** Cache Manager: new session started  \n"));
}

TEST_F(Start, WritesDeveloperLinesWhenAskedTo) {
    startProgram({"x", "-devLogging"});

    EXPECT_THAT(readFile(logFile()), HasSubstr("DEV\tDev logging enabled\n"));
}

TEST_F(Start, WritesNoLogWithoutALogArgument) {
    makeCache(twoProjects());

    startProgram({"-devLogging", "-lastModified"});

    EXPECT_FALSE(std::filesystem::exists(logFile()));
}

TEST_F(Start, TakesAnUnknownArgumentForTheLogArgument) {
    startProgram({"-LastModified", "--help", "more"});

    EXPECT_TRUE(session.isRunning());
    EXPECT_THAT(readFile(logFile()), HasSubstr("Application finished launching.\n"));
}

// The first project of the sample cache holds the newest frames, so the oldest is another one.
TEST_F(Start, SelectsTheOldestProjectWithLastModified) {
    SampleOptions options = twoProjects();
    options.newest = 1700000000;
    const SampleCache cache = makeCache(options);
    const auto& first = cache.projects.front().node;
    const auto& last = cache.projects.back().node;
    const SampleNode& oldest = first.newest.seconds <= last.newest.seconds ? first : last;

    startProgram({"-lastModified"});

    const std::string shown = std::filesystem::path(oldest.name).filename().string();
    EXPECT_TRUE(waitForAccessible(session, shown).isSelected);
}

TEST_F(Start, SelectsNothingWithoutLastModified) {
    const SampleCache cache = makeCache(twoProjects());

    startProgram();

    for (const SampleProject& project : cache.projects) {
        const std::string shown = std::filesystem::path(project.node.name).filename().string();
        EXPECT_FALSE(waitForAccessible(session, shown).isSelected);
    }
}

} // namespace

} // namespace corvid::test
