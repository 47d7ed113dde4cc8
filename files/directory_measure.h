#pragma once

// Size, file count, dates and what else is known of a directory's files, in one pass.

#include "files/directory_walk.h"
#include "files/unique_fd.h"

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace corvid {

// Which directory it is, and when last anything changed in it or below it.
struct DirectoryIdentity {
    dev_t device = 0;
    ino_t inode = 0;            // 0: not looked at
    std::int64_t changedNs = 0; // the newest change of status, nanoseconds since 1970
};

struct DirectoryMeasure {
    bool opened = false;     // false: could not be read, everything else is 0
    std::uint64_t bytes = 0; // of all files at any depth, links followed for their size
    std::uint64_t files = 0; // entries at any depth that are not directories
    long newest = 0;         // largest modification time of the files directly inside, at
                             // least 0; seconds since 1970
    long oldest = 0;         // smallest time of the same files; 0 without a date
    bool dateEnded = false;  // a file was met that ends the dating: those behind it have no say
    std::uint64_t directories = 0; // at any depth, this one left out
    // So many of these, or of this one itself, could not be read, or not to their end.
    std::uint64_t closedDirectories = 0;
    // The numbers that names of files directly inside bear.
    std::optional<std::uint64_t> firstNumber;
    std::optional<std::uint64_t> lastNumber;
    // Bytes that the files take up on the disk, links not followed. Files of several names are in
    // sharedFiles instead, once for each name that was met.
    std::uint64_t allocated = 0;
    struct SharedFile {
        dev_t device;
        ino_t inode;
        std::uint64_t allocated;
    };
    std::vector<SharedFile> sharedFiles;
    DirectoryIdentity identity; // of the directory, when that was asked for
    struct UnreadableFile {
        std::string path;
        TreePlace place;
    };
    std::vector<UnreadableFile> unreadableFiles; // no status to be read; they count as files
};

// Counts files for a progress display on another thread. The counter is shared by all cores, so it
// is raised in steps rather than for every file.
class FileCounter {
public:
    // To be called for each file of a directory with their number so far, and at its end.
    void count(std::uint64_t filesOfDirectory) {
        if (filesOfDirectory % kStep == 0) {
            add(kStep);
        }
    }
    void countRest(std::uint64_t filesOfDirectory) { add(filesOfDirectory % kStep); }
    void add(std::uint64_t files) { m_seen.fetch_add(files, std::memory_order_relaxed); }
    std::uint64_t seen() const { return m_seen.load(std::memory_order_relaxed); }

private:
    static constexpr std::uint64_t kStep = 256;
    std::atomic<std::uint64_t> m_seen{0};
};

// What the names of the files directly in a measured directory mean.
struct NameRules {
    // Whether no file from this one on, in the order of the directory, has a say in the date.
    bool (*endsDating)(const char* name) = nullptr;
    std::optional<std::uint64_t> (*numberOf)(const char* name) = nullptr;
};
// Adds one file of an open directory to a measure; false when its status could not be read (it then
// counts as a file without bytes). `rules` is null for a file further below: only those directly in
// the directory that is measured have a say in its date and its numbers.
[[nodiscard]] bool measureFile(int directory, const DirectoryEntry& entry, const NameRules* rules,
                               DirectoryMeasure& measure);
// Whether directories are asked which ones they are: one more question for each.
enum class Identity { LeaveOut, Ask };
// Takes down which directory the descriptor is of.
void identify(int directory, DirectoryIdentity& identity);
// The path of an entry of a directory.
std::string joinedPath(const std::string& directory, const char* name);

// Adds the numbers of one part of a directory to those of another that stands before it.
void addMeasure(DirectoryMeasure& sum, const DirectoryMeasure& part);

// Measures the directory that `name` is in the open directory `parent`. `path` is its path, for the
// paths of unreadable files. The counter, if any, hears of every file.
DirectoryMeasure measureDirectoryAt(int parent, const char* name, const std::string& path,
                                    const NameRules& rules, FileCounter* counter = nullptr,
                                    Identity identity = Identity::LeaveOut);
// The same by path.
DirectoryMeasure measureDirectory(const char* path, const NameRules& rules = {});

// The number of files, as in a measure, without looking at any; 0 for a directory that cannot be
// read.
std::uint64_t countFiles(const char* path);

// The bytes of the files that a node's measures found by several names: each file's once. Sorts
// them.
std::uint64_t allocatedOnce(std::vector<DirectoryMeasure::SharedFile>& files);

// The paths of the unreadable files, in the order of their places.
std::vector<std::string> unreadablePaths(DirectoryMeasure measure);

} // namespace corvid
