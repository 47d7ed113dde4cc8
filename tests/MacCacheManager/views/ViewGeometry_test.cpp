#include "MacCacheManager/views/ViewGeometry.h"

#include "MacCacheManager/QuartzUtils.h"

#include <gtest/gtest.h>

using corvid::ArrowArrangement;
using corvid::ScrollerLine;

namespace {

const QSizeF kArrow(15, 15);
const QRectF kVertical(0, 0, 15, 200);
const QRectF kHorizontal(0, 0, 200, 15);

} // namespace

TEST(HeaderCellDrawing, GradientFillsTheFrameFromTheTop) {
    const UISettings colors(-100);
    const auto fill = corvid::headerCellDrawing(QRectF(10, 0, 80, 20), colors).background;
    EXPECT_EQ(fill.rect, QRectF(10, 0, 80, 20));
    EXPECT_EQ(fill.start, colors.getClrHeaderGradStart());
    EXPECT_EQ(fill.end, colors.getClrHeaderGradEnd());
    EXPECT_EQ(fill.orientation, QuartzUtils::kAlongY);
}

TEST(HeaderCellDrawing, LightEdgeLiesInsideTheDarkOne) {
    const UISettings colors(-100);
    const auto drawing = corvid::headerCellDrawing(QRectF(10, 0, 80, 20), colors);
    EXPECT_EQ(drawing.highlight.rect, QRectF(11, 2, 79, 18));
    EXPECT_EQ(drawing.highlight.color, colors.getClrHeaderOutlineHighlight());
    EXPECT_EQ(drawing.shadow.rect, QRectF(10, 1, 80, 19));
    EXPECT_EQ(drawing.shadow.color, colors.getClrHeaderOutlineShadow());
}

TEST(HeaderCellDrawing, TitleIsInsetByNineAndTwo) {
    EXPECT_EQ(corvid::headerCellDrawing(QRectF(10, 0, 80, 20), UISettings(0)).title,
              QRectF(19, 2, 62, 16));
}

TEST(RectangleStroke, SidesTakeThePixelBeforeTheEdge) {
    const auto sides = corvid::RectangleStroke{QRectF(10, 1, 80, 19), QColor()}.sides();
    EXPECT_EQ(sides[0], QRectF(9, 0, 1, 20));
    EXPECT_EQ(sides[1], QRectF(9, 0, 81, 1));
    EXPECT_EQ(sides[2], QRectF(89, 0, 1, 20));
    EXPECT_EQ(sides[3], QRectF(9, 19, 81, 1));
}

TEST(SelectedRow, RectangleLeavesOutTheRowsFirstLine) {
    EXPECT_EQ(corvid::selectedRowRectangle(QRectF(0, 36, 500, 18)), QRectF(0, 37, 500, 17));
}

TEST(StatisticsDrawing, BoxIsInsetAndRounded) {
    const UISettings colors(-100);
    const auto drawing = corvid::statisticsDrawing(QRectF(0, 0, 300, 100), colors);
    EXPECT_EQ(drawing.box, QRectF(20, 5, 260, 90));
    EXPECT_EQ(drawing.boxShape, QuartzUtils::bezierPathWithRoundedRect(drawing.box, 5));
    EXPECT_EQ(drawing.boxColor, colors.getClrFillSecondary());
}

TEST(StatisticsDrawing, SeparatorCrossesTheBoxBelowTheTitleRow) {
    const UISettings colors(-100);
    const auto drawing = corvid::statisticsDrawing(QRectF(0, 0, 300, 100), colors);
    EXPECT_EQ(drawing.separator, QRectF(20, 27, 260, 1));
    EXPECT_EQ(drawing.separatorColor, colors.getClrFillPrimary());
}

TEST(StatisticsDrawing, SeparatorFollowsATitleRowThatGrewWithTheFont) {
    const UISettings colors(-100);
    const QRectF bounds(0, 0, 300, 100);
    EXPECT_EQ(corvid::statisticsDrawing(bounds, colors, 35).separator, QRectF(20, 40, 260, 1));
    EXPECT_EQ(corvid::statisticsDrawing(bounds, colors, 15).separator, QRectF(20, 27, 260, 1));
}

TEST(Scroller, OnlyNarrowerThanHighIsVertical) {
    EXPECT_TRUE(corvid::isVerticalScroller(QSizeF(15, 16)));
    EXPECT_FALSE(corvid::isVerticalScroller(QSizeF(15, 15)));
    EXPECT_FALSE(corvid::isVerticalScroller(QSizeF(16, 15)));
}

