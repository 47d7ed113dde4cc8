#pragma once

// Reading whole projects of a cache at once: compositions and features are listed and features
// measured on several cores, inside one call. The result is what a frame cache model, stepped level
// by level, would give: the same names in the same order, the same places where a walk stops.

#include "store/directory_measure.h"
#include "store/hash_table.h"

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

namespace corvid {

// What listing one directory of the cache gave. A directory that no table line names ends the walk
// of its level at itself: each remaining step fails on it.
template <class Item>
struct WalkedLevel {
    bool opened = false;
    std::vector<Item> items;
    std::string unnamed;          // the directory that ended the walk, if any
    std::size_t unnamedSteps = 0; // how many steps failed on it
};

// One directory's numbers: what its own reading found and what was left to other threads, in the
// order of the directory. A list, because parts are filled while others are added.
struct MeasureParts {
    DirectoryMeasure own;
    std::list<DirectoryMeasure> rest;

    DirectoryMeasure total() const;
};

struct WalkedFeature {
    std::string name;
    MeasureParts parts;
};

struct WalkedComposition {
    std::string directory;
    std::string key;
    // Whether the directory is the one that the key leads to; if not, the features were not read
    // here, because a model opened by the key looks elsewhere.
    bool isNamedByKey = false;
    WalkedLevel<WalkedFeature> features;
};

using WalkedProject = WalkedLevel<WalkedComposition>;

struct ProjectToWalk {
    std::string path; // of the project's directory, without a trailing "/"
    std::shared_ptr<const HashTable> compositions; // null: an empty table
};

// Called on the calling thread, at most twenty times a second, with the number of files read so
// far.
using WalkProgress = std::function<void(std::uint64_t files)>;

// Walks the projects; the result has one entry per project, in the same order.
std::vector<WalkedProject> walkProjects(const std::vector<ProjectToWalk>& projects,
                                        const WalkProgress& progress);

// Measures directories side by side; the result has one entry per path, in the same order.
std::vector<MeasureParts> measureDirectories(const std::vector<std::string>& paths);

// Whether a directory is named by the hash of this key.
bool isNamedByKey(const std::string& directory, const std::string& key);

} // namespace corvid
