#include "MacCacheManager/ToolbarButton.h"

#include "MacCacheManager/Fonts.h"
#include "MacCacheManager/ImageResources.h"
#include "MacCacheManager/QuartzUtils.h"
#include "MacCacheManager/UISettings.h"

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
        painter->strokePath(shape, QPen(colors.getClrHeaderOutlineShadow(), 1.0));
    }
    if (hasFocus()) {
        constexpr qreal kRingWidth = 1.5;
        painter->strokePath(shape, QPen(palette().color(QPalette::ButtonText), kRingWidth));
    }
}

void ToolbarButton::drawFace(QPainter* painter) const {
    constexpr qreal kFaded = 0.4;
    const QColor color = palette().color(QPalette::Active, QPalette::ButtonText);
    painter->setOpacity(isEnabled() ? 1.0 : kFaded);
    const int left = (width() - kImageSize) / 2;
    drawShape(painter, QPointF(left, kPaddingTop), icon(), color);
    painter->setPen(color);
    painter->drawText(rect().adjusted(0, kPaddingTop + kImageSize + kGap, 0, -kPaddingBottom),
                      static_cast<int>(Qt::AlignHCenter | Qt::AlignTop) | Qt::TextHideMnemonic,
                      text());
}

} // namespace corvid
