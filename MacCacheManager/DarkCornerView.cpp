#include "MacCacheManager/DarkCornerView.h"

#include "MacCacheManager/DarkHeaderCell.h"

#include <QPainter>

DarkCornerView::DarkCornerView(int height, QWidget* parent) : QWidget(parent) {
    setFixedHeight(height);
}

void DarkCornerView::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    DarkHeaderCell().drawWithFrame(&painter, rect());
}
