#include "benchmarks/driver/figures.h"

#include <algorithm>

namespace corvid::bench {

namespace {

struct OtherReader {
    const char* name;
    std::vector<std::string> words;
};

// The programs that tell disk usage without a window, as far as they are installed.
std::vector<OtherReader> otherReaders(const std::string& directory, const std::string& scratch) {
    std::vector<OtherReader> readers = {
        {"du", {"du", "-s", "--apparent-size", directory}},
        {"ncdu", {"ncdu", "-0", "-o", "/dev/null", directory}},
        {"gdu", {"gdu", "-n", "-p", directory}},
        {"duc", {"duc", "index", "-q", "-d", scratch + ".duc", directory}},
        {"agedu", {"agedu", "--no-progress", "-f", scratch + ".agedu", "-s", directory}}};
    readers.erase(
        std::remove_if(readers.begin(), readers.end(),
                       [](const OtherReader& reader) { return !isInstalled(reader.name); }),
        readers.end());
    return readers;
}

std::string titleOf(const Shape& shape) {
    return std::to_string(shape.totalFrames()) + " frames in " +
           std::to_string(shape.projects * shape.compositions * shape.features) + " features";
}

void measureTimes(Bench& bench, const Shape& shape, double bound) {
    const Cache cache = bench.caches.cache(shape);
    const std::vector<OtherReader> others = otherReaders(cache.cacheRoot, bench.scratchFile());
    std::vector<Command> commands = {bench.limit(cache), bench.buildTree(cache)};
    for (const OtherReader& other : others) {
        commands.push_back({other.words});
    }
    run(bench.limit(cache)); // fills the system's caches for all of them
    const Runs runs = alternate(commands, bench.rounds, 0);
    requireSameOutput(runs);

    const std::string what = titleOf(shape);
    Report& report = bench.report;
    report.add(what, "tree : limit", ratioOf(runs[1], runs[0], wallOf), "x", atMost(bound));
    report.add(what, "tree : limit, processor time", ratioOf(runs[1], runs[0], cpuOf), "x");
    for (std::size_t i = 0; i < others.size(); ++i) {
        report.add(what, std::string("tree : ") + others[i].name,
                   ratioOf(runs[1], runs[i + 2], wallOf), "x", atMost(1));
    }
    report.add(what, "time of the tree", statisticsOf(runs[1], wallOf), "s");
    report.add(what, "time of the limit", statisticsOf(runs[0], wallOf), "s");
    const auto files = static_cast<double>(shape.totalFrames());
    const Statistics time = statisticsOf(runs[1], wallOf);
    report.add(what, "files per second",
               {files / time.median, files / time.greatest, files / time.least}, "/s");
    const Statistics share =
        statisticsOf(runs[1], [](const Run& run) { return 100 * run.system / run.cpu(); });
    report.add(what, "processor time in the system", share, "%");
}

// On a tenth of the projects: tracing makes each call ten times as long, and what there is per file
// does not depend on the number of projects.
void measureSystemCalls(Bench& bench, Shape shape) {
    if (!isInstalled("strace")) {
        bench.report.skip("system calls", "strace is not installed");
        return;
    }
    shape.projects = shape.projects / 10 > 0 ? shape.projects / 10 : 1;
    const Cache cache = bench.caches.cache(shape);
    const auto files = static_cast<double>(shape.totalFrames());
    const auto perFile = [&bench, files](const Command& command) {
        const double calls = countSystemCalls(command, bench.scratchFile()).all / files;
        return Statistics{calls, calls, calls};
    };
    const std::string what = titleOf(shape);
    bench.report.add(what, "system calls per file, tree", perFile(bench.buildTree(cache)), "");
    bench.report.add(what, "system calls per file, limit", perFile(bench.limit(cache)), "");
}

} // namespace

Command Bench::buildTree(const Cache& cache, int repetitions) const {
    return {{program("build_tree"), std::to_string(repetitions)}, {cache.variable()}};
}

Command Bench::limit(const Cache& cache) const {
    return {{program("limit"), cache.cacheRoot}};
}

void measureMillionFrames(Bench& bench) {
    measureTimes(bench, bench.millionFrames(), 1.2);
    measureSystemCalls(bench, bench.millionFrames());
}

void measureManyFeatures(Bench& bench) {
    measureTimes(bench, bench.manyFeatures(), 1.5);
    measureSystemCalls(bench, bench.manyFeatures());
}

// Against the same limit: all it has to find out is one number.
void measureCacheSize(Bench& bench) {
    const Cache cache = bench.caches.cache(bench.millionFrames());
    const Runs runs = alternate(
        {bench.limit(cache), {{bench.program("cache_size")}, {cache.variable()}}}, bench.rounds);
    const std::string what = "size of all caches, " + titleOf(bench.millionFrames());
    bench.report.add(what, "size : limit", ratioOf(runs[1], runs[0], wallOf), "x", atMost(1.2));
    bench.report.add(what, "size : limit, processor time", ratioOf(runs[1], runs[0], cpuOf), "x");
}

} // namespace corvid::bench
