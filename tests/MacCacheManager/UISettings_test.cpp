#include "MacCacheManager/UISettings.h"

#include "tests/support/user_defaults_folder.h"

#include <limits>

namespace {

constexpr float kLevelTolerance = 0.0001F;
constexpr float kStep = 1.0F / 255.0F;

void expectLevel(const QColor& color, float level) {
    EXPECT_NEAR(color.redF(), level, kLevelTolerance);
    EXPECT_NEAR(color.greenF(), level, kLevelTolerance);
    EXPECT_NEAR(color.blueF(), level, kLevelTolerance);
    EXPECT_EQ(color.alphaF(), 1.0F);
    EXPECT_EQ(color.spec(), QColor::Rgb);
}

class UISettingsDefaults : public UserDefaultsFolder {};

} // namespace

TEST_F(UISettingsDefaults, WithoutBrightnessTheSchemeIsTheDarkDefault) {
    const UISettings settings;
    expectLevel(settings.getClrFillPrimary(), 0.28F);
    EXPECT_FALSE(settings.isUsingBrightColorScheme());
    expectLevel(settings.getClrTextOutlineView(), 0.76F);
}

TEST_F(UISettingsDefaults, BrightnessIsReadWhenTheSchemeIsMade) {
    setBrightness(0);
    expectLevel(UISettings().getClrFillPrimary(), 166 * kStep);
}

TEST_F(UISettingsDefaults, ChangeTakesEffectOnlyWhenReadAgain) {
    UISettings settings;
    setBrightness(100);
    expectLevel(settings.getClrFillPrimary(), 0.28F);
    settings.setupDefaults();
    expectLevel(settings.getClrFillPrimary(), 216 * kStep);
}

TEST_F(UISettingsDefaults, RemovedBrightnessIsTheDarkDefaultWhenReadAgain) {
    UISettings settings(100);
    settings.setupDefaults();
    expectLevel(settings.getClrFillPrimary(), 0.28F);
}

TEST_F(UISettingsDefaults, TextForBrightnessIsTheMiddleGrey) {
    setBrightness(QStringLiteral("very dark"));
    expectLevel(UISettings().getClrFillPrimary(), 166 * kStep);
}

TEST_F(UISettingsDefaults, EveryoneSharesOneScheme) {
    EXPECT_NE(UISettings::instance(), nullptr);
    EXPECT_EQ(UISettings::instance(), UISettings::instance());
}

TEST_F(UISettingsDefaults, AnotherSchemeFromTheDefaultsIsTheSharedOne) {
    const UISettings& shared = *UISettings::instance();
    setBrightness(100);
    const UISettings first;
    expectLevel(shared.getClrFillPrimary(), 216 * kStep);
    setBrightness(-99);
    UISettings second;
    expectLevel(first.getClrFillPrimary(), 67 * kStep);
    expectLevel(shared.getClrFillPrimary(), 67 * kStep);
    setBrightness(0);
    second.setupDefaults();
    expectLevel(shared.getClrFillPrimary(), 166 * kStep);
}

TEST_F(UISettingsDefaults, AskingForTheSharedOneReadsNothingAgain) {
    const UISettings settings;
    setBrightness(100);
    expectLevel(UISettings::instance()->getClrFillPrimary(), 0.28F);
    expectLevel(settings.getClrFillPrimary(), 0.28F);
}

TEST_F(UISettingsDefaults, ASchemeOfAGivenBrightnessIsItsOwn) {
    UISettings given(100);
    const UISettings settings;
    expectLevel(given.getClrFillPrimary(), 216 * kStep);
    given.setupDefaults();
    setBrightness(50);
    given.setupDefaults();
    expectLevel(settings.getClrFillPrimary(), 0.28F);
}

TEST(UISettings, LevelsOfMinusHundredAndLessAreTheDefaultGrey) {
    expectLevel(UISettings(-100).getClrFillPrimary(), 0.28F);
    expectLevel(UISettings(-101).getClrFillPrimary(), 0.28F);
    expectLevel(UISettings(std::numeric_limits<int>::min()).getClrFillPrimary(), 0.28F);
}

TEST(UISettings, NegativeLevelsDarkenOneStepEach) {
    expectLevel(UISettings(-99).getClrFillPrimary(), 67 * kStep);
    expectLevel(UISettings(-98).getClrFillPrimary(), 68 * kStep);
    expectLevel(UISettings(-1).getClrFillPrimary(), 165 * kStep);
}

