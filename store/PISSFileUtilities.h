#pragma once

// Free functions on path texts that every store rests on: listings, sizes and counts, directory
// creation, the tokenizer of the text formats and the product's fixed paths. They keep no state.

#include "files/owned_list.h"

#include <cstdint>
#include <string>

// One name found in a directory. Both the entry and its name are released with free().
struct sDirectoryOrFileListEntry {
    char* name;
    sDirectoryOrFileListEntry* next;
};

namespace corvid {

constexpr int kListFiles =
    0; // every entry that is not a directory, links and hidden names included
constexpr int kListDirectories = 1; // every directory but "." and ".."

// Frees one entry with its name.
void destroyListEntry(sDirectoryOrFileListEntry* entry);
using NameList = OwnedList<sDirectoryOrFileListEntry, destroyListEntry>;

} // namespace corvid

// Lists one directory in the system's order into a chain that the caller owns; head, tail and count
// are emptied first. 1, or 0 with one error line (a directory that cannot be opened gives none).
int PISSGetDirectoryOrFileList(const char* path, int searchForType,
                               sDirectoryOrFileListEntry** queueHead,
                               sDirectoryOrFileListEntry** queueTail, int* count);
// Creates a directory with all missing parents. Always 1, whatever came of it.
int PISSCreateDirectoryPath(const char* path);
// Bytes of everything below a directory, links followed for their size, directories adding nothing.
// What cannot be read counts 0; a file whose status cannot be read gives one error line.
std::uint64_t PISSGetSizeOfDirectoryContents(const char* path);
// Bytes of one file, links followed; 0 and one error line when its status cannot be read.
std::uint64_t PISSGetSizeOfFileContents(const char* file);
// Number of entries below a directory, at any depth, that are not directories.
std::uint64_t PISSGetFileCount(const char* path);
// Removes one file, never a directory. 1 or 0.
int PISSDeleteFile(const char* path);

// The POSIX strtok_r: overwrites the delimiter behind the token and leaves `rest` past it.
char* KavroPISSstrtok_r(char* text, const char* delimiters, char** rest);
// The text past its leading delimiters; null when either is null or nothing else remains.
char* KavroPISSClipPrefixedWhiteSpace(char* text, const char* delimiters);

// Each clears the buffer and prints one fixed path into it, cut to size - 2 characters; returns the
// length of the whole path. 0 with one error line for a null buffer or a size below 1.
int assignCorvidProRootConfigDirectoryPath(char* buffer, int size);
int assignCorvidProRenderQueueDefaultDirectoryPath(char* buffer, int size);
int assignCorvidProFrameCacheDefaultDirectoryPath(char* buffer, int size);
int assignCorvidProFrameCacheRegistryFilePath(char* buffer, int size);