TEST(ScrollerParts, UngroupedVerticalHasAnArrowAtBothEnds) {
    const auto parts = corvid::scrollerParts(kVertical, kArrow, ArrowArrangement::AtBothEnds);
    EXPECT_EQ(parts.decrementLine, QRectF(0, 0, 15, 16));
    EXPECT_EQ(parts.track, QRectF(0, 16, 15, 168));
    EXPECT_EQ(parts.incrementLine, QRectF(0, 184, 15, 16));
    EXPECT_FALSE(corvid::areArrowsGrouped(parts.decrementLine, true));
}

TEST(ScrollerParts, UngroupedHorizontalHasAnArrowAtBothEnds) {
    const auto parts = corvid::scrollerParts(kHorizontal, kArrow, ArrowArrangement::AtBothEnds);
    EXPECT_EQ(parts.decrementLine, QRectF(0, 0, 17, 15));
    EXPECT_EQ(parts.track, QRectF(17, 0, 166, 15));
    EXPECT_EQ(parts.incrementLine, QRectF(183, 0, 17, 15));
    EXPECT_FALSE(corvid::areArrowsGrouped(parts.decrementLine, false));
}

TEST(ScrollerParts, GroupedArrowsStandTogetherAtTheFarEnd) {
    const auto vertical =
        corvid::scrollerParts(kVertical, kArrow, ArrowArrangement::GroupedAtFarEnd);
    EXPECT_EQ(vertical.track, QRectF(0, 0, 15, 169));
    EXPECT_EQ(vertical.decrementLine, QRectF(0, 169, 15, 15));
    EXPECT_EQ(vertical.incrementLine, QRectF(0, 184, 15, 16));
    EXPECT_TRUE(corvid::areArrowsGrouped(vertical.decrementLine, true));
    const auto horizontal =
        corvid::scrollerParts(kHorizontal, kArrow, ArrowArrangement::GroupedAtFarEnd);
    EXPECT_EQ(horizontal.track, QRectF(0, 0, 168, 15));
    EXPECT_EQ(horizontal.decrementLine, QRectF(168, 0, 15, 15));
    EXPECT_EQ(horizontal.incrementLine, QRectF(183, 0, 17, 15));
    EXPECT_TRUE(corvid::areArrowsGrouped(horizontal.decrementLine, false));
}

TEST(ScrollerParts, PartsOfATooShortScrollerShareItAndNeverOverlap) {
    for (const auto arrangement :
         {ArrowArrangement::AtBothEnds, ArrowArrangement::GroupedAtFarEnd}) {
        const auto parts = corvid::scrollerParts(QRectF(0, 0, 15, 20), kArrow, arrangement);
        EXPECT_EQ(parts.decrementLine, QRectF(0, 0, 15, 10));
        EXPECT_EQ(parts.incrementLine, QRectF(0, 10, 15, 10));
        EXPECT_EQ(parts.track.height(), 0);
    }
}

TEST(ScrollerParts, ArrowsAreGroupedOnlyBeyondOnePixel) {
    EXPECT_FALSE(corvid::areArrowsGrouped(QRectF(5, 1.0, 15, 16), true));
    EXPECT_TRUE(corvid::areArrowsGrouped(QRectF(0, 1.5, 15, 16), true));
    EXPECT_FALSE(corvid::areArrowsGrouped(QRectF(1.0, 5, 15, 16), false));
    EXPECT_TRUE(corvid::areArrowsGrouped(QRectF(1.5, 0, 15, 16), false));
}

TEST(ArrowPosition, UngroupedVerticalArrowsTouchBothEnds) {
    const auto parts = corvid::scrollerParts(kVertical, kArrow, ArrowArrangement::AtBothEnds);
    EXPECT_EQ(corvid::arrowPosition(ScrollerLine::Decrement, parts, true), QPointF(0, 0));
    EXPECT_EQ(corvid::arrowPosition(ScrollerLine::Increment, parts, true), QPointF(0, 185));
}

TEST(ArrowPosition, GroupedVerticalArrowsStandOnePixelIntoTheirParts) {
    const auto parts = corvid::scrollerParts(kVertical, kArrow, ArrowArrangement::GroupedAtFarEnd);
    EXPECT_EQ(corvid::arrowPosition(ScrollerLine::Decrement, parts, true), QPointF(0, 170));
    EXPECT_EQ(corvid::arrowPosition(ScrollerLine::Increment, parts, true), QPointF(0, 185));
}

