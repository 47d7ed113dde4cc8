// The settings sheet with mouse and keys, and the settings file afterwards.

#include "tests/e2e/command_test.h"

#include <gmock/gmock.h>

namespace corvid::test {

namespace {

constexpr char kSize[] = "Max. cache size in megabytes";
constexpr char kPath[] = "Root folder of new caches";

class SettingsInTheProgram : public CommandProgramTest {
protected:
    SettingsInTheProgram() : m_cache(makeCache(smallCache(1))) {}

    std::string config() const { return readFile(m_cache.configDirectory + "Config.txt"); }
    // The text with the value of one key replaced.
    static std::string with(std::string text, const std::string& key, const std::string& value) {
        const std::size_t start = text.find("\t" + key + " ");
        EXPECT_NE(start, std::string::npos) << key;
        const std::size_t from = start + key.size() + 2;
        return text.replace(from, text.find('\n', from) - from, value);
    }
    void openSheet() {
        open();
        clickOn(session, "Settings", "push button");
        m_sheet = session.waitForWindow("Cache Manager Settings");
        session.waitUntilIdle(m_sheet.id);
    }
    void enter(const char* field, const std::string& text) {
        clickOn(session, field, "text");
        session.pressKey(m_sheet.id, "Ctrl+A");
        session.type(m_sheet.id, text);
        session.waitUntilIdle(m_sheet.id);
    }
    void waitUntilSheetIsClosed() { session.waitUntilClosed(m_sheet.id); }
    bool isSheetOpen() { return session.window(m_sheet.id).has_value(); }

    SampleCache m_cache;
    XWindow m_sheet;
};

TEST_F(SettingsInTheProgram, TheToolbarsButtonOpensThemAndSaveStoresThem) {
    openSheet();
    const std::string expected =
        with(with(config(), "SizeOfFrameCacheInMB", "1500"), "SpecPreviewStoreFramesCache", "1");

    enter(kSize, "1500.9");
    clickOn(session, "Cache frames on disk", "check box");
    clickOn(session, "Save", "push button");
    waitUntilSheetIsClosed();

    EXPECT_EQ(config(), expected);
}

TEST_F(SettingsInTheProgram, ControlAndCommaOpensThemAndEscapeLeavesTheFileAlone) {
    open();
    const std::string before = config();

    press("Ctrl+comma");
    m_sheet = session.waitForWindow("Cache Manager Settings");
    session.waitUntilIdle(m_sheet.id);
    enter(kSize, "5");
    session.pressKey(m_sheet.id, "Escape");
    waitUntilSheetIsClosed();

    EXPECT_EQ(config(), before);
}

TEST_F(SettingsInTheProgram, AFolderThatDoesNotExistIsRefused) {
    openSheet();
    const std::string before = config();

    enter(kPath, "/nowhere/100%1");
    clickOn(session, "Save", "push button");
    EXPECT_TRUE(shows("The default root cache location is invalid"));
    EXPECT_TRUE(shows("\"/nowhere/100%1\" is either invalid or does not exist"));
    answer("OK");

    EXPECT_TRUE(isSheetOpen());
    EXPECT_EQ(config(), before);
}

TEST_F(SettingsInTheProgram, ARefusedSaveCanBeCorrectedWithTheKeyboard) {
    openSheet();
    const std::string folder = m_cache.configDirectory + "New Cache";
    std::filesystem::create_directories(folder);
    const std::string expected = with(config(), "DirectoryLocationOfFrameCache", folder + "/");
    enter(kPath, "/nowhere");
    session.pressKey(m_sheet.id, "Return");
    answer("OK");

    enter(kPath, folder);
    session.pressKey(m_sheet.id, "Return");
    waitUntilSheetIsClosed();

    EXPECT_EQ(config(), expected);
}

TEST_F(SettingsInTheProgram, LettersForALimitAreAskedAboutAndNoKeepsTheSheet) {
    openSheet();
    const std::string before = config();

    enter(kSize, "plenty");
    clickOn(session, "Save", "push button");
    EXPECT_TRUE(shows("You have entered a \"0\" as your cache limit. This could be due to entering "
                      "non-numeric characters in \"Max. cache size\" field."));
    answer("No");

    EXPECT_TRUE(isSheetOpen());
    EXPECT_EQ(config(), before);
}

TEST_F(SettingsInTheProgram, YesToALowLimitStoresIt) {
    openSheet();
    const std::string expected = with(config(), "SizeOfFrameCacheInMB", "0");

    enter(kSize, "0");
    session.pressKey(m_sheet.id, "Return");
    answer("Yes");
    waitUntilSheetIsClosed();

    EXPECT_EQ(config(), expected);
}

TEST_F(SettingsInTheProgram, TheStepperAddsAndTheBoxTakesTheLimitAway) {
    openSheet();
    const std::string before = config();

    clickOn(session, "More");
    clickOn(session, "Save", "push button");
    waitUntilSheetIsClosed();
    EXPECT_EQ(config(), with(before, "SizeOfFrameCacheInMB", "20500"));

    press("Ctrl+comma");
    m_sheet = session.waitForWindow("Cache Manager Settings");
    clickOn(session, "Unlimited cache size", "check box");
    clickOn(session, "Save", "push button");
    waitUntilSheetIsClosed();
    EXPECT_EQ(config(), with(before, "SizeOfFrameCacheInMB", "-1"));
}

TEST_F(SettingsInTheProgram, CancelLeavesTheFileAlone) {
    openSheet();
    const std::string before = config();

    enter(kSize, "5");
    clickOn(session, "Unlimited cache size", "check box");
    clickOn(session, "Show cache management warnings", "check box");
    clickOn(session, "Cancel", "push button");
    waitUntilSheetIsClosed();

    EXPECT_EQ(config(), before);
}

TEST_F(SettingsInTheProgram, EveryControlIsReachedWithTheKeyboard) {
    openSheet();
    const std::string expected = with(
        with(with(config(), "SizeOfFrameCacheInMB", "777"), "SpecPreviewStoreFramesCache", "1"),
        "ShowCacheManagementWarnings", "0");

    session.pressKey(m_sheet.id, "space"); // the creation box has the keyboard first
    session.pressKey(m_sheet.id, "Tab");
    session.type(m_sheet.id, "777");
    for (int i = 0; i < 6; ++i) { // both buttons of the stepper, no limit, path, chooser, warnings
        session.pressKey(m_sheet.id, "Tab");
    }
    session.pressKey(m_sheet.id, "space");
    session.pressKey(m_sheet.id, "Return");
    waitUntilSheetIsClosed();

    EXPECT_EQ(config(), expected);
}

} // namespace

} // namespace corvid::test
