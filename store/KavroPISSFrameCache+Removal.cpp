#include "runtime/maro_log.h"
#include "store/KavroPISSFrameCache.h"
#include "store/directory_scan.h"
#include "store/removal_walk.h"

#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::RemovalStep;

bool removeFile(int directory, const char* name) {
    return !corvid::isWriteProtected(directory, name) && ::unlinkat(directory, name, 0) == 0;
}

// Removes what a walk below `start` meets: files at once, directories when all in them is gone.
class Remover {
public:
    Remover(std::string start, std::function<bool(const std::string&)> isAllowed,
            const KavroPISSFrameCache::Progress& progress)
        : m_start(std::move(start)), m_isAllowed(std::move(isAllowed)), m_progress(progress) {}

    // Whether to go on.
    bool take(RemovalStep& step) {
        switch (step.kind) {
        case RemovalStep::Kind::Files:
        case RemovalStep::Kind::Protected:
            return removeFiles(step);
        case RemovalStep::Kind::Unreadable:
            maro_logError("DeleteDirectory::GetDirectoryOrFileList( '%s' ) failed\n",
                          step.path.c_str());
            return true;
        case RemovalStep::Kind::Directory:
            return removeDirectory(step);
        case RemovalStep::Kind::Abandoned:
            logAbandoned(step.path);
            return true;
        }
        return false;
    }

private:
    bool removeFiles(RemovalStep& step) {
        const bool isProtected = step.kind == RemovalStep::Kind::Protected;
        while (const char* name = step.names.next()) {
            const std::string path = step.path + "/" + name;
            if (!m_isAllowed(path)) {
                maro_logError("DeleteDirectory: Failed sanity on file path '%s'\n", path.c_str());
                return abandon(step.path);
            }
            if (isProtected || ::unlinkat(step.directory.get(), name, 0) != 0) {
                maro_logError("DeleteDirectory: Failed to DeleteFile '%s'\n", path.c_str());
                // The walk ends at a protected file by itself and tells what it abandons.
                return isProtected || abandon(step.path);
            }
            ++m_files;
            if (m_progress) {
                m_progress(m_files);
            }
        }
        return true;
    }

    bool removeDirectory(RemovalStep& step) {
        if (::unlinkat(step.directory.get(), step.names.next(), AT_REMOVEDIR) == 0) {
            return true;
        }
        maro_logError("DeleteDirectory: Failed to rmdirX top level '%s'\n", step.path.c_str());
        return abandon(step.path);
    }

    // Ends the removal inside a directory.
    bool abandon(std::string path) const {
        for (; path.size() > m_start.size(); path.resize(path.rfind('/'))) {
            logAbandoned(path);
        }
        return false;
    }

    static void logAbandoned(const std::string& path) {
        maro_logError("DeleteDirectory: DeleteDirectory recursive call on %s failed\n",
                      path.c_str());
    }

    std::string m_start;
    std::function<bool(const std::string&)> m_isAllowed;
    const KavroPISSFrameCache::Progress& m_progress;
    std::uint64_t m_files = 0;
};

std::string withoutTrailingSlashes(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

} // namespace

bool KavroPISSFrameCache::passesSanityCheck(const std::string& path) const {
    return m_root != nullptr && path.compare(0, std::strlen(m_root.get()), m_root.get()) == 0;
}

// Opens the directory that holds the last component of a path. What the cache root's own text names
// is reached as the system reaches it; from there on every step is taken from the open directory
// before it, and none through a link.
corvid::UniqueFd KavroPISSFrameCache::openParentOf(const std::string& path,
                                                   std::string& name) const {
    const std::string whole = withoutTrailingSlashes(path);
    const std::string root = m_root.get();
    std::size_t position = root.rfind('/') + 1;
    if (position >= whole.size()) { // the path is the root itself
        position = whole.rfind('/') + 1;
    }
    const std::string start = position > 0 ? whole.substr(0, position) : ".";
    corvid::UniqueFd directory =
        corvid::openDirectory(AT_FDCWD, start.c_str(), corvid::LinkRule::Follow);
    for (;;) {
        position = std::min(whole.find_first_not_of('/', position), whole.size());
        const std::size_t end = std::min(whole.find('/', position), whole.size());
        name = whole.substr(position, end - position);
        if (end == whole.size() || !directory.isOpen()) {
            return directory;
        }
        directory = corvid::openDirectory(directory.get(), name.c_str(), corvid::LinkRule::Refuse);
        position = end;
    }
}

