#include "MacCacheManager/views/StateColors.h"

#include "tests/support/view_pixels.h"

#include <QColor>

namespace {

using corvid::contrastRatio;
using corvid::legibleText;
using corvid::stateColor;

QColor grey(int level) {
    return {level, level, level};
}

TEST(StateColors, ContrastIsThatOfTheGuidelines) {
    EXPECT_NEAR(contrastRatio(Qt::white, Qt::black), 21.0, 0.001);
    EXPECT_NEAR(contrastRatio(Qt::black, Qt::white), 21.0, 0.001);
    EXPECT_NEAR(contrastRatio(grey(119), Qt::white), 4.48, 0.005);
    EXPECT_NEAR(contrastRatio(Qt::red, Qt::white), 4.00, 0.005);
    EXPECT_EQ(contrastRatio(Qt::blue, Qt::blue), 1.0);
    for (int level = 0; level <= 255; ++level) {
        EXPECT_NEAR(contrastRatio(grey(level), Qt::blue), contrastOf(grey(level), Qt::blue), 0.001);
    }
}

TEST(StateColors, MarksStandOutFromEverySurfaceAndNoMoreThanNeeded) {
    for (int surface = 0; surface <= 255; ++surface) {
        for (const QColor& text : {QColor(Qt::black), QColor(Qt::white)}) {
            const int mark = stateColor({grey(surface)}, text).red();
            EXPECT_GE(contrastOf(grey(mark), grey(surface)), 3.0) << surface;
            const int nearer = mark > surface ? mark - 1 : mark + 1;
            EXPECT_LT(contrastOf(grey(nearer), grey(surface)), 3.0) << surface;
        }
    }
}

TEST(StateColors, MarksAreOnTheTextsSideWhereTheyCanBe) {
    EXPECT_GT(stateColor({grey(71)}, Qt::white).red(), 71);
    EXPECT_LT(stateColor({grey(166)}, Qt::black).red(), 166);
    EXPECT_LT(stateColor({grey(110)}, Qt::black).red(), 110);
    EXPECT_GT(stateColor({grey(110)}, Qt::white).red(), 110);
    EXPECT_GT(stateColor({grey(60)}, Qt::black).red(), 60);   // nothing is darker enough
    EXPECT_LT(stateColor({grey(220)}, Qt::white).red(), 220); // nor lighter
}

// As far apart as the scheme's surfaces that one mark lies on.
TEST(StateColors, MarksStandOutFromSeveralSurfaces) {
    for (int surface = 0; surface <= 212; ++surface) {
        const QColor light = grey(surface * 120 / 100);
        const QColor dark = grey(surface * 85 / 100);
        for (const QColor& text : {QColor(Qt::black), QColor(Qt::white)}) {
            const QColor mark = stateColor({light, dark}, text);
            EXPECT_GE(contrastOf(mark, light), 3.0) << surface;
            EXPECT_GE(contrastOf(mark, dark), 3.0) << surface;
        }
    }
}

TEST(StateColors, TextsStayAsTheyAreWhereTheyCanBeRead) {
    EXPECT_EQ(legibleText(grey(71), grey(194)), grey(194));
    EXPECT_EQ(legibleText(grey(166), Qt::black), QColor(Qt::black));
    EXPECT_NE(legibleText(grey(93), Qt::black), QColor(Qt::black));
    for (int surface = 0; surface <= 255; ++surface) {
        for (const QColor& text : {QColor(Qt::black), grey(194)}) {
            EXPECT_GE(contrastOf(legibleText(grey(surface), text), grey(surface)), 4.5) << surface;
        }
    }
}

} // namespace
