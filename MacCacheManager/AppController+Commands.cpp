#include "MacCacheManager/AppController.h"

#include "MacCacheManager/ActivityView.h"
#include "MacCacheManager/CommandMenus.h"
#include "MacCacheManager/CorvidPanel.h"

#include <QAction>
#include <QScopeGuard>

#include <algorithm>

void AppController::setupContextMenus() {
    m_menus->setupContextMenus();
    m_outlineView->setMenu(m_menus->contextMenu());
}

QMenu* AppController::contextMenu() const {
    return m_menus->contextMenu();
}

QMenu* AppController::contextMenuProjectsOnly() const {
    return m_menus->contextMenuProjectsOnly();
}

// Progress and alerts handle events, so that anything may be asked for inside a command: by a
// timer, an assistive program, a message of the desktop. The nodes that the command holds must
// stay.
void AppController::runCommand(Command command, const std::function<void()>& work) {
    if (m_isAtWork) {
        const auto end = m_waitingCommands.end();
        if (std::find(m_waitingCommands.begin(), end, command) == end) {
            m_waitingCommands.push_back(command);
        }
        return;
    }
    m_isAtWork = true;
    const auto end = qScopeGuard([this] {
        m_isAtWork = false;
        if (m_isCloseWanted || !m_waitingCommands.empty()) {
            QMetaObject::invokeMethod(this, &AppController::runWaitingCommand,
                                      Qt::QueuedConnection);
        }
    });
    work();
    m_progressSpinner->dropWaitingInput();
}

void AppController::runWaitingCommand() {
    if (m_isAtWork) {
        return; // its end comes here again
    }
    if (m_isCloseWanted) {
        m_waitingCommands.clear();
        m_window->close();
        return;
    }
    if (m_waitingCommands.empty()) {
        return;
    }
    const Command next = m_waitingCommands.front();
    m_waitingCommands.erase(m_waitingCommands.begin());
    const QAction* offered = m_menus->action(next);
    if (offered == nullptr || offered->isEnabled()) {
        (this->*next)();
    }
    if (!m_waitingCommands.empty()) {
        QMetaObject::invokeMethod(this, &AppController::runWaitingCommand, Qt::QueuedConnection);
    }
}

bool AppController::windowShouldClose() {
    m_isCloseWanted = m_isAtWork;
    if (m_isAtWork) {
        m_dataSource.stopReading();
    }
    return !m_isAtWork;
}

void AppController::close() {
    m_window->close();
}
