#pragma once

// What a sample cache is going to hold, before anything is written.

#include "tools/sample_cache.h"

#include <cstdint>
#include <string>
#include <vector>

namespace corvid {

inline constexpr std::int64_t kDay = 86400; // seconds

// Frame files are numbered from 0; every size lies between the two bounds, every date at or before
// `newest`.
struct FeaturePlan {
    std::string name;
    std::uint64_t frames = 0;
    std::uint64_t leastBytes = 0;
    std::uint64_t mostBytes = 0;
    std::int64_t newest = 0;
    int hiddenFiles = 0;
    int otherFiles = 0;  // with names that are no frame numbers
    int links = 0;       // symbolic links to frame 0; only where there are frames
    int nestedFiles = 0; // in directories inside the feature
};

struct CompositionPlan {
    std::string key;
    std::vector<FeaturePlan> features;
};

struct ProjectPlan {
    std::string key;
    std::size_t root = 0; // index of its cache root
    std::vector<CompositionPlan> compositions;
};

struct CachePlan {
    int roots = 1;
    std::vector<ProjectPlan> projects;
    bool foreignFiles = false; // files that belong to no cache, on every level
    bool registryNoise =
        false; // other keys, repeated lines, paths with more or fewer slashes at the end
    bool tableNoise = false;     // table lines for directories that are gone
    bool projectFolders = false; // the folders that the project keys name
};

CachePlan makePlan(const SampleOptions& options);

// A small deterministic source of numbers that gives the same sequence everywhere.
class SampleNumbers {
public:
    explicit SampleNumbers(std::uint64_t seed) : m_state(seed) {}
    // A number from 0 to limit - 1; 0 for the limit 0.
    std::uint64_t below(std::uint64_t limit) { return limit == 0 ? 0 : next() % limit; }
    int upTo(int most) { return static_cast<int>(below(static_cast<std::uint64_t>(most) + 1)); }
    bool oneIn(std::uint64_t chances) { return below(chances) == 0; }

private:
    std::uint64_t next() {
        m_state += 0x9e3779b97f4a7c15;
        std::uint64_t mixed = m_state;
        mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111eb;
        return mixed ^ (mixed >> 31);
    }

    std::uint64_t m_state;
};

} // namespace corvid
