#include "store/directory_measure.h"

#include "runtime/maro_log.h"
#include "store/directory_walk.h"

#include <algorithm>

#include <fcntl.h>
#include <sys/stat.h>

namespace corvid {

namespace {

class Measurer {
public:
    Measurer(std::size_t topLength, FileCounter* counter)
        : m_topLength(topLength), m_counter(counter) {}

    bool file(int directory, const std::string& path, const char* name) {
        // No other directory's path is as short as the starting one's.
        const IsDirect isDirect = path.size() == m_topLength ? IsDirect::Yes : IsDirect::No;
        measureFile(directory, path, name, isDirect, m_measure);
        if (m_counter != nullptr) {
            m_counter->count(m_measure.files);
        }
        return true;
    }
    bool filesEnded() { return true; }
    bool cannotOpen(const std::string& /*path*/) { return true; }
    bool leave(int /*parent*/, const char* /*name*/, const std::string& /*path*/) { return true; }
    void abandoned(const std::string& /*path*/) {}
    static std::string join(const std::string& directory, const char* name) {
        return directory.empty() || directory.back() != '/' ? directory + "/" + name
                                                            : directory + name;
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
    FileCounter* m_counter;
    DirectoryMeasure m_measure;
};

} // namespace

void measureFile(int directory, const std::string& path, const char* name, IsDirect isDirect,
                 DirectoryMeasure& measure) {
    struct stat status {};
    ++measure.files;
    if (::fstatat(directory, name, &status, 0) != 0) {
        measure.unreadableFiles.push_back(Measurer::join(path, name));
        return;
    }
    measure.bytes += static_cast<std::uint64_t>(status.st_size);
    if (isDirect == IsDirect::Yes) {
        measure.newest = std::max(measure.newest, static_cast<long>(status.st_mtime));
    }
}

void addMeasure(DirectoryMeasure& sum, const DirectoryMeasure& part) {
    sum.opened = sum.opened || part.opened;
    sum.bytes += part.bytes;
    sum.files += part.files;
    sum.newest = std::max(sum.newest, part.newest);
    sum.unreadableFiles.insert(sum.unreadableFiles.end(), part.unreadableFiles.begin(),
                               part.unreadableFiles.end());
}

DirectoryMeasure measureDirectoryAt(int parent, const char* name, const std::string& path,
                                    FileCounter* counter) {
    UniqueFd directory = openDirectory(parent, name, LinkRule::Follow);
    if (!directory.isOpen()) {
        return {};
    }
    Measurer measurer(path.size(), counter);
    DirectoryWalk<Measurer> walk(measurer);
    walk.run(std::move(directory), path);
    return measurer.finished();
}

DirectoryMeasure measureDirectory(const char* path) {
    return path != nullptr ? measureDirectoryAt(AT_FDCWD, path, path) : DirectoryMeasure{};
}

void logUnreadableFiles(const DirectoryMeasure& measure) {
    for (const std::string& file : measure.unreadableFiles) {
        maro_logError("GetSizeOfFileContents: Could not stat on filepath: %s\n", file.c_str());
    }
}

} // namespace corvid
