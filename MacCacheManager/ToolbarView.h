#pragma once

#include <QWidget>

class QAbstractButton;

// The strip with the window's four commands.
class ToolbarView : public QWidget {
    Q_OBJECT

public:
    using QWidget::QWidget;

    // Once its buttons are there: finds them by their names, gives each its image and its title the
    // scheme's text colour. A button that is missing is left out.
    void awakeFromNib();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QAbstractButton* m_btnDelete = nullptr;
    QAbstractButton* m_btnRefresh = nullptr;
    QAbstractButton* m_btnFinder = nullptr;
    QAbstractButton* m_btnSettings = nullptr;
};
