#pragma once

// What is selected in the cache tree. A selected node stands for all that is below it, so of what
// is selected the topmost nodes alone count.

#include "MacCacheManager/FrameCacheEntry.h"

#include <cstdint>
#include <vector>

namespace corvid {

// Calls `use` for each topmost selected node of a subtree, in the tree's order; the node given is
// one of the subtree, null has none. What is below a selected node is not asked about. `isSelected`
// and `use` take a pointer to a node, const when the given one is; `use` leaves the tree as it is.
template <class Node, class IsSelected, class Use>
void forEachTopmostSelected(Node* node, const IsSelected& isSelected, const Use& use) {
    if (node == nullptr) {
        return;
    }
    if (isSelected(node)) {
        use(node);
        return;
    }
    for (int i = 0; i < node->getNumberOfChildren(); ++i) {
        forEachTopmostSelected<Node>(node->getChildAt(i), isSelected, use);
    }
}

// The same as a list; the nodes are the tree's.
template <class Node, class IsSelected>
std::vector<Node*> topmostSelected(Node* node, const IsSelected& isSelected) {
    std::vector<Node*> nodes;
    forEachTopmostSelected(node, isSelected, [&nodes](Node* found) { nodes.push_back(found); });
    return nodes;
}

// Of several nodes together.
struct NodeSum {
    std::uint64_t bytes = 0;
    unsigned files = 0; // 32 bits, going round rather than overflowing

    void add(const FrameCacheEntry& node) {
        bytes += node.getFileSize();
        files += static_cast<unsigned>(node.getFileCount());
    }
    // As the tree counts files.
    int fileCount() const { return static_cast<int>(files); }
};

// The sum of the topmost selected nodes of a subtree: no file counts twice.
template <class IsSelected>
NodeSum selectionSum(const FrameCacheEntry* node, const IsSelected& isSelected) {
    NodeSum sum;
    forEachTopmostSelected(node, isSelected,
                           [&sum](const FrameCacheEntry* found) { sum.add(*found); });
    return sum;
}

} // namespace corvid
