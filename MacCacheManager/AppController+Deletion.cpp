#include "MacCacheManager/AppController.h"

#include "MacCacheManager/ActivityView.h"
#include "MacCacheManager/BoundedName.h"
#include "MacCacheManager/CorvidPanel.h"
#include "MacCacheManager/platform/alert.h"
#include "store/KavroPISSFrameCache.h"

#include <QLocale>

using corvid::BoundedName;
using corvid::OverlongName;

void AppController::delete_() {
    if (m_outlineView->numberOfSelectedRows() < 1) {
        corvid::runAlertPanel(
            m_window.get(), QStringLiteral("You have not selected any items for deletion."),
            QStringLiteral("Cache Manager has nothing to delete."), QStringLiteral("OK"));
        return;
    }
    const auto answer = corvid::runAlertPanel(
        m_window.get(), QStringLiteral("Are you sure you want to delete the selected item(s)?"),
        QStringLiteral(
            "If you select \"Yes\", the selected item and all of its childrenwill be permanently "
            "removed."),
        QStringLiteral("Yes"), QStringLiteral("No"));
    if (answer != corvid::AlertAnswer::Default) {
        return;
    }
    constexpr std::size_t kUsualCount = 20;
    m_deletionArray.emplace().reserve(kUsualCount);
    FrameCacheEntry* root = m_dataSource.getRootNode();
    buildDeletionArray(root);
    m_progressSpinner->startAnimation();
    for (FrameCacheEntry* node : *m_deletionArray) {
        deleteCacheWithFrameCacheEntry(node);
    }
    m_progressSpinner->stopAnimation();
    m_deletionArray.reset();
    if (root->getNumberOfChildren() == 0) {
        root->setFileCount(0);
        root->setFileSize(0);
    }
    refreshData();
    m_detachedNodes.clear();
}

void AppController::deleteAll() {
    selectAll();
    delete_();
}

void AppController::buildDeletionArray(FrameCacheEntry* node) {
    if (node == nullptr) {
        return;
    }
    if (m_outlineView->isItemSelected(node)) {
        if (m_deletionArray) {
            m_deletionArray->push_back(node);
        }
        return;
    }
    for (int i = 0; i < node->getNumberOfChildren(); ++i) {
        buildDeletionArray(node->getChildAt(i));
    }
}

void AppController::deleteCacheWithFrameCacheEntry(FrameCacheEntry* node) {
    FrameCacheEntry* parent = node->getParent();
    switch (node->getNodeType()) {
    case corvid::kProjectNode:
        deleteCacheWithProject(node->getName(), node);
        break;
    case corvid::kCompositionNode:
        // The two names go in swapped: what is removed is the directory that has the composition's
        // hash as a project and the project's as a composition, usually none. It has always been so
        // and the rebuild shows what is left.
        deleteCacheWithProject(node->getName(), parent->getName(), node);
        parent->removeAndFreeChild(node);
        break;
    case corvid::kFeatureNode:
        deleteCacheWithProject(parent->getParent()->getName(), parent->getName(), node->getName(),
                               node);
        break;
    default:
        break;
    }
}

// Takes a node out of the tree but keeps it: its names are still in use until the run is over.
void AppController::detach(FrameCacheEntry* node) {
    if (FrameCacheEntry* parent = node->getParent()) {
        if (auto taken = parent->takeChild(node)) {
            m_detachedNodes.push_back(std::move(taken));
        }
    }
}

void AppController::reportDeletion(const char* name, std::uint64_t files) {
    m_progressSpinner->showLine(
        tr("Deleting “%1”: %2 files")
            .arg(QString::fromUtf8(name), QLocale::system().toString(qulonglong{files})));
}

void AppController::deleteCacheWithProject(const char* project, FrameCacheEntry* rowData) {
    const BoundedName projectName(project, OverlongName::Empty);
    KavroPISSFrameCache cache(rowData->getPathToRootCache(), projectName.text());
    cache.setProgress([this, project](std::uint64_t files) { reportDeletion(project, files); });
    cache.DeleteProject(projectName.text());
    cache.Commit();
    detach(rowData);
}

void AppController::deleteCacheWithProject(const char* project, const char* composition,
                                           FrameCacheEntry* rowData) {
    const BoundedName projectName(project, OverlongName::Empty);
    const BoundedName compositionName(composition, OverlongName::Empty);
    KavroPISSFrameCache cache(rowData->getPathToRootCache(), projectName.text(),
                              compositionName.text());
    cache.setProgress(
        [this, composition](std::uint64_t files) { reportDeletion(composition, files); });
    cache.DeleteComposition(compositionName.text());
    cache.Commit();
    FrameCacheEntry* parent = rowData->getParent();
    detach(rowData);
    if (parent->getNumberOfChildren() <= 0) {
        deleteCacheWithProject(project, parent);
    }
}

void AppController::deleteCacheWithProject(const char* project, const char* composition,
                                           const char* feature, FrameCacheEntry* rowData) {
    const BoundedName projectName(project, OverlongName::Empty);
    const BoundedName compositionName(composition, OverlongName::Empty);
    const BoundedName featureName(feature, OverlongName::Empty);
    const auto report = [this, feature](std::uint64_t files) { reportDeletion(feature, files); };
    {
        KavroPISSFrameCache frames(rowData->getPathToRootCache(), projectName.text(),
                                   compositionName.text(), featureName.text());
        frames.DeleteAllFeatures();
        frames.Commit();
    }
    KavroPISSFrameCache cache(rowData->getPathToRootCache(), projectName.text(),
                              compositionName.text());
    cache.setProgress(report);
    cache.DeleteFeature(featureName.text());
    cache.Commit();
    FrameCacheEntry* parent = rowData->getParent();
    detach(rowData);
    if (parent->getNumberOfChildren() <= 0) {
        deleteCacheWithProject(project, composition, parent);
    }
}
