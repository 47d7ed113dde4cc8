#include "MacCacheManager/StatisticsView.h"

#include "MacCacheManager/UISettings.h"
#include "MacCacheManager/ViewGeometry.h"

#include <QPainter>

void StatisticsView::awakeFromNib() {
    const QColor textColor = UISettings::instance()->getClrTextStats();
    for (QWidget* label : findChildren<QWidget*>()) {
        QPalette palette = label->palette();
        palette.setColor(QPalette::WindowText, textColor);
        label->setPalette(palette);
    }
    show();
}

void StatisticsView::paintEvent(QPaintEvent* /*event*/) {
    const auto drawing = corvid::statisticsDrawing(rect(), *UISettings::instance());
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(drawing.boxShape, drawing.boxColor);
    painter.fillRect(drawing.separator, drawing.separatorColor);
}
