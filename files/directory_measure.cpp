#include "files/directory_measure.h"

#include "files/path_text.h"

#include <algorithm>
#include <tuple>

#include <fcntl.h>
#include <sys/stat.h>

namespace corvid {

TreePlace::TreePlace(const std::vector<std::uint32_t>& way, std::uint32_t before) {
    std::vector<std::uint32_t> steps;
    steps.reserve(way.size() + 1);
    for (const std::uint32_t nth : way) {
        steps.push_back(2 * nth);
    }
    steps.push_back(2 * before + 1);
    m_steps = std::make_shared<const std::vector<std::uint32_t>>(std::move(steps));
}

bool TreePlace::operator<(const TreePlace& other) const {
    if (m_outermost != other.m_outermost || m_steps == other.m_steps) {
        return m_outermost < other.m_outermost;
    }
    return m_steps == nullptr || (other.m_steps != nullptr && *m_steps < *other.m_steps);
}

namespace {

void addDate(long time, DirectoryMeasure& measure) {
    measure.oldest = measure.oldest == 0 ? time : std::min(measure.oldest, time);
    measure.newest = std::max(measure.newest, time);
}

void addNumber(std::uint64_t number, DirectoryMeasure& measure) {
    measure.firstNumber = std::min(measure.firstNumber.value_or(number), number);
    measure.lastNumber = std::max(measure.lastNumber.value_or(number), number);
}

void measureName(const char* name, const NameRules& rules, DirectoryMeasure& measure) {
    measure.dateEnded =
        measure.dateEnded || (rules.endsDating != nullptr && rules.endsDating(name));
    if (rules.numberOf != nullptr) {
        if (const std::optional<std::uint64_t> number = rules.numberOf(name)) {
            addNumber(*number, measure);
        }
    }
}

#ifdef __APPLE__
const timespec& changeOf(const struct stat& status) {
    return status.st_ctimespec;
}
#else
const timespec& changeOf(const struct stat& status) {
    return status.st_ctim;
}
#endif

void addChange(const struct stat& status, DirectoryIdentity& identity) {
    constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
    const timespec& changed = changeOf(status);
    identity.changedNs = std::max(
        identity.changedNs, static_cast<std::int64_t>(changed.tv_sec) * kNanosecondsPerSecond +
                                static_cast<std::int64_t>(changed.tv_nsec));
}

void addAllocated(const struct stat& status, DirectoryMeasure& measure) {
    constexpr std::uint64_t kBlock = 512; // of st_blocks, whatever the volume's are
    const std::uint64_t bytes = static_cast<std::uint64_t>(status.st_blocks) * kBlock;
    if (status.st_nlink > 1) {
        measure.sharedFiles.push_back({status.st_dev, status.st_ino, bytes});
    } else {
        measure.allocated += bytes;
    }
}

// What looks at files alone: directories are gone through whatever they are.
struct FileVisitor {
    bool filesEnded() { return true; }
    bool cannotOpen(const std::string& /*path*/) { return true; }
    bool leave(int /*parent*/, const char* /*name*/, const std::string& /*path*/) { return true; }
    void abandoned(const std::string& /*path*/) {}
    static std::string join(const std::string& directory, const char* name) {
        return joinedPath(directory, name);
    }
};

class Measurer : public FileVisitor {
public:
    Measurer(std::size_t topLength, const NameRules& rules, FileCounter* counter, Identity identity)
        : m_topLength(topLength), m_rules(rules), m_counter(counter), m_identity(identity) {}

    void setWalk(DirectoryWalk<Measurer>& walk) { m_walk = &walk; }
    void begin(int directory) {
        if (m_identity == Identity::Ask) {
            identify(directory, m_measure.identity);
        }
    }
    bool file(int directory, const std::string& path, const DirectoryEntry& entry) {
        // No other directory's path is as short as the starting one's.
        const NameRules* rules = path.size() == m_topLength ? &m_rules : nullptr;
        if (!measureFile(directory, entry, rules, m_measure)) {
            m_measure.unreadableFiles.push_back({joinedPath(path, entry.name), m_walk->place()});
        }
        if (m_counter != nullptr) {
            m_counter->count(m_measure.files);
        }
        return true;
    }

    bool cannotOpen(const std::string& /*path*/) {
        ++m_measure.directories;
        ++m_measure.closedDirectories;
        return true;
    }
    void listingFailed() { ++m_measure.closedDirectories; }
    bool leave(int parent, const char* name, const std::string& /*path*/) {
        ++m_measure.directories;
        struct stat status {};
        if (m_identity == Identity::Ask &&
            ::fstatat(parent, name, &status, AT_SYMLINK_NOFOLLOW) == 0) {
            addChange(status, m_measure.identity);
        }
        return true;
    }

