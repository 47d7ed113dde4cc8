#include "MacCacheManager/AppController.h"

#include "MacCacheManager/CorvidPanel.h"
#include "MacCacheManager/ImageResources.h"
#include "MacCacheManager/UISettings.h"
#include "MacCacheManager/platform/alert.h"
#include "MacCacheManager/platform/file_browser.h"

#include <QLabel>
#include <QMenu>
#include <QToolButton>

namespace {

// A screen reader hears what the figure is of, which the eye sees in the row and column.
void showFigure(QLabel* label, const QString& text) {
    label->setText(text);
    label->setAccessibleName(label->accessibleDescription() + QStringLiteral(": ") + text);
}

} // namespace

void AppController::addCommand(QMenu* menu, const Command& command) {
    if (command.title == nullptr) {
        menu->addSeparator();
    } else {
        menu->addAction(QString::fromLatin1(command.title), this, command.action);
    }
}

void AppController::setupContextMenus() {
    constexpr Command kSeparator{nullptr, nullptr};
    constexpr Command kDelete{"Delete selected item(s)", &AppController::delete_};
    constexpr Command kMove{"Move cache to new location", &AppController::migrateCache};
    constexpr Command kOldest{"Select the oldest project", &AppController::selectOldestProject};
    constexpr Command kSelectAll{"Select all", &AppController::selectAll};
    constexpr Command kDeselectAll{"Deselect all", &AppController::deselectAll};
    constexpr Command kExpandAll{"Expand all", &AppController::expandAll};
    constexpr Command kCollapseAll{"Collapse all", &AppController::collapseAll};
    constexpr Command kLocation{"Get location of AE project", &AppController::showProjectPath};
    constexpr Command kReveal{"Reveal in Finder", &AppController::revealInFinder};
    constexpr Command kRefresh{"Refresh data", &AppController::refreshData};

    m_contextMenu = std::make_unique<QMenu>(m_window.get());
    for (const Command& command :
         {kDelete, kSeparator, kOldest, kSelectAll, kDeselectAll, kSeparator, kExpandAll,
          kCollapseAll, kSeparator, kReveal, kRefresh}) {
        addCommand(m_contextMenu.get(), command);
    }
    m_contextMenuProjectsOnly = std::make_unique<QMenu>(m_window.get());
    for (const Command& command :
         {kDelete, kMove, kSeparator, kOldest, kSelectAll, kDeselectAll, kSeparator, kExpandAll,
          kCollapseAll, kSeparator, kLocation, kReveal, kRefresh}) {
        addCommand(m_contextMenuProjectsOnly.get(), command);
    }
    m_outlineView->setMenu(m_contextMenu.get());
}

void AppController::refreshData() {
    const corvid::OutlineState state = m_outlineView->takeState();
    m_outlineView->setUpdatesEnabled(
        false); // the old rows stay in sight until the new ones are there
    m_dataSource.reload();
    m_outlineView->restoreState(state);
    m_outlineView->setUpdatesEnabled(true);
    showWhyEmpty();
    outlineViewSelectionDidChange();
}

void AppController::showWhyEmpty() {
    const corvid::BuildSources& sources = m_dataSource.sources();
    QString why;
    if (m_dataSource.getRootNode()->getNumberOfChildren() > 0 ||
        !m_dataSource.shouldProvideData()) {
        why = QString();
    } else if (!sources.hasRegistry) {
        why = tr("No cache is registered on this machine yet: the registry of cache folders does "
                 "not exist or "
                 "cannot be read.");
    } else if (sources.roots == 0) {
        why = tr("The registry of cache folders names no folder.");
    } else if (sources.unreadableRoots == sources.roots) {
        why = tr("The registered cache folder(s) cannot be read: %n folder(s).", nullptr,
                 sources.roots);
    } else {
        why = tr("The registered cache folders hold no projects.");
    }
    m_outlineView->setPlaceholderText(why);
}

void AppController::refreshStats() {
    const FrameCacheEntry* root = m_dataSource.getRootNode();
    showFigure(m_labelTotalFiles, root->getFileCountString());
    showFigure(m_labelTotalProjects, QString::number(root->getNumberOfChildren()));
    showFigure(m_labelTotalSpace, root->getFileSizeString());
    showFigure(m_labelSelectedFiles, QString::number(calculateSelectionFilecount(root)));
    showFigure(m_labelSelectedSpace,
               FrameCacheEntry::readableFileSize(calculateSelectionFilesize(root)));
    showFigure(m_labelSelectedProjects, QString::number(m_outlineView->numberOfSelectedRows()));
}

