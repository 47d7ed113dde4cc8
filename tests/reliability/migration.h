#pragma once

// What the window's command "Move cache to new location" does to the disk.

#include "store/KavroPISSConfigHelper.h"
#include "store/KavroPISSFrameCache.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "tests/reliability/product_world.h"

#include <string>

namespace corvid::test {

// Moves the world's project of one composition. As in the window, no result is examined, and no
// root ends in a separator.
inline void migrateSolo(const ProductWorld& world, const std::string& oldRoot,
                        const std::string& newRoot) {
    const char* project = world.solo.c_str();
    KavroPISSFrameCache(oldRoot.c_str(), project).DoesProjectHaveAnyCacheFiles(project);
    KavroPISSFrameCache(oldRoot.c_str(), project).MoveProject(project, newRoot.c_str());
    const KavroPISSProjectKeys keys(project);
    KavroPISSConfigHelper::addOrUpdateProjectStringSetting(&keys, "DirectoryLocationOfFrameCache",
                                                           newRoot.c_str());
    KavroPISSFrameCache(newRoot.c_str(), project, world.mainComp.c_str()).Commit();
    KavroPISSConfigHelper::addOrUpdateRegistryStringSetting(project, kPathToCache, newRoot.c_str());
}

} // namespace corvid::test
