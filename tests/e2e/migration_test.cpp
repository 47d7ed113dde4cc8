// Moving a project through the context menu and the real folder chooser.

#include "tests/e2e/command_test.h"

#include <gmock/gmock.h>

#include <fstream>

namespace corvid::test {

namespace {

constexpr char kChooser[] = "Select a new location for the cache files";
constexpr int kMove = 2; // the place of the command in the context menu of projects

// The demo's projects have folders of their own, so that their settings can be written.
class MovingInTheProgram : public CommandProgramTest {
protected:
    MovingInTheProgram() {
        SampleOptions options;
        options.shape = SampleShape::Demo;
        m_cache = makeCache(options);
        for (const SampleProject& project : m_cache.projects) {
            if (shownName(project) == "Weather Map 2024.aep") {
                m_project = project;
            }
        }
        std::ofstream(m_project.node.members[0].path + "/real.txt") << "real bytes";
        std::filesystem::create_directories(newRoot());
    }

    // Typed as the chooser shows it, from the project's own directory; whatever it makes of it lies
    // below the test's folder.
    static constexpr char kTyped[] = "../../New Place";
    std::string newRoot() const { return m_cache.configDirectory + "New Place"; }
    std::string oldTable(const char* name) const {
        return readFile(m_project.cacheRoot + "/" + name);
    }
    std::string settingsFile() const {
        return std::filesystem::path(m_project.node.name).parent_path().string() +
               "/.CorvidPro2ProjectConfig.cvp";
    }
    XWindow openChooser() {
        clickRow(shownName(m_project));
        const Accessible row = waitForAccessible(session, shownName(m_project), "tree item");
        session.chooseFromMenu(
            [&] { session.clickOnScreen(row.place.center(), MouseButton::Right); }, kMove);
        XWindow chooser = session.waitForWindow(kChooser);
        session.waitUntilIdle(chooser.id);
        return chooser;
    }

    SampleCache m_cache;
    SampleProject m_project;
};

TEST_F(MovingInTheProgram, PutsEverythingWhereTheChooserSays) {
    open();
    const Contents frames = contents(m_project.node.path);
    const std::string projects = oldTable("ProjectHash.txt");
    const std::string compositions = oldTable("CompositionHash.txt");
    const std::string registry = readFile(m_cache.configDirectory + "FrameCache.cvp");
    const std::string hash = hashOf(m_project.node.name);
    const std::filesystem::path key(m_project.node.name);

    const XWindow chooser = openChooser();
    session.pressKey(chooser.id, "Ctrl+A");
    session.type(chooser.id, kTyped);
    session.pressKey(chooser.id, "Return");
    session.waitUntilClosed(chooser.id);
    ASSERT_TRUE(waitFor([&] { return std::filesystem::exists(settingsFile()); }));
    session.waitUntilIdle(window.id);

    ASSERT_TRUE(std::filesystem::exists(newRoot() + "/" + hash)) << readFile(settingsFile());
    Contents moved = contents(newRoot() + "/" + hash);
    for (const auto& [name, bytes] : frames) {
        EXPECT_TRUE(moved[name] == bytes) << name;
    }
    EXPECT_FALSE(std::filesystem::exists(m_project.node.path));
    EXPECT_EQ(oldTable("ProjectHash.txt"), projects);
    EXPECT_EQ(oldTable("CompositionHash.txt"), compositions);
    EXPECT_EQ(readFile(newRoot() + "/ProjectHash.txt"), hash + " " + m_project.node.name + "\n");
    EXPECT_THAT(readFile(newRoot() + "/CompositionHash.txt"),
                ::testing::AnyOf(hashOf("Icons") + " Icons\n",
                                 hashOf("Forecast loop") + " Forecast loop\n"));
    EXPECT_EQ(readFile(settingsFile()),
              "cvp-version:1\n" +
                  hashOf(key.parent_path().string() + "/::*::" + key.filename().string()) +
                  " string\tDirectoryLocationOfFrameCache " + newRoot() + "\n");
    const std::string line = hash + " string\tPathToCache ";
    EXPECT_THAT(registry, ::testing::HasSubstr(line + m_project.cacheRoot));
    EXPECT_THAT(readFile(m_cache.configDirectory + "FrameCache.cvp"),
                ::testing::HasSubstr(line + newRoot() + "\n"));
}

TEST_F(MovingInTheProgram, ACancelledChooserLeavesTheDiskAlone) {
    open();
    const Contents frames = contents(m_project.node.path);
    const std::string registry = readFile(m_cache.configDirectory + "FrameCache.cvp");

    const XWindow chooser = openChooser();
    session.pressKey(chooser.id, "Escape");
    session.waitUntilClosed(chooser.id);
    session.waitUntilIdle(window.id);

    EXPECT_EQ(contents(m_project.node.path), frames);
    EXPECT_EQ(readFile(m_cache.configDirectory + "FrameCache.cvp"), registry);
    EXPECT_FALSE(std::filesystem::exists(settingsFile()));
    EXPECT_THAT(contents(newRoot()), ::testing::IsEmpty());
}

} // namespace

} // namespace corvid::test
