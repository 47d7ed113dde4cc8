#pragma once

// The controller of the main window: it owns the interface, carries out the commands and keeps the
// totals. Every command runs to its end on the window's thread; a command that changes the disk
// ends with a rebuild of the tree.

#include "MacCacheManager/CacheDataSource.h"
#include "MacCacheManager/CacheOutlineView.h"
#include "MacCacheManager/OutlineModel.h"

#include <QObject>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

class ActivityView;
class CorvidPanel;
class QCheckBox;
class QDialog;
class QGroupBox;
class QLabel;
class QLineEdit;
class QMenu;
class QPushButton;

namespace corvid {
class StepperView;
}

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
    QMenu* contextMenu() const { return m_contextMenu.get(); }
    QMenu* contextMenuProjectsOnly() const { return m_contextMenuProjectsOnly.get(); }

    // Collects the topmost selected nodes of a subtree, in the tree's order.
    void buildDeletionArray(FrameCacheEntry* node);
    // Deletes one node's files and takes the node, and parents that became empty, out of the tree.
    void deleteCacheWithFrameCacheEntry(FrameCacheEntry* node);
    void deleteCacheWithProject(const char* project, FrameCacheEntry* rowData);
    void deleteCacheWithProject(const char* project, const char* composition,
                                FrameCacheEntry* rowData);
    void deleteCacheWithProject(const char* project, const char* composition, const char* feature,
                                FrameCacheEntry* rowData);

    // Fills the sheet's controls from the settings.
    void initializeSettings();
    // Checks the sheet's entries and writes them; false, with nothing written, when a check fails.
    bool commitChanges();
    // The folder chooser; nothing when the user cancels.
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

    void windowWillClose();

private:
    // A command's name, what it does, and its shortcut in the menu bar.
    struct Command {
        const char* title; // null for a separator
        void (AppController::*action)();
    };

    void loadWindow();
    void loadSettingsSheet();
    void connectWindow();
    void setupFonts();
    void setupMenuBar();
    void addMenuCommand(QMenu* menu, const QString& title, void (AppController::*action)(),
                        const QList<QKeySequence>& shortcuts);
    void placeWindow();
    void setupContextMenus();
    void addCommand(QMenu* menu, const Command& command);
    std::vector<FrameCacheEntry*> projects() const;
    void showWhyEmpty();
    void detach(FrameCacheEntry* node);
    bool isLowLimitAccepted(int limit);
    void initializeWarnings();
    void commitWarnings();
    void reportDeletion(const char* name, std::uint64_t files);
    void showLimit(bool isLimited, const QString& text);

    CacheDataSource m_dataSource;
    OutlineModel m_model;
    std::unique_ptr<CorvidPanel> m_window;

    // Owned by the window.
    CacheOutlineView* m_outlineView = nullptr;
    ActivityView* m_progressSpinner = nullptr;
    QLabel* m_labelTotalSpace = nullptr;
    QLabel* m_labelTotalFiles = nullptr;
    QLabel* m_labelTotalProjects = nullptr;
    QLabel* m_labelSelectedSpace = nullptr;
    QLabel* m_labelSelectedFiles = nullptr;
    QLabel* m_labelSelectedProjects = nullptr;
    QDialog* m_sheetSettings = nullptr;
    QCheckBox* m_btnEnableCacheCreation = nullptr;
    QCheckBox* m_btnEnableCacheWarnings = nullptr;
    QCheckBox* m_btnUnlimitedCache = nullptr;
    QPushButton* m_btnSelectPath = nullptr;
    corvid::StepperView* m_stepperCacheSize = nullptr;
    QGroupBox* m_boxCacheSettings = nullptr;
    QLineEdit* m_tbPathToRootCache = nullptr;
    QLineEdit* m_tbMaxCacheValue = nullptr;

    std::unique_ptr<QMenu> m_contextMenu;
    std::unique_ptr<QMenu> m_contextMenuProjectsOnly;
    // Present only during a deletion; the nodes are the tree's.
    std::optional<std::vector<FrameCacheEntry*>> m_deletionArray;
    // Nodes taken out of the tree during a deletion, kept until its end because it still names
    // them.
    std::vector<std::unique_ptr<FrameCacheEntry>> m_detachedNodes;
    bool m_wereWarningsShown = true;
};
