#pragma once

// Moving a project's cache to another cache root, as the command does it.

#include "MacCacheManager/FrameCacheEntry.h"
#include "MacCacheManager/move_target.h"

#include <cstdint>
#include <functional>

namespace corvid {

// What moving a project's node to a folder would mean: see move_target.h. Other projects' folders
// are looked for in every registered cache root and in the node's own. Changes nothing on the disk.
[[nodiscard]] MoveTarget moveTarget(const FrameCacheEntry& project, const char* newRoot);

// The number of files that were copied, where a move is not a mere renaming.
using MigrationProgress = std::function<void(std::uint64_t files)>;

// Moves the directory of a project's node into `newRoot` and records the new root in the project's
// settings, in the registry and, with its first composition, in the root's tables. Everything is
// done on this thread and whatever became of what came before it: after a move that failed, which
// the log tells, the settings name the new root all the same. The node stays as it is.
// `newRoot` is not empty and has at most 1,024 bytes.
void moveProject(const FrameCacheEntry& project, const char* newRoot,
                 const MigrationProgress& progress);

} // namespace corvid
