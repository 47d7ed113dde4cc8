#pragma once

// Caches as nobody should leave them: links to everywhere, names of every shape, pipes and sockets,
// deep nests, closed directories. What is below a root is chosen by a seed.

#include <cstdint>
#include <string>
#include <vector>

namespace corvid::test {

// What a root's tables name. Each directory may also be missing, or something else in its place.
struct HostileComposition {
    std::string key;
    std::string directory; // the hash of the key
    std::vector<std::string> features;
};
struct HostileProject {
    std::string key;
    std::string directory;
    std::vector<HostileComposition> compositions;
};

struct HostileOptions {
    std::uint64_t seed = 0;
    // The size of a sparse file. Where something copies it, it had better be small.
    std::uint64_t sparseBytes = std::uint64_t{1} << 40U;
    // Whether it holds directories deeper than any path can name.
    bool isDeep = false;
    // Whether links may also lead to the root of the machine: only where following one by mistake
    // could do no harm.
    bool hasLinksToTheMachine = false;
};

// A cache root. The first project is always a directory with an open composition in it. What is
// made is owned by whoever makes it.
class HostileCache {
public:
    // Makes the root `path` (no "/" at its end). Links lead to the folder `guarded`, to "inner" and
    // to "file" in it, upwards, to themselves and to nothing. The folder gets what the cache names.
    HostileCache(std::string path, const std::string& guarded, const HostileOptions& options);

    const std::string& path() const { return m_path; }
    const std::vector<HostileProject>& projects() const { return m_projects; }

private:
    void writeTables() const;
    void writeDecoys(const std::string& guarded) const;

    std::string m_path;
    std::vector<HostileProject> m_projects;
};

} // namespace corvid::test
