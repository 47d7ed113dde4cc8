#pragma once

// The tree that the window shows.

#include "MacCacheManager/CacheDataSource.h"
#include "tests/reliability/cache_reading.h"

#include <string>

namespace corvid::test {

inline void addNodes(const FrameCacheEntry& node, Tree& tree) {
    for (int i = 0; i < node.getNumberOfChildren(); ++i) {
        const FrameCacheEntry& child = *node.getChildAt(i);
        const bool isFeature = child.getNodeType() == kFeatureNode;
        tree[nodeText(child.getPath(), child.getName())] =
            isFeature
                ? Amount{child.getFileSize(), static_cast<std::uint64_t>(child.getFileCount())}
                : Amount{};
        addNodes(child, tree);
    }
}

inline Tree treeOfWindow(const ProductWorld& /*world*/) {
    CacheDataSource source;
    source.setShouldProvideData(true);
    source.reload();
    Tree tree;
    addNodes(*source.getRootNode(), tree);
    return tree;
}

} // namespace corvid::test
