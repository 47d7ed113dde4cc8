#include "files/directory_scan.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#include <sys/syscall.h>

// Straight from the system: readdir() would ask three more questions about every directory that it
// opens.

namespace corvid {

struct DirectoryScan::Listing {
    static constexpr std::size_t kSize = std::size_t{32} * 1024;

    std::size_t position = 0;
    std::size_t end = 0;
    alignas(std::uint64_t) char buffer[kSize];
};

namespace {

// What getdents64(2) fills the buffer with, one record behind the other.
struct Record {
    std::uint64_t inode;
    std::int64_t offset;
    std::uint16_t length;
    std::uint8_t type;
};
constexpr std::size_t kLengthOffset = offsetof(Record, length);
constexpr std::size_t kTypeOffset = offsetof(Record, type);
constexpr std::size_t kNameOffset = kTypeOffset + 1;

} // namespace

DirectoryScan::DirectoryScan(UniqueFd directory) : m_directory(std::move(directory)) {
    if (m_directory.isOpen()) {
        m_listing.reset(new (std::nothrow) Listing); // the buffer need not be zero
        closeUnlessListing();
    }
}

DirectoryScan::~DirectoryScan() = default;

const char* DirectoryScan::nextName(unsigned char& type) {
    Listing& listing = *m_listing;
    if (listing.position == listing.end) {
        long length = 0;
        do {
            length = ::syscall(SYS_getdents64, m_directory.get(), listing.buffer, Listing::kSize);
        } while (length < 0 && errno == EINTR);
        if (length <= 0) {
            m_failed = length < 0 && errno != ENOENT; // a directory that is gone holds nothing
            return nullptr;
        }
        listing.position = 0;
        listing.end = static_cast<std::size_t>(length);
    }
    const char* record = listing.buffer + listing.position;
    std::uint16_t length = 0;
    std::memcpy(&length, record + kLengthOffset, sizeof(length));
    type = static_cast<unsigned char>(record[kTypeOffset]);
    listing.position += length;
    return record + kNameOffset;
}

} // namespace corvid
