#include "MacCacheManager/DarkHeaderCell.h"

#include "MacCacheManager/Fonts.h"
#include "MacCacheManager/QuartzUtils.h"
#include "MacCacheManager/UISettings.h"
#include "MacCacheManager/views/ViewGeometry.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPainter>

#include <utility>

namespace {

void stroke(QPainter* painter, const corvid::RectangleStroke& stroke) {
    for (const QRectF& side : stroke.sides()) {
        painter->fillRect(side, stroke.color);
    }
}

} // namespace

DarkHeaderCell::DarkHeaderCell(QString title) : m_strTitle(std::move(title)) {}

void DarkHeaderCell::drawWithFrame(QPainter* painter, const QRectF& frame) const {
    const UISettings& colors = *UISettings::instance();
    const corvid::HeaderCellDrawing drawing = corvid::headerCellDrawing(frame, colors);
    const auto& background = drawing.background;
    painter->save();
    painter->setClipRect(frame, Qt::IntersectClip);
    QuartzUtils::gradientFillRectangle(painter, background.rect, background.start, background.end,
                                       background.orientation);
    painter->setRenderHint(QPainter::Antialiasing, false);
    stroke(painter, drawing.highlight);
    stroke(painter, drawing.shadow);
    painter->setFont(titleFont());
    painter->setPen(colors.getClrTextTableHeader());
    const QFontMetricsF metrics(painter->font());
    painter->drawText(drawing.title, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                      metrics.elidedText(m_strTitle, Qt::ElideRight, drawing.title.width()));
    painter->restore();
}

// Asked for once: the answer takes the system longer than drawing the title.
QFont DarkHeaderCell::titleFont() {
    static const QFont font = [] {
        constexpr int kSize = 9;
        QFont title = QFontDatabase::systemFont(QFontDatabase::TitleFont);
        title.setPixelSize(qRound(kSize * corvid::systemFontGrowth()));
        return title;
    }();
    return font;
}
