#include "files/directory_scan.h"

#include <cerrno>
#include <new>

#include <dirent.h>
#include <fcntl.h>

namespace corvid {

struct DirectoryScan::Listing {
    explicit Listing(int directory) : stream(::fdopendir(directory)) {}
    ~Listing() {
        if (stream != nullptr) {
            ::closedir(stream);
        }
    }
    Listing(const Listing&) = delete;
    Listing& operator=(const Listing&) = delete;

    DIR* stream;
};

// The stream closes its descriptor, so it gets one of its own.
DirectoryScan::DirectoryScan(UniqueFd directory) : m_directory(std::move(directory)) {
    if (m_directory.isOpen()) {
        m_listing.reset(new (std::nothrow) Listing(::fcntl(m_directory.get(), F_DUPFD_CLOEXEC, 0)));
        closeUnlessListing();
    }
}

DirectoryScan::~DirectoryScan() = default;

const char* DirectoryScan::nextName(unsigned char& type) {
    if (m_listing->stream == nullptr) {
        m_failed = true;
        return nullptr;
    }
    errno = 0;
    // Each scan has a stream of its own, so readdir is safe on any thread.
    const dirent* entry = ::readdir(m_listing->stream); // NOLINT(concurrency-mt-unsafe)
    if (entry == nullptr) {
        m_failed = errno != 0 && errno != ENOENT; // a directory that is gone holds nothing
        return nullptr;
    }
    type = entry->d_type;
    return entry->d_name;
}

} // namespace corvid
