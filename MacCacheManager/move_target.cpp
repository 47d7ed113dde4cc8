#include "MacCacheManager/move_target.h"

#include "files/directory_scan.h"
#include "files/owned_text.h"
#include "store/PISSMD5.h"
#include "store/hash_table.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

namespace corvid {

namespace {

using DeviceAndInode = std::pair<dev_t, ino_t>;

std::optional<DeviceAndInode> identityOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    return DeviceAndInode(status.st_dev, status.st_ino);
}

// "/" has no parent: empty.
std::string parentOf(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    if (path == "/" || slash == std::string::npos) {
        return {};
    }
    return slash > 0 ? path.substr(0, slash) : "/";
}

// The path without links of a folder, or of the nearest one above it that exists.
std::string realFolder(std::string path) {
    while (!path.empty()) {
        if (const OwnedText real{::realpath(path.c_str(), nullptr)}) {
            return real.get();
        }
        path = parentOf(path);
    }
    return {};
}

bool looksLikeHash(std::string_view name) {
    return name.size() == kPrintableHashLength &&
           name.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

std::set<DeviceAndInode> projectDirectories(const std::vector<std::string>& cacheRoots) {
    std::set<DeviceAndInode> directories;
    for (const std::string& root : cacheRoots) {
        const auto table = sharedHashTable((root + "/ProjectHash.txt").c_str());
        DirectoryScan scan(openDirectory(AT_FDCWD, root.c_str(), LinkRule::Follow));
        DirectoryEntry entry{};
        while (scan.isOpen() && scan.next(entry)) {
            const bool isProject =
                entry.kind == EntryKind::Directory &&
                (looksLikeHash(entry.name) || (table && table->keyOf(entry.name) != nullptr));
            const auto identity = isProject ? identityOf(root + "/" + entry.name) : std::nullopt;
            if (identity) {
                directories.insert(*identity);
            }
        }
    }
    return directories;
}

} // namespace

MoveTarget moveTarget(const std::string& folder, const std::string& projectDirectory,
                      const std::vector<std::string>& cacheRoots) {
    const std::optional<DeviceAndInode> own = identityOf(projectDirectory);
    const std::set<DeviceAndInode> projects = projectDirectories(cacheRoots);
    MoveTarget found = MoveTarget::Usable;
    for (std::string above = realFolder(folder); !above.empty(); above = parentOf(above)) {
        const std::optional<DeviceAndInode> identity = identityOf(above);
        if (identity && identity == own) {
            return MoveTarget::InOwnProject;
        }
        if (identity && projects.count(*identity) > 0) {
            found = MoveTarget::InOtherProject;
        }
    }
    return found;
}

} // namespace corvid
