#pragma once

// The program's window, filled, in a process that has no screen.

#include "MacCacheManager/AppController.h"

#include <QApplication>
#include <QEvent>
#include <QStyleFactory>

#include <functional>
#include <utility>

namespace corvid::bench {

// Prepares what the program prepares before its window.
inline void setUpApplication() {
    QApplication::setApplicationName(QStringLiteral("Cache Manager"));
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
}

// Calls back once, after the first painting of a widget that finds a condition fulfilled.
class AfterPaint : public QObject {
public:
    AfterPaint(QWidget* widget, std::function<bool()> condition, std::function<void()> callBack)
        : m_condition(std::move(condition)), m_callBack(std::move(callBack)) {
        widget->installEventFilter(this);
    }

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint && m_condition()) {
            watched->removeEventFilter(this);
            QMetaObject::invokeMethod(
                this, [this] { m_callBack(); }, Qt::QueuedConnection);
        }
        return false;
    }

private:
    std::function<bool()> m_condition;
    std::function<void()> m_callBack;
};

} // namespace corvid::bench
