#include "files/directory_measure.h"
#include "files/path_text.h"
#include "files/shell_command.h"
#include "runtime/maro_log.h"
#include "runtime/out_of_memory.h"
#include "store/KavroPISSFrameCache.h"
#include "store/PISSMD5.h"

#include <chrono>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

// The inside of a shell's double quotes; a relative path that begins with a dash is no option.
std::string quotedForShell(const std::string& path) {
    const char* here = !path.empty() && path.front() == '-' ? "./" : "";
    return here + corvid::escapedForShell(path.c_str());
}

bool isDirectory(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Counts the files of a growing copy now and then: never for more than a tenth of the time.
class CopyProgress {
public:
    CopyProgress(std::string destination, KavroPISSFrameCache::Progress progress)
        : m_destination(std::move(destination)), m_progress(std::move(progress)) {}

    void operator()() {
        const Clock::time_point now = Clock::now();
        if (now >= m_nextCount) {
            m_files = PISSGetFileCount(m_destination.c_str());
            const Clock::time_point counted = Clock::now();
            m_nextCount = counted + 9 * (counted - now);
        }
        m_progress(m_files);
    }

private:
    using Clock = std::chrono::steady_clock;
    std::string m_destination;
    KavroPISSFrameCache::Progress m_progress;
    Clock::time_point m_nextCount{};
    std::uint64_t m_files = 0;
};

} // namespace

bool KavroPISSFrameCache::copyAcross(const std::string& from, const std::string& to) {
    // The wildcard stands outside the quotes, so names that begin with a full stop are left out.
    const std::string command =
        "cp -rf \"" + quotedForShell(from) + "/\"* \"" + quotedForShell(to) + "\"";
    maro_logError("Executing: [%s]", command.c_str());
    std::function<void()> tick;
    if (m_progress) {
        tick = CopyProgress(to, m_progress);
    }
    // Where the directory could not be made, a single composition would be copied as if it were it.
    if (!isDirectory(to) || corvid::runShellCommand(command, tick) != 0) {
        maro_logError("File Copy failed.");
        return false;
    }
    return true;
}

int KavroPISSFrameCache::MoveDirectory(const char* fromParent, const char* name,
                                       const char* toParent) {
    if (fromParent == nullptr || name == nullptr || toParent == nullptr) {
        maro_logError("MoveDirectory: %s is null.", fromParent == nullptr ? "fromParent"
                                                    : name == nullptr     ? "name"
                                                                          : "toParent");
        return 0;
    }
    return corvid::unlessOutOfMemory("MoveDirectory", 0, [&] {
        return moveDirectory(std::string(fromParent) + name, std::string(toParent) + "/" + name);
    });
}

int KavroPISSFrameCache::moveDirectory(const std::string& from, std::string to) {
    maro_log("Moving Cache from [%s] to [%s].", from.c_str(), to.c_str());
    if (std::rename(from.c_str(), to.c_str()) == 0) {
        return 1;
    }
    maro_logError("renameX() failed.");
    maro_log("Since the move failed, let's try moving things manually (ie: Slowly).");
    to.append(1, '/');
    if (PISSCreateDirectoryPath(to.c_str()) == 0) {
        maro_logError("Unable to create cache directory in new location: [%s].", to.c_str());
        return 0;
    }
    if (!copyAcross(from, to)) {
        return 0;
    }
    DeleteDirectory(from.c_str());
    return 1;
}

int KavroPISSFrameCache::MoveProject(const char* projectName, const char* newCacheRoot) {
    if (projectName == nullptr) {
        maro_logError("MoveProject: projectName is null.");
        return 0;
    }
    const corvid::OwnedText hash = m_projectTable.hashOf(projectName);
    if (hash == nullptr) {
        maro_logError("MoveProject: FindProjectNameHashGivenKey[%s] failed\n", projectName);
        return 0;
    }
    const char* root = m_root.get();
    if (root == nullptr) {
        maro_logError("MoveProject: Unable to GetCompletePathToCacheRoot\n");
        return 0;
    }
    if (!passesSanityCheck(root) || !corvid::isDirectoryName(hash.get())) {
        maro_logError("MoveProject: Failed sanity on path '%s'\n", root);
        return 0;
    }
    if (MoveDirectory(root, hash.get(), newCacheRoot) == 0) {
        maro_logError(" MoveProject: Error moving files to new directory.");
        return 0;
    }
    return 1;
}

std::optional<std::string> KavroPISSFrameCache::sourceRoot(const char* root) const {
    // This object's own root is taken as it stands, also without a separator at its end.
    return root != nullptr ? std::optional<std::string>(corvid::withSeparator(root)) : rootPath();
}

int KavroPISSFrameCache::RenameProject(const char* oldProjectName, const char* newProjectName,
                                       const char* oldCacheRoot, const char* newCacheRoot) {
    if (oldProjectName == nullptr || newProjectName == nullptr) {
        maro_logError("RenameProject: %s is null.",
                      oldProjectName == nullptr ? "oldProjectName" : "newProjectName");
        return 0;
    }
    const corvid::OwnedText oldHash = m_projectTable.hashOf(oldProjectName);
    if (oldHash == nullptr) {
        maro_logError("RenameProject: FindProjectNameHashGivenKey[%s] failed\n", oldProjectName);
        return 0;
    }
    return corvid::unlessOutOfMemory("RenameProject", 0, [&] {
        return renameProject(oldHash.get(), newProjectName, oldCacheRoot, newCacheRoot);
    });
}

int KavroPISSFrameCache::renameProject(const char* oldHash, const char* newProjectName,
                                       const char* oldCacheRoot, const char* newCacheRoot) {
    const std::optional<std::string> source = sourceRoot(oldCacheRoot);
    if (!source) {
        maro_logError("RenameProject: Unable to GetCompletePathToCacheRoot\n");
        return 0;
    }
    const std::string destination =
        newCacheRoot != nullptr ? corvid::withSeparator(newCacheRoot) : *source;
    // A table that cannot be written says so; the new hash is known all the same.
    const KavroPISSFrameCache renamed(source->c_str(), newProjectName);
    const corvid::OwnedText newHash = renamed.m_projectTable.hashOf(newProjectName);
    if (newHash == nullptr) {
        maro_logError("RenameProject: FindProjectNameHashGivenKey[%s] failed\n", newProjectName);
        return 0;
    }
    if (std::strcmp(oldHash, newHash.get()) == 0) {
        maro_logWarning("RenameProject: Cache Directory's are identical. Ignoring Rename request.");
        return 1;
    }
    const std::string from = *source + oldHash;
    const std::string to = destination + newHash.get();
    if (std::rename(from.c_str(), to.c_str()) != 0) {
        maro_logError("RenameProject: renameX() failed.");
        return 0;
    }
    DeleteDirectory(from.c_str()); // nothing is there any more; it only says so
    return 1;
}

int KavroPISSFrameCache::TestFunctionToCreateAFrameFile(int frame) {
    return corvid::unlessOutOfMemory("TestFunctionToCreateAFrameFile", 0, [&] {
        const std::optional<std::string> path = featurePath();
        if (!path) {
            maro_logError("TestFunctionToCreateAFrameFile: GetCompletePathToFrameCache failed\n");
            return 0;
        }
        char name[32];
        // The path ends in a separator already; the doubled one does no harm.
        std::snprintf(name, sizeof(name), "%c%.8d.raw", '/', frame);
        const std::string file = *path + name;
        const corvid::UniqueFd created(
            ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0666));
        if (!created.isOpen()) {
            maro_logError("Unable to create frame file '%s'\n", file.c_str());
            return 0;
        }
        return 1;
    });
}
