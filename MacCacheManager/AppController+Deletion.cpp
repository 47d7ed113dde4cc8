#include "MacCacheManager/AppController.h"

#include "MacCacheManager/ActivityView.h"
#include "MacCacheManager/CorvidPanel.h"
#include "MacCacheManager/CountText.h"
#include "MacCacheManager/platform/alert.h"
#include "MacCacheManager/tree_deletion.h"
#include "MacCacheManager/tree_selection.h"

void AppController::delete_() {
    runCommand(&AppController::delete_, [this] { deleteSelected(); });
}

void AppController::deleteAll() {
    runCommand(&AppController::deleteAll, [this] {
        m_outlineView->selectAll();
        deleteSelected();
    });
}

bool AppController::isDeletionConfirmed() {
    return corvid::runAlertPanel(
               m_window.get(),
               QStringLiteral("Are you sure you want to delete the selected item(s)?"),
               QStringLiteral(
                   "If you select \"Yes\", the selected item and all of its childrenwill "
                   "be permanently removed."),
               QStringLiteral("Yes"), QStringLiteral("No")) == corvid::AlertAnswer::Default;
}

void AppController::deleteSelected() {
    if (m_outlineView->numberOfSelectedRows() < 1) {
        corvid::runAlertPanel(
            m_window.get(), QStringLiteral("You have not selected any items for deletion."),
            QStringLiteral("Cache Manager has nothing to delete."), QStringLiteral("OK"));
        return;
    }
    // Collected before the question, so that a selection that changes behind it changes nothing.
    constexpr std::size_t kUsualCount = 20;
    m_deletionArray.emplace().reserve(kUsualCount);
    buildDeletionArray(m_dataSource.getRootNode());
    if (isDeletionConfirmed()) {
        deleteCollected();
    }
    m_deletionArray.reset();
}

void AppController::deleteCollected() {
    m_progressSpinner->startAnimation();
    for (FrameCacheEntry* node : *m_deletionArray) {
        deleteCacheWithFrameCacheEntry(node);
        if (m_isCloseWanted) {
            break;
        }
    }
    m_progressSpinner->stopAnimation();
    FrameCacheEntry* root = m_dataSource.getRootNode();
    if (root->getNumberOfChildren() == 0) {
        root->setFileCount(0);
        root->setFileSize(0);
    }
    m_outlineView->deselectAll(); // what could not be deleted included
    if (m_isCloseWanted) {
        showTree(); // nobody will look at it, but no row may outlive its node
    } else {
        rebuildTree();
    }
    m_detachedNodes.clear();
}

void AppController::buildDeletionArray(FrameCacheEntry* node) {
    if (m_deletionArray) {
        corvid::forEachTopmostSelected(node, isSelected(), [this](FrameCacheEntry* selected) {
            m_deletionArray->push_back(selected);
        });
    }
}

void AppController::deleteCacheWithFrameCacheEntry(FrameCacheEntry* node) {
    carryOut(corvid::deletionSteps({node}));
}

void AppController::deleteCacheWithProject(const char* project, FrameCacheEntry* rowData) {
    carryOut(corvid::deletionSteps(project, nullptr, nullptr, rowData));
}

void AppController::deleteCacheWithProject(const char* project, const char* composition,
                                           FrameCacheEntry* rowData) {
    carryOut(corvid::deletionSteps(project, composition, nullptr, rowData));
}

void AppController::deleteCacheWithProject(const char* project, const char* composition,
                                           const char* feature, FrameCacheEntry* rowData) {
    carryOut(corvid::deletionSteps(project, composition, feature, rowData));
}

void AppController::carryOut(const std::vector<corvid::DeletionStep>& steps) {
    const auto report = [this](const std::string& name, std::uint64_t files) {
        m_progressSpinner->showLine(
            tr("Deleting “%1”: %2").arg(QString::fromStdString(name), corvid::filesText(files)));
    };
    corvid::carryOut(steps, report, m_detachedNodes);
}
