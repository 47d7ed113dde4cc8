#include "MacCacheManager/StatisticsView.h"

#include "MacCacheManager/UISettings.h"
#include "MacCacheManager/views/ViewGeometry.h"

#include <QGridLayout>
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
    // The row grows with the system's font.
    const auto* grid = qobject_cast<const QGridLayout*>(layout());
    const qreal titleHeight = grid != nullptr ? grid->cellRect(0, 0).height() : 0.0;
    const auto drawing = corvid::statisticsDrawing(rect(), *UISettings::instance(), titleHeight);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(drawing.boxShape, drawing.boxColor);
    painter.fillRect(drawing.separator, drawing.separatorColor);
}
