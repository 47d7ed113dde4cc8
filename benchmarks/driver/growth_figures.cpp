#include "benchmarks/driver/figures.h"

#include "store/PISSMD5.h"

#include <chrono>
#include <filesystem>
#include <thread>
#include <utility>
#include <vector>

namespace corvid::bench {

namespace {

constexpr int kGrowthRounds = 11;
constexpr int kTableRounds = 41; // a difference of two in a hundred has to show

// One tree read by the program and by the limit.
struct Readings {
    const std::vector<Run>& tree;
    const std::vector<Run>& limit;
};

// How the work on a twofold tree grows where that of the limit would exactly double. It does not by
// itself: how fast the system finds a name depends on chance, on the lengths of the chains in its
// table of names, and differs by a factor of two between trees of one shape.
Statistics twofoldBesideTheLimit(const Readings& single, const Readings& twofold) {
    std::vector<double> values;
    for (std::size_t i = 0; i < single.tree.size(); ++i) {
        const double ours = twofold.tree[i].cpu() / single.tree[i].cpu();
        const double limit = twofold.limit[i].cpu() / single.limit[i].cpu();
        values.push_back(2 * ours / limit);
    }
    return statisticsOf(std::move(values));
}

void addGrowth(Report& report, const std::string& figure, const Readings& single,
               const Readings& twofold) {
    const char* what = "growth of the tree";
    report.add(what, figure + ", beside the limit", twofoldBesideTheLimit(single, twofold), "x",
               between(1.9, 2.1));
    report.add(what, figure + ", time alone", ratioOf(twofold.tree, single.tree, cpuOf), "x");
    report.add(what, figure + ", the limit", ratioOf(twofold.limit, single.limit, cpuOf), "x");
}

void compareTrees(Bench& bench) {
    // Large enough that the start of a process and the caches of the processor do not count.
    const Shape features = bench.millionFrames();
    const Shape single{features.projects / 2, features.compositions, features.features,
                       features.frames};
    const Shape frames{single.projects, single.compositions, single.features, 2 * single.frames};
    std::vector<Command> commands;
    for (const Shape& shape : {single, features, frames}) {
        const Cache cache = bench.caches.cache(shape);
        commands.push_back(bench.buildTree(cache));
        commands.push_back(bench.limit(cache));
    }
    const Runs runs = alternate(commands, kGrowthRounds);
    addGrowth(bench.report, "twice the features", {runs[0], runs[1]}, {runs[2], runs[3]});
    addGrowth(bench.report, "twice the frames", {runs[0], runs[1]}, {runs[4], runs[5]});
}

std::string linesOfForeignKeys(long count, const std::string& prefix) {
    std::string text;
    for (long i = 0; i < count; ++i) {
        const std::string key = prefix + std::to_string(i);
        text += hashOf(key) + " " + key + "\n";
    }
    return text;
}

long countLines(const std::string& text) {
    long lines = 0;
    for (const char c : text) {
        lines += c == '\n' ? 1 : 0;
    }
    return lines;
}

// Writes the tables of one cache root into another, with as many lines again that name what is long
// gone.
void writeTwofoldTables(const Cache& from, const Cache& to) {
    for (const char* name : {"ProjectHash.txt", "CompositionHash.txt"}) {
        const std::string lines = readFile(from.cacheRoot + name);
        writeFile(to.cacheRoot + name,
                  lines + linesOfForeignKeys(countLines(lines), "/Projects/Gone/Edit "));
    }
    // A table that was just written is read more often, in case that it is being changed.
    std::this_thread::sleep_for(std::chrono::seconds(3));
}

// One project of many compositions: there a table is as long as it gets. Its directory goes to and
// fro between two cache roots, so that both are measured with the same files.
void compareTables(Bench& bench) {
    const Shape shape{1, bench.scaled(4000), 3, 10};
    const Cache single = bench.caches.freshCache(shape, "tables");
    const Cache twofold = bench.caches.freshCache({1, 1, 1, 1}, "tables-twofold");
    std::filesystem::remove_all(twofold.projectPath);
    writeTwofoldTables(single, twofold);
    const auto reading = [&bench](const Cache& cache, const Cache& other) {
        Command command = bench.buildTree(cache);
        command.prepare = [from = other.projectPath, to = cache.projectPath] {
            if (std::filesystem::exists(from)) {
                std::filesystem::rename(from, to);
            }
        };
        return command;
    };
    const Runs runs = alternate({reading(single, twofold), reading(twofold, single)}, kTableRounds);
    requireSameOutput(runs);
    bench.report.add("growth of the tree",
                     "twice the table lines (" + std::to_string(shape.compositions) + ")",
                     ratioOf(runs[1], runs[0], cpuOf), "x", atMost(1.02));
}

} // namespace

void measureGrowth(Bench& bench) {
    compareTrees(bench);
    compareTables(bench);
}

} // namespace corvid::bench
