#pragma once

#include "MacCacheManager/FrameCacheEntry.h"

#include <memory>
#include <string>

namespace corvid::test {

// Adds a node below another, in the same cache root; the tree's.
inline FrameCacheEntry* addNode(FrameCacheEntry& parent, int type, const std::string& name) {
    const std::string path = std::string(parent.getPath()) + "/" + name;
    FrameCacheEntry* child =
        parent.addChild(std::make_unique<FrameCacheEntry>(type, name.c_str(), path.c_str()));
    child->setParent(&parent);
    child->setPathToRootCache(parent.getPathToRootCache());
    return child;
}

} // namespace corvid::test
