#pragma once

// Everything that the product keeps on a disk, small: settings, registry, two cache roots, a
// project folder and a render queue, with things in between that nobody may touch.

#include "store/PISSMD5.h"
#include "tests/support/failing_calls.h"
#include "tests/support/product_root.h"

#include <map>
#include <set>
#include <string>

#include <sys/types.h>

namespace corvid::test {

// One entry of a disk: a file with its bytes, a link with its target, or a directory.
struct DiskEntry {
    mode_t mode = 0;
    std::string text;

    bool operator==(const DiskEntry&) const = default;
    auto operator<=>(const DiskEntry&) const = default;
};
// By path, relative to the root of the world.
using Disk = std::map<std::string, DiskEntry>;

// The entry, or null.
const DiskEntry* entryOf(const Disk& disk, const std::string& path);
// Whether both disks hold the same below and including the path, and that there is something.
bool holdsTheSame(const Disk& one, const std::string& path, const Disk& other,
                  const std::string& otherPath);

class ProductWorld {
public:
    ProductWorld();

    ProductRoot root;
    // Projects of the first cache root: one with a single composition, beside whose project file
    // there are settings, and one with two, a link out of the cache, and hidden and nested files.
    const std::string solo = root.path("Shots/Edit.aep");
    const std::string twin = root.path("Shots/Twin.aep");
    // The project of the second cache root.
    const std::string other = root.path("Shots/Other.aep");
    const std::string mainComp = "Main";
    const std::string extraComp = "Extra comp";

    // The texts are made undisturbed, so that operations may ask for them while calls fail.
    std::string firstRoot() const { return path("first/"); }
    std::string secondRoot() const { return path("second/"); }
    std::string shots() const { return path("Shots/"); }
    std::string path(const char* below) const {
        const Undisturbed text;
        return root.path(below);
    }
    std::string queueFile(const char* name) const {
        const Undisturbed text;
        return root.productFile(std::string("RenderQueue/") + name);
    }
    // A path below the root of the world as Disk has it.
    std::string relative(const std::string& path) const {
        return path.substr(root.path().size() + 1);
    }
    std::string soloIn(const std::string& cacheRoot) const {
        return relative(cacheRoot + hashOf(solo));
    }

    // All of it but the log and what is guarded.
    Disk disk() const;
    // Makes the disk, which holds `present` now, hold this again.
    void restore(const Disk& wanted, const Disk& present) const;
    // What lies beside the caches, and where the link out of a cache leads to.
    Snapshot guarded() const { return snapshot(root.path("guarded")); }

private:
    void writeSettings() const;
    void writeCaches() const;
    void writeFrames(const std::string& cacheRoot, const std::string& project,
                     const std::string& composition) const;
    void writeQueue() const;
};

// The text of a queued job.
std::string jobWith(const std::string& id);

// Whether a path's last component is that of the file a store puts a new text together in. A
// process that was killed, or may not remove it, leaves it behind.
bool isLeftOver(const std::string& path);
// Whether a path is that of one of the text files of the stores.
bool isStoreFile(const std::string& path);

// How many descriptors this process has open.
int openDescriptors();

} // namespace corvid::test
