// What the settings sheet checks and writes.

#include "tests/support/settings_fixture.h"

#include <fcntl.h>
#include <sys/stat.h>

using namespace corvid::test;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

namespace {

constexpr char kLowLimit[] = "Are you sure you want to set a low cache limit?";

std::string lowLimitMessage(const std::string& limit) {
    return "You have entered a \"" + limit +
           "\" as your cache limit. This could be due to entering non-numeric characters in "
           "\"Max. cache size\" field.";
}

class SavingSettings : public SettingsTest {
protected:
    void expectLowLimitQuestion(const std::string& typed, const std::string& limit) {
        openSheet();
        enter(size(), typed);
        const std::string before = config();

        user.willClick("No");
        save();

        ASSERT_EQ(user.seen().size(), 1U);
        EXPECT_EQ(user.seen()[0].title, kLowLimit);
        EXPECT_EQ(user.seen()[0].message, lowLimitMessage(limit));
        EXPECT_THAT(user.seen()[0].buttons, UnorderedElementsAre("Yes", "No"));
        EXPECT_EQ(user.seen()[0].defaultButton, "Yes");
        EXPECT_EQ(config(), before);
        EXPECT_TRUE(sheet().isVisible());
        EXPECT_EQ(sizeText(), typed);
    }
    // Types a limit, says yes if asked, and expects a file that differs in the limit alone.
    void expectStored(const std::string& typed, const std::string& stored, int questions) {
        openSheet();
        enter(size(), typed);
        const std::string expected = with(config(), "SizeOfFrameCacheInMB", stored);

        for (int i = 0; i < questions; ++i) {
            user.willClick("Yes");
        }
        save();

        EXPECT_EQ(user.seen().size(), static_cast<std::size_t>(questions));
        EXPECT_EQ(config(), expected);
        EXPECT_FALSE(sheet().isVisible());
    }
};

TEST_F(SavingSettings, WritesTheThreeSettingsAndNothingElse) {
    const std::string chosen = root.path("Volumes/New");
    makeDirectory(chosen);
    setSetting("SpecPreviewStoreFramesCache", "1");
    openSheet();
    std::string expected = with(config(), "SizeOfFrameCacheInMB", "1500");
    expected = with(expected, "DirectoryLocationOfFrameCache", chosen + "/");
    expected = with(expected, "SpecPreviewStoreFramesCache", "0");

    enter(size(), "1500");
    enter(path(), chosen);
    toggle(creation());
    save();

    EXPECT_EQ(config(), expected);
    EXPECT_FALSE(sheet().isVisible());
}

TEST_F(SavingSettings, LeavesEveryByteAloneWhenNothingWasChanged) {
    openSheet();
    const std::string before = config();

    save();

    EXPECT_EQ(config(), before);
    EXPECT_FALSE(sheet().isVisible());
}

TEST_F(SavingSettings, AddsMissingSettingsAtTheEndInTheOrderOfWriting) {
    for (const char* key :
         {"SpecPreviewStoreFramesCache", "SizeOfFrameCacheInMB", "DirectoryLocationOfFrameCache"}) {
        removeSetting(key);
    }
    openSheet();
    enter(size(), "10");
    enter(path(), cacheRoot());
    const std::string before = config();

    save();

    EXPECT_EQ(config(), before + "default int\tSizeOfFrameCacheInMB 10\n" +
                            "default string\tDirectoryLocationOfFrameCache " + cacheRoot() +
                            "/\ndefault int\tSpecPreviewStoreFramesCache 1\n");
}

TEST_F(SavingSettings, StoresMinusOneForNoLimit) {
    openSheet();
    const std::string expected = with(config(), "SizeOfFrameCacheInMB", "-1");

    toggle(unlimited());
    save();

    EXPECT_EQ(config(), expected);
    EXPECT_TRUE(user.seen().empty());
}

// A negative number switches the limit off when the creation box is clicked.
TEST_F(SavingSettings, StoresMinusOneForANegativeNumberWithTheBoxOn) {
    openSheet();
    const std::string expected =
        with(with(config(), "SizeOfFrameCacheInMB", "-1"), "SpecPreviewStoreFramesCache", "1");

    enter(size(), "-300");
    toggle(creation());
    save();

    EXPECT_EQ(config(), expected);
    EXPECT_TRUE(user.seen().empty());
}

TEST_F(SavingSettings, TruncatesTheLimitTowardsZero) {
    expectStored("1500.9", "1500", 0);
}

TEST_F(SavingSettings, AcceptsALimitOfOneWithoutAQuestion) {
    expectStored("1", "1", 0);
}

TEST_F(SavingSettings, HoldsAHugeLimitWithin32Bits) {
    expectStored("99999999999999999999", "2147483647", 0);
}

TEST_F(SavingSettings, HoldsALimitBeyondAllNumbersWithin32Bits) {
    expectStored("1e999", "2147483647", 0);
}

TEST_F(SavingSettings, AsksAboutLettersNamingZero) {
    expectLowLimitQuestion("plenty", "0");
}

TEST_F(SavingSettings, AsksAboutAnEmptyFieldNamingZero) {
    expectLowLimitQuestion("", "0");
}

TEST_F(SavingSettings, AsksAboutZero) {
    expectLowLimitQuestion("0", "0");
}

TEST_F(SavingSettings, AsksAboutAFractionBelowOne) {
    expectLowLimitQuestion("0.9", "0");
}

TEST_F(SavingSettings, AsksAboutANegativeLimitWithTheBoxOff) {
    expectLowLimitQuestion("-5", "-5");
}

TEST_F(SavingSettings, AsksAboutAHugeNegativeLimit) {
    expectLowLimitQuestion("-99999999999", "-2147483648");
}

TEST_F(SavingSettings, StoresZeroForLettersWhenTheUserInsists) {
    expectStored("plenty", "0", 1);
}

TEST_F(SavingSettings, StoresANegativeLimitWhenTheUserInsists) {
    expectStored("-5.9", "-5", 1);
}

TEST_F(SavingSettings, ShowsAStoredNegativeLimitAsNoLimit) {
    expectStored("-5", "-5", 1);

    clickButton("m_btnSettings");

    EXPECT_TRUE(unlimited().isChecked());
    EXPECT_EQ(sizeText(), "unlimited");
}

TEST_F(SavingSettings, TakesEscapeForNoToALowLimit) {
    openSheet();
    enter(size(), "0");
    const std::string before = config();

    user.will([](QDialog& dialog) { QTest::keyClick(&dialog, Qt::Key_Escape); });
    save();

    EXPECT_EQ(config(), before);
    EXPECT_TRUE(sheet().isVisible());
}

TEST_F(SavingSettings, CancelLeavesEveryByteAlone) {
    openSheet();
    const Snapshot before = snapshot(root.path("Library"));
    enter(size(), "42");
    enter(path(), root.path());
    toggle(creation());
    toggle(warnings());

    cancel();

    EXPECT_EQ(snapshot(root.path("Library")), before);
    EXPECT_FALSE(sheet().isVisible());
}

TEST_F(SavingSettings, CancelAfterARefusedSaveLeavesEveryByteAlone) {
    openSheet();
    const Snapshot before = snapshot(root.path("Library"));
    enter(path(), "");
    user.willClick("OK");
    save();

    cancel();

    EXPECT_EQ(snapshot(root.path("Library")), before);
    EXPECT_FALSE(sheet().isVisible());
}

TEST_F(SavingSettings, EscapeCancels) {
    openSheet();
    const Snapshot before = snapshot(root.path("Library"));
    enter(size(), "42");

    QTest::keyClick(&size(), Qt::Key_Escape);

    EXPECT_EQ(snapshot(root.path("Library")), before);
    EXPECT_FALSE(sheet().isVisible());
}

TEST_F(SavingSettings, ReturnSaves) {
    openSheet();
    const std::string expected = with(config(), "SizeOfFrameCacheInMB", "42");
    enter(size(), "42");

    QTest::keyClick(&size(), Qt::Key_Return);

    EXPECT_EQ(config(), expected);
    EXPECT_FALSE(sheet().isVisible());
}

TEST_F(SavingSettings, KeepsTheTreeAsItIs) {
    addFeature(alpha(), "Main", "PROXY");
    openSheet();
    const FrameCacheEntry* rootNode = controller().dataSource()->getRootNode();

    save();

    EXPECT_EQ(controller().dataSource()->getRootNode(), rootNode);
}

TEST_F(SavingSettings, WritesTheWarningsWhenTheyWereSwitchedOff) {
    openSheet();
    const std::string expected = with(config(), "ShowCacheManagementWarnings", "0");
    ASSERT_TRUE(warnings().isChecked());

    toggle(warnings());
    save();

    EXPECT_EQ(config(), expected);
}

TEST_F(SavingSettings, WritesTheWarningsWhenTheyWereSwitchedOn) {
    setSetting("ShowCacheManagementWarnings", "0");
    openSheet();
    const std::string expected = with(config(), "ShowCacheManagementWarnings", "1");
    ASSERT_FALSE(warnings().isChecked());

    toggle(warnings());
    save();

    EXPECT_EQ(config(), expected);
}

TEST_F(SavingSettings, KeepsAnOddWarningsValueThatWasNotChanged) {
    setSetting("ShowCacheManagementWarnings", "7");
    openSheet();
    const std::string before = config();

    toggle(warnings());
    toggle(warnings());
    save();

    EXPECT_EQ(config(), before);
}

TEST_F(SavingSettings, AddsNoWarningsThatWereMissingAndNotChanged) {
    removeSetting("ShowCacheManagementWarnings");
    openSheet();
    const std::string before = config();
    EXPECT_TRUE(warnings().isChecked());

    save();

    EXPECT_EQ(config(), before);
}

TEST_F(SavingSettings, WritesNoWarningsWhenTheSaveIsRefused) {
    openSheet();
    const std::string before = config();
    toggle(warnings());
    enter(path(), "");

    user.willClick("OK");
    save();

    EXPECT_EQ(config(), before);
}

// The store that finds no file has no entries yet, so only what is saved is in the new one.
TEST_F(SavingSettings, CreatesTheFileAgainWhenItWentAwayMeanwhile) {
    openSheet();
    enter(size(), "42");
    ASSERT_EQ(::remove(configFile().c_str()), 0);

    save();

    EXPECT_EQ(config(), "default int\tSizeOfFrameCacheInMB 42\n"
                        "default string\tDirectoryLocationOfFrameCache " +
                            cacheRoot() + "/\ndefault int\tSpecPreviewStoreFramesCache 0\n");
    EXPECT_FALSE(sheet().isVisible());
}

} // namespace
