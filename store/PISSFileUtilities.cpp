#include "store/PISSFileUtilities.h"

#include "files/directory_measure.h"
#include "files/directory_scan.h"
#include "files/shell_command.h"
#include "runtime/fixed_paths.h"
#include "runtime/maro_log.h"
#include "runtime/out_of_memory.h"
#include "store/cache_reading.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvid {

void destroyListEntry(sDirectoryOrFileListEntry* entry) {
    std::free(entry->name);
    std::free(entry);
}

} // namespace corvid

namespace {

constexpr char kProductFolder[] = "/Library/Application Support/Fernwick Software/CorvidPro2/";

sDirectoryOrFileListEntry* newListEntry(const char* name) {
    auto* entry =
        static_cast<sDirectoryOrFileListEntry*>(std::malloc(sizeof(sDirectoryOrFileListEntry)));
    if (entry == nullptr) {
        return nullptr;
    }
    entry->next = nullptr;
    entry->name = ::strdup(name);
    if (entry->name == nullptr) {
        std::free(entry);
        return nullptr;
    }
    return entry;
}

bool isDirectory(const char* path) {
    struct stat status {};
    return ::stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

int assignProductPath(const char* operation, const char* fileName, char* buffer, int size) {
    if (buffer == nullptr || size <= 0) {
        maro_logError("%s invalid arguments", operation);
        return 0;
    }
    const auto bytes = static_cast<std::size_t>(size);
    std::memset(buffer, 0, bytes);
    return std::snprintf(buffer, bytes - 1, "%s%s%s", corvid::fixedPathPrefix(), kProductFolder,
                         fileName);
}

} // namespace

int PISSGetDirectoryOrFileList(const char* path, int searchForType,
                               sDirectoryOrFileListEntry** queueHead,
                               sDirectoryOrFileListEntry** queueTail, int* count) {
    if (count == nullptr) {
        maro_logError("GetDirectoryOrFileList: pointer to count is invalid\n");
        return 0;
    }
    if (queueHead == nullptr || queueTail == nullptr) {
        maro_logError("GetDirectoryOrFileList: queueHead or queueTail pointer invalid\n");
        return 0;
    }
    *queueHead = nullptr;
    *queueTail = nullptr;
    *count = 0;
    if (path == nullptr) {
        maro_logError("GetDirectoryOrFileList: path invalid\n");
        return 0;
    }
    if (searchForType != corvid::kListFiles && searchForType != corvid::kListDirectories) {
        maro_logError("GetDirectoryOrFileList: searchForType: %d invalid\n", searchForType);
        return 0;
    }
    const auto wanted = searchForType == corvid::kListDirectories ? corvid::EntryKind::Directory
                                                                  : corvid::EntryKind::File;
    corvid::DirectoryScan scan(corvid::openDirectory(AT_FDCWD, path, corvid::LinkRule::Follow));
    if (!scan.isOpen()) {
        if (errno == ENOMEM) {
            maro_logError("GetDirectoryOrFileList: malloc failed\n");
        }
        return 0;
    }
    for (corvid::DirectoryEntry found{}; scan.next(found);) {
        if (found.kind != wanted) {
            continue;
        }
        sDirectoryOrFileListEntry* entry = newListEntry(found.name);
        if (entry == nullptr) {
            maro_logError("GetDirectoryOrFileList: malloc failed\n");
            return 0;
        }
        (*queueTail != nullptr ? (*queueTail)->next : *queueHead) = entry;
        *queueTail = entry;
        ++*count;
    }
    return scan.failed() ? 0 : 1;
}

int PISSCreateDirectoryPath(const char* path) {
    // A directory that is there needs no shell: starting one costs as much as reading 2,000 files.
    if (path == nullptr || isDirectory(path)) {
        return 1;
    }
    return corvid::unlessOutOfMemory("CreateDirectoryPath", 1, [path] {
        // A relative name that begins with a dash would be read as an option.
        const char* here = path[0] == '-' ? "./" : "";
        const std::string command =
            std::string("mkdir -p \"") + here + corvid::escapedForShell(path) + "\"";
        corvid::runShellCommand(command, nullptr);
        return 1;
    });
}

std::uint64_t PISSGetSizeOfDirectoryContents(const char* path) {
    return corvid::unlessOutOfMemory("GetSizeOfDirectoryContents", std::uint64_t{0}, [path] {
        const corvid::DirectoryMeasure measure = corvid::measureDirectory(path);
        corvid::logUnreadableFiles(measure);
        return measure.bytes;
    });
}

std::uint64_t PISSGetSizeOfFileContents(const char* file) {
    struct stat status {};
    if (file == nullptr || ::stat(file, &status) != 0) {
        maro_logError("GetSizeOfFileContents: Could not stat on filepath: %s\n",
                      file != nullptr ? file : "");
        return 0;
    }
    return static_cast<std::uint64_t>(status.st_size);
}

std::uint64_t PISSGetFileCount(const char* path) {
    return corvid::unlessOutOfMemory("GetFileCount", std::uint64_t{0},
                                     [path] { return corvid::countFiles(path); });
}

int PISSDeleteFile(const char* path) {
    return path != nullptr && ::unlink(path) == 0 ? 1 : 0;
}

char* KavroPISSstrtok_r(char* text, const char* delimiters, char** rest) {
    char* token = text != nullptr ? text : *rest;
    if (token == nullptr) {
        return nullptr;
    }
    token += std::strspn(token, delimiters);
    if (*token == '\0') {
        *rest = token;
        return nullptr;
    }
    char* end = token + std::strcspn(token, delimiters);
    if (*end != '\0') {
        *end++ = '\0';
    }
    *rest = end;
    return token;
}

char* KavroPISSClipPrefixedWhiteSpace(char* text, const char* delimiters) {
    if (text == nullptr || delimiters == nullptr) {
        return nullptr;
    }
    text += std::strspn(text, delimiters);
    return *text != '\0' ? text : nullptr;
}

int assignCorvidProRootConfigDirectoryPath(char* buffer, int size) {
    // The message names the operation without "Directory", as it always has.
    return assignProductPath("assignCorvidProRootConfigPath", "", buffer, size);
}

int assignCorvidProRenderQueueDefaultDirectoryPath(char* buffer, int size) {
    return assignProductPath("assignCorvidProRenderQueueDefaultDirectoryPath", "RenderQueue/",
                             buffer, size);
}

int assignCorvidProFrameCacheDefaultDirectoryPath(char* buffer, int size) {
    return assignProductPath("assignCorvidProFrameCacheDefaultDirectoryPath", "Cache/", buffer,
                             size);
}

int assignCorvidProFrameCacheRegistryFilePath(char* buffer, int size) {
    return assignProductPath("assignCorvidProFrameCacheRegistryFilePath", "FrameCache.cvp", buffer,
                             size);
}
