#include "MacCacheManager/views/ToolbarButton.h"

#include "MacCacheManager/Fonts.h"
#include "MacCacheManager/ImageResources.h"
#include "MacCacheManager/QuartzUtils.h"
#include "MacCacheManager/UISettings.h"
#include "MacCacheManager/views/StateColors.h"

#include <QFontMetrics>
#include <QPainter>

#include <algorithm>

namespace corvid {

namespace {

constexpr int kTitleSize = 11;
constexpr int kImageSize = 24;
constexpr int kPaddingX = 10;
constexpr int kPaddingTop = 5;
constexpr int kPaddingBottom = 4;
constexpr int kGap = 1;
constexpr int kNarrowest = 64;
constexpr float kPlateRadius = 5.0F;

} // namespace

ToolbarButton::ToolbarButton(QWidget* parent) : QToolButton(parent) {
    setFont(systemFontOfSize(kTitleSize));
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_Hover);
}

QSize ToolbarButton::sizeHint() const {
    const QFontMetrics metrics(font());
    const int title = metrics.horizontalAdvance(text()) + 2 * kPaddingX;
    return {std::max(title, kNarrowest),
            kPaddingTop + kImageSize + kGap + metrics.height() + kPaddingBottom};
}

QSize ToolbarButton::minimumSizeHint() const {
    return sizeHint();
}

void ToolbarButton::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    drawPlate(&painter);
    drawFace(&painter);
}

void ToolbarButton::drawPlate(QPainter* painter) const {
    const UISettings& colors = *UISettings::instance();
    const QColor mark = stateColor(
        {colors.getClrFillToolbar(), colors.getClrHeaderGradStart(), colors.getClrHeaderGradEnd()},
        palette().color(QPalette::Active, QPalette::ButtonText));
    const QRectF plate = QRectF(rect()).adjusted(1.5, 1.5, -1.5, -1.5);
    const QPainterPath shape = QuartzUtils::bezierPathWithRoundedRect(plate, kPlateRadius);
    const bool pressed = isDown() || isChecked();
    if (pressed) {
        painter->fillPath(shape, colors.getClrScrollSlotGradStart());
    } else if (isEnabled() && underMouse()) {
        painter->fillPath(shape, QuartzUtils::axialGradient(plate, colors.getClrHeaderGradStart(),
                                                            colors.getClrHeaderGradEnd(),
                                                            QuartzUtils::kAlongY));
    }
    if (pressed || (isEnabled() && underMouse())) {
        painter->strokePath(shape, QPen(mark, 1.0));
    }
    if (hasFocus()) {
        constexpr qreal kRingWidth = 2.0;
        constexpr qreal kOnPixels = 0.5;
        const QRectF ring = plate.adjusted(-kOnPixels, -kOnPixels, kOnPixels, kOnPixels);
        painter->strokePath(QuartzUtils::bezierPathWithRoundedRect(ring, kPlateRadius),
                            QPen(mark, kRingWidth));
    }
}

void ToolbarButton::drawFace(QPainter* painter) const {
    constexpr qreal kFaded = 0.4;
    const QColor color = palette().color(QPalette::Active, QPalette::ButtonText);
    const int left = (width() - kImageSize) / 2;
    painter->setOpacity(isEnabled() ? 1.0 : kFaded);
    drawShape(painter, QPointF(left, kPaddingTop), icon(), color);
    painter->setOpacity(1.0);
    const QColor toolbar = UISettings::instance()->getClrFillToolbar();
    painter->setPen(isEnabled() ? color : stateColor({toolbar}, color));
    painter->drawText(rect().adjusted(0, kPaddingTop + kImageSize + kGap, 0, -kPaddingBottom),
                      static_cast<int>(Qt::AlignHCenter | Qt::AlignTop) | Qt::TextHideMnemonic,
                      text());
}

} // namespace corvid