bool KavroPISSFrameCache::removeContents(corvid::UniqueFd directory, const std::string& path) {
    Remover remover(
        path, [this](const std::string& file) { return passesSanityCheck(file); }, m_progress);
    return corvid::walkForRemoval(std::move(directory), path,
                                  [&remover](RemovalStep& step) { return remover.take(step); });
}

int KavroPISSFrameCache::DeleteDirectory(const char* path) {
    if (path == nullptr || !passesSanityCheck(path)) {
        maro_logError("DeleteDirectory: Failed sanity check on path of '%s'\n",
                      path != nullptr ? path : "");
        return 0;
    }
    std::string name;
    const corvid::UniqueFd parent = openParentOf(path, name);
    struct stat status {};
    if (!parent.isOpen() ||
        ::fstatat(parent.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        maro_logError("DeleteDirectory::GetDirectoryOrFileList( '%s' ) failed\n", path);
        return 0;
    }
    if (S_ISLNK(status.st_mode)) {
        if (!removeFile(parent.get(), name.c_str())) {
            maro_logError("DeleteDirectory: Failed to DeleteFile '%s'\n", path);
            return 0;
        }
        return 1;
    }
    corvid::UniqueFd directory =
        corvid::openDirectory(parent.get(), name.c_str(), corvid::LinkRule::Refuse);
    if (!directory.isOpen()) {
        maro_logError("DeleteDirectory::GetDirectoryOrFileList( '%s' ) failed\n", path);
        return 0;
    }
    if (!removeContents(std::move(directory), path)) {
        return 0;
    }
    if (::unlinkat(parent.get(), name.c_str(), AT_REMOVEDIR) != 0) {
        maro_logError("DeleteDirectory: Failed to rmdirX top level '%s'\n", path);
        return 0;
    }
    return 1;
}

int KavroPISSFrameCache::removeNamed(const char* operation, const char* parentName,
                                     const std::optional<std::string>& parent, const char* name) {
    if (!parent) {
        maro_logError("%s: Unable to GetCompletePathTo%s\n", operation, parentName);
        return 0;
    }
    const std::string path = *parent + name;
    if (!passesSanityCheck(path)) {
        maro_logError("%s: Failed sanity on path '%s'\n", operation, path.c_str());
        return 0;
    }
    if (DeleteDirectory(path.c_str()) == 0) {
        maro_logError("%s: Failed to DeleteDirectory '%s'\n", operation, path.c_str());
        return 0;
    }
    return 1;
}

int KavroPISSFrameCache::removeHashed(const char* operation, const char* parentName,
                                      const std::optional<std::string>& parent, const char* hash) {
    if (parent && !corvid::isDirectoryName(hash)) {
        maro_logError("%s: Failed sanity on path '%s'\n", operation, (*parent + hash).c_str());
        return 0;
    }
    return removeNamed(operation, parentName, parent, hash);
}

int KavroPISSFrameCache::DeleteProject(const char* projectName) {
    if (projectName == nullptr) {
        maro_logError("DeleteProject: projectName is null.");
        return 0;
    }
    const corvid::OwnedText hash = m_projectTable.hashOf(projectName);
    if (hash == nullptr) {
        maro_logError("DeleteProject: FindProjectNameHashGivenKey[%s] failed\n", projectName);
        return 0;
    }
    return removeHashed("DeleteProject", "CacheRoot", rootPath(), hash.get());
}

int KavroPISSFrameCache::DeleteComposition(const char* compositionName) {
    if (compositionName == nullptr) {
        maro_logError("DeleteComposition: compositionName is null\n");
        return 0;
    }
    const corvid::OwnedText hash = m_compositionTable.hashOf(compositionName);
    if (hash == nullptr) {
        maro_logError("DeleteComposition: FindCompositionNameHashGivenKey[%s] failed\n",
                      compositionName);
        return 0;
    }
    return removeHashed("DeleteComposition", "Project", projectPath(), hash.get());
}

int KavroPISSFrameCache::DeleteFeature(const char* featureName) {
    // An empty name would mean the composition itself.
    if (featureName == nullptr || *featureName == '\0') {
        maro_logError("DeleteFeature: featureName is null\n");
        return 0;
    }
    return removeNamed("DeleteFeature", "Composition", compositionPath(), featureName);
}

bool KavroPISSFrameCache::removeListedFrames(int directory, const std::string& path) {
    std::uint64_t files = 0;
    for (const auto* entry = m_listing.head(); entry != nullptr; entry = entry->next) {
        const std::string filePath = path + entry->name;
        if (!passesSanityCheck(filePath)) {
            maro_logError("DeleteAllFrames: Failed sanity on path '%s'\n", filePath.c_str());
            return false;
        }
        if (!removeFile(directory, entry->name)) {
            maro_logError("DeleteDirectory: Failed to DeleteFile '%s'\n", filePath.c_str());
            return false;
        }
        if (m_progress) {
            m_progress(++files);
        }
    }
    return true;
}

int KavroPISSFrameCache::DeleteAllFrames() {
    maro_logDev("IMPORTANT!!! DeleteAllFrames called");
    ReleaseFileDirectoryListIfUsed();
    m_numberOfFrames = 0;
    const std::optional<std::string> path = featurePath();
    if (!path) {
        maro_logError("DeleteAllFrames: GetCompletePathToFrameCache failed\n");
        return 0;
    }
    std::string name;
    const corvid::UniqueFd parent = openParentOf(*path, name);
    const corvid::UniqueFd directory =
        parent.isOpen()
            ? corvid::openDirectory(parent.get(), name.c_str(), corvid::LinkRule::Refuse)
            : corvid::UniqueFd();
    if (!directory.isOpen() || prepare(Level::Frame, m_numberOfFrames) == 0) {
        if (!directory.isOpen()) {
            maro_logError("PrepareFrameCacheList::GetDirectoryOrFileList( '%s' ) failed\n",
                          path->c_str());
        }
        return 0;
    }
    if (!removeListedFrames(directory.get(), *path)) {
        return 0;
    }
    m_numberOfFrames = 0;
    m_listing.clear();
    return 1;
}

int KavroPISSFrameCache::DeleteAllProjects() {
    PrepareProjectList();
    for (;;) {
        char* path = nullptr;
        char* name = nullptr;
        // The step tells its end with 0, never with -1: nothing in this loop ends it.
        const bool isEnd = GetNextItemInProjectList(&path, &name) == -1;
        const corvid::OwnedText ownedPath(path);
        const corvid::OwnedText ownedName(name);
        if (isEnd) {
            return 1;
        }
        DeleteProject(name);
    }
}

int KavroPISSFrameCache::DeleteAllCompositions() {
    PrepareCompositionList();
    for (;;) {
        char* path = nullptr;
        char* name = nullptr;
        const bool isEnd = GetNextItemInFrameCacheList(&path, &name) == -1;
        const corvid::OwnedText ownedPath(path);
        const corvid::OwnedText ownedName(name);
        if (isEnd) {
            return 1;
        }
        DeleteComposition(name); // the name is a directory's, a hash, which is no composition's key
    }
}

int KavroPISSFrameCache::DeleteAllFeatures() {
    if (!featurePath()) {
        maro_logError("DeleteAllFeatures: GetCompletePathToFrameCache failed\n");
        return 0;
    }
    PrepareFrameCacheList();
    for (;;) {
        char* path = nullptr;
        char* name = nullptr;
        const int frame = GetNextItemInFrameCacheList(&path, &name);
        const corvid::OwnedText ownedPath(path);
        const corvid::OwnedText ownedName(name);
        if (frame == -1) {
            return 1;
        }
        DeleteFrame(frame);
    }
}
