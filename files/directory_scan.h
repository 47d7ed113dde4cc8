#pragma once

// Reading one directory, with calls relative to its descriptor. The only place that lists
// directories.

#include "files/unique_fd.h"

#include <memory>

namespace corvid {

enum class EntryKind { File, Directory };

// One name of a directory; the text is valid until the next call of DirectoryScan::next().
struct DirectoryEntry {
    const char* name;
    EntryKind kind; // a link is a file, whatever it points to
    bool isLink;
};

// Opens a directory relative to an open one (or AT_FDCWD). Not open on failure, with errno set.
// Refuse fails when the last component is a link.
UniqueFd openDirectory(int parent, const char* name, LinkRule rule);
// The same for a directory that is only passed through: it need not be readable, and cannot be
// listed.
UniqueFd openWay(int parent, const char* name, LinkRule rule);

// Walks the entries of an open directory in the order in which the system returns them, "." and
// ".." left out.
class DirectoryScan {
public:
    // Takes the descriptor over; one that is not open makes an empty scan for which isOpen() is
    // false, and so does a lack of memory, with ENOMEM in errno.
    explicit DirectoryScan(UniqueFd directory);
    ~DirectoryScan();
    DirectoryScan(const DirectoryScan&) = delete;
    DirectoryScan& operator=(const DirectoryScan&) = delete;

    bool isOpen() const { return m_directory.isOpen(); }
    // The directory's descriptor, owned by the scan.
    int descriptor() const { return m_directory.get(); }
    // Fills the entry; false at the end or when the system reports an error.
    bool next(DirectoryEntry& entry);
    // Whether next() ended at an error of the system rather than at the end of the directory.
    bool failed() const { return m_failed; }
    // Ends the reading and hands the open directory over.
    UniqueFd takeDescriptor() { return std::move(m_directory); }

private:
    struct Listing; // the system's way of listing, in a file that the build chooses
    // The next name as the system has it, with its type as dirent knows it; null at the end.
    const char* nextName(unsigned char& type);
    void closeUnlessListing();

    UniqueFd m_directory;
    std::unique_ptr<Listing> m_listing;
    bool m_failed = false;
};

} // namespace corvid
