#include "MacCacheManager/AEScroller.h"

#include "tests/support/view_pixels.h"

#include <QTest>

#include <cmath>
#include <limits>
#include <memory>

using corvid::ArrowArrangement;

namespace {

class AEScrollerPixels : public ViewPixels {};

bool isGlyph(const QColor& pixel) {
    return pixel.alpha() == 255 && pixel.red() > 180;
}

// Where the arrow's glyph points: the side of the box on which its pixels are fewest.
enum class Direction { Up, Down, Left, Right };

Direction directionOf(const QImage& arrow) {
    const auto glyphsOfRow = [&arrow](int y) {
        int count = 0;
        for (int x = 0; x < arrow.width(); ++x) {
            count += isGlyph(arrow.pixelColor(x, y)) ? 1 : 0;
        }
        return count;
    };
    const auto glyphsOfColumn = [&arrow](int x) {
        int count = 0;
        for (int y = 0; y < arrow.height(); ++y) {
            count += isGlyph(arrow.pixelColor(x, y)) ? 1 : 0;
        }
        return count;
    };
    constexpr int kBefore = 6;
    constexpr int kAfter = 8;
    const int rows = glyphsOfRow(kAfter) - glyphsOfRow(kBefore);
    const int columns = glyphsOfColumn(kAfter) - glyphsOfColumn(kBefore);
    if (std::abs(rows) > std::abs(columns)) {
        return rows > 0 ? Direction::Up : Direction::Down;
    }
    return columns > 0 ? Direction::Left : Direction::Right;
}

// A scroller in the middle of its way.
std::unique_ptr<AEScroller> scroller(const QSize& size, ArrowArrangement arrangement) {
    const bool vertical = size.width() < size.height();
    auto made = std::make_unique<AEScroller>(vertical ? Qt::Vertical : Qt::Horizontal);
    made->setArrowArrangement(arrangement);
    made->setRange(0, 100);
    made->setPageStep(50);
    made->setValue(50);
    made->resize(size);
    return made;
}

const QSize kVertical(15, 200);
const QSize kHorizontal(200, 15);

void expectArrow(const QImage& image, const QPoint& at, Direction direction) {
    const QImage arrow = image.copy(QRect(at, QSize(15, 15)));
    EXPECT_TRUE(isGlyph(arrow.pixelColor(7, 7)));
    EXPECT_EQ(directionOf(arrow), direction);
}

} // namespace

TEST_P(AEScrollerPixels, VerticalSlotRunsAcrossTheWholeScroller) {
    const auto view = scroller(kVertical, ArrowArrangement::AtBothEnds);
    const QImage image = pixelsOf(*view);
    for (const int x : {0, 7, 14}) {
        EXPECT_NEAR(greyAt(image, x, 20),
                    expectedGrey(m_colors.getClrScrollSlotGradStart(),
                                 m_colors.getClrScrollSlotGradEnd(), (x + 0.5) / 15),
                    kTolerance);
    }
}

TEST_P(AEScrollerPixels, HorizontalSlotRunsFromTheTop) {
    const auto view = scroller(kHorizontal, ArrowArrangement::AtBothEnds);
    const QImage image = pixelsOf(*view);
    for (const int y : {0, 7, 14}) {
        EXPECT_NEAR(greyAt(image, 22, y),
                    expectedGrey(m_colors.getClrScrollSlotGradStart(),
                                 m_colors.getClrScrollSlotGradEnd(), (y + 0.5) / 15),
                    kTolerance);
    }
}

TEST_P(AEScrollerPixels, VerticalKnobRunsAcross) {
    const auto view = scroller(kVertical, ArrowArrangement::AtBothEnds);
    const QRect knob = view->knobPart().toRect();
    const QImage image = pixelsOf(*view);
    for (int x = knob.left() + 1; x < knob.right(); ++x) {
        EXPECT_NEAR(greyAt(image, x, knob.center().y()),
                    expectedGrey(m_colors.getClrScrollKnobGradStart(),
                                 m_colors.getClrScrollKnobGradEnd(),
                                 (x - knob.left() + 0.5) / knob.width()),
                    kTolerance);
    }
}

