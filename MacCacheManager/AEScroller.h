#pragma once

#include "MacCacheManager/views/ViewGeometry.h"

#include <QIcon>
#include <QScrollBar>

class QStyleOptionSlider;

// A scroller with a gradient slot and knob and an arrow image for either direction. The arrows
// stand at both ends unless they are grouped at the far end. Arrows look the same pressed or not.
class AEScroller : public QScrollBar {
    Q_OBJECT

public:
    // Scrolls one line at a click on an arrow. A missing arrow image leaves that arrow undrawn.
    explicit AEScroller(Qt::Orientation orientation, QWidget* parent = nullptr);

    void setArrowArrangement(corvid::ArrowArrangement arrangement);
    corvid::ArrowArrangement arrowArrangement() const { return m_arrangement; }

    // True when the bounds are narrower than they are high.
    bool isVerticalScroller() const;
    // True when the decrement line does not begin at the scroller's near end.
    bool areArrowsGrouped() const;
    // The rectangles of both lines and of the knob's track, in the scroller's coordinates.
    corvid::ScrollerParts parts() const;
    // The knob's rectangle; empty when there is nothing to scroll.
    QRectF knobPart() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void drawKnobSlot(QPainter* painter) const;
    void drawArrow(QPainter* painter, corvid::ScrollerLine line) const;
    void drawKnob(QPainter* painter) const;
    QSizeF arrowSize() const;

    QIcon imgOfDownArrow;
    QIcon imgOfUpArrow;
    QIcon imgOfLeftArrow;
    QIcon imgOfRightArrow;
    corvid::ArrowArrangement m_arrangement = corvid::ArrowArrangement::AtBothEnds;
};
