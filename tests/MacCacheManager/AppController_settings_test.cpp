// Opening the settings sheet, and its controls while the user edits.

#include "tests/support/settings_fixture.h"

#include <limits>

using namespace corvid::test;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

namespace {

class Settings : public SettingsTest {};

TEST_F(Settings, ShowsTheStoredSettings) {
    setSetting("SpecPreviewStoreFramesCache", "1");
    setSetting("SizeOfFrameCacheInMB", "1234");

    openSheet();

    EXPECT_TRUE(sheet().isVisible());
    EXPECT_TRUE(creation().isChecked());
    EXPECT_EQ(sizeText(), "1234");
    EXPECT_TRUE(size().isEnabled());
    EXPECT_FALSE(unlimited().isChecked());
    EXPECT_TRUE(stepper().isEnabled());
    EXPECT_EQ(path().text().toStdString(), cacheRoot() + "/");
}

TEST_F(Settings, ShowsThatFramesAreNotCached) {
    setSetting("SpecPreviewStoreFramesCache", "0");

    openSheet();

    EXPECT_FALSE(creation().isChecked());
}

TEST_F(Settings, TakesAnyOtherNumberForCachingFrames) {
    setSetting("SpecPreviewStoreFramesCache", "-7");

    openSheet();

    EXPECT_TRUE(creation().isChecked());
}

TEST_F(Settings, CachesFramesWhenTheSettingIsMissing) {
    removeSetting("SpecPreviewStoreFramesCache");

    openSheet();

    EXPECT_TRUE(creation().isChecked());
}

class NoLimit : public SettingsTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(NoLimit, ShowsUnlimitedAndDisablesTheField) {
    setSetting("SizeOfFrameCacheInMB", GetParam());

    openSheet();

