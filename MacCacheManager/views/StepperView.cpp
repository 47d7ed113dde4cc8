#include "MacCacheManager/views/StepperView.h"

#include <QToolButton>
#include <QVBoxLayout>

namespace corvid {

StepperView::StepperView(QWidget* parent)
    : QWidget(parent), m_up(makeButton(Qt::UpArrow, tr("More"))),
      m_down(makeButton(Qt::DownArrow, tr("Less"))) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(1);
    column->addWidget(m_up);
    column->addWidget(m_down);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    connect(m_up, &QToolButton::clicked, this, [this] { emit stepped(m_increment); });
    connect(m_down, &QToolButton::clicked, this, [this] { emit stepped(-m_increment); });
}

QToolButton* StepperView::makeButton(Qt::ArrowType arrow, const QString& accessibleName) {
    constexpr int kWidth = 20;
    constexpr int kHeight = 13;
    auto* button = new QToolButton(this);
    button->setArrowType(arrow);
    button->setAutoRepeat(true);
    button->setFixedSize(kWidth, kHeight);
    button->setFocusPolicy(Qt::TabFocus);
    button->setAccessibleName(accessibleName);
    return button;
}

} // namespace corvid
