#pragma once

#include <QProxyStyle>

class QStyleOptionButton;

namespace corvid {

// The look of the toolkit's own controls in the scheme: flat, with outlines that can be seen on
// every brightness. The button that Return presses is filled; the mouse doubles the outline of what
// it is over; the keyboard puts a ring where it is.
class SchemeStyle : public QProxyStyle {
    Q_OBJECT

public:
    SchemeStyle();

    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget = nullptr) const override;
    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget = nullptr) const override;
    void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                            QPainter* painter, const QWidget* widget = nullptr) const override;
    int styleHint(StyleHint hint, const QStyleOption* option = nullptr,
                  const QWidget* widget = nullptr,
                  QStyleHintReturn* returned = nullptr) const override;

private:
    void drawPushButton(const QStyleOptionButton& button, QPainter* painter,
                        const QWidget* widget) const;
};

} // namespace corvid
