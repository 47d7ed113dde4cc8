#pragma once

#include <QToolButton>

namespace corvid {

// A flat toolbar button, its image above its title, both in the palette's button text colour. The
// mouse raises and outlines it, pressing sinks it, the keyboard focus puts a ring around it, and
// disabled it fades, its title no further than it can be read.
class ToolbarButton : public QToolButton {
    Q_OBJECT

public:
    explicit ToolbarButton(QWidget* parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void drawPlate(QPainter* painter) const;
    void drawFace(QPainter* painter) const;
};

} // namespace corvid
