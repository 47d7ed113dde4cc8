#pragma once

// The caches as people and scripts are told of them: the values of one reading with their sums, the
// volumes that they lie on, what no table names and what could not be read. Nothing on the disk is
// changed.

#include "store/cache_reading.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace corvid {

// Of a file tree: `bytes` counts each name, links followed; `allocated` the blocks on the disk, a
// file of several names once. Directories' own blocks are not counted. Times are seconds since
// 1970, 0 when unknown.
struct ListNumbers {
    std::uint64_t bytes = 0;
    std::uint64_t allocated = 0;
    std::uint64_t files = 0;
    long newest = 0;
    long oldest = 0;
};

struct ListedFeature {
    std::string directory;
    ListNumbers numbers = {};
    std::optional<std::uint64_t> firstFrame = {};
    std::optional<std::uint64_t> lastFrame = {};
    std::vector<DirectoryMeasure::SharedFile> shared = {}; // its files of several names

    // As a user knows it; null for one that the window has no label for.
    const char* label() const;
};

struct ListedComposition {
    std::string directory;
    std::string key;
    ListNumbers numbers = {};
    std::vector<ListedFeature> features = {};
};

// Unknown: on a volume that is away or in a folder that cannot be listed.
enum class ProjectFile { Present, Gone, Unknown };

struct ListedProject {
    std::string directory;
    std::string key;
    ProjectFile projectFile = ProjectFile::Unknown;
    ListNumbers numbers = {};
    std::vector<ListedComposition> compositions = {};
};

enum class StrayKind { UnnamedProject, UnnamedComposition, Foreign };

struct ListedStray {
    std::string path; // below the root
    StrayKind kind;
    ListNumbers numbers = {};
    std::vector<DirectoryMeasure::SharedFile> shared = {};
};

struct ListedVolume {
    std::string id; // the device's number
    std::uint64_t total = 0;
    std::uint64_t free = 0; // what an ordinary user may still fill
};

enum class ListedState { Ok, Missing, Unreadable, NotADirectory, TimedOut };

struct ListedRoot {
    std::string path; // as the registry or the user has it, without "/" at its end
    ListedState state = ListedState::Unreadable;
    std::optional<ListedVolume> volume = {};
    ListNumbers numbers = {}; // of the named projects
    std::vector<ListedProject> projects = {};
    std::vector<ListedStray> strays = {};
};

enum class ListProblemKind {
    Missing,
    Unreadable,
    NotADirectory,
    Vanished,
    Loop,
    TimedOut,
    Damaged
};

struct ListProblem {
    std::string path;
    ListProblemKind kind;
    std::string message; // a sentence
    std::uint64_t count = 1;
};

struct StrayTotals {
    std::uint64_t count = 0;
    ListNumbers numbers = {};
};

struct CacheList {
    std::vector<ListedRoot> roots;
    std::vector<ListProblem> problems;
    bool isInterrupted = false;

    ListNumbers totals = {};
    std::uint64_t projects = 0;
    std::uint64_t compositions = 0;
    std::uint64_t features = 0;
    StrayTotals strays = {};

    bool isComplete() const { return problems.empty() && !isInterrupted; }
};

// An item that the user named and that is not there, or is there more than once.
class UnknownItem : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct ListOptions {
    std::vector<std::string> roots;          // as knownCacheRoots() gives them, or the user's own
    std::vector<std::string> items = {};     // only these; all when empty
    std::chrono::milliseconds timeout{5000}; // for the first answer of a root's volume
    const std::atomic<bool>* stop = nullptr;
};

// Reads and sums up. Throws UnknownItem with one line that names the item and, if there are any,
// the candidates; std::bad_alloc without memory.
[[nodiscard]] CacheList listCaches(const ListOptions& options,
                                   const ReadingProgress& progress = nullptr);

// What the order of siblings goes by. Tree: the bytes of the directories' names. Ties are in that
// order, too.
enum class ListOrder { Tree, Size, Date, Name, Files };
// Roots stay as they are in tree order; largest, newest first; names from A, of roots and strays
// the paths.
void sortList(CacheList& list, ListOrder order, bool isReversed);

// The words that documents have for them.
const char* wordOf(ListedState state);
const char* wordOf(ProjectFile file);
const char* wordOf(StrayKind kind);
const char* wordOf(ListProblemKind kind);

} // namespace corvid
