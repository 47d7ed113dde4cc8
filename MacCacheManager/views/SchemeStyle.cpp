#include "MacCacheManager/views/SchemeStyle.h"

#include "MacCacheManager/views/StateColors.h"

#include <QPainter>
#include <QPainterPath>
#include <QStyleOption>
#include <QToolButton>

namespace corvid {

namespace {

constexpr qreal kCornerRadius = 3.0;
constexpr int kRingInset = 3; // of a button's ring, from its edge

bool isOn(const QStyleOption& option, QStyle::StateFlag state) {
    return option.state.testFlag(state);
}

bool isHovered(const QStyleOption& option) {
    return isOn(option, QStyle::State_Enabled) && isOn(option, QStyle::State_MouseOver);
}

// What surrounds a control, and so ends it for the eye.
QColor outlineColor(const QPalette& palette) {
    return stateColor({palette.color(QPalette::Window), palette.color(QPalette::Base),
                       palette.color(QPalette::Button)},
                      palette.color(QPalette::WindowText));
}

QColor ringColor(const QPalette& palette) {
    return palette.color(QPalette::Active, QPalette::WindowText);
}

// A line along the inside of a rounded rectangle's edge.
void strokeInside(QPainter* painter, const QRectF& rect, const QColor& color, qreal width) {
    const qreal half = width / 2;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(QPen(color, width));
    painter->setBrush(Qt::NoBrush);
    painter->drawRoundedRect(rect.adjusted(half, half, -half, -half), kCornerRadius - half,
                             kCornerRadius - half);
    painter->restore();
}

void fillRounded(QPainter* painter, const QRectF& rect, const QBrush& brush) {
    QPainterPath shape;
    shape.addRoundedRect(rect, kCornerRadius, kCornerRadius);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->fillPath(shape, brush);
    painter->restore();
}

bool isDefault(const QStyleOption& option) {
    const auto* button = qstyleoption_cast<const QStyleOptionButton*>(&option);
    return button != nullptr && isOn(option, QStyle::State_Enabled) &&
           button->features.testFlag(QStyleOptionButton::DefaultButton);
}

// The text on a button's plate, and the marks within it.
QColor plateTextColor(const QStyleOption& option) {
    return option.palette.color(isDefault(option) ? QPalette::HighlightedText
                                                  : QPalette::ButtonText);
}

void drawRing(QPainter* painter, const QRectF& rect, const QPalette& palette) {
    strokeInside(painter, rect, ringColor(palette), 2);
}

void drawPlate(QPainter* painter, const QStyleOption& option) {
    const bool isPressed = isOn(option, QStyle::State_Sunken) || isOn(option, QStyle::State_On);
    const bool isAnswering = isPressed || isHovered(option);
    if (!isDefault(option)) {
        fillRounded(painter, option.rect,
                    option.palette.color(isPressed ? QPalette::Base : QPalette::Button));
        strokeInside(painter, option.rect, outlineColor(option.palette), isAnswering ? 2 : 1);
        return;
    }
    fillRounded(painter, option.rect, option.palette.color(QPalette::Highlight));
    if (isAnswering) {
        strokeInside(painter, option.rect.adjusted(1, 1, -1, -1), plateTextColor(option), 1);
    }
}

void drawCheckBox(QPainter* painter, const QStyleOption& option) {
    const QPalette& palette = option.palette;
    fillRounded(painter, option.rect, palette.color(QPalette::Base));
    strokeInside(painter, option.rect, outlineColor(palette), isHovered(option) ? 2 : 1);
    const QRectF box = option.rect;
    QPainterPath mark;
    if (isOn(option, QStyle::State_On)) {
        mark.moveTo(box.left() + box.width() * 0.25, box.top() + box.height() * 0.52);
        mark.lineTo(box.left() + box.width() * 0.43, box.top() + box.height() * 0.70);
        mark.lineTo(box.left() + box.width() * 0.76, box.top() + box.height() * 0.29);
    } else if (isOn(option, QStyle::State_NoChange)) {
        mark.moveTo(box.left() + box.width() * 0.28, box.center().y());
        mark.lineTo(box.left() + box.width() * 0.72, box.center().y());
    }
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->strokePath(
        mark, QPen(palette.color(QPalette::Text), 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter->restore();
}

// Filled, in the middle of the rectangle.
void drawArrow(QPainter* painter, QStyle::PrimitiveElement arrow, const QRectF& rect,
               const QColor& color) {
    constexpr qreal kBreadth = 7.0;
    constexpr qreal kLength = 4.0;
    constexpr qreal kQuarter = 90.0;
    const int quarters = arrow == QStyle::PE_IndicatorArrowDown   ? 0
                         : arrow == QStyle::PE_IndicatorArrowLeft ? 1
                         : arrow == QStyle::PE_IndicatorArrowUp   ? 2
                                                                  : 3;
    QPainterPath shape(QPointF(-kBreadth / 2, -kLength / 2));
    shape.lineTo(kBreadth / 2, -kLength / 2);
    shape.lineTo(0, kLength / 2);
    shape.closeSubpath();
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->translate(rect.center());
    painter->rotate(kQuarter * quarters);
    painter->fillPath(shape, color);
    painter->restore();
}

} // namespace

SchemeStyle::SchemeStyle() : QProxyStyle(QStringLiteral("Fusion")) {}

void SchemeStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option,
                                QPainter* painter, const QWidget* widget) const {
    switch (element) {
    case PE_FrameLineEdit:
        if (isOn(*option, State_HasFocus)) {
            drawRing(painter, option->rect, option->palette);
        } else {
            strokeInside(painter, option->rect, outlineColor(option->palette), 1);
        }
        break;
    case PE_IndicatorCheckBox:
        drawCheckBox(painter, *option);
        break;
    case PE_PanelButtonCommand:
    case PE_PanelButtonTool:
        drawPlate(painter, *option);
        break;
    case PE_IndicatorArrowDown:
    case PE_IndicatorArrowLeft:
    case PE_IndicatorArrowRight:
    case PE_IndicatorArrowUp:
        drawArrow(painter, element, option->rect, option->palette.color(QPalette::ButtonText));
        break;
    case PE_IndicatorBranch:
        if (isOn(*option, State_Children)) {
            drawArrow(painter,
                      isOn(*option, State_Open) ? PE_IndicatorArrowDown : PE_IndicatorArrowRight,
                      option->rect, option->palette.color(QPalette::Text));
        }
        break;
    case PE_FrameDefaultButton: // its plate is the mark
        break;
    case PE_FrameFocusRect:
        if (qobject_cast<const QToolButton*>(widget) != nullptr) { // too small for one within
            drawRing(painter, widget->rect(), option->palette);
        } else {
            strokeInside(painter, option->rect, ringColor(option->palette), 1);
        }
        break;
    case PE_PanelMenu: // as it is, because the texts are chosen for it
        painter->fillRect(option->rect, option->palette.base());
        break;
    default:
        QProxyStyle::drawPrimitive(element, option, painter, widget);
    }
}

void SchemeStyle::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                              const QWidget* widget) const {
    const auto* button = qstyleoption_cast<const QStyleOptionButton*>(option);
    const auto* item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
    if (element == CE_PushButton && button != nullptr) {
        drawPushButton(*button, painter, widget);
    } else if (element == CE_MenuBarItem && item != nullptr && isOn(*item, State_Selected)) {
        QStyleOptionMenuItem marked = *item;
        marked.state |= State_Sunken; // also before its menu opens
        QProxyStyle::drawControl(element, &marked, painter, widget);
    } else {
        QProxyStyle::drawControl(element, option, painter, widget);
    }
}

void SchemeStyle::drawPushButton(const QStyleOptionButton& button, QPainter* painter,
                                 const QWidget* widget) const {
    QStyleOptionButton plate = button;
    plate.state &= ~State_HasFocus;
    plate.palette.setColor(QPalette::ButtonText, plateTextColor(button));
    QProxyStyle::drawControl(CE_PushButton, &plate, painter, widget);
    if (isOn(button, State_HasFocus)) {
        const QRect ring = button.rect.adjusted(kRingInset, kRingInset, -kRingInset, -kRingInset);
        strokeInside(painter, ring, plateTextColor(button), 1);
    }
}

int SchemeStyle::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                           QStyleHintReturn* returned) const {
    // A disabled text has its own colour; a second, shifted one would only blur it.
    return hint == SH_EtchDisabledText ? 0 : QProxyStyle::styleHint(hint, option, widget, returned);
}

void SchemeStyle::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                                     QPainter* painter, const QWidget* widget) const {
    QProxyStyle::drawComplexControl(control, option, painter, widget);
    if (control == CC_ComboBox) {
        strokeInside(painter, option->rect, outlineColor(option->palette),
                     isHovered(*option) ? 2 : 1);
    }
}

} // namespace corvid
