#include "tests/reliability/product_world.h"

#include "store/PISSMD5.h"

#include <filesystem>
#include <stdexcept>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvid::test {
namespace {

namespace fs = std::filesystem;

DiskEntry readEntry(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        throw std::runtime_error("lstat " + path);
    }
    DiskEntry entry{status.st_mode, {}};
    if (S_ISREG(status.st_mode)) {
        entry.text = readFile(path);
    } else if (S_ISLNK(status.st_mode)) {
        entry.text = fs::read_symlink(path).string();
    }
    return entry;
}

void writeEntry(const std::string& path, const DiskEntry& entry) {
    if (S_ISLNK(entry.mode)) {
        fs::create_symlink(entry.text, path);
        return;
    }
    if (S_ISDIR(entry.mode)) {
        makeDirectory(path);
    } else {
        writeFile(path, entry.text);
    }
    if (::chmod(path.c_str(), entry.mode & 07777) != 0) {
        throw std::runtime_error("chmod " + path);
    }
}

bool isBelow(const std::string& path, const std::string& directory) {
    return path.compare(0, directory.size(), directory) == 0 &&
           (path.size() == directory.size() || path[directory.size()] == '/');
}

// The part of a disk below a path, by what follows the path.
Disk partOf(const Disk& disk, const std::string& path) {
    Disk part;
    for (const auto& [name, entry] : disk) {
        if (isBelow(name, path)) {
            part.emplace(name.substr(path.size()), entry);
        }
    }
    return part;
}

std::string pairLine(const std::string& scope, const std::string& type, const std::string& key,
                     const std::string& value) {
    return scope + " " + type + "\t" + key + " " + value + "\n";
}

} // namespace

const DiskEntry* entryOf(const Disk& disk, const std::string& path) {
    const auto found = disk.find(path);
    return found != disk.end() ? &found->second : nullptr;
}

bool holdsTheSame(const Disk& one, const std::string& path, const Disk& other,
                  const std::string& otherPath) {
    const Disk part = partOf(one, path);
    return !part.empty() && part == partOf(other, otherPath);
}

ProductWorld::ProductWorld() {
    writeSettings();
    writeCaches();
    writeQueue();
    writeFile(root.path("guarded/file"), "kept");
    writeFile(root.path("guarded/folder/00000000.raw"), "kept as well");
}

void ProductWorld::writeSettings() const {
    writeFile(root.productFile("Config.txt"),
              pairLine("default", "string", "DirectoryLocationOfFrameCache", firstRoot()) +
                  pairLine("default", "string", "DirectoryLocationOfRenderQueue", queueFile("")) +
                  pairLine("default", "int", "SizeOfFrameCacheInMB", "20000") +
                  pairLine("default", "string", "SpecRenderRenderSettingsTemplate", "As it is"));
    writeFile(root.productFile("FrameCache.cvp"),
              pairLine(hashOf(solo), "string", "PathToCache", firstRoot()) +
                  pairLine(hashOf(twin), "string", "PathToCache", firstRoot()) +
                  pairLine(hashOf(other), "string", "PathToCache", secondRoot()));
    const std::string identity = hashOf(shots() + "::*::Edit.aep");
    writeFile(shots() + ".CorvidPro2ProjectConfig.cvp",
              "cvp-version:1\n" +
                  pairLine(identity, "string", "DirectoryLocationOfFrameCache", firstRoot()) +
                  pairLine(identity, "int", "SizeOfFrameCacheInMB", "500") +
                  pairLine(hashOf("comp"), "int", "Quality", "3"));
}

void ProductWorld::writeCaches() const {
    const auto line = [](const std::string& key) { return hashOf(key) + " " + key + "\n"; };
    writeFile(firstRoot() + "ProjectHash.txt", line(solo) + line(twin));
    writeFile(firstRoot() + "CompositionHash.txt", line(mainComp) + line(extraComp));
    writeFile(secondRoot() + "ProjectHash.txt", line(other));
    writeFile(secondRoot() + "CompositionHash.txt", line(mainComp));
    writeFrames(firstRoot(), solo, mainComp);
    writeFrames(firstRoot(), twin, mainComp);
    writeFrames(firstRoot(), twin, extraComp);
    writeFrames(secondRoot(), other, mainComp);
    const std::string feature = firstRoot() + hashOf(twin) + "/" + hashOf(extraComp) + "/PROXY";
    writeFile(feature + "/.hidden", "hidden");
    writeFile(feature + "/nested/deeper/00000001.raw", "nested");
    fs::create_directory_symlink(root.path("guarded"), feature + "/way out");
    // Its path begins with that of the first cache root, but for the separator.
    writeFile(root.path("first.kept/file"), "beside a cache");
}