TEST(ArrowPosition, HorizontalArrowsStandOnePixelIntoTheirParts) {
    const auto apart = corvid::scrollerParts(kHorizontal, kArrow, ArrowArrangement::AtBothEnds);
    EXPECT_EQ(corvid::arrowPosition(ScrollerLine::Decrement, apart, false), QPointF(1, 0));
    EXPECT_EQ(corvid::arrowPosition(ScrollerLine::Increment, apart, false), QPointF(184, 0));
    const auto grouped =
        corvid::scrollerParts(kHorizontal, kArrow, ArrowArrangement::GroupedAtFarEnd);
    EXPECT_EQ(corvid::arrowPosition(ScrollerLine::Decrement, grouped, false), QPointF(169, 0));
    EXPECT_EQ(corvid::arrowPosition(ScrollerLine::Increment, grouped, false), QPointF(184, 0));
}

TEST(SlotFill, UngroupedSlotFillsTheBoundsAcross) {
    const UISettings colors(-100);
    const auto vertical = corvid::slotFill(kVertical, false, kArrow, colors);
    EXPECT_EQ(vertical.rect, kVertical);
    EXPECT_EQ(vertical.start, colors.getClrScrollSlotGradStart());
    EXPECT_EQ(vertical.end, colors.getClrScrollSlotGradEnd());
    EXPECT_EQ(vertical.orientation, QuartzUtils::kAlongX);
    const auto horizontal = corvid::slotFill(kHorizontal, false, kArrow, colors);
    EXPECT_EQ(horizontal.rect, kHorizontal);
    EXPECT_EQ(horizontal.orientation, QuartzUtils::kAlongY);
}

TEST(SlotFill, GroupedArrowsShortenTheSlotByTwiceTheirSizeLessTwo) {
    const UISettings colors(-100);
    EXPECT_EQ(corvid::slotFill(kVertical, true, kArrow, colors).rect, QRectF(0, 0, 15, 172));
    EXPECT_EQ(corvid::slotFill(kHorizontal, true, kArrow, colors).rect, QRectF(0, 0, 172, 15));
}

TEST(SlotFill, SlotOfATooShortScrollerIsEmpty) {
    EXPECT_TRUE(corvid::slotFill(QRectF(0, 0, 15, 20), true, kArrow, UISettings(0)).rect.isEmpty());
}

TEST(KnobRectangle, KnobMovesFromOneEndOfTheTrackToTheOther) {
    const QRectF track(0, 16, 15, 168);
    EXPECT_EQ(corvid::knobRectangle(track, true, 0.0, 0.5), QRectF(1, 16, 13, 84));
    EXPECT_EQ(corvid::knobRectangle(track, true, 0.5, 0.5), QRectF(1, 58, 13, 84));
    EXPECT_EQ(corvid::knobRectangle(track, true, 1.0, 0.5), QRectF(1, 100, 13, 84));
    EXPECT_EQ(corvid::knobRectangle(QRectF(17, 0, 166, 15), false, 1.0, 0.5),
              QRectF(100, 1, 83, 13));
}

TEST(KnobRectangle, KnobOfAVeryLongDocumentCanBeGrasped) {
    EXPECT_EQ(corvid::knobRectangle(QRectF(0, 16, 15, 168), true, 1.0, 0.0001),
              QRectF(1, 164, 13, 20));
}

TEST(KnobRectangle, TrackTooShortForAKnobHasNone) {
    EXPECT_TRUE(corvid::knobRectangle(QRectF(0, 16, 15, 19), true, 0.0, 0.5).isEmpty());
    EXPECT_FALSE(corvid::knobRectangle(QRectF(0, 16, 15, 20), true, 0.0, 0.5).isEmpty());
}

TEST(KnobDrawing, FillIsRounderThanTheOutline) {
    const UISettings colors(-100);
    const QRectF knob(1, 20, 30, 60);
    const auto drawing = corvid::knobDrawing(knob, true, colors);
    EXPECT_EQ(drawing.fillShape, QuartzUtils::bezierPathWithRoundedRect(knob, 8));
    EXPECT_EQ(drawing.outline, QuartzUtils::bezierPathWithRoundedRect(knob, 4));
    EXPECT_EQ(drawing.outlineColor, colors.getClrScrollKnobOutline());
}

TEST(KnobDrawing, GradientRunsAcrossTheKnob) {
    const UISettings colors(-100);
    const auto vertical = corvid::knobDrawing(QRectF(1, 20, 13, 60), true, colors).fill;
    EXPECT_EQ(vertical.rect, QRectF(1, 20, 13, 60));
    EXPECT_EQ(vertical.start, colors.getClrScrollKnobGradStart());
    EXPECT_EQ(vertical.end, colors.getClrScrollKnobGradEnd());
    EXPECT_EQ(vertical.orientation, QuartzUtils::kAlongX);
    EXPECT_EQ(corvid::knobDrawing(QRectF(20, 1, 60, 13), false, colors).fill.orientation,
              QuartzUtils::kAlongY);
}
