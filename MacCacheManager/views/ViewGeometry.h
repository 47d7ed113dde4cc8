#pragma once

// What each custom view draws, as plain values: rectangles, gradients, paths and lines in the
// view's own coordinates (logical pixels, y downwards). The views only paint what is computed here.

#include "MacCacheManager/UISettings.h"

#include <QColor>
#include <QPainterPath>
#include <QPointF>
#include <QRectF>
#include <QSizeF>

#include <array>

namespace corvid {

struct GradientFill {
    QRectF rect;
    QColor start;
    QColor end;
    int orientation; // QuartzUtils::kAlongY or kAlongX
};

// A rectangle's outline, one pixel wide and without anti-aliasing.
struct RectangleStroke {
    QRectF rect;
    QColor color;

    // The pixels that the stroke covers: left, top, right and bottom side. A line along an edge
    // takes the pixel before it, so that the right and bottom sides stay inside the cell.
    std::array<QRectF, 4> sides() const;
};

struct HeaderCellDrawing {
    GradientFill background;
    // Painted in this order: where both meet, the shadow wins.
    RectangleStroke highlight;
    RectangleStroke shadow;
    QRectF title;
};
HeaderCellDrawing headerCellDrawing(const QRectF& frame, const UISettings& colors);

// The part of a row that the selection colour fills: all but the row's first line.
QRectF selectedRowRectangle(const QRectF& row);

struct StatisticsDrawing {
    QRectF box;
    QPainterPath boxShape;
    QColor boxColor;
    // One pixel high, between the title row and the figures below.
    QRectF separator;
    QColor separatorColor;
};
// The title row's height is at least the usual one.
StatisticsDrawing statisticsDrawing(const QRectF& bounds, const UISettings& colors,
                                    qreal titleHeight = 0.0);

enum class ArrowArrangement { AtBothEnds, GroupedAtFarEnd };
enum class ScrollerLine { Decrement, Increment };

// True for bounds narrower than high; a square counts as horizontal.
bool isVerticalScroller(const QSizeF& bounds);

struct ScrollerParts {
    QRectF decrementLine;
    QRectF incrementLine;
    // Where the knob moves.
    QRectF track;
};
// Divides the bounds among the arrows, whose images all have size `arrow`, and the knob's track.
// Bounds too short for both arrows are shared between them and leave an empty track.
ScrollerParts scrollerParts(const QRectF& bounds, const QSizeF& arrow,
                            ArrowArrangement arrangement);

// The knob at `position` (0 first, 1 last) showing `visible` of the whole (0 to 1); at least as
// long as can be grasped and never longer than the track. Empty in a track too short for a knob.
QRectF knobRectangle(const QRectF& track, bool vertical, double position, double visible);

// Whether the arrows stand together at the far end, told from where the decrement line begins.
bool areArrowsGrouped(const QRectF& decrementLine, bool vertical);

// The upper left corner of the arrow image in its part.
QPointF arrowPosition(ScrollerLine line, const ScrollerParts& parts, bool vertical);

// The slot fills the whole bounds; grouped arrows take their place from its far end, less the two
// pixels by which it reaches below them.
GradientFill slotFill(const QRectF& bounds, bool grouped, const QSizeF& arrow,
                      const UISettings& colors);

struct KnobDrawing {
    GradientFill fill;
    QPainterPath fillShape;
    // Stroked one pixel wide, clipped to the knob's rectangle.
    QPainterPath outline;
    QColor outlineColor;
};
KnobDrawing knobDrawing(const QRectF& knob, bool vertical, const UISettings& colors);

} // namespace corvid
