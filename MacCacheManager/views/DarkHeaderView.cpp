#include "MacCacheManager/views/DarkHeaderView.h"

#include "MacCacheManager/DarkHeaderCell.h"

#include <QFontMetrics>
#include <QPainter>

#include <algorithm>

namespace corvid {

DarkHeaderView::DarkHeaderView(Qt::Orientation orientation, QWidget* parent)
    : QHeaderView(orientation, parent) {
    setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    setHighlightSections(false);
}

void DarkHeaderView::paintEvent(QPaintEvent* event) {
    QHeaderView::paintEvent(event);
    const int end = length() - offset();
    if (end < viewport()->width()) {
        QPainter painter(viewport());
        DarkHeaderCell().drawWithFrame(&painter, viewport()->rect().adjusted(end, 0, 0, 0));
    }
}

void DarkHeaderView::paintSection(QPainter* painter, const QRect& rect, int logicalIndex) const {
    DarkHeaderCell(titleOf(logicalIndex)).drawWithFrame(painter, rect);
}

QSize DarkHeaderView::sectionSizeFromContents(int logicalIndex) const {
    constexpr int kTitleInsetX = 9;
    constexpr int kTitleInsetY = 2;
    constexpr int kLowest = 19;
    const QFontMetrics metrics(DarkHeaderCell::titleFont());
    return {metrics.horizontalAdvance(titleOf(logicalIndex)) + 2 * kTitleInsetX,
            std::max(metrics.height() + 2 * kTitleInsetY, kLowest)};
}

QString DarkHeaderView::titleOf(int logicalIndex) const {
    return model()->headerData(logicalIndex, orientation(), Qt::DisplayRole).toString();
}

} // namespace corvid
