#pragma once

#include <QLinearGradient>
#include <QPainterPath>
#include <QRectF>

class QColor;
class QPainter;

// The two drawing utilities that the views share: a two-colour gradient and a rounded rectangle.
//
// How y is turned over: everything is drawn in Qt's coordinates, where y grows downwards. The views
// that are laid out from the top (header, corner, table, scroller) count y the same way, so for
// them the edge of lowest y is the top. The toolbar and the statistics panel are laid out from the
// bottom: what is measured there from the edge of highest y is measured here from the top.
class QuartzUtils {
public:
    // The orientations: the start colour at the lowest y, or at the lowest x.
    static constexpr int kAlongY = 0;
    static constexpr int kAlongX = 1;

    // Fills the rectangle without anti-aliasing, from the start colour on its first edge to the end
    // colour on the opposite one, each component linear. Alpha is ignored: the fill is always
    // opaque. Draws nothing for another orientation; the painter's state is as before.
    static void gradientFillRectangle(QPainter* painter, const QRectF& rect,
                                      const QColor& startColor, const QColor& endColor,
                                      int orientation);

    // The gradient of that fill, for shapes other than a rectangle; kAlongY or kAlongX only.
    static QLinearGradient axialGradient(const QRectF& rect, const QColor& startColor,
                                         const QColor& endColor, int orientation);

    // A closed path whose corners are quarter circles of the radius, limited to half the shorter
    // side; the plain rectangle for a radius of 0 or less.
    static QPainterPath bezierPathWithRoundedRect(const QRectF& rect, float radius);
};
