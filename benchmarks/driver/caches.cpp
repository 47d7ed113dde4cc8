#include "benchmarks/driver/caches.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>

#include <sys/wait.h>
#include <unistd.h>

namespace corvid::bench {

namespace {

constexpr char kRecord[] = "/made.txt";

// Written last, so that a cache whose making was cut short is not taken for whole.
void writeRecord(const Shape& shape, const Cache& cache) {
    writeFile(cache.root + kRecord, shape.text() + "\n" + cache.root + "\n" +
                                        cache.configDirectory + "\n" + cache.cacheRoot + "\n" +
                                        cache.projectKey + "\n" + cache.projectPath + "\n");
}

// Nothing when the folder holds no cache of this shape, or one that was moved there.
std::optional<Cache> readRecord(const Shape& shape, const std::string& root) {
    std::istringstream record(readFile(root + kRecord));
    std::string madeShape;
    Cache cache;
    if (std::getline(record, madeShape) && std::getline(record, cache.root) &&
        std::getline(record, cache.configDirectory) && std::getline(record, cache.cacheRoot) &&
        std::getline(record, cache.projectKey) && std::getline(record, cache.projectPath) &&
        madeShape == shape.text() && cache.root == root) {
        return cache;
    }
    return std::nullopt;
}

void make(const Shape& shape, const std::string& root) {
    SampleOptions options;
    options.root = root;
    options.projects = shape.projects;
    options.compositions = shape.compositions;
    options.features = shape.features;
    options.frames = shape.frames;
    const SampleCache sample = makeSampleCache(options);
    Cache cache;
    cache.root = root;
    cache.configDirectory = sample.configDirectory;
    cache.cacheRoot = sample.cacheRoots.empty() ? "" : sample.cacheRoots.front();
    if (!sample.projects.empty()) {
        cache.projectKey = sample.projects.front().node.name;
        cache.projectPath = sample.projects.front().node.path;
    }
    writeRecord(shape, cache);
}

// In a process of its own: what a large cache leaves in memory would otherwise be a burden to every
// program that is started from here.
void makeInChild(const Shape& shape, const std::string& root) {
    const pid_t child = ::fork();
    if (child == 0) {
        int status = 0;
        try {
            make(shape, root);
        } catch (const std::exception& error) {
            static_cast<void>(std::fprintf(stderr, "bench: %s\n", error.what()));
            status = 1;
        }
        ::_exit(status);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child || status != 0) {
        throw std::runtime_error("cannot make a cache in " + root);
    }
}

Cache remake(const Shape& shape, const std::string& root) {
    std::filesystem::remove_all(root);
    makeInChild(shape, root);
    const std::optional<Cache> made = readRecord(shape, root);
    if (!made) {
        throw std::runtime_error("cannot read back " + root);
    }
    return *made;
}

std::uint64_t product(std::initializer_list<int> factors) {
    std::uint64_t result = 1;
    for (const int factor : factors) {
        result *= static_cast<std::uint64_t>(factor);
    }
    return result;
}

} // namespace

std::uint64_t Shape::totalFrames() const {
    return product({projects, compositions, features, frames});
}

std::uint64_t Shape::totalNodes() const {
    return product({projects}) + product({projects, compositions}) +
           product({projects, compositions, features});
}

std::string Shape::text() const {
    return std::to_string(projects) + "x" + std::to_string(compositions) + "x" +
           std::to_string(features) + "x" + std::to_string(frames);
}

Caches::Caches(std::string folder) : m_folder(std::move(folder)) {
    std::filesystem::create_directories(m_folder);
}

Cache Caches::cache(const Shape& shape) const {
    const std::string root = m_folder + "/" + shape.text();
    if (const std::optional<Cache> made = readRecord(shape, root)) {
        return *made;
    }
    static_cast<void>(std::fprintf(stderr, "bench: making %llu frames in %s\n",
                                   static_cast<unsigned long long>(shape.totalFrames()),
                                   root.c_str()));
    return remake(shape, root);
}

Cache Caches::freshCache(const Shape& shape, const std::string& name) const {
    return remake(shape, m_folder + "/" + name);
}

std::string readFile(const std::string& path) {
    const std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

} // namespace corvid::bench
