#include "files/directory_measure.h"

#include "files/path_text.h"

#include <algorithm>

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
    Measurer(std::size_t topLength, EndsDating endsDating, FileCounter* counter)
        : m_topLength(topLength), m_endsDating(endsDating), m_counter(counter) {}

    void setWalk(DirectoryWalk<Measurer>& walk) { m_walk = &walk; }
    bool file(int directory, const std::string& path, const char* name) {
        // No other directory's path is as short as the starting one's.
        const IsDirect isDirect = path.size() == m_topLength ? IsDirect::Yes : IsDirect::No;
        if (!measureFile(directory, name, isDirect, m_endsDating, m_measure)) {
            m_measure.unreadableFiles.push_back({joinedPath(path, name), m_walk->place()});
        }
        if (m_counter != nullptr) {
            m_counter->count(m_measure.files);
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
    EndsDating m_endsDating;
    FileCounter* m_counter;
    DirectoryWalk<Measurer>* m_walk = nullptr;
    DirectoryMeasure m_measure;
};

class Counter : public FileVisitor {
public:
    bool file(int /*directory*/, const std::string& /*path*/, const char* /*name*/) {
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

bool measureFile(int directory, const char* name, IsDirect isDirect, EndsDating endsDating,
                 DirectoryMeasure& measure) {
    ++measure.files;
    measure.dateEnded = measure.dateEnded ||
                        (isDirect == IsDirect::Yes && endsDating != nullptr && endsDating(name));
    struct stat status {};
    if (::fstatat(directory, name, &status, 0) != 0) {
        return false;
    }
    measure.bytes += static_cast<std::uint64_t>(status.st_size);
    if (isDirect == IsDirect::Yes && !measure.dateEnded) {
        measure.newest = std::max(measure.newest, static_cast<long>(status.st_mtime));
    }
    return true;
}

void addMeasure(DirectoryMeasure& sum, const DirectoryMeasure& part) {
    sum.opened = sum.opened || part.opened;
    sum.bytes += part.bytes;
    sum.files += part.files;
    sum.newest = sum.dateEnded ? sum.newest : std::max(sum.newest, part.newest);
    sum.dateEnded = sum.dateEnded || part.dateEnded;
    sum.unreadableFiles.insert(sum.unreadableFiles.end(), part.unreadableFiles.begin(),
                               part.unreadableFiles.end());
}

DirectoryMeasure measureDirectoryAt(int parent, const char* name, const std::string& path,
                                    EndsDating endsDating, FileCounter* counter) {
    UniqueFd directory = openDirectory(parent, name, LinkRule::Follow);
    if (!directory.isOpen()) {
        return {};
    }
    Measurer measurer(path.size(), endsDating, counter);
    DirectoryWalk<Measurer> walk(measurer);
    measurer.setWalk(walk);
    walk.run(std::move(directory), path);
    return measurer.finished();
}

DirectoryMeasure measureDirectory(const char* path, EndsDating endsDating) {
    return path != nullptr ? measureDirectoryAt(AT_FDCWD, path, path, endsDating)
                           : DirectoryMeasure{};
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
