#include "MacCacheManager/CorvidPanel.h"

#include "MacCacheManager/UISettings.h"
#include "MacCacheManager/views/SchemePalette.h"

#include <QAction>
#include <QCloseEvent>
#include <QGuiApplication>
#include <QMenu>
#include <QMenuBar>
#include <QScreen>
#include <QTimer>
#include <QWindow>

#include <algorithm>

namespace corvid {

namespace {

constexpr int kOutOfSight = 10; // as little of a window cannot be found

}

bool liesOffScreen(const QRect& window, const QRect& screen) {
    // Both measured from the screen's lower left corner, upwards.
    const int x = window.x() - screen.x();
    const int y = screen.y() + screen.height() - (window.y() + window.height());
    return x <= kOutOfSight - window.width() || x >= screen.width() - kOutOfSight ||
           y <= kOutOfSight - window.height();
}

QRect fittedWindow(const QRect& window, const QRect& available) {
    const QRect room = available.marginsRemoved(kWidestFrame);
    QRect fitted(window.topLeft(), window.size().boundedTo(room.size()));
    if (fitted.width() < window.width()) {
        fitted.moveLeft(room.left());
    }
    if (fitted.height() < window.height() || window.top() <= available.top() + kOutOfSight) {
        fitted.moveTop(room.top());
    }
    return fitted;
}

} // namespace corvid

CorvidPanel::CorvidPanel(QWidget* parent) : QMainWindow(parent) {
    setWindowFlag(Qt::WindowMinimizeButtonHint);
    setupWindow();
}

void CorvidPanel::setupWindow() {
    setWindowOpacity(1.0);
    setAutoFillBackground(true);
    setPalette(corvid::schemePalette(*UISettings::instance()));
}

QMenu* CorvidPanel::windowsMenu() {
    if (m_windowsMenu == nullptr) {
        m_windowsMenu = menuBar()->addMenu(tr("&Windows"));
        m_windowsMenu->setObjectName(QStringLiteral("m_menuWindows"));
    }
    return m_windowsMenu;
}

void CorvidPanel::awakeFromNib() {
    QAction* item = windowsMenu()->addAction(windowTitle());
    item->setCheckable(true);
    item->setChecked(true);
    connect(item, &QAction::triggered, this, [this, item] {
        item->setChecked(true);
        showNormal();
        raise();
        activateWindow();
    });
}

void CorvidPanel::fitScreen() {
    const QScreen* holder = QGuiApplication::screenAt(geometry().center());
    const QRect available = (holder != nullptr ? holder : screen())->availableGeometry();
    setGeometry(corvid::fittedWindow(geometry(), available));
}

void CorvidPanel::center() {
    const QRect available = screen()->availableGeometry();
    QRect frame = frameGeometry();
    frame.moveCenter(available.center());
    if (!isVisible()) {
        // The frame comes with showing and takes its room below and to the right of this place.
        const QRect framed = QRect(frame.topLeft(), size().grownBy(corvid::kWidestFrame));
        frame.translate(std::min(available.right() - framed.right(), 0),
                        std::min(available.bottom() - framed.bottom(), 0));
    }
    move(frame.topLeft());
}

void CorvidPanel::waitForFirstFrame() {
    constexpr int kPatience = 500; // milliseconds
    QTimer patience;
    patience.setSingleShot(true);
    patience.start(kPatience);
    while (isVisible() && !windowHandle()->isExposed() && patience.isActive()) {
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents |
                                        QEventLoop::WaitForMoreEvents);
    }
}

void CorvidPanel::closeEvent(QCloseEvent* event) {
    if (m_shouldClose && !m_shouldClose()) {
        event->ignore();
        return;
    }
    event->accept();
    emit windowWillClose();
}
