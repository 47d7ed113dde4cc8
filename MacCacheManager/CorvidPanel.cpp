#include "MacCacheManager/CorvidPanel.h"

#include "MacCacheManager/SchemePalette.h"
#include "MacCacheManager/UISettings.h"

#include <QAction>
#include <QCloseEvent>
#include <QMenu>
#include <QMenuBar>
#include <QScreen>

namespace corvid {

bool liesOffScreen(const QRect& window, const QRect& screen) {
    constexpr int kMargin = 10;
    // Both measured from the screen's lower left corner, upwards.
    const int x = window.x() - screen.x();
    const int y = screen.y() + screen.height() - (window.y() + window.height());
    return x <= kMargin - window.width() || x >= screen.width() - kMargin ||
           y <= kMargin - window.height();
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

void CorvidPanel::center() {
    const QRect available = screen()->availableGeometry();
    QRect frame = frameGeometry();
    frame.moveCenter(available.center());
    move(frame.topLeft());
}

void CorvidPanel::closeEvent(QCloseEvent* event) {
    event->accept();
    emit windowWillClose();
}
