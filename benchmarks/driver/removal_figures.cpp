#include "benchmarks/driver/figures.h"

#include "files/unique_fd.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvid::bench {

namespace {

Command deleteProject(const Bench& bench, const Cache& cache) {
    return {{bench.program("delete_tree"), cache.cacheRoot, cache.projectKey}};
}

// Equal fresh caches, made before the first of them is removed: a file system that has just lost
// many files is slow to make new ones.
class Stock {
public:
    Stock(const Bench& bench, const Shape& shape, int count) {
        for (int i = 0; i < count; ++i) {
            const std::string name = "delete-stock-" + std::to_string(i);
            m_roots.push_back(bench.caches.freshCache(shape, name).root);
        }
        ::sync();
    }

    // Gives one of them the place of another cache.
    void take(const std::string& root) {
        std::filesystem::remove_all(root);
        std::filesystem::rename(m_roots.back(), root);
        m_roots.pop_back();
    }

private:
    std::vector<std::string> m_roots;
};

void compareWithRm(Bench& bench, const Shape& shape) {
    Stock stock(bench, shape, 2 * bench.rounds);
    // The first project has the same name in a cache of any shape.
    const Cache ours = bench.caches.freshCache({1, 1, 1, 1}, "delete-ours");
    const Cache theirs = bench.caches.freshCache({1, 1, 1, 1}, "delete-theirs");
    Command deleting = deleteProject(bench, ours);
    deleting.prepare = [&stock, &ours] { stock.take(ours.root); };
    Command removing = {{"rm", "-rf", theirs.projectPath}};
    removing.prepare = [&stock, &theirs] { stock.take(theirs.root); };
    const Runs runs = alternate({removing, deleting}, bench.rounds, 0);
    if (std::filesystem::exists(ours.projectPath)) {
        throw std::runtime_error("the project is still there");
    }

    const std::string what =
        "deleting a project of " + std::to_string(shape.totalFrames()) + " frames";
    const Statistics ratio = ratioOf(runs[1], runs[0], wallOf);
    bench.report.add(what, "delete : rm -rf", ratio, "x", atMost(1.0));
    bench.report.add(what, "delete : rm -rf, wider bound", ratio, "x", atMost(1.3));
    bench.report.add(what, "delete : rm -rf, processor time", ratioOf(runs[1], runs[0], cpuOf),
                     "x");
    bench.report.add(what, "time of the deletion", statisticsOf(runs[1], wallOf), "s");
}

// Directories in each other, one file in the innermost.
void makeNest(const std::string& directory, int levels) {
    UniqueFd parent(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    for (int level = 0; level < levels; ++level) {
        if (::mkdirat(parent.get(), "n", 0777) != 0) {
            throw std::system_error(errno, std::generic_category(), "make a nest");
        }
        parent.reset(::openat(parent.get(), "n", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    }
    const UniqueFd file(::openat(parent.get(), "frame", O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
}

Statistics memoryOf(const std::vector<Run>& runs) {
    return statisticsOf(
        runs, [](const Run& run) { return std::strtod(run.output.c_str(), nullptr) / 1024; });
}

void compareNests(Bench& bench, int shallowLevels, int deepLevels) {
    const Shape shape{1, 1, 1, 1};
    const auto nest = [&bench, shape](const char* name, int levels) {
        const Cache cache = bench.caches.freshCache(shape, name);
        Command command = deleteProject(bench, cache);
        command.prepare = [&bench, shape, name, levels] {
            makeNest(bench.caches.freshCache(shape, name).projectPath, levels);
        };
        return command;
    };
    const Runs runs = alternate(
        {nest("nest-shallow", shallowLevels), nest("nest-deep", deepLevels)}, bench.rounds, 0);
    const Statistics shallow = memoryOf(runs[0]);
    const Statistics deep = memoryOf(runs[1]);
    const std::string what = "memory for deleting a nest";
    bench.report.add(what, std::to_string(shallowLevels) + " levels", shallow, "MB");
    bench.report.add(what, std::to_string(deepLevels) + " levels", deep, "MB",
                     atMost(shallow.median * 1.1));
}

void countRenames(Bench& bench) {
    const std::string what = "moving a project on one volume";
    if (!isInstalled("strace")) {
        bench.report.skip(what, "strace is not installed");
        return;
    }
    const Cache cache = bench.caches.freshCache({1, 2, 3, 50}, "move");
    const std::string target = cache.root + "/New Volume/";
    std::filesystem::create_directories(target);
    const SystemCalls calls =
        countSystemCalls({{bench.program("move_tree"), cache.cacheRoot, cache.projectKey, target}},
                         bench.scratchFile());
    const std::string moved = target + std::filesystem::path(cache.projectPath).filename().string();
    if (std::filesystem::exists(cache.projectPath) || !std::filesystem::exists(moved)) {
        throw std::runtime_error("the project was not moved");
    }
    bench.report.add(what, "rename calls", {calls.renames, calls.renames, calls.renames}, "",
                     between(1, 1));
}

} // namespace

void measureRemoval(Bench& bench) {
    const int frames = bench.scaled(3334);
    compareWithRm(bench, {1, 10, 3, frames});
    compareNests(bench, 100, 2000);
    countRenames(bench);
}

} // namespace corvid::bench
