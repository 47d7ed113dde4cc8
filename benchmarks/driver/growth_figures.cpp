#include "benchmarks/driver/figures.h"

#include "store/PISSMD5.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace corvid::bench {

namespace {

constexpr int kGrowthRounds = 11;
constexpr int kTableRounds = 41; // a difference of two in a hundred has to show

// Empties the system's tables of names and inodes, as far as we may.
void forgetNames() {
    std::ofstream("/proc/sys/vm/drop_caches") << 2 << std::flush;
}

// How long the system takes to find a name depends on what else is in its table: a name stands in a
// chain behind all that were read later, and where the table is small the chains are long. So each
// reading finds the table with its own tree in it and nothing else.
Command aloneInTheTable(Command command) {
    command.prepare = [command] {
        forgetNames();
        run(command);
    };
    return command;
}

// Small enough that the names of a tree fit into a small table, too; the start of a process is one
// in a hundred of a reading.
void compareTrees(Bench& bench) {
    const Shape single{bench.scaled(75), 2, 3, 167};
    const Shape twofold[] = {{2 * single.projects, 2, 3, 167}, {single.projects, 2, 3, 2 * 167}};
    std::vector<Command> commands;
    for (const Shape& shape : {single, twofold[0], twofold[1]}) {
        const Cache cache = bench.caches.cache(shape);
        commands.push_back(aloneInTheTable(bench.buildTree(cache)));
        commands.push_back(aloneInTheTable(bench.limit(cache)));
    }
    const Runs runs = alternate(commands, kGrowthRounds, 0);
    const char* what = "growth of the tree";
    for (const auto& [figure, of] :
         {std::pair{"twice the features", 2U}, {"twice the frames", 4U}}) {
        bench.report.add(what, figure, ratioOf(runs[of], runs[0], cpuOf), "x", between(1.9, 2.1));
        bench.report.add(what, std::string(figure) + ", the limit",
                         ratioOf(runs[of + 1], runs[1], cpuOf), "x");
    }
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