    DirectoryMeasure finished() {
        if (m_counter != nullptr) {
            m_counter->countRest(m_measure.files);
        }
        m_measure.opened = true;
        return std::move(m_measure);
    }

private:
    std::size_t m_topLength;
    const NameRules& m_rules;
    FileCounter* m_counter;
    Identity m_identity;
    DirectoryWalk<Measurer>* m_walk = nullptr;
    DirectoryMeasure m_measure;
};

class Counter : public FileVisitor {
public:
    bool file(int /*directory*/, const std::string& /*path*/, const DirectoryEntry& /*entry*/) {
        ++m_files;
        return true;
    }
    std::uint64_t files() const { return m_files; }

private:
    std::uint64_t m_files = 0;
};

} // namespace

std::string joinedPath(const std::string& directory, const char* name) {
    return withSeparator(directory) + name;
}

bool measureFile(int directory, const DirectoryEntry& entry, const NameRules* rules,
                 DirectoryMeasure& measure) {
    ++measure.files;
    if (rules != nullptr) {
        measureName(entry.name, *rules, measure);
    }
    struct stat status {};
    // A link's own blocks are what its removal frees.
    if (entry.isLink && ::fstatat(directory, entry.name, &status, AT_SYMLINK_NOFOLLOW) == 0) {
        addAllocated(status, measure);
        addChange(status, measure.identity);
    }
    if (::fstatat(directory, entry.name, &status, 0) != 0) {
        return false;
    }
    measure.bytes += static_cast<std::uint64_t>(status.st_size);
    addChange(status, measure.identity);
    if (!entry.isLink) {
        addAllocated(status, measure);
    }
    if (rules != nullptr && !measure.dateEnded) {
        addDate(static_cast<long>(status.st_mtime), measure);
    }
    return true;
}

void identify(int directory, DirectoryIdentity& identity) {
    struct stat status {};
    if (::fstat(directory, &status) == 0) {
        identity.device = status.st_dev;
        identity.inode = status.st_ino;
        addChange(status, identity);
    }
}

void addMeasure(DirectoryMeasure& sum, const DirectoryMeasure& part) {
    sum.opened = sum.opened || part.opened;
    sum.bytes += part.bytes;
    sum.files += part.files;
    sum.directories += part.directories;
    sum.closedDirectories += part.closedDirectories;
    sum.allocated += part.allocated;
    if (!sum.dateEnded && part.newest != 0) {
        addDate(part.newest, sum);
        addDate(part.oldest, sum);
    }
    sum.dateEnded = sum.dateEnded || part.dateEnded;
    for (const std::optional<std::uint64_t>& number : {part.firstNumber, part.lastNumber}) {
        if (number) {
            addNumber(*number, sum);
        }
    }
    sum.identity.changedNs = std::max(sum.identity.changedNs, part.identity.changedNs);
    sum.sharedFiles.insert(sum.sharedFiles.end(), part.sharedFiles.begin(), part.sharedFiles.end());
    sum.unreadableFiles.insert(sum.unreadableFiles.end(), part.unreadableFiles.begin(),
                               part.unreadableFiles.end());
}

DirectoryMeasure measureDirectoryAt(int parent, const char* name, const std::string& path,
                                    const NameRules& rules, FileCounter* counter,
                                    Identity identity) {
    UniqueFd directory = openDirectory(parent, name, LinkRule::Follow);
    if (!directory.isOpen()) {
        return {};
    }
    Measurer measurer(path.size(), rules, counter, identity);
    measurer.begin(directory.get());
    DirectoryWalk<Measurer> walk(measurer);
    measurer.setWalk(walk);
    walk.run(std::move(directory), path);
    return measurer.finished();
}

DirectoryMeasure measureDirectory(const char* path, const NameRules& rules) {
    return path != nullptr ? measureDirectoryAt(AT_FDCWD, path, path, rules) : DirectoryMeasure{};
}

std::uint64_t allocatedOnce(std::vector<DirectoryMeasure::SharedFile>& files) {
    std::sort(files.begin(), files.end(), [](const auto& left, const auto& right) {
        return std::tie(left.device, left.inode) < std::tie(right.device, right.inode);
    });
    std::uint64_t bytes = 0;
    for (std::size_t i = 0; i < files.size(); ++i) {
        const bool isSame =
            i > 0 && files[i].device == files[i - 1].device && files[i].inode == files[i - 1].inode;
        bytes += isSame ? 0 : files[i].allocated;
    }
    return bytes;
}

std::uint64_t countFiles(const char* path) {
    UniqueFd directory =
        path != nullptr ? openDirectory(AT_FDCWD, path, LinkRule::Follow) : UniqueFd();
    if (!directory.isOpen()) {
        return 0;
    }
    Counter counter;
    DirectoryWalk<Counter>(counter).run(std::move(directory), path);
    return counter.files();
}

std::vector<std::string> unreadablePaths(DirectoryMeasure measure) {
    std::vector<DirectoryMeasure::UnreadableFile>& files = measure.unreadableFiles;
    std::stable_sort(files.begin(), files.end(),
                     [](const auto& left, const auto& right) { return left.place < right.place; });
    std::vector<std::string> paths;
    paths.reserve(files.size());
    for (DirectoryMeasure::UnreadableFile& file : files) {
        paths.push_back(std::move(file.path));
    }
    return paths;
}

} // namespace corvid