TEST_P(AEScrollerPixels, HorizontalKnobRunsFromTheTop) {
    const auto view = scroller(kHorizontal, ArrowArrangement::AtBothEnds);
    const QRect knob = view->knobPart().toRect();
    const QImage image = pixelsOf(*view);
    for (int y = knob.top() + 1; y < knob.bottom(); ++y) {
        EXPECT_NEAR(greyAt(image, knob.center().x(), y),
                    expectedGrey(m_colors.getClrScrollKnobGradStart(),
                                 m_colors.getClrScrollKnobGradEnd(),
                                 (y - knob.top() + 0.5) / knob.height()),
                    kTolerance);
    }
}

TEST_P(AEScrollerPixels, KnobIsOutlinedInsideItsRectangleOnly) {
    const auto view = scroller(kVertical, ArrowArrangement::AtBothEnds);
    const QRect knob = view->knobPart().toRect();
    const QImage image = pixelsOf(*view);
    const int y = knob.center().y();
    const int knobGrey = expectedGrey(m_colors.getClrScrollKnobGradStart(),
                                      m_colors.getClrScrollKnobGradEnd(), 0.5 / knob.width());
    const int half = (knobGrey + m_colors.getClrScrollKnobOutline().red()) / 2;
    EXPECT_NEAR(greyAt(image, knob.left(), y), half, 3);
    EXPECT_NEAR(greyAt(image, knob.left() - 1, y),
                expectedGrey(m_colors.getClrScrollSlotGradStart(),
                             m_colors.getClrScrollSlotGradEnd(), 0.5 / 15),
                kTolerance);
}

TEST_P(AEScrollerPixels, UngroupedArrowsStandAtBothEnds) {
    const QImage vertical = pixelsOf(*scroller(kVertical, ArrowArrangement::AtBothEnds));
    expectArrow(vertical, QPoint(0, 0), Direction::Up);
    expectArrow(vertical, QPoint(0, 185), Direction::Down);
    const QImage horizontal = pixelsOf(*scroller(kHorizontal, ArrowArrangement::AtBothEnds));
    expectArrow(horizontal, QPoint(1, 0), Direction::Left);
    expectArrow(horizontal, QPoint(184, 0), Direction::Right);
}

TEST_P(AEScrollerPixels, GroupedArrowsStandAtTheFarEnd) {
    const QImage vertical = pixelsOf(*scroller(kVertical, ArrowArrangement::GroupedAtFarEnd));
    expectArrow(vertical, QPoint(0, 170), Direction::Up);
    expectArrow(vertical, QPoint(0, 185), Direction::Down);
    const QImage horizontal = pixelsOf(*scroller(kHorizontal, ArrowArrangement::GroupedAtFarEnd));
    expectArrow(horizontal, QPoint(169, 0), Direction::Left);
    expectArrow(horizontal, QPoint(184, 0), Direction::Right);
}

TEST_P(AEScrollerPixels, BehindGroupedArrowsTheParentShows) {
    const QImage vertical = pixelsOf(*scroller(kVertical, ArrowArrangement::GroupedAtFarEnd));
    EXPECT_EQ(vertical.pixelColor(14, 168).alpha(), 255);
    EXPECT_EQ(vertical.pixelColor(14, 199).alpha(), 0);
    const QImage horizontal = pixelsOf(*scroller(kHorizontal, ArrowArrangement::GroupedAtFarEnd));
    EXPECT_EQ(horizontal.pixelColor(168, 14).alpha(), 255);
    EXPECT_EQ(horizontal.pixelColor(199, 7).alpha(), 0);
}

INSTANTIATE_TEST_SUITE_P(Brightness, AEScrollerPixels, schemeBrightnesses());

TEST(AEScroller, SquareBoundsCountAsHorizontal) {
    AEScroller view(Qt::Vertical);
    view.resize(15, 15);
    EXPECT_FALSE(view.isVerticalScroller());
    view.resize(15, 16);
    EXPECT_TRUE(view.isVerticalScroller());
}

