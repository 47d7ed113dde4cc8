#include "MacCacheManager/AEScroller.h"

#include "MacCacheManager/ImageResources.h"
#include "MacCacheManager/QuartzUtils.h"

#include <QPainter>
#include <QProxyStyle>
#include <QStyleOptionSlider>

using corvid::ArrowArrangement;
using corvid::ScrollerLine;
using corvid::ScrollerParts;

namespace {

// Tells the scroll bar's own mouse handling where the drawn parts are.
class ScrollerStyle : public QProxyStyle {
public:
    ScrollerStyle() : QProxyStyle(QStringLiteral("fusion")) {}

    int pixelMetric(PixelMetric metric, const QStyleOption* option,
                    const QWidget* widget) const override {
        constexpr int kThickness = 15;
        return metric == PM_ScrollBarExtent ? kThickness
                                            : QProxyStyle::pixelMetric(metric, option, widget);
    }

    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* returnData) const override {
        return hint == SH_ScrollBar_Transient
                   ? 0
                   : QProxyStyle::styleHint(hint, option, widget, returnData);
    }

    QRect subControlRect(ComplexControl control, const QStyleOptionComplex* option,
                         SubControl subControl, const QWidget* widget) const override {
        const auto* scroller = qobject_cast<const AEScroller*>(widget);
        if (control != CC_ScrollBar || scroller == nullptr) {
            return QProxyStyle::subControlRect(control, option, subControl, widget);
        }
        return partOf(*scroller, subControl).toRect();
    }

private:
    static QRectF partOf(const AEScroller& scroller, SubControl subControl) {
        const ScrollerParts parts = scroller.parts();
        switch (subControl) {
        case SC_ScrollBarSubLine:
            return parts.decrementLine;
        case SC_ScrollBarAddLine:
            return parts.incrementLine;
        case SC_ScrollBarSlider:
            return scroller.knobPart();
        case SC_ScrollBarSubPage:
            return pageBeforeKnob(scroller);
        case SC_ScrollBarAddPage:
            return pageAfterKnob(scroller);
        case SC_ScrollBarGroove:
            return parts.track;
        default:
            return {};
        }
    }

    // The pages take the track's whole breadth, also beside the narrower knob's ends.
    static QRectF pageBeforeKnob(const AEScroller& scroller) {
        const QRectF knob = scroller.knobPart();
        QRectF page = scroller.parts().track;
        if (scroller.isVerticalScroller()) {
            page.setBottom(knob.top());
        } else {
            page.setRight(knob.left());
        }
        return page;
    }

    static QRectF pageAfterKnob(const AEScroller& scroller) {
        const QRectF knob = scroller.knobPart();
        QRectF page = scroller.parts().track;
        if (scroller.isVerticalScroller()) {
            page.setTop(knob.bottom());
        } else {
            page.setLeft(knob.right());
        }
        return page;
    }
};

} // namespace

AEScroller::AEScroller(Qt::Orientation orientation, QWidget* parent)
    : QScrollBar(orientation, parent),
      imgOfDownArrow(corvid::imageNamed(QStringLiteral("scrollarrow_dn"))),
      imgOfUpArrow(corvid::imageNamed(QStringLiteral("scrollarrow_up"))),
      imgOfLeftArrow(corvid::imageNamed(QStringLiteral("scrollarrow_lt"))),
      imgOfRightArrow(corvid::imageNamed(QStringLiteral("scrollarrow_rt"))) {
    auto* style = new ScrollerStyle;
    style->setParent(this);
    setStyle(style);
    // What lies behind shows through beside grouped arrows.
    setAttribute(Qt::WA_OpaquePaintEvent, false);
}

void AEScroller::setArrowArrangement(ArrowArrangement arrangement) {
    m_arrangement = arrangement;
    update();
}

bool AEScroller::isVerticalScroller() const {
    return corvid::isVerticalScroller(size());
}

bool AEScroller::areArrowsGrouped() const {
    return corvid::areArrowsGrouped(parts().decrementLine, isVerticalScroller());
}

ScrollerParts AEScroller::parts() const {
    return corvid::scrollerParts(rect(), arrowSize(), m_arrangement);
}

QRectF AEScroller::knobPart() const {
    const double range = static_cast<double>(maximum()) - minimum();
    if (range <= 0.0) {
        return {};
    }
    const double position = (static_cast<double>(sliderPosition()) - minimum()) / range;
    const QRectF knob = corvid::knobRectangle(parts().track, isVerticalScroller(), position,
                                              pageStep() / (range + pageStep()));
    return knob.toRect();
}

void AEScroller::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    drawKnobSlot(&painter);
    drawArrow(&painter, ScrollerLine::Decrement);
    drawArrow(&painter, ScrollerLine::Increment);
    drawKnob(&painter);
}

void AEScroller::drawKnobSlot(QPainter* painter) const {
    const auto slot =
        corvid::slotFill(rect(), areArrowsGrouped(), arrowSize(), *UISettings::instance());
    QuartzUtils::gradientFillRectangle(painter, slot.rect, slot.start, slot.end, slot.orientation);
}

void AEScroller::drawArrow(QPainter* painter, ScrollerLine line) const {
    const bool vertical = isVerticalScroller();
    const bool increment = line == ScrollerLine::Increment;
    const QIcon& backward = vertical ? imgOfUpArrow : imgOfLeftArrow;
    const QIcon& forward = vertical ? imgOfDownArrow : imgOfRightArrow;
    corvid::drawImage(painter, corvid::arrowPosition(line, parts(), vertical),
                      increment ? forward : backward);
}

void AEScroller::drawKnob(QPainter* painter) const {
    const QRectF rect = knobPart();
    if (rect.isEmpty()) {
        return;
    }
    const auto knob = corvid::knobDrawing(rect, isVerticalScroller(), *UISettings::instance());
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->fillPath(knob.fillShape,
                      QuartzUtils::axialGradient(knob.fill.rect, knob.fill.start, knob.fill.end,
                                                 knob.fill.orientation));
    painter->setClipRect(rect);
    painter->strokePath(knob.outline, QPen(knob.outlineColor, 1.0));
    painter->restore();
}

// All four images are of one size.
QSizeF AEScroller::arrowSize() const {
    return corvid::imageSize(imgOfDownArrow);
}
