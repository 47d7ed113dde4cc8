#pragma once

// One reading of whole caches as plain values: every root, project, composition and feature in the
// order of its directory, also what no table names and what could not be read. Several directories
// are read at once, inside one call. Changes nothing on the disk and throws nothing away: what is
// shown or counted of it is for those who use it. Any thread may read.

#include "files/directory_measure.h"
#include "store/hash_table.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace corvid {

// One directory's numbers: what its own reading found and what was left to other threads, in the
// order of the directory. A list, because parts are filled while others are added.
struct MeasureParts {
    DirectoryMeasure own;
    std::list<DirectoryMeasure> rest;

    DirectoryMeasure total() const;
};

struct ReadFeature {
    std::string directory;   // its name
    MeasureParts parts = {}; // not opened: it could not be read
};

// A directory below a project.
struct ReadComposition {
    std::string directory;
    std::string key = {}; // of the table; empty when no line names the directory
    bool opened = false;
    bool isCut = false;              // its reading broke off
    DirectoryIdentity identity = {}; // its own, as below
    std::vector<ReadFeature> features = {};
    std::vector<std::string> others = {}; // what is no directory in it, hidden names left out

    bool isNamed() const { return !key.empty(); }
};

// A directory below a cache root.
struct ReadProject {
    std::string directory;
    std::string key = {};
    bool opened = false;
    bool isCut = false;
    DirectoryIdentity identity = {};
    std::vector<ReadComposition> compositions = {};
    std::vector<std::string> others = {};

    bool isNamed() const { return !key.empty(); }
    // The composition in the directory of that name; null when there is none.
    const ReadComposition* inDirectory(const std::string& name) const;
};

enum class RootState { Ok, Missing, NotADirectory, Unreadable };

// The tables of a cache root; null for one that is missing or cannot be read.
struct RootTables {
    std::shared_ptr<const HashTable> projects;
    std::shared_ptr<const HashTable> compositions;
    // There are tables that cannot be read.
    bool areProjectsUnreadable = false;
    bool areCompositionsUnreadable = false;
};
RootTables tablesOfRoot(const std::string& root);
std::string projectTablePath(const std::string& root);
std::string compositionTablePath(const std::string& root);

struct ReadRoot {
    std::string path; // as it was given
    RootState state = RootState::Unreadable;
    bool isCut = false;
    RootTables tables;
    std::vector<ReadProject> projects;
    std::vector<std::string> others = {}; // the tables themselves left out, too

    const ReadProject* inDirectory(const std::string& name) const;
};

struct CacheReading {
    std::vector<ReadRoot> roots;
    bool isStopped = false; // then it is not whole
};

// What could not be read.
enum class ProblemKind { Missing, NotADirectory, Unreadable };
struct ReadingProblem {
    std::string path;
    ProblemKind kind;
};
std::vector<ReadingProblem> problemsOf(const CacheReading& reading);

struct ReadingOptions {
    std::vector<std::string> roots;          // "/" at their ends or not
    const std::atomic<bool>* stop = nullptr; // the reading ends soon after this becomes true
    // What costs more than the rest: the first and last frame of each feature, and the identity of
    // projects, compositions and features.
    bool withFrameNumbers = false;
    Identity identity = Identity::LeaveOut;
};

// Called on the calling thread, at most twenty times a second, with the number of files read so
// far.
using ReadingProgress = std::function<void(std::uint64_t files)>;

// Throws std::bad_alloc when there is no memory for it.
[[nodiscard]] CacheReading readCaches(const ReadingOptions& options,
                                      const ReadingProgress& progress = nullptr);
// One project's directory, its compositions named by the table.
[[nodiscard]] ReadProject readProject(const std::string& root, const std::string& directory,
                                      const HashTable* compositions);

// Measures directories side by side; the result has one entry per path, in the same order.
std::vector<MeasureParts> measureDirectories(const std::vector<std::string>& paths);

// Whether a frame file steps as number -1, which ends a model's walk through the frames.
bool stepsAsMinusOne(const char* name);

// The number of a frame file, digits before ".raw"; none for any other name.
std::optional<std::uint64_t> frameNumber(const char* name);

// Writes the error line that a file without readable status gives, once per such file.
void logUnreadableFiles(const DirectoryMeasure& measure);

// A cache root with "/" at its end, as a model has it.
std::string rootPath(const std::string& root);

} // namespace corvid
