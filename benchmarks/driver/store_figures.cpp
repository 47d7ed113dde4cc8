#include "benchmarks/driver/figures.h"

#include "store/PISSMD5.h"

#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace corvid::bench {

namespace {

constexpr int kPassesPerProcess = 10; // so that the start of a process does not count
constexpr int kRounds = 7;

std::string registryText(int lines) {
    std::ostringstream text;
    for (int i = 0; i < lines; ++i) {
        text << hashOf("/Projects/Edit " + std::to_string(i))
             << " string\tPathToCache /Volumes/Media " << i << "/Frame Cache/\n";
    }
    return text.str();
}

std::string configText(int lines) {
    std::ostringstream text;
    for (int i = 0; i < lines; ++i) {
        if (i % 2 == 0) {
            text << "default int\tSetting" << i << " " << i << "\n";
        } else {
            text << "default string\tSetting" << i << " /Volumes/Renders\n";
        }
    }
    return text.str();
}

std::string projectText(int lines) {
    std::ostringstream text;
    text << "cvp-version:1\n";
    for (int i = 0; i < lines; ++i) {
        text << hashOf("Comp " + std::to_string(i)) << " int\tUseFrameCache 1\n";
    }
    return text.str();
}

// A product whose files have so many lines.
Cache storesOf(const Bench& bench, int lines) {
    Cache cache = bench.caches.freshCache({}, "stores-" + std::to_string(lines));
    writeFile(cache.configDirectory + "FrameCache.cvp", registryText(lines));
    writeFile(cache.configDirectory + "Config.txt", configText(lines));
    writeFile(cache.root + "/.CorvidPro2ProjectConfig.cvp", projectText(lines));
    return cache;
}

Command passes(const Bench& bench, const char* store, const Cache& cache, int count) {
    return {{bench.program("store_files"), store, std::to_string(count), cache.root},
            {cache.variable()}};
}

// Work is counted, too, because time alone does not tell whether it is linear: what no longer fits
// into the caches of the processor takes longer for each line.
Statistics instructionRatio(const Bench& bench, const char* store, const Cache& single,
                            const Cache& twofold) {
    const auto count = [&bench, store](const Cache& cache) {
        return countInstructions(passes(bench, store, cache, 1), bench.scratchFile());
    };
    return statisticsOf({count(twofold) / count(single)});
}

void requireEntries(const std::vector<Run>& runs, int entries) {
    for (const Run& run : runs) {
        if (std::strtol(run.output.c_str(), nullptr, 10) != entries) {
            throw std::runtime_error("read " + run.output + " entries of " +
                                     std::to_string(entries));
        }
    }
}

} // namespace

void measureStores(Bench& bench) {
    const int lines = bench.scaled(50000);
    const Cache single = storesOf(bench, lines);
    const Cache twofold = storesOf(bench, 2 * lines);
    const std::pair<const char*, const char*> stores[] = {
        {"registry", "registry, load and commit"},
        {"roots", "registry, load and distinct roots"},
        {"config", "global settings, load and commit"},
        {"project", "project settings, load and commit"}};
    for (const auto& [store, what] : stores) {
        const Runs runs = alternate({passes(bench, store, single, kPassesPerProcess),
                                     passes(bench, store, twofold, kPassesPerProcess)},
                                    kRounds);
        requireEntries(runs[0], lines);
        requireEntries(runs[1], 2 * lines);
        const std::string figure =
            std::to_string(2 * lines) + " : " + std::to_string(lines) + " lines";
        bench.report.add(what, figure + ", instructions",
                         instructionRatio(bench, store, single, twofold), "x", between(1.9, 2.1));
        bench.report.add(what, figure, ratioOf(runs[1], runs[0], cpuOf), "x");
    }
}

} // namespace corvid::bench
