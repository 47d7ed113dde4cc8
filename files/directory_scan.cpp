#include "files/directory_scan.h"

#include <cerrno>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace corvid {

namespace {

bool isDotName(const char* name) {
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

// Some file systems report no type with the name; then the entry itself is asked.
unsigned char typeOf(int directory, const char* name) {
    struct stat status {};
    const bool isKnown = ::fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) == 0;
    return isKnown && S_ISDIR(status.st_mode)   ? DT_DIR
           : isKnown && S_ISLNK(status.st_mode) ? DT_LNK
                                                : DT_REG;
}

// The right to search a directory suffices to reach what is in it, where the system can tell it
// from the right to read.
#if defined(O_PATH)
constexpr int kForSearch = O_PATH;
#elif defined(O_SEARCH)
constexpr int kForSearch = O_SEARCH;
#else
constexpr int kForSearch = O_RDONLY;
#endif

int directoryFlags(LinkRule rule) {
    return O_DIRECTORY | O_CLOEXEC | (rule == LinkRule::Refuse ? O_NOFOLLOW : 0);
}

} // namespace

UniqueFd openDirectory(int parent, const char* name, LinkRule rule) {
    return UniqueFd(::openat(parent, name, O_RDONLY | directoryFlags(rule)));
}

UniqueFd openWay(int parent, const char* name, LinkRule rule) {
    return UniqueFd(::openat(parent, name, kForSearch | directoryFlags(rule)));
}

void DirectoryScan::closeUnlessListing() {
    if (m_listing == nullptr) {
        m_directory.reset();
        errno = ENOMEM;
    }
}

bool DirectoryScan::next(DirectoryEntry& entry) {
    unsigned char type = DT_UNKNOWN;
    while (const char* name = nextName(type)) {
        if (!isDotName(name)) {
            type = type != DT_UNKNOWN ? type : typeOf(m_directory.get(), name);
            entry = {name, type == DT_DIR ? EntryKind::Directory : EntryKind::File, type == DT_LNK};
            return true;
        }
    }
    return false;
}

} // namespace corvid
