#include "files/directory_scan.h"
#include "files/path_text.h"
#include "files/removal_walk.h"
#include "runtime/maro_log.h"
#include "runtime/out_of_memory.h"
#include "store/KavroPISSFrameCache.h"

#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::RemovalStep;

bool removeFile(int directory, const char* name) {
    return !corvid::mayNotBeRemoved(directory, name) && ::unlinkat(directory, name, 0) == 0;
}

// Removes what a walk below `start` meets: files at once, directories when all in them is gone.
class Remover {
public:
    Remover(std::string start, std::function<bool(const char*)> isAllowed,
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
            if (!m_isAllowed(path.c_str())) {
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
    std::function<bool(const char*)> m_isAllowed;
    const KavroPISSFrameCache::Progress& m_progress;
    std::uint64_t m_files = 0;
};

} // namespace

bool KavroPISSFrameCache::passesSanityCheck(const char* path) const {
    return m_root != nullptr && std::strncmp(path, m_root.get(), std::strlen(m_root.get())) == 0;
}

// Opens the way to the directory that holds the last component of a path, which need not be
// readable. What the cache root's own text names is reached as the system reaches it; from there on
// every step is taken from the open directory before it, and none through a link.
corvid::UniqueFd KavroPISSFrameCache::openParentOf(const std::string& path,
                                                   std::string& name) const {
    const std::string whole(corvid::withoutSeparators(path));
    const std::string root = m_root.get();
    std::size_t position = root.rfind('/') + 1;
    if (position >= whole.size()) { // the path is the root itself
        position = whole.rfind('/') + 1;
    }
    const std::string start = position > 0 ? whole.substr(0, position) : ".";
    corvid::UniqueFd directory = corvid::openWay(AT_FDCWD, start.c_str(), corvid::LinkRule::Follow);
    for (;;) {
        position = std::min(whole.find_first_not_of('/', position), whole.size());
        const std::size_t end = std::min(whole.find('/', position), whole.size());
        name = whole.substr(position, end - position);
        if (end == whole.size() || !directory.isOpen()) {
            return directory;
        }
        directory = corvid::openWay(directory.get(), name.c_str(), corvid::LinkRule::Refuse);
        position = end;
    }
}

bool KavroPISSFrameCache::removeContents(corvid::UniqueFd directory, const std::string& path) {
    Remover remover(
        path, [this](const char* file) { return passesSanityCheck(file); }, m_progress);
    return corvid::walkForRemoval(std::move(directory), path,
                                  [&remover](RemovalStep& step) { return remover.take(step); });
}

int KavroPISSFrameCache::DeleteDirectory(const char* path) {
    if (path == nullptr || !passesSanityCheck(path)) {
        maro_logError("DeleteDirectory: Failed sanity check on path of '%s'\n",
                      path != nullptr ? path : "");
        return 0;
    }
    return corvid::unlessOutOfMemory("DeleteDirectory", 0, [&] { return removeDirectory(path); });
}

int KavroPISSFrameCache::removeDirectory(const char* path) {
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

KavroPISSFrameCache::Target KavroPISSFrameCache::targetIn(const char* operation,
                                                          const char* parentName,
                                                          const std::optional<std::string>& parent,
                                                          const char* name) const {
    if (!parent) {
        return {{}, std::string(operation) + ": Unable to GetCompletePathTo" + parentName + "\n"};
    }
    std::string path = *parent + name;
    if (!passesSanityCheck(path.c_str())) {
        return {{}, std::string(operation) + ": Failed sanity on path '" + path + "'\n"};
    }
    return {std::move(path), {}};
}

KavroPISSFrameCache::Target
KavroPISSFrameCache::hashedTargetIn(const char* operation, const char* parentName,
                                    const std::optional<std::string>& parent,
                                    const char* hash) const {
    if (parent && !corvid::isDirectoryName(hash)) {
        return {{}, std::string(operation) + ": Failed sanity on path '" + *parent + hash + "'\n"};
    }
    return targetIn(operation, parentName, parent, hash);
}

// A looking object records no new key, and finds it as if it had.
corvid::OwnedText KavroPISSFrameCache::hashOfProject(const char* projectName) const {
    corvid::OwnedText hash = m_projectTable.hashOf(projectName);
    const bool isOwn = m_projectKey != nullptr && std::strcmp(projectName, m_projectKey.get()) == 0;
    return hash == nullptr && m_isLooking && isOwn ? corvid::OwnedText(::strdup(m_projectHash))
                                                   : std::move(hash);
}

corvid::OwnedText KavroPISSFrameCache::hashOfComposition(const char* compositionName) const {
    corvid::OwnedText hash = m_compositionTable.hashOf(compositionName);
    const bool isOwn =
        m_compositionKey != nullptr && std::strcmp(compositionName, m_compositionKey.get()) == 0;
    return hash == nullptr && m_isLooking && isOwn ? corvid::OwnedText(::strdup(m_compositionHash))
                                                   : std::move(hash);
}

KavroPISSFrameCache::Target KavroPISSFrameCache::projectTarget(const char* projectName) const {
    if (projectName == nullptr) {
        return {{}, "DeleteProject: projectName is null."};
    }
    const corvid::OwnedText hash = hashOfProject(projectName);
    if (hash == nullptr) {
        return {{},
                std::string("DeleteProject: FindProjectNameHashGivenKey[") + projectName +
                    "] failed\n"};
    }
    return hashedTargetIn("DeleteProject", "CacheRoot", rootPath(), hash.get());
}

KavroPISSFrameCache::Target
KavroPISSFrameCache::compositionTarget(const char* compositionName) const {
    if (compositionName == nullptr) {
        return {{}, "DeleteComposition: compositionName is null\n"};
    }
    const corvid::OwnedText hash = hashOfComposition(compositionName);
    if (hash == nullptr) {
        return {{},
                std::string("DeleteComposition: FindCompositionNameHashGivenKey[") +
                    compositionName + "] failed\n"};
    }
    return hashedTargetIn("DeleteComposition", "Project", projectPath(), hash.get());
}

KavroPISSFrameCache::Target KavroPISSFrameCache::featureTarget(const char* featureName) const {
    // An empty name would mean the composition itself.
    if (featureName == nullptr || *featureName == '\0') {
        return {{}, "DeleteFeature: featureName is null\n"};
    }
    return targetIn("DeleteFeature", "Composition", compositionPath(), featureName);
}

int KavroPISSFrameCache::removeTarget(const char* operation, const Target& target) {
    if (!target.refusal.empty()) {
        maro_logError("%s", target.refusal.c_str());
        return 0;
    }
    if (DeleteDirectory(target.path.c_str()) == 0) {
        maro_logError("%s: Failed to DeleteDirectory '%s'\n", operation, target.path.c_str());
        return 0;
    }
    return 1;
}

std::optional<std::string> KavroPISSFrameCache::pathIfThere(Target target) const {
    if (!target.refusal.empty()) {
        return std::nullopt;
    }
    std::string name;
    struct stat status {};
    const corvid::UniqueFd parent = openParentOf(target.path, name);
    const bool isThere = parent.isOpen() &&
                         ::fstatat(parent.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                         (S_ISDIR(status.st_mode) || S_ISLNK(status.st_mode));
    return isThere ? std::optional<std::string>(std::move(target.path)) : std::nullopt;
}

int KavroPISSFrameCache::DeleteProject(const char* projectName) {
    return corvid::unlessOutOfMemory("DeleteProject", 0, [&] {
        return removeTarget("DeleteProject", projectTarget(projectName));
    });
}

int KavroPISSFrameCache::DeleteComposition(const char* compositionName) {
    return corvid::unlessOutOfMemory("DeleteComposition", 0, [&] {
        return removeTarget("DeleteComposition", compositionTarget(compositionName));
    });
}

int KavroPISSFrameCache::DeleteFeature(const char* featureName) {
    return corvid::unlessOutOfMemory("DeleteFeature", 0, [&] {
        return removeTarget("DeleteFeature", featureTarget(featureName));
    });
}

std::optional<std::string>
KavroPISSFrameCache::pathThatDeleteProjectRemoves(const char* projectName) const {
    return pathIfThere(projectTarget(projectName));
}

std::optional<std::string>
KavroPISSFrameCache::pathThatDeleteCompositionRemoves(const char* compositionName) const {
    return pathIfThere(compositionTarget(compositionName));
}

std::optional<std::string>
KavroPISSFrameCache::pathThatDeleteFeatureRemoves(const char* featureName) const {
    return pathIfThere(featureTarget(featureName));
}

bool KavroPISSFrameCache::removeListedFrames(int directory, const std::string& path) {
    std::uint64_t files = 0;
    for (const auto* entry = m_listing.head(); entry != nullptr; entry = entry->next) {
        const std::string filePath = path + entry->name;
        if (!passesSanityCheck(filePath.c_str())) {
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
    return corvid::unlessOutOfMemory("DeleteAllFrames", 0, [this] { return removeAllFrames(); });
}

int KavroPISSFrameCache::removeAllFrames() {
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
    if (PrepareCompositionList() == 0) {
        return 0;
    }
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
    if (m_featureName == nullptr) {
        maro_logError("DeleteAllFeatures: GetCompletePathToFrameCache failed\n");
        return 0;
    }
    if (PrepareFrameCacheList() == 0) {
        return 0;
    }
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
