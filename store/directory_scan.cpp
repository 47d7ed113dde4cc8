#include "store/directory_scan.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace corvid {

namespace {

bool isDotName(const char* name) {
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

// Some file systems report no type with the name; then the entry itself is asked.
EntryKind kindOf(int directory, const char* name, unsigned char type) {
    if (type != DT_UNKNOWN) {
        return type == DT_DIR ? EntryKind::Directory : EntryKind::File;
    }
    struct stat status {};
    const bool isDirectory =
        ::fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
    return isDirectory ? EntryKind::Directory : EntryKind::File;
}

} // namespace

UniqueFd openDirectory(int parent, const char* name, LinkRule rule) {
    const int noFollow = rule == LinkRule::Refuse ? O_NOFOLLOW : 0;
    return UniqueFd(::openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC | noFollow));
}

bool DirectoryScan::next(DirectoryEntry& entry) {
    unsigned char type = DT_UNKNOWN;
    while (const char* name = nextName(type)) {
        if (!isDotName(name)) {
            entry = {name, kindOf(m_directory.get(), name, type)};
            return true;
        }
    }
    return false;
}

} // namespace corvid
