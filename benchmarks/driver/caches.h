#pragma once

// The caches that are measured on. They lie below one folder and are made once: the next run finds
// them there.

#include "tools/sample_cache.h"

#include <string>

namespace corvid::bench {

// All members alike.
struct Shape {
    int projects = 0;
    int compositions = 0; // per project
    int features = 0;     // per composition
    int frames = 0;       // per feature

    std::uint64_t totalFrames() const;
    std::uint64_t totalNodes() const;
    std::string text() const; // "1000x2x3x167"
};

struct Cache {
    std::string root;            // stands for CORVIDPRO_ROOT
    std::string configDirectory; // with a trailing "/"
    std::string cacheRoot;       // with a trailing "/"
    std::string projectKey;      // of the first project; empty without one
    std::string projectPath;

    // For the environment of a program that is to read it.
    std::string variable() const { return "CORVIDPRO_ROOT=" + root; }
};

class Caches {
public:
    // An absolute path; created if need be.
    explicit Caches(std::string folder);

    const std::string& folder() const { return m_folder; }
    // The cache of this shape, made now if it is not there. Throws std::runtime_error.
    Cache cache(const Shape& shape) const;
    // A cache that is made now, in any case, in a folder of this name.
    Cache freshCache(const Shape& shape, const std::string& name) const;

private:
    std::string m_folder;
};

std::string readFile(const std::string& path);
// Throws std::runtime_error when it cannot be written.
void writeFile(const std::string& path, const std::string& text);

} // namespace corvid::bench
