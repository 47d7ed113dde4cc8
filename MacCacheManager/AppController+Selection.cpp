#include "MacCacheManager/AppController.h"

#include "MacCacheManager/CommandMenus.h"
#include "MacCacheManager/CorvidPanel.h"
#include "MacCacheManager/CountText.h"
#include "MacCacheManager/ImageResources.h"
#include "MacCacheManager/UISettings.h"
#include "MacCacheManager/platform/alert.h"
#include "MacCacheManager/platform/file_browser.h"
#include "MacCacheManager/tree_selection.h"

#include "ui_MainWindow.h"

#include <QFile>
#include <QLabel>

#include <algorithm>

namespace {

// A screen reader hears what the figure is of, which the eye sees in the row and column.
void showFigure(QLabel* label, const QString& text) {
    label->setText(text);
    label->setAccessibleName(label->accessibleDescription() + QStringLiteral(": ") + text);
}

bool isOlder(const FrameCacheEntry* left, const FrameCacheEntry* right) {
    return left->getModifiedTime() < right->getModifiedTime();
}

} // namespace

void AppController::refreshData() {
    runCommand(&AppController::refreshData, [this] {
        // Only here: after a deletion or a move the tree that was there is no longer true.
        m_progressSpinner->setStoppable(true);
        rebuildTree();
        m_progressSpinner->setStoppable(false);
    });
}

void AppController::rebuildTree() {
    // Whoever asked for this until now gets it.
    std::erase(m_waitingCommands, &AppController::refreshData);
    const corvid::OutlineState state = m_outlineView->takeState();
    m_outlineView->setPlaceholderText(readingText());
    m_dataSource.reload();
    m_outlineView->restoreState(state);
    showWhyEmpty();
    outlineViewSelectionDidChange();
}

void AppController::showTree() {
    m_outlineView->restoreState(m_outlineView->takeState());
    outlineViewSelectionDidChange();
}

void AppController::showWhyEmpty() {
    const corvid::BuildSources& sources = m_dataSource.sources();
    QString why;
    if (m_dataSource.getRootNode()->getNumberOfChildren() > 0 ||
        !m_dataSource.shouldProvideData()) {
        why = QString();
    } else if (sources.isStopped) {
        why = tr("The reading was stopped. Refresh reads anew.");
    } else if (!sources.hasRegistry) {
        why = tr("No cache is registered on this machine yet: the registry of cache folders does "
                 "not exist or cannot be read.");
    } else if (sources.roots == 0) {
        why = tr("The registry of cache folders names no folder.");
    } else if (sources.unreadableRoots == sources.roots) {
        why = tr("No registered cache can be read: %1.")
                  .arg(corvid::countText(static_cast<std::uint64_t>(sources.roots), tr("%1 folder"),
                                         tr("%1 folders")));
    } else {
        why = tr("The registered cache folders hold no projects.");
    }
    m_outlineView->setPlaceholderText(why);
}

void AppController::refreshStats() {
    const FrameCacheEntry* root = m_dataSource.getRootNode();
    const corvid::NodeSum selected = corvid::selectionSum(root, isSelected());
    showFigure(m_ui->m_labelTotalFiles, root->getFileCountString());
    showFigure(m_ui->m_labelTotalProjects, QString::number(root->getNumberOfChildren()));
    showFigure(m_ui->m_labelTotalSpace, root->getFileSizeString());
    showFigure(m_ui->m_labelSelectedFiles, QString::number(selected.fileCount()));
    showFigure(m_ui->m_labelSelectedSpace, FrameCacheEntry::readableFileSize(selected.bytes));
    showFigure(m_ui->m_labelSelectedProjects,
               QString::number(m_outlineView->numberOfSelectedRows()));
}

std::function<bool(const FrameCacheEntry*)> AppController::isSelected() const {
    return [this](const FrameCacheEntry* node) { return m_outlineView->isItemSelected(node); };
}

std::uint64_t AppController::calculateSelectionFilesize(const FrameCacheEntry* node) const {
    return corvid::selectionSum(node, isSelected()).bytes;
}

int AppController::calculateSelectionFilecount(const FrameCacheEntry* node) const {
    return corvid::selectionSum(node, isSelected()).fileCount();
}

void AppController::selectAll() {
    runCommand(&AppController::selectAll, [this] { m_outlineView->selectAll(); });
}

void AppController::deselectAll() {
    runCommand(&AppController::deselectAll, [this] { m_outlineView->deselectAll(); });
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
    runCommand(&AppController::expandAll, [this] {
        m_outlineView->collapseItems(projects());
        m_outlineView->expandItems(projects());
    });
}

void AppController::collapseAll() {
    runCommand(&AppController::collapseAll, [this] { m_outlineView->collapseItems(projects()); });
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
    runCommand(&AppController::selectOldestProject, [this] {
        const std::vector<FrameCacheEntry*> all = projects();
        const auto oldest = std::min_element(all.begin(), all.end(), isOlder);
        if (oldest != all.end()) {
            const int row = m_model.rowForItem(*oldest);
            m_outlineView->expandItem(*oldest, true);
            m_outlineView->selectRow(row, false);
        }
    });
}

void AppController::revealInFinder() {
    runCommand(&AppController::revealInFinder, [this] {
        const FrameCacheEntry* item = getSelectedItem();
        if (item == nullptr) {
            return;
        }
        corvid::selectFileInBrowser(item->getPath(), this,
                                    [this, path = QFile::decodeName(item->getPath())] {
                                        m_unrevealedPath = path;
                                        tellNotRevealed();
                                    });
    });
}

void AppController::tellNotRevealed() {
    runCommand(&AppController::tellNotRevealed, [this] {
        corvid::runAlertPanel(m_window.get(), tr("The item cannot be shown in a file browser."),
                              tr("No file browser answers on this desktop. The item is:") +
                                  QLatin1Char('\n') + m_unrevealedPath,
                              QStringLiteral("OK"));
    });
}

void AppController::showProjectPath() {
    runCommand(&AppController::showProjectPath, [this] {
        if (const FrameCacheEntry* item = getSelectedItem()) {
            corvid::runAlertPanel(m_window.get(),
                                  QStringLiteral("The project path for the selected item is:"),
                                  corvid::alertFormat(QString::fromUtf8(item->getName())),
                                  QStringLiteral("OK"), QString(), corvid::AlertMessage::Marked);
        }
    });
}

void AppController::outlineViewSelectionDidChange() {
    const FrameCacheEntry* item = getSelectedItem();
    if (item != nullptr) {
        m_outlineView->setMenu(m_menus->contextMenuFor(*item));
    }
    m_menus->enableActions(item);
    refreshStats();
}

void AppController::outlineViewWillDisplayOutlineCell(corvid::DisclosureCell& cell) const {
    if (UISettings::instance()->isUsingBrightColorScheme() || !cell.image.isNull()) {
        return;
    }
    cell.image = corvid::imageNamed(QStringLiteral("collapsed"));
    cell.alternateImage = corvid::imageNamed(QStringLiteral("expanded"));
}
