#include "MacCacheManager/QuartzUtils.h"

#include <QBrush>
#include <QColor>
#include <QPainter>

#include <algorithm>

namespace {

QColor opaque(QColor color) {
    color.setAlphaF(1.0F);
    return color;
}

} // namespace

void QuartzUtils::gradientFillRectangle(QPainter* painter, const QRectF& rect,
                                        const QColor& startColor, const QColor& endColor,
                                        int orientation) {
    if (orientation != kAlongY && orientation != kAlongX) {
        return;
    }
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing, false);
    painter->fillRect(rect, QBrush(axialGradient(rect, startColor, endColor, orientation)));
    painter->restore();
}

QLinearGradient QuartzUtils::axialGradient(const QRectF& rect, const QColor& startColor,
                                           const QColor& endColor, int orientation) {
    const QPointF end = orientation == kAlongX ? rect.topRight() : rect.bottomLeft();
    QLinearGradient gradient(rect.topLeft(), end);
    gradient.setColorAt(0.0, opaque(startColor));
    gradient.setColorAt(1.0, opaque(endColor));
    return gradient;
}

QPainterPath QuartzUtils::bezierPathWithRoundedRect(const QRectF& rect, float radius) {
    const qreal largest = std::min(rect.width(), rect.height()) / 2.0;
    const qreal limited = std::clamp(static_cast<qreal>(radius), 0.0, std::max(largest, 0.0));
    QPainterPath path;
    if (limited > 0.0) {
        path.addRoundedRect(rect, limited, limited);
    } else {
        path.addRect(rect);
    }
    return path;
}
