#pragma once

// Size, file count and newest date of a directory in one pass.

#include "files/directory_walk.h"
#include "files/unique_fd.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace corvid {

struct DirectoryMeasure {
    bool opened = false;     // false: could not be read, everything else is 0
    std::uint64_t bytes = 0; // of all files at any depth, links followed for their size
    std::uint64_t files = 0; // entries at any depth that are not directories
    long newest = 0;         // largest modification time of the files directly inside, at
                             // least 0; seconds since 1970
    bool dateEnded = false;  // a file was met that ends the dating: those behind it have no say
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

// Adds one file of an open directory to a measure; false when its status could not be read (it then
// counts as a file without bytes). Only files directly in the directory that is measured have a say
// in its date.
enum class IsDirect { No, Yes };
// Whether no file from this one on, in the order of the directory, has a say in the date; null for
// a measuring without such files.
using EndsDating = bool (*)(const char* name);
[[nodiscard]] bool measureFile(int directory, const char* name, IsDirect isDirect,
                               EndsDating endsDating, DirectoryMeasure& measure);
// The path of an entry of a directory.
std::string joinedPath(const std::string& directory, const char* name);

// Adds the numbers of one part of a directory to those of another that stands before it.
void addMeasure(DirectoryMeasure& sum, const DirectoryMeasure& part);

// Measures the directory that `name` is in the open directory `parent`. `path` is its path, for the
// paths of unreadable files. The counter, if any, hears of every file.
DirectoryMeasure measureDirectoryAt(int parent, const char* name, const std::string& path,
                                    EndsDating endsDating, FileCounter* counter = nullptr);
// The same by path.
DirectoryMeasure measureDirectory(const char* path, EndsDating endsDating);

// The number of files, as in a measure, without looking at any; 0 for a directory that cannot be
// read.
std::uint64_t countFiles(const char* path);

// The paths of the unreadable files, in the order of their places.
std::vector<std::string> unreadablePaths(DirectoryMeasure measure);

} // namespace corvid