std::uint64_t AppController::calculateSelectionFilesize(const FrameCacheEntry* node) const {
    if (node == nullptr) {
        return 0;
    }
    if (m_outlineView->isItemSelected(node)) {
        return node->getFileSize();
    }
    std::uint64_t total = 0;
    for (int i = 0; i < node->getNumberOfChildren(); ++i) {
        total += calculateSelectionFilesize(node->getChildAt(i));
    }
    return total;
}

int AppController::calculateSelectionFilecount(const FrameCacheEntry* node) const {
    if (node == nullptr) {
        return 0;
    }
    if (m_outlineView->isItemSelected(node)) {
        return node->getFileCount();
    }
    unsigned total = 0; // 32 bits, going round rather than overflowing
    for (int i = 0; i < node->getNumberOfChildren(); ++i) {
        total += static_cast<unsigned>(calculateSelectionFilecount(node->getChildAt(i)));
    }
    return static_cast<int>(total);
}

void AppController::selectAll() {
    m_outlineView->selectAll();
}

void AppController::deselectAll() {
    m_outlineView->deselectAll();
}

std::vector<FrameCacheEntry*> AppController::projects() const {
    const FrameCacheEntry* root = m_dataSource.getRootNode();
    std::vector<FrameCacheEntry*> projects;
    projects.reserve(static_cast<std::size_t>(root->getNumberOfChildren()));
    for (int i = 0; i < root->getNumberOfChildren(); ++i) {
        projects.push_back(root->getChildAt(i));
    }
    return projects;
}

void AppController::expandAll() {
    collapseAll();
    m_outlineView->expandItems(projects());
}

void AppController::collapseAll() {
    m_outlineView->collapseItems(projects());
}

namespace {

void addDescendants(const FrameCacheEntry* node, std::vector<const FrameCacheEntry*>& descendants) {
    for (int i = 0; node != nullptr && i < node->getNumberOfChildren(); ++i) {
        addDescendants(node->getChildAt(i), descendants);
        descendants.push_back(node->getChildAt(i));
    }
}

} // namespace

void AppController::deselectAllDescendants(const FrameCacheEntry* node) {
    std::vector<const FrameCacheEntry*> descendants;
    addDescendants(node, descendants);
    m_outlineView->deselectItems(descendants);
}

void AppController::selectOldestProject() {
    const FrameCacheEntry* root = m_dataSource.getRootNode();
    FrameCacheEntry* oldest = root->getChildAt(0);
    if (oldest == nullptr) {
        return;
    }
    for (FrameCacheEntry* project : projects()) {
        if (project->getModifiedTime() < oldest->getModifiedTime()) {
            oldest = project;
        }
    }
    const int row = m_model.rowForItem(oldest);
    m_outlineView->expandItem(oldest, true);
    m_outlineView->selectRow(row, false);
}

void AppController::revealInFinder() {
    if (const FrameCacheEntry* item = getSelectedItem()) {
        corvid::selectFileInBrowser(item->getPath());
    }
}

void AppController::showProjectPath() {
    if (const FrameCacheEntry* item = getSelectedItem()) {
        corvid::runAlertPanel(
            m_window.get(), QStringLiteral("The project path for the selected item is:"),
            corvid::alertFormat(QString::fromUtf8(item->getName())), QStringLiteral("OK"));
    }
}

void AppController::outlineViewSelectionDidChange() {
    const FrameCacheEntry* item = getSelectedItem();
    if (item != nullptr) {
        const bool isProject = item->getNodeType() == corvid::kProjectNode;
        m_outlineView->setMenu(isProject ? m_contextMenuProjectsOnly.get() : m_contextMenu.get());
    }
    if (auto* reveal = m_window->findChild<QToolButton*>(QStringLiteral("m_btnFinder"))) {
        reveal->setEnabled(item != nullptr);
    }
    refreshStats();
}

void AppController::outlineViewWillDisplayOutlineCell(corvid::DisclosureCell& cell) const {
    if (UISettings::instance()->isUsingBrightColorScheme() || !cell.image.isNull()) {
        return;
    }
    cell.image = corvid::imageNamed(QStringLiteral("collapsed"));
    cell.alternateImage = corvid::imageNamed(QStringLiteral("expanded"));
}
