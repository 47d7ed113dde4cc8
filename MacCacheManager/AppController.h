#pragma once

// The controller of the main window: it owns the interface, carries out the commands and keeps the
// totals. Every command runs to its end on the window's thread; a command that changes the disk
// ends with a rebuild of the tree. A command that is asked for while another is at work is run
// after it, once, if it is still open to the user then.

#include "MacCacheManager/CacheDataSource.h"
#include "MacCacheManager/CacheOutlineView.h"
#include "MacCacheManager/OutlineModel.h"

#include <QObject>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class ActivityView;
class CorvidPanel;
class QMenu;

namespace Ui {
class MainWindow;
}

namespace corvid {
class CommandMenus;
class SettingsSheet;
struct DeletionStep;
} // namespace corvid

// Set by the command line: whether to select the oldest project once the tree is there.
extern bool g_shouldJumpToLastModified;

class AppController : public QObject {
    Q_OBJECT

public:
    // Loads the interface; the window is hidden and empty until awakeFromNib() and
    // applicationDidFinishLaunching().
    AppController();
    ~AppController() override;

    // Places, shows and raises the window and builds the menus.
    void awakeFromNib();
    // Builds the tree for the first time; to be called when the application's loop runs.
    void applicationDidFinishLaunching();
    CorvidPanel* getWindow() const { return m_window.get(); }
    CacheDataSource* dataSource() { return &m_dataSource; }
    // The item of the first selected row; null when nothing is selected.
    FrameCacheEntry* getSelectedItem() const;

    // The totals of the selection below a node, its own if its row is selected. No file counts
    // twice.
    std::uint64_t calculateSelectionFilesize(const FrameCacheEntry* node) const;
    int calculateSelectionFilecount(const FrameCacheEntry* node) const;
    void deselectAllDescendants(const FrameCacheEntry* node);
    // Builds the two context menus, in place of those that were, and installs the first.
    void setupContextMenus();
    QMenu* contextMenu() const;
    QMenu* contextMenuProjectsOnly() const;

    // Collects the topmost selected nodes of a subtree, in the tree's order.
    void buildDeletionArray(FrameCacheEntry* node);
    // Deletes one node's files and takes the node, and parents that became empty, out of the tree.
    void deleteCacheWithFrameCacheEntry(FrameCacheEntry* node);
    void deleteCacheWithProject(const char* project, FrameCacheEntry* rowData);
    void deleteCacheWithProject(const char* project, const char* composition,
                                FrameCacheEntry* rowData);
    void deleteCacheWithProject(const char* project, const char* composition, const char* feature,
                                FrameCacheEntry* rowData);

    // What the settings sheet does.
    void initializeSettings();
    bool commitChanges();
    std::optional<QString> selectFolder(const QString& startFolder);

public slots:
    void refreshData();
    void refreshStats();
    void selectAll();
    void deselectAll();
    void expandAll();
    void collapseAll();
    void selectOldestProject();
    void revealInFinder();
    void showProjectPath();
    void outlineViewSelectionDidChange();
    void outlineViewWillDisplayOutlineCell(corvid::DisclosureCell& cell) const;

    void delete_();
    void deleteAll();

    void displaySettingsSheet();
    void cancelSettings();
    void saveSettings();
    void checkedUnlimitedCache();
    void checkedCacheCreation();
    void incrementMaxCacheSize(float value);
    void selectPath();

    void migrateCache();

    // Closes the window, which ends the program: now, or when the command at work has come to the
    // end of the item in hand.
    void close();
    void windowWillClose();

private:
    // Commands are known by their slots.
    using Command = void (AppController::*)();

    // Does a command's work, or keeps the command for later while another is at work.
    void runCommand(Command command, const std::function<void()>& work);
    void runWaitingCommand();
    bool windowShouldClose();

    void loadWindow();
    void connectWindow();
    void setupFonts();
    void placeWindow();
    std::vector<FrameCacheEntry*> projects() const;
    // Asks the outline whether a node's row is selected.
    std::function<bool(const FrameCacheEntry*)> isSelected() const;
    // The tree is read again, or only shown again as it is.
    void rebuildTree();
    void showTree();
    // What the list says while there is nothing to show yet.
    static QString readingText();
    void showWhyEmpty();
    void tellNotRevealed();
    void deleteSelected();
    bool isDeletionConfirmed();
    void deleteCollected();
    void carryOut(const std::vector<corvid::DeletionStep>& steps);
    void migrateSelected();
    bool isMoveRefused(const FrameCacheEntry& item, const char* newRoot);
    void moveProject(const FrameCacheEntry& item, const char* newRoot);

    CacheDataSource m_dataSource;
    OutlineModel m_model;
    std::unique_ptr<CorvidPanel> m_window;
    std::unique_ptr<Ui::MainWindow> m_ui; // its views are the window's

    // Owned by the window; the two views of the interface that every command has to do with.
    CacheOutlineView* m_outlineView = nullptr;
    ActivityView* m_progressSpinner = nullptr;
    corvid::SettingsSheet* m_settingsSheet = nullptr;

    std::unique_ptr<corvid::CommandMenus> m_menus;
    // Present only during a deletion; the nodes are the tree's.
    std::optional<std::vector<FrameCacheEntry*>> m_deletionArray;
    // Nodes taken out of the tree during a deletion, kept until its end because it still names
    // them.
    std::vector<std::unique_ptr<FrameCacheEntry>> m_detachedNodes;
    bool m_isAtWork = false; // a command is
    bool m_isCloseWanted = false;
    std::vector<Command> m_waitingCommands; // in the order of asking, each once
    QString m_unrevealedPath;
};