TEST(AEScroller, ArrowsAreApartUnlessGrouped) {
    EXPECT_EQ(AEScroller(Qt::Vertical).arrowArrangement(), ArrowArrangement::AtBothEnds);
    EXPECT_FALSE(scroller(kVertical, ArrowArrangement::AtBothEnds)->areArrowsGrouped());
    EXPECT_FALSE(scroller(kHorizontal, ArrowArrangement::AtBothEnds)->areArrowsGrouped());
    EXPECT_TRUE(scroller(kVertical, ArrowArrangement::GroupedAtFarEnd)->areArrowsGrouped());
    EXPECT_TRUE(scroller(kHorizontal, ArrowArrangement::GroupedAtFarEnd)->areArrowsGrouped());
}

TEST(AEScroller, ScrollerIsNotOpaque) {
    EXPECT_FALSE(AEScroller(Qt::Vertical).testAttribute(Qt::WA_OpaquePaintEvent));
}

TEST(AEScroller, ScrollerIsAsThickAsItsArrows) {
    EXPECT_EQ(AEScroller(Qt::Vertical).sizeHint().width(), 15);
    EXPECT_EQ(AEScroller(Qt::Horizontal).sizeHint().height(), 15);
}

TEST(AEScroller, ClickOnAnArrowMovesOneLine) {
    for (const auto arrangement :
         {ArrowArrangement::AtBothEnds, ArrowArrangement::GroupedAtFarEnd}) {
        for (const QSize& size : {kVertical, kHorizontal}) {
            const auto view = scroller(size, arrangement);
            view->setSingleStep(3);
            QTest::mouseClick(view.get(), Qt::LeftButton, {},
                              view->parts().incrementLine.center().toPoint());
            EXPECT_EQ(view->value(), 53);
            QTest::mouseClick(view.get(), Qt::LeftButton, {},
                              view->parts().decrementLine.center().toPoint());
            EXPECT_EQ(view->value(), 50);
        }
    }
}

TEST(AEScroller, ClickBesideTheKnobMovesOnePage) {
    for (const QSize& size : {kVertical, kHorizontal}) {
        const auto view = scroller(size, ArrowArrangement::AtBothEnds);
        view->setPageStep(10);
        QTest::mouseClick(view.get(), Qt::LeftButton, {},
                          view->parts().track.topLeft().toPoint() + QPoint(1, 1));
        EXPECT_EQ(view->value(), 40);
        QTest::mouseClick(view.get(), Qt::LeftButton, {},
                          view->parts().track.bottomRight().toPoint() - QPoint(2, 2));
        EXPECT_EQ(view->value(), 50);
    }
}

TEST(AEScroller, DraggedKnobReachesBothEnds) {
    const auto view = scroller(kVertical, ArrowArrangement::AtBothEnds);
    const QPoint grip = view->knobPart().center().toPoint();
    QTest::mousePress(view.get(), Qt::LeftButton, {}, grip);
    QTest::mouseMove(view.get(), grip + QPoint(0, 100));
    EXPECT_EQ(view->value(), 100);
    QTest::mouseMove(view.get(), grip - QPoint(0, 100));
    EXPECT_EQ(view->value(), 0);
    QTest::mouseRelease(view.get(), Qt::LeftButton, {}, grip - QPoint(0, 100));
}

TEST(AEScroller, NothingToScrollHasNoKnob) {
    const auto view = scroller(kVertical, ArrowArrangement::AtBothEnds);
    view->setRange(0, 0);
    EXPECT_TRUE(view->knobPart().isEmpty());
}

TEST(AEScroller, FullIntegerRangeKeepsTheKnobOnItsTrack) {
    const auto view = scroller(kVertical, ArrowArrangement::AtBothEnds);
    view->setRange(0, std::numeric_limits<int>::max());
    view->setPageStep(std::numeric_limits<int>::max());
    view->setValue(std::numeric_limits<int>::max());
    EXPECT_TRUE(view->parts().track.contains(view->knobPart()));
}
