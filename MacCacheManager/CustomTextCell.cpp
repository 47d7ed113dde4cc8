#include "MacCacheManager/CustomTextCell.h"

#include "MacCacheManager/UISettings.h"

#include <QFontMetricsF>
#include <QPainter>

void CustomTextCell::paint(QPainter* painter, const QStyleOptionViewItem& option,
                           const QModelIndex& index) const {
    QStyleOptionViewItem cell = option;
    initStyleOption(&cell, index);
    painter->save();
    painter->setFont(cell.font);
    drawWithFrame(painter, cell.rect, cell.text, cell.displayAlignment);
    painter->restore();
}

void CustomTextCell::drawWithFrame(QPainter* painter, const QRectF& frame, const QString& text,
                                   Qt::Alignment alignment) {
    QString line = text;
    line.replace(QLatin1Char('\n'), QLatin1Char(' '))
        .replace(QChar::LineSeparator, QLatin1Char(' '));
    const QFontMetricsF metrics(painter->font(), painter->device());
    painter->setPen(UISettings::instance()->getClrTextOutlineView());
    painter->drawText(frame, static_cast<int>(alignment) | Qt::TextSingleLine,
                      metrics.elidedText(line, Qt::ElideMiddle, frame.width()));
}
