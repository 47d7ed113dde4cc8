#pragma once

// What the deletion commands do, and what they would do.

#include "MacCacheManager/FrameCacheEntry.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace corvid {

// One removal that is asked of the cache model in the node's cache root, after which the node
// leaves the tree.
struct DeletionStep {
    enum class Level { Project, Composition, Feature };
    Level level;
    // As they are handed to the model; those below the level are empty. For a composition that a
    // user deletes they stand in each other's place: what is removed is the directory that has the
    // composition's key as a project and the project's as a composition, usually none. It has
    // always been so.
    std::string project;
    std::string composition;
    std::string feature;
    FrameCacheEntry* node; // the tree's

    // The one of the names that is deleted.
    const std::string& name() const;
};

// What deleting these nodes, one after the other, consists of: a step for each and one for each
// parent that is left without children. The tree and the disk stay as they are. A node of another
// type, or without the parents whose names its deletion needs, has no step.
[[nodiscard]] std::vector<DeletionStep> deletionSteps(const std::vector<FrameCacheEntry*>& nodes);
// The same for one node deleted by names of the caller's: a project's, or null behind those that
// there are.
[[nodiscard]] std::vector<DeletionStep> deletionSteps(const char* project, const char* composition,
                                                      const char* feature, FrameCacheEntry* node);

// What is on the disk now and is removed, each with all in it, when the steps are carried out and
// none of them fails: each path once, in the order of the steps, some maybe inside others. The
// cache model's own rules tell; they look and change nothing. A protected file, which ends a
// removal, is not looked for; and a directory that is told may be made anew, empty, on the way to a
// feature that a later step finds gone.
[[nodiscard]] std::vector<std::string> pathsToDelete(const std::vector<DeletionStep>& steps);

// The name that is being deleted and the number of its files that are gone.
using DeletionProgress = std::function<void(const std::string& name, std::uint64_t files)>;
using DetachedNodes = std::vector<std::unique_ptr<FrameCacheEntry>>;

// Carries the steps out in their order, on this thread. A failure is logged by the model and ends
// that step's removal only; its node leaves the tree all the same. The nodes are added to
// `detached`, alive, because a view may still show them and later steps still name them.
void carryOut(const std::vector<DeletionStep>& steps, const DeletionProgress& progress,
              DetachedNodes& detached);

} // namespace corvid
