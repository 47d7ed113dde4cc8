#pragma once

#include <QWidget>

// The corner above the vertical scroller, beside the header: it looks like an empty header cell. It
// keeps the height it is made with and takes the width it is given.
class DarkCornerView : public QWidget {
    Q_OBJECT

public:
    explicit DarkCornerView(int height, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
};
