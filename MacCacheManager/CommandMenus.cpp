#include "MacCacheManager/CommandMenus.h"

#include "MacCacheManager/AppController.h"
#include "MacCacheManager/ImageResources.h"

#include "ui_MainWindow.h"

#include <QAction>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>

namespace corvid {

namespace {

// What has to be selected for a command to mean something.
enum class Needs { Nothing, AnItem, AProject };

struct CommandRow {
    CommandMenus::Command command;
    const char* title;
    const char* keys;  // as QKeySequence lists them
    const char* brief; // the toolbar's title, tool tip and image; null where it has no button
    const char* toolTip;
    const char* image;
    Needs needs;
};

constexpr CommandRow kCommands[] = {
    {&AppController::delete_, QT_TR_NOOP("&Delete selected item(s)"), "Del; Ctrl+Backspace",
     QT_TR_NOOP("Delete"), QT_TR_NOOP("Delete selected item(s)"), "toolbar_delete",
     Needs::Nothing}, // it says so itself when nothing is selected
    {&AppController::deleteAll, QT_TR_NOOP("Delete a&ll…"), "Ctrl+Shift+Del", nullptr, nullptr,
     nullptr, Needs::Nothing},
    {&AppController::migrateCache, QT_TR_NOOP("&Move cache to new location"), "Ctrl+M", nullptr,
     nullptr, nullptr, Needs::AProject},
    {&AppController::selectOldestProject, QT_TR_NOOP("Select the &oldest project"), "Ctrl+O",
     nullptr, nullptr, nullptr, Needs::Nothing},
    {&AppController::selectAll, QT_TR_NOOP("Select &all"), "Ctrl+A", nullptr, nullptr, nullptr,
     Needs::Nothing},
    {&AppController::deselectAll, QT_TR_NOOP("De&select all"), "Ctrl+Shift+A", nullptr, nullptr,
     nullptr, Needs::Nothing},
    {&AppController::expandAll, QT_TR_NOOP("&Expand all"), "Ctrl+E", nullptr, nullptr, nullptr,
     Needs::Nothing},
    {&AppController::collapseAll, QT_TR_NOOP("&Collapse all"), "Ctrl+Shift+E", nullptr, nullptr,
     nullptr, Needs::Nothing},
    {&AppController::showProjectPath, QT_TR_NOOP("Get &location of AE project"), "Ctrl+L", nullptr,
     nullptr, nullptr, Needs::AProject},
    {&AppController::revealInFinder, QT_TR_NOOP("&Reveal in Finder"), "Ctrl+Shift+R",
     QT_TR_NOOP("Reveal"), QT_TR_NOOP("Show the selected item in the file browser"),
     "toolbar_finder", Needs::AnItem},
    {&AppController::refreshData, QT_TR_NOOP("Re&fresh data"), "F5; Ctrl+R", QT_TR_NOOP("Refresh"),
     QT_TR_NOOP("Read every cache again"), "toolbar_refresh", Needs::Nothing},
    {&AppController::displaySettingsSheet, QT_TR_NOOP("&Settings…"), "Ctrl+,",
     QT_TR_NOOP("Settings"), QT_TR_NOOP("Change the cache settings"), "toolbar_settings",
     Needs::Nothing},
    {&AppController::close, QT_TR_NOOP("&Close"), "Ctrl+W; Ctrl+Q", nullptr, nullptr, nullptr,
     Needs::Nothing},
};

bool isProject(const FrameCacheEntry& item) {
    return item.getNodeType() == kProjectNode;
}

bool isOpenTo(Needs needs, const FrameCacheEntry* item) {
    switch (needs) {
    case Needs::Nothing:
        return true;
    case Needs::AnItem:
        return item != nullptr;
    case Needs::AProject:
        break;
    }
    return item != nullptr && isProject(*item);
}

} // namespace

CommandMenus::CommandMenus(AppController& controller, QMainWindow& window,
                           const Ui::MainWindow& interface)
    : m_window(window) {
    makeActions(controller);
    setupToolbar(interface);
    setupMenuBar();
}

CommandMenus::~CommandMenus() = default;

void CommandMenus::makeActions(AppController& controller) {
    for (const CommandRow& row : kCommands) {
        auto* action = new QAction(tr(row.title), &m_window);
        action->setShortcuts(QKeySequence::listFromString(QLatin1String(row.keys)));
        action->setShortcutVisibleInContextMenu(false);
        action->setIconVisibleInMenu(false);
        if (row.brief != nullptr) {
            action->setIconText(tr(row.brief));
            action->setToolTip(tr(row.toolTip));
            action->setIcon(imageNamed(QLatin1String(row.image)));
        }
        QObject::connect(action, &QAction::triggered, &controller, row.command);
        m_actions.push_back(action);
    }
    enableActions(nullptr);
}

QAction* CommandMenus::action(Command command) const {
    for (std::size_t i = 0; i < m_actions.size(); ++i) {
        if (kCommands[i].command == command) {
            return m_actions[i];
        }
    }
    return nullptr;
}

void CommandMenus::enableActions(const FrameCacheEntry* item) {
    for (std::size_t i = 0; i < m_actions.size(); ++i) {
        m_actions[i]->setEnabled(isOpenTo(kCommands[i].needs, item));
    }
}

void CommandMenus::fillMenu(QMenu* menu, std::initializer_list<Command> commands) const {
    for (const Command command : commands) {
        if (command == nullptr) {
            menu->addSeparator();
        } else {
            menu->addAction(action(command));
        }
    }
}

void CommandMenus::setupMenuBar() {
    QMenuBar* bar = m_window.menuBar();
    fillMenu(bar->addMenu(tr("&File")),
             {&AppController::revealInFinder, &AppController::refreshData,
              &AppController::showProjectPath, &AppController::migrateCache, nullptr,
              &AppController::displaySettingsSheet, nullptr, &AppController::close});
    fillMenu(bar->addMenu(tr("&Edit")),
             {&AppController::delete_, &AppController::deleteAll, nullptr,
              &AppController::selectAll, &AppController::deselectAll,
              &AppController::selectOldestProject});
    fillMenu(bar->addMenu(tr("&View")), {&AppController::expandAll, &AppController::collapseAll});
}

void CommandMenus::setupContextMenus() {
    m_contextMenu = std::make_unique<QMenu>(&m_window);
    fillMenu(m_contextMenu.get(),
             {&AppController::delete_, nullptr, &AppController::selectOldestProject,
              &AppController::selectAll, &AppController::deselectAll, nullptr,
              &AppController::expandAll, &AppController::collapseAll, nullptr,
              &AppController::revealInFinder, &AppController::refreshData});
    m_contextMenuProjectsOnly = std::make_unique<QMenu>(&m_window);
    fillMenu(m_contextMenuProjectsOnly.get(),
             {&AppController::delete_, &AppController::migrateCache, nullptr,
              &AppController::selectOldestProject, &AppController::selectAll,
              &AppController::deselectAll, nullptr, &AppController::expandAll,
              &AppController::collapseAll, nullptr, &AppController::showProjectPath,
              &AppController::revealInFinder, &AppController::refreshData});
}

QMenu* CommandMenus::contextMenuFor(const FrameCacheEntry& item) const {
    return isProject(item) ? m_contextMenuProjectsOnly.get() : m_contextMenu.get();
}

void CommandMenus::setupToolbar(const Ui::MainWindow& interface) {
    interface.m_btnDelete->setDefaultAction(action(&AppController::delete_));
    interface.m_btnRefresh->setDefaultAction(action(&AppController::refreshData));
    interface.m_btnFinder->setDefaultAction(action(&AppController::revealInFinder));
    interface.m_btnSettings->setDefaultAction(action(&AppController::displaySettingsSheet));
}

} // namespace corvid