void ProductWorld::writeFrames(const std::string& cacheRoot, const std::string& project,
                               const std::string& composition) const {
    const std::string folder = cacheRoot + hashOf(project) + "/" + hashOf(composition) + "/";
    writeFile(folder + "SPEC_PREVIEW/00000000.raw", "first frame");
    writeFile(folder + "SPEC_PREVIEW/00000001.raw", "second frame of " + project);
    writeFile(folder + "SPEC_RENDER/00000000.raw", "rendered frame");
    writeFile(folder + "PROXY/00000007.raw", "seventh frame");
}

void ProductWorld::writeQueue() const {
    writeFile(queueFile("RQ.txt"), jobWith("one") + jobWith("two"));
    writeFile(queueFile("ShadowRQ.txt"), jobWith("one") + jobWith("two"));
    writeFile(queueFile("RQ-History.txt"), jobWith("done"));
    writeFile(queueFile("RQProjects/cpro2-count.cvp"), "41\n");
    writeFile(queueFile("RQProjects/CPro2BGRQProject_1.aep"), "a backup project");
}

Disk ProductWorld::disk() const {
    Disk all;
    for (fs::recursive_directory_iterator at(root.path()), end; at != end; ++at) {
        const std::string path = relative(at->path().string());
        if (path == "private" || path == "guarded") {
            at.disable_recursion_pending();
            continue;
        }
        all.emplace_hint(all.end(), path, readEntry(at->path().string()));
    }
    return all;
}

void ProductWorld::restore(const Disk& wanted, const Disk& present) const {
    for (const auto& [path, entry] : present) {
        const DiskEntry* should = entryOf(wanted, path);
        const bool isOfOneKind =
            should != nullptr && (should->mode & S_IFMT) == (entry.mode & S_IFMT);
        if ((!isOfOneKind || S_ISLNK(entry.mode)) && exists(root.path(path))) {
            removeTree(root.path(path));
        }
    }
    for (const auto& [path, entry] : wanted) {
        const DiskEntry* has = entryOf(present, path);
        if (has == nullptr || *has != entry || !exists(root.path(path))) {
            writeEntry(root.path(path), entry);
        }
    }
}

std::string jobWith(const std::string& id) {
    return "{\n\tjob string\tid " + id + "\n\tjob int\tframes 250\n\t{\n\t\t{\n" +
           "\t\t\tmodule string\ttemplate Lossless\n\t\t}\n\t}\n}\n";
}

bool isLeftOver(const std::string& path) {
    // ".<name>.<process>.<n>.new"
    std::string name = path.substr(path.rfind('/') + 1);
    if (!name.starts_with('.') || !name.ends_with(".new")) {
        return false;
    }
    name.resize(name.size() - 4);
    for (int number = 0; number < 2; ++number) {
        const std::size_t dot = name.rfind('.');
        if (dot == 0 || dot == std::string::npos || dot + 1 == name.size() ||
            name.find_first_not_of("0123456789", dot + 1) != std::string::npos) {
            return false;
        }
        name.resize(dot);
    }
    return name.size() > 1;
}

bool isStoreFile(const std::string& path) {
    return (path.ends_with(".txt") || path.ends_with(".cvp")) && !isLeftOver(path);
}

int openDescriptors() {
    DIR* folder = ::opendir("/proc/self/fd");
    if (folder == nullptr) {
        throw std::runtime_error("cannot list the open descriptors");
    }
    int count = 0;
    while (::readdir(folder) != nullptr) { // NOLINT(concurrency-mt-unsafe)
        ++count;
    }
    ::closedir(folder);
    return count;
}

} // namespace corvid::test
