#pragma once

// Size, file count and newest date of a directory in one pass.

#include "store/unique_fd.h"

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
    std::vector<std::string>
        unreadableFiles; // paths whose status could not be read; they count as files
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

// Adds one file of an open directory to a measure. `path` is the directory's; only files directly
// in the directory that is measured have a say in its date.
enum class IsDirect { No, Yes };
void measureFile(int directory, const std::string& path, const char* name, IsDirect isDirect,
                 DirectoryMeasure& measure);

// Adds the numbers of one part of a directory to those of another.
void addMeasure(DirectoryMeasure& sum, const DirectoryMeasure& part);

// Measures the directory that `name` is in the open directory `parent`. `path` is its path for
// messages. The counter, if any, hears of every file.
DirectoryMeasure measureDirectoryAt(int parent, const char* name, const std::string& path,
                                    FileCounter* counter = nullptr);
// The same by path.
DirectoryMeasure measureDirectory(const char* path);

// Writes the error line that a file without readable status gives, once per such file.
void logUnreadableFiles(const DirectoryMeasure& measure);

} // namespace corvid
