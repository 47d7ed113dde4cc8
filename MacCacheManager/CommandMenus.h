#pragma once

#include <QCoreApplication>

#include <initializer_list>
#include <memory>
#include <vector>

class AppController;
class FrameCacheEntry;
class QAction;
class QMainWindow;
class QMenu;

namespace Ui {
class MainWindow;
}

namespace corvid {

// What the window offers to the user: one action per command of the controller, and the menu bar,
// the two context menus and the toolbar, which only arrange them.
class CommandMenus {
    Q_DECLARE_TR_FUNCTIONS(corvid::CommandMenus)

public:
    // Commands are known by their slots.
    using Command = void (AppController::*)();

    // Makes the actions, which the window owns and whose slots the controller has, and puts them
    // into the window's menu bar and toolbar. Both must outlive the menus.
    CommandMenus(AppController& controller, QMainWindow& window, const Ui::MainWindow& interface);
    ~CommandMenus();

    // The one action of a command; null for one that no menu offers.
    QAction* action(Command command) const;
    // Opens to the user what means something for an item, null for none.
    void enableActions(const FrameCacheEntry* item);

    // Makes the two context menus, in place of those that were.
    void setupContextMenus();
    // Null until the first making.
    QMenu* contextMenu() const { return m_contextMenu.get(); }
    QMenu* contextMenuProjectsOnly() const { return m_contextMenuProjectsOnly.get(); }
    // The one of the two that goes with an item.
    QMenu* contextMenuFor(const FrameCacheEntry& item) const;

private:
    void makeActions(AppController& controller);
    // A null command stands for a separator.
    void fillMenu(QMenu* menu, std::initializer_list<Command> commands) const;
    void setupMenuBar();
    void setupToolbar(const Ui::MainWindow& interface);

    QMainWindow& m_window;
    std::vector<QAction*> m_actions; // in the order of the table of commands
    std::unique_ptr<QMenu> m_contextMenu;
    std::unique_ptr<QMenu> m_contextMenuProjectsOnly;
};

} // namespace corvid