TEST(UISettings, PositiveLevelsBrightenOneStepForTwo) {
    expectLevel(UISettings(0).getClrFillPrimary(), 166 * kStep);
    expectLevel(UISettings(1).getClrFillPrimary(), 166 * kStep);
    expectLevel(UISettings(2).getClrFillPrimary(), 167 * kStep);
    expectLevel(UISettings(99).getClrFillPrimary(), 215 * kStep);
    expectLevel(UISettings(100).getClrFillPrimary(), 216 * kStep);
}

TEST(UISettings, LevelsBeyondWhiteAreWhite) {
    expectLevel(UISettings(178).getClrFillPrimary(), 1.0F);
    expectLevel(UISettings(std::numeric_limits<int>::max()).getClrFillPrimary(), 1.0F);
}

TEST(UISettings, MinusSeventyFourIsTheLastDarkLevel) {
    const UISettings settings(-74);
    expectLevel(settings.getClrFillPrimary(), 92 * kStep);
    EXPECT_FALSE(settings.isUsingBrightColorScheme());
    expectLevel(settings.getClrTextOutlineView(), 0.76F);
    expectLevel(settings.getClrTextTableHeader(), 0.76F);
    expectLevel(settings.getClrTextStats(), 0.76F);
}

TEST(UISettings, MinusSeventyThreeIsTheFirstBrightLevel) {
    const UISettings settings(-73);
    expectLevel(settings.getClrFillPrimary(), 93 * kStep);
    EXPECT_TRUE(settings.isUsingBrightColorScheme());
    expectLevel(settings.getClrTextOutlineView(), 0.0F);
    expectLevel(settings.getClrTextTableHeader(), 0.0F);
    expectLevel(settings.getClrTextStats(), 0.0F);
}

TEST(UISettings, SurfacesAreTheBaseScaled) {
    const UISettings settings(-100);
    expectLevel(settings.getClrFillSecondary(), 0.28F * 0.9F);
    expectLevel(settings.getClrFillToolbar(), 0.28F * 1.15F);
    expectLevel(settings.getClrHeaderGradStart(), 0.28F * 1.2F);
    expectLevel(settings.getClrHeaderGradEnd(), 0.28F * 0.85F);
    expectLevel(settings.getClrHeaderOutlineHighlight(), 0.28F * 2.0F);
    expectLevel(settings.getClrHeaderOutlineShadow(), 0.28F * 0.7F);
    expectLevel(settings.getClrOutlineViewHighlight(), 0.28F * 0.75F);
    expectLevel(settings.getClrScrollKnobGradStart(), 0.28F * 1.3F);
    expectLevel(settings.getClrScrollKnobGradEnd(), 0.28F * 0.95F);
    expectLevel(settings.getClrScrollSlotGradStart(), 0.28F * 0.65F);
    expectLevel(settings.getClrScrollSlotGradEnd(), 0.28F * 1.5F);
}

TEST(UISettings, KnobOutlineIsTheSameAtEveryBrightness) {
    expectLevel(UISettings(-100).getClrScrollKnobOutline(), 0.15F);
    expectLevel(UISettings(100).getClrScrollKnobOutline(), 0.15F);
}

TEST(UISettings, SurfacesAtFullBrightnessEndAtWhite) {
    const UISettings settings(100);
    expectLevel(settings.getClrHeaderOutlineHighlight(), 1.0F);
    expectLevel(settings.getClrScrollSlotGradEnd(), 1.0F);
    expectLevel(settings.getClrFillToolbar(), 216 * kStep * 1.15F);
}

TEST(UISettings, ScalingKeepsHueSaturationAndAlpha) {
    const QColor color = QColor::fromHsvF(0.6F, 0.5F, 0.4F, 0.25F);
    const QColor scaled = UISettings::scaleColor(color, 1.5F);
    constexpr float kRounding = 0.001F;
    EXPECT_NEAR(scaled.hsvHueF(), 0.6F, kRounding);
    EXPECT_NEAR(scaled.hsvSaturationF(), 0.5F, kRounding);
    EXPECT_NEAR(scaled.valueF(), 0.6F, kRounding);
    EXPECT_NEAR(scaled.alphaF(), 0.25F, kRounding);
    EXPECT_EQ(scaled.spec(), QColor::Rgb);
}

TEST(UISettings, ScalingStaysBetweenBlackAndFullBrightness) {
    const QColor color = QColor::fromHsvF(0.1F, 1.0F, 0.8F);
    EXPECT_EQ(UISettings::scaleColor(color, 5.0F).valueF(), 1.0F);
    EXPECT_EQ(UISettings::scaleColor(color, -1.0F).valueF(), 0.0F);
    EXPECT_EQ(UISettings::scaleColor(color, 0.0F).valueF(), 0.0F);
}
