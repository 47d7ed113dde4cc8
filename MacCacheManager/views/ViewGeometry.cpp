#include "MacCacheManager/views/ViewGeometry.h"

#include "MacCacheManager/QuartzUtils.h"

#include <algorithm>

namespace corvid {

namespace {

constexpr qreal kShortestKnob = 20.0;
constexpr qreal kKnobSideMargin = 1.0;

int acrossScroller(bool vertical) {
    return vertical ? QuartzUtils::kAlongX : QuartzUtils::kAlongY;
}

// A stretch of a scroller, measured along it.
struct Stretch {
    qreal start;
    qreal length;
};

QRectF stretchOf(const QRectF& bounds, bool vertical, Stretch stretch) {
    return vertical
               ? QRectF(bounds.x(), bounds.y() + stretch.start, bounds.width(), stretch.length)
               : QRectF(bounds.x() + stretch.start, bounds.y(), stretch.length, bounds.height());
}

} // namespace

std::array<QRectF, 4> RectangleStroke::sides() const {
    const qreal left = rect.left() - 1.0;
    const qreal top = rect.top() - 1.0;
    const qreal right = rect.right() - 1.0;
    const qreal bottom = rect.bottom() - 1.0;
    return {QRectF(left, top, 1.0, rect.height() + 1.0), QRectF(left, top, rect.width() + 1.0, 1.0),
            QRectF(right, top, 1.0, rect.height() + 1.0),
            QRectF(left, bottom, rect.width() + 1.0, 1.0)};
}

HeaderCellDrawing headerCellDrawing(const QRectF& frame, const UISettings& colors) {
    constexpr qreal kTitleInsetX = 9.0;
    constexpr qreal kTitleInsetY = 2.0;
    return {
        {frame, colors.getClrHeaderGradStart(), colors.getClrHeaderGradEnd(), QuartzUtils::kAlongY},
        {frame.adjusted(1.0, 2.0, 0.0, 0.0), colors.getClrHeaderOutlineHighlight()},
        {frame.adjusted(0.0, 1.0, 0.0, 0.0), colors.getClrHeaderOutlineShadow()},
        frame.adjusted(kTitleInsetX, kTitleInsetY, -kTitleInsetX, -kTitleInsetY)};
}

QRectF selectedRowRectangle(const QRectF& row) {
    return row.adjusted(0.0, 1.0, 0.0, 0.0);
}

StatisticsDrawing statisticsDrawing(const QRectF& bounds, const UISettings& colors,
                                    qreal titleHeight) {
    constexpr qreal kInsetX = 20.0;
    constexpr qreal kInsetY = 5.0;
    constexpr float kRadius = 5.0F;
    constexpr qreal kUsualTitleHeight = 22.0;
    const QRectF box = bounds.adjusted(kInsetX, kInsetY, -kInsetX, -kInsetY);
    return {
        box, QuartzUtils::bezierPathWithRoundedRect(box, kRadius), colors.getClrFillSecondary(),
        QRectF(box.left(), box.top() + std::max(titleHeight, kUsualTitleHeight), box.width(), 1.0),
        colors.getClrFillPrimary()};
}

bool isVerticalScroller(const QSizeF& bounds) {
    return bounds.width() < bounds.height();
}

ScrollerParts scrollerParts(const QRectF& bounds, const QSizeF& arrow,
                            ArrowArrangement arrangement) {
    const bool vertical = isVerticalScroller(bounds.size());
    const qreal length = vertical ? bounds.height() : bounds.width();
    const qreal image = vertical ? arrow.height() : arrow.width();
    // The image stands one pixel into its part; the horizontal ones keep a pixel on both sides.
    const qreal part = std::min(image + (vertical ? 1.0 : 2.0), length / 2.0);
    const Stretch increment{length - part, part};
    const bool grouped = arrangement == ArrowArrangement::GroupedAtFarEnd;
    const Stretch decrement =
        grouped ? Stretch{std::max(increment.start - image, 0.0), std::min(image, increment.start)}
                : Stretch{0.0, part};
    const Stretch track =
        grouped ? Stretch{0.0, decrement.start} : Stretch{part, increment.start - part};
    return {stretchOf(bounds, vertical, decrement), stretchOf(bounds, vertical, increment),
            stretchOf(bounds, vertical, track)};
}

QRectF knobRectangle(const QRectF& track, bool vertical, double position, double visible) {
    const qreal length = vertical ? track.height() : track.width();
    if (length < kShortestKnob) {
        return {};
    }
    const qreal knob = std::clamp(visible * length, kShortestKnob, length);
    const QRectF whole = stretchOf(track, vertical, {position * (length - knob), knob});
    return vertical ? whole.adjusted(kKnobSideMargin, 0.0, -kKnobSideMargin, 0.0)
                    : whole.adjusted(0.0, kKnobSideMargin, 0.0, -kKnobSideMargin);
}

bool areArrowsGrouped(const QRectF& decrementLine, bool vertical) {
    return (vertical ? decrementLine.y() : decrementLine.x()) > 1.0;
}

QPointF arrowPosition(ScrollerLine line, const ScrollerParts& parts, bool vertical) {
    const bool increment = line == ScrollerLine::Increment;
    const QPointF origin = (increment ? parts.incrementLine : parts.decrementLine).topLeft();
    if (!vertical) {
        return origin + QPointF(1.0, 0.0);
    }
    const bool atNearEnd = !increment && !areArrowsGrouped(parts.decrementLine, vertical);
    return origin + QPointF(0.0, atNearEnd ? 0.0 : 1.0);
}

GradientFill slotFill(const QRectF& bounds, bool grouped, const QSizeF& arrow,
                      const UISettings& colors) {
    const bool vertical = isVerticalScroller(bounds.size());
    constexpr qreal kReachBelowArrows = 2.0;
    const qreal image = vertical ? arrow.height() : arrow.width();
    const qreal length = vertical ? bounds.height() : bounds.width();
    const qreal lost = grouped ? 2.0 * image - kReachBelowArrows : 0.0;
    const QRectF slot = stretchOf(bounds, vertical, {0.0, std::max(length - lost, 0.0)});
    return {slot, colors.getClrScrollSlotGradStart(), colors.getClrScrollSlotGradEnd(),
            acrossScroller(vertical)};
}

KnobDrawing knobDrawing(const QRectF& knob, bool vertical, const UISettings& colors) {
    constexpr float kFillRadius = 8.0F;
    constexpr float kOutlineRadius = 4.0F;
    return {{knob, colors.getClrScrollKnobGradStart(), colors.getClrScrollKnobGradEnd(),
             acrossScroller(vertical)},
            QuartzUtils::bezierPathWithRoundedRect(knob, kFillRadius),
            QuartzUtils::bezierPathWithRoundedRect(knob, kOutlineRadius),
            colors.getClrScrollKnobOutline()};
}

} // namespace corvid
