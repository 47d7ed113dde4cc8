#include "MacCacheManager/tree_migration.h"

#include "MacCacheManager/BoundedName.h"
#include "store/KavroPISSConfigHelper.h"
#include "store/KavroPISSFrameCache.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "store/settings_keys.h"

namespace corvid {

MoveTarget moveTarget(const FrameCacheEntry& project, const char* newRoot) {
    KavroPISSFrameCacheRegistry registry;
    std::vector<std::string> roots = registeredCacheRoots(registry);
    roots.emplace_back(project.getPathToRootCache());
    return moveTarget(newRoot, project.getPath(), roots);
}

void moveProject(const FrameCacheEntry& project, const char* newRoot,
                 const MigrationProgress& progress) {
    const BoundedName name(project.getName(), OverlongName::Empty);
    const char* oldRoot = project.getPathToRootCache();
    // What it answers is not asked; that it makes the features' directories goes into the move.
    KavroPISSFrameCache(oldRoot, name.text()).DoesProjectHaveAnyCacheFiles(name.text());
    {
        KavroPISSFrameCache cache(oldRoot, name.text());
        cache.setProgress(progress);
        cache.MoveProject(name.text(), newRoot);
    }
    const KavroPISSProjectKeys keys(name.text());
    KavroPISSConfigHelper::addOrUpdateProjectStringSetting(&keys, kCacheRoot.name, newRoot);
    if (const FrameCacheEntry* composition = project.getChildAt(0)) {
        // Registers the project and its first composition in the new root's tables.
        KavroPISSFrameCache cache(newRoot, name.text(),
                                  BoundedName(composition->getName(), OverlongName::Empty).text());
        cache.StartTransaction();
        cache.Commit();
    }
    KavroPISSConfigHelper::addOrUpdateRegistryStringSetting(name.text(), kPathToCache, newRoot);
}

} // namespace corvid
