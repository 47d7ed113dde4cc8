#pragma once

// The walk of a removal. Half of the work of removing a tree is finding out what is in it: a second
// thread lists and asks ahead, and changes nothing; the calling thread alone removes.

#include "files/directory_walk.h"
#include "files/unique_fd.h"

#include <functional>
#include <string>

namespace corvid {

// What a removal meets, in the order in which it has to go.
struct RemovalStep {
    enum class Kind {
        Files,      // files of one directory
        Protected,  // the first file that nobody may write; it ends the walk
        Unreadable, // a directory that cannot be opened; it ends the walk
        Directory,  // a directory whose contents have been met
        Abandoned,  // a directory that was being walked when the walk ended, the innermost first
    };
    Kind kind;
    UniqueFd directory; // open: that of the files, the parent of a directory; else none
    std::string path;   // of the files' directory, or of the directory itself
    PackedNames names;  // of the files, or of the directory
};

// Whether a file is protected from removal, although the system would remove it: one that nobody
// may write, and one that cannot be asked.
bool mayNotBeRemoved(int directory, const char* name);

// Calls `take` on this thread for each step of an open directory's contents, itself left out, until
// it returns false. Whether the walk reached its end. `path` is the directory's, for messages.
// Without a second thread to be had the calling one does everything. Throws std::bad_alloc, both
// threads then at rest, when there is no memory to go on.
bool walkForRemoval(UniqueFd directory, const std::string& path,
                    const std::function<bool(RemovalStep&)>& take);

} // namespace corvid