    EXPECT_EQ(sizeText(), "unlimited");
    EXPECT_FALSE(size().isEnabled());
    EXPECT_TRUE(unlimited().isChecked());
    EXPECT_TRUE(stepper().isEnabled());
}

INSTANTIATE_TEST_SUITE_P(Settings, NoLimit, ::testing::Values("-1", "-2", "-2147483648"),
                         [](const auto& limit) { return "Limit" + std::string(limit.param + 1); });

TEST_F(Settings, ShowsALimitOfZeroAsALimit) {
    setSetting("SizeOfFrameCacheInMB", "0");

    openSheet();

    EXPECT_EQ(sizeText(), "0");
    EXPECT_TRUE(size().isEnabled());
    EXPECT_FALSE(unlimited().isChecked());
}

TEST_F(Settings, LeavesTheLimitsControlsAsTheyAreWhenTheSettingIsMissing) {
    setSetting("SizeOfFrameCacheInMB", "-1");
    openSheet();
    cancel();
    removeSetting("SizeOfFrameCacheInMB");

    controller().initializeSettings();

    EXPECT_EQ(sizeText(), "unlimited");
    EXPECT_FALSE(size().isEnabled());
    EXPECT_TRUE(unlimited().isChecked());
}

TEST_F(Settings, LeavesThePathAsItIsWhenTheSettingIsMissing) {
    openSheet();
    cancel();
    removeSetting("DirectoryLocationOfFrameCache");

    controller().initializeSettings();

    EXPECT_EQ(path().text().toStdString(), cacheRoot() + "/");
}

TEST_F(Settings, LeavesTheStepperAloneWhenOpened) {
    setSetting("SizeOfFrameCacheInMB", "-1");
    open();
    for (const bool isEnabled : {true, false}) {
        for (const char* limit : {"-1", "300"}) {
            setSetting("SizeOfFrameCacheInMB", limit);
            stepper().setEnabled(isEnabled);

            controller().displaySettingsSheet();

            EXPECT_EQ(stepper().isEnabled(), isEnabled) << limit;
            cancel();
        }
    }
}

TEST_F(Settings, ShowsTheDefaultsWhenThereIsNoConfiguration) {
    ASSERT_EQ(::remove(configFile().c_str()), 0);

    openSheet();

    EXPECT_TRUE(creation().isChecked());
    EXPECT_EQ(sizeText(), "20000");
    EXPECT_EQ(path().text().toStdString(), root.productFile("Cache/"));
}

TEST_F(Settings, ShowsANameWithUmlauts) {
    const std::string folder = root.path("Volumes/Übersicht/");
    makeDirectory(folder);
    setSetting("DirectoryLocationOfFrameCache", folder);

    openSheet();

    EXPECT_EQ(path().text().toStdString(), folder);
}

TEST_F(Settings, ShowsALongStoredPathWhole) {
    const std::string folder = "/" + std::string(970, 'd');
    setSetting("DirectoryLocationOfFrameCache", folder);

    openSheet();

    EXPECT_EQ(path().text().toStdString(), folder);
}

TEST_F(Settings, ReadsTheSettingsAfreshWithEveryOpening) {
    openSheet();
    enter(size(), "77");
    cancel();
    setSetting("SizeOfFrameCacheInMB", "555");

    clickButton("m_btnSettings");

    EXPECT_EQ(sizeText(), "555");
}

TEST_F(Settings, SwitchingTheLimitOffShowsUnlimited) {
    openSheet();

    toggle(unlimited());

    EXPECT_TRUE(unlimited().isChecked());
    EXPECT_EQ(sizeText(), "unlimited");
    EXPECT_FALSE(size().isEnabled());
    EXPECT_FALSE(stepper().isEnabled());
}

TEST_F(Settings, SwitchingTheLimitOnSuggestsTwentyThousand) {
    setSetting("SizeOfFrameCacheInMB", "-1");
    openSheet();

    toggle(unlimited());

    EXPECT_FALSE(unlimited().isChecked());
    EXPECT_EQ(sizeText(), "20000");
    EXPECT_TRUE(size().isEnabled());
    EXPECT_TRUE(stepper().isEnabled());
}

TEST_F(Settings, SwitchingTheLimitOnAndOffSuggestsTwentyThousandWhateverWasTyped) {
    openSheet();
    enter(size(), "5");

    toggle(unlimited());
    toggle(unlimited());

    EXPECT_EQ(sizeText(), "20000");
}

struct TypedLimit {
    const char* typed;
    const char* shown;
    bool isLimited;
};

class CreationBox : public SettingsTest, public ::testing::WithParamInterface<TypedLimit> {};

TEST_P(CreationBox, BringsTheNoLimitBoxInLineWithTheNumber) {
    openSheet();
    enter(size(), GetParam().typed);

    toggle(creation());

    EXPECT_EQ(sizeText(), GetParam().shown);
    EXPECT_EQ(unlimited().isChecked(), !GetParam().isLimited);
    EXPECT_EQ(size().isEnabled(), GetParam().isLimited);
    EXPECT_EQ(stepper().isEnabled(), GetParam().isLimited);
}

INSTANTIATE_TEST_SUITE_P(
    Settings, CreationBox,
    ::testing::Values(TypedLimit{"300", "300", true}, TypedLimit{" 0300 MB", "300", true},
                      TypedLimit{"0", "0", true}, TypedLimit{"1500.90", "1500.9", true},
                      TypedLimit{"letters", "0", true}, TypedLimit{"", "0", true},
                      TypedLimit{"-1", "-1", false}, TypedLimit{"-300", "-1", false},
                      TypedLimit{"-0.5", "-1", false}, TypedLimit{"-0", "0", true},
                      TypedLimit{"nan", "0", true}, TypedLimit{"inf", "0", true},
                      TypedLimit{"1e400", "2147483647", true},
                      TypedLimit{"3000000000", "2147483647", true},
                      TypedLimit{"-1e400", "-1", false}));

TEST_F(Settings, TheCreationBoxLeavesAnUnlimitedCacheUnlimited) {
    setSetting("SizeOfFrameCacheInMB", "-1");
    openSheet();

    toggle(creation());

    EXPECT_TRUE(unlimited().isChecked());
    EXPECT_EQ(sizeText(), "unlimited");
}

TEST_F(Settings, TheActionOfTheCreationBoxReadsUnlimitedAsNoNumber) {
    setSetting("SizeOfFrameCacheInMB", "-1");
    openSheet();

    controller().checkedCacheCreation();

    EXPECT_FALSE(unlimited().isChecked());
    EXPECT_EQ(sizeText(), "0");
    EXPECT_TRUE(size().isEnabled());
    EXPECT_TRUE(stepper().isEnabled());
}

TEST_F(Settings, OneClickOfTheStepperAddsFiveHundredMegabytes) {
    setSetting("SizeOfFrameCacheInMB", "20000");
    openSheet();

    QTest::mouseClick(stepper().upButton(), Qt::LeftButton);

    EXPECT_EQ(sizeText(), "20500");
}

TEST_F(Settings, OneClickOfTheLowerButtonTakesFiveHundredMegabytesAway) {
    setSetting("SizeOfFrameCacheInMB", "20000");
    openSheet();

    QTest::mouseClick(stepper().downButton(), Qt::LeftButton);
    QTest::mouseClick(stepper().downButton(), Qt::LeftButton);

    EXPECT_EQ(sizeText(), "19000");
}

TEST_F(Settings, TheStepperStopsAtZero) {
    setSetting("SizeOfFrameCacheInMB", "400");
    openSheet();

    QTest::mouseClick(stepper().downButton(), Qt::LeftButton);
    EXPECT_EQ(sizeText(), "0");
    QTest::mouseClick(stepper().downButton(), Qt::LeftButton);
    EXPECT_EQ(sizeText(), "0");
    QTest::mouseClick(stepper().upButton(), Qt::LeftButton);
    EXPECT_EQ(sizeText(), "500");
}

TEST_F(Settings, TheStepperIsOutOfUseWithoutALimit) {
    setSetting("SizeOfFrameCacheInMB", "-1");
    openSheet();

    QTest::mouseClick(stepper().upButton(), Qt::LeftButton);

    EXPECT_EQ(sizeText(), "unlimited");
}

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNoNumber = std::numeric_limits<float>::quiet_NaN();

struct Step {
    const char* before;
    float value;
    const char* after;
};

class Stepping : public SettingsTest, public ::testing::WithParamInterface<Step> {};

TEST_P(Stepping, AddsToTheNumberInTheField) {
    openSheet();
    enter(size(), GetParam().before);

    controller().incrementMaxCacheSize(GetParam().value);

    EXPECT_EQ(sizeText(), GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(
    Settings, Stepping,
    ::testing::Values(Step{"5", -10, "0"}, Step{"5", 10, "15"}, Step{"-5", 10, "5"},
                      Step{"-5", -10, "0"}, Step{"letters", 10, "10"}, Step{"", 10, "10"},
                      Step{"1500.5", 0.25F, "1500.75"}, Step{"5", 0, "5"},
                      // single precision: beyond 2^24 only even numbers are left
                      Step{"16777216", 1, "16777216"}, Step{"16777216", 2, "16777218"},
                      // and a decimal fraction shows no more digits than it has
                      Step{"1500.9", 500, "2000.9"},
                      // what a limit cannot be becomes the nearest that it can
                      Step{"1e400", 500, "2147483647"}, Step{"1e39", -500, "2147483136"},
                      Step{"2147483647", 500, "2147483647"}, Step{"-1e400", 500, "0"},
                      Step{"-0", 0, "0"}, Step{"-0", -0.0F, "0"},
                      Step{"7", kInfinity, "2147483647"}, Step{"7", -kInfinity, "0"},
                      Step{"7", kNoNumber, "0"}));

TEST_F(Settings, ChoosesTheFolderWithTheRealChooser) {
    const std::string chosen = root.path("Volumes/New place");
    makeDirectory(chosen);
    openSheet();

    user.willChoose(chosen);
    clickButton("m_btnSelectPath");

    ASSERT_EQ(user.seen().size(), 1U);
    EXPECT_EQ(user.seen()[0].title, "Select a new location for the cache files");
    EXPECT_EQ(user.seen()[0].message, cacheRoot()) << "where it opened";
    EXPECT_THAT(user.seen()[0].buttons, ::testing::Contains("Choose folder"));
    EXPECT_EQ(path().text().toStdString(), chosen);
    EXPECT_TRUE(sheet().isVisible());
}

TEST_F(Settings, KeepsThePathWhenTheChooserIsCancelled) {
    openSheet();

    user.will([](QDialog& dialog) { dialog.reject(); });
    clickButton("m_btnSelectPath");

    EXPECT_EQ(path().text().toStdString(), cacheRoot() + "/");
}

TEST_F(Settings, TabFollowsTheEye) {
    openSheet();
    std::vector<QWidget*> expected = {&creation(),
                                      &size(),
                                      stepper().upButton(),
                                      stepper().downButton(),
                                      &unlimited(),
                                      &path(),
                                      &widget<QPushButton>("m_btnSelectPath"),
                                      &warnings(),
                                      &widget<QPushButton>("m_btnCancelSettings"),
                                      &widget<QPushButton>("m_btnSaveSettings")};
    creation().setFocus();

    std::vector<QWidget*> met = {sheet().focusWidget()};
    for (std::size_t i = 1; i < expected.size(); ++i) {
        QTest::keyClick(sheet().focusWidget(), Qt::Key_Tab);
        met.push_back(sheet().focusWidget());
    }

    EXPECT_EQ(met, expected);
    for (std::size_t i = 1; i < expected.size(); ++i) {
        const QPoint before = expected[i - 1]->mapTo(&sheet(), QPoint(0, 0));
        const QPoint here = expected[i]->mapTo(&sheet(), QPoint(0, 0));
        EXPECT_TRUE(here.x() > before.x() || here.y() > before.y()) << i;
    }
}

TEST_F(Settings, TheSheetHasThePaletteOfTheWindow) {
    openSheet();

    EXPECT_EQ(sheet().palette(), controller().getWindow()->palette());
}

TEST_F(Settings, TheSheetBlocksTheWindow) {
    openSheet();

    EXPECT_EQ(sheet().windowModality(), Qt::WindowModal);
    EXPECT_EQ(sheet().parentWidget(), controller().getWindow());
}

TEST_F(Settings, OpensFromTheMenuBar) {
    open();

    chooseInMenuBar("Settings");

    EXPECT_TRUE(sheet().isVisible());
}

} // namespace
