#pragma once

// Where a project's cache may be moved to.

#include <string>
#include <vector>

namespace corvid {

enum class MoveTarget {
    Usable,
    InOwnProject,   // the project's own directory or below it
    InOtherProject, // another project's directory, in any of the roots, or below it
};

// What moving a project's directory to `folder` would mean. Folders are told apart by what they are
// (device and inode), not by their names, so that links, ".." and other spellings do not matter; of
// a folder that does not exist, those above it count. Projects' directories are those directly in a
// cache root that its table names or that are named like a hash. Changes nothing on the disk; what
// cannot be read counts as not there.
[[nodiscard]] MoveTarget moveTarget(const std::string& folder, const std::string& projectDirectory,
                                    const std::vector<std::string>& cacheRoots);

} // namespace corvid
