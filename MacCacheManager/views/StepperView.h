#pragma once

#include <QWidget>

class QToolButton;

namespace corvid {

// Two small arrow buttons, one above the other. Each click tells by how much to change a number
// kept elsewhere: the increment, or minus it.
class StepperView : public QWidget {
    Q_OBJECT

public:
    explicit StepperView(QWidget* parent = nullptr);

    void setIncrement(float increment) { m_increment = increment; }
    float increment() const { return m_increment; }
    QToolButton* upButton() const { return m_up; }
    QToolButton* downButton() const { return m_down; }

signals:
    void stepped(float value);

private:
    QToolButton* makeButton(Qt::ArrowType arrow, const QString& accessibleName);

    float m_increment = 1;
    QToolButton* m_up;
    QToolButton* m_down;
};

} // namespace corvid
