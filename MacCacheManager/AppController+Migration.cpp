#include "MacCacheManager/AppController.h"

#include "MacCacheManager/ActivityView.h"
#include "MacCacheManager/BoundedName.h"
#include "MacCacheManager/CorvidPanel.h"
#include "MacCacheManager/CountText.h"
#include "MacCacheManager/platform/alert.h"
#include "MacCacheManager/tree_migration.h"

#include <QFile>

#include <cstring>

using corvid::BoundedName;
using corvid::OverlongName;

void AppController::migrateCache() {
    runCommand(&AppController::migrateCache, [this] { migrateSelected(); });
}

void AppController::migrateSelected() {
    const FrameCacheEntry* item = getSelectedItem();
    if (item == nullptr) {
        return;
    }
    const std::optional<QString> folder = selectFolder(QFile::decodeName(item->getPath()));
    if (!folder) {
        return;
    }
    const BoundedName newRoot(QFile::encodeName(*folder).constData(), OverlongName::Empty);
    if (*newRoot.text() == '\0' || std::strcmp(newRoot.text(), item->getPathToRootCache()) == 0 ||
        isMoveRefused(*item, newRoot.text())) {
        return;
    }
    moveProject(*item, newRoot.text());
    if (m_isCloseWanted) {
        return;
    }
    rebuildTree();
}

// A directory that is moved into itself cannot be renamed: it would be copied into its own copy.
// Below another project's it would be counted, and deleted, as that project's.
bool AppController::isMoveRefused(const FrameCacheEntry& item, const char* newRoot) {
    const corvid::MoveTarget target = corvid::moveTarget(item, newRoot);
    if (target == corvid::MoveTarget::Usable) {
        return false;
    }
    const QString why =
        target == corvid::MoveTarget::InOwnProject
            ? tr("“%1” lies in the project's own cache. Choose a folder outside of it.")
            : tr("“%1” lies in the cache of another project. Choose a folder that belongs to no "
                 "project.");
    corvid::runAlertPanel(m_window.get(), tr("The cache cannot be moved there."),
                          why.arg(QFile::decodeName(newRoot)), QStringLiteral("OK"));
    return true;
}

void AppController::moveProject(const FrameCacheEntry& item, const char* newRoot) {
    m_progressSpinner->startAnimation();
    corvid::moveProject(item, newRoot, [this, &item](std::uint64_t files) {
        m_progressSpinner->showLine(
            tr("Moving “%1”: %2").arg(QString::fromUtf8(item.getName()), corvid::filesText(files)));
    });
    m_progressSpinner->stopAnimation();
}
