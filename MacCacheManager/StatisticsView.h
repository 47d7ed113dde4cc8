#pragma once

#include <QWidget>

// The panel behind the statistics labels: a rounded box with a line between the title row and the
// figures.
class StatisticsView : public QWidget {
    Q_OBJECT

public:
    using QWidget::QWidget;

    // Once its labels are there: gives all of them the scheme's text colour and shows the panel.
    void awakeFromNib();

protected:
    void paintEvent(QPaintEvent* event) override;
};
