#include "MacCacheManager/AppController.h"

#include "MacCacheManager/ActivityView.h"
#include "MacCacheManager/BoundedName.h"
#include "store/KavroPISSConfigHelper.h"
#include "store/KavroPISSFrameCache.h"
#include "store/KavroPISSFrameCacheRegistry.h"

#include <QFile>
#include <QLocale>

#include <cstring>

using corvid::BoundedName;
using corvid::OverlongName;

void AppController::migrateCache() {
    const FrameCacheEntry* item = getSelectedItem();
    if (item == nullptr) {
        return;
    }
    const std::optional<QString> folder = selectFolder(QFile::decodeName(item->getPath()));
    if (!folder) {
        return;
    }
    const BoundedName project(item->getName(), OverlongName::Empty);
    const BoundedName newRoot(QFile::encodeName(*folder).constData(), OverlongName::Empty);
    const char* oldRoot = item->getPathToRootCache();
    if (*newRoot.text() == '\0' || std::strcmp(newRoot.text(), oldRoot) == 0) {
        return;
    }
    KavroPISSFrameCache(oldRoot, project.text()).DoesProjectHaveAnyCacheFiles(project.text());
    {
        KavroPISSFrameCache cache(oldRoot, project.text());
        m_progressSpinner->startAnimation();
        cache.setProgress([this, &project](std::uint64_t files) {
            m_progressSpinner->showLine(tr("Moving “%1”: %2 files")
                                            .arg(QString::fromUtf8(project.text()),
                                                 QLocale::system().toString(qulonglong{files})));
        });
        cache.MoveProject(project.text(), newRoot.text());
        m_progressSpinner->stopAnimation();
    }
    const KavroPISSProjectKeys keys(project.text());
    KavroPISSConfigHelper::addOrUpdateProjectStringSetting(&keys, "DirectoryLocationOfFrameCache",
                                                           newRoot.text());
    if (const FrameCacheEntry* composition = item->getChildAt(0)) {
        // Registers the project and its first composition in the new root's tables.
        KavroPISSFrameCache cache(newRoot.text(), project.text(),
                                  BoundedName(composition->getName(), OverlongName::Empty).text());
        cache.StartTransaction();
        cache.Commit();
    }
    KavroPISSConfigHelper::addOrUpdateRegistryStringSetting(project.text(), corvid::kPathToCache,
                                                            newRoot.text());
    refreshData();
}
