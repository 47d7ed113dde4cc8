#pragma once

#include <QWidget>

// The strip with the window's four commands.
class ToolbarView : public QWidget {
    Q_OBJECT

public:
    using QWidget::QWidget;

    // Once its buttons are there: gives each the image that goes with its name, and its title the
    // scheme's text colour. A button that is missing is left out.
    void awakeFromNib();

protected:
    void paintEvent(QPaintEvent* event) override;
};
