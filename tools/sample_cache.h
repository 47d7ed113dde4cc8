#pragma once

// Makes frame caches of any shape below a folder, with everything that the product keeps around
// them, and tells what a reader of them has to find. For tests, benchmarks and the demo.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace corvid {

enum class SampleShape {
    Uniform, // every level has the same number of members
    Demo,    // eight projects as a user would have them; the numbers are not used
    Random,  // all numbers are upper limits; hidden, nested, linked and foreign files, odd names,
             // empty members
    Healthy  // the same without what a check would find fault with
};

struct SampleOptions {
    std::string root; // existing or not; stands for CORVIDPRO_ROOT, absolute
    SampleShape shape = SampleShape::Uniform;
    int roots = 1;        // cache roots; the first is the product's default one
    int projects = 1;     // in all, dealt out to the roots in turn
    int compositions = 1; // per project
    int features = 3;     // per composition, at most 3
    int frames = 10;      // per feature
    std::optional<std::uint64_t> totalCompositions; // dealt out to the projects instead
    std::optional<std::uint64_t> totalFrames;       // dealt out to the features instead
    std::uint64_t frameBytes = 1;                   // per frame; the files are sparse
    int strangers = 0;      // directories per cache root that no table line names
    std::uint64_t seed = 1; // the same options with the same seed give the same cache
    std::optional<std::int64_t>
        newest; // date of the newest frame, seconds since 1970; now if unset
};

// A date as a node of the cache shows it.
struct SampleDate {
    enum class Kind {
        Never,        // no date at all: nothing below the node
        Known,        // `seconds` since 1970
        TimeOfReading // a feature without files of its own is as new as the moment of reading
    };
    Kind kind = Kind::Never;
    std::int64_t seconds = 0;

    bool operator==(const SampleDate&) const = default;
};

// What one node of the cache amounts to. Members stand in the order of their directory.
struct SampleNode {
    std::string name; // project key, composition key or feature name
    std::string path; // without a trailing "/"
    std::uint64_t bytes = 0;
    std::uint64_t files = 0;
    SampleDate newest;
    std::vector<SampleNode> members;
};

struct SampleProject {
    SampleNode node;
    std::string cacheRoot; // without a trailing "/"
};

struct SampleCache {
    std::string configDirectory;         // the product's folder, with a trailing "/"
    std::vector<std::string> cacheRoots; // in the order of the registry, with a trailing "/"
    std::vector<SampleProject> projects; // as a reader meets them: by root, then in directory order
    std::uint64_t bytes = 0;
    std::uint64_t files = 0;
    SampleDate newest;
};

// Makes the cache, the hash tables, the registry, the configuration and the log's folder. Throws
// std::runtime_error or std::filesystem::filesystem_error when something cannot be made. Sets
// CORVIDPRO_ROOT while it works, so no other thread may use the environment or the fixed paths
// meanwhile.
SampleCache makeSampleCache(const SampleOptions& options);

// The expectation as a JSON text, one node per line.
std::string toJson(const SampleCache& cache);

} // namespace corvid
