#pragma once

// The families of figures. Each makes the caches that it needs, runs what is to be compared and
// adds its rows to the report.

#include "benchmarks/driver/caches.h"
#include "benchmarks/driver/report.h"

#include <string>
#include <vector>

namespace corvid::bench {

struct Bench {
    std::string programs; // the folder of the programs that are measured
    Caches caches;
    Report report;
    int divisor; // of the sizes
    int rounds;

    std::string program(const std::string& name) const { return programs + "/" + name; }
    // A size of this run, at least 1.
    int scaled(int size) const { return size / divisor > 0 ? size / divisor : 1; }
    std::string scratchFile() const { return caches.folder() + "/scratch.txt"; }

    Command buildTree(const Cache& cache, int repetitions = 1) const;
    Command limit(const Cache& cache) const;
    // A million frames in 6,000 features, and 240,000 in 60,000.
    Shape millionFrames() const { return {scaled(1000), 2, 3, 167}; }
    Shape manyFeatures() const { return {scaled(2000), 10, 3, 4}; }
};

// The program's window in a process without a screen; see window_start.
Command windowOf(const Bench& bench, const Cache& cache, const char* kind);
// How long the window lets a painting wait.
void measureGap(Bench& bench, const std::string& what, const Cache& cache);

void measureMillionFrames(Bench& bench);
void measureManyFeatures(Bench& bench);
void measureGrowth(Bench& bench);
void measureSlowVolume(Bench& bench);
void measureOutline(Bench& bench);
void measureRemoval(Bench& bench);
void measureWindow(Bench& bench);
void measureCacheSize(Bench& bench);
void measureStores(Bench& bench);
void measureLog(Bench& bench);
void measureRenderQueue(Bench& bench);

} // namespace corvid::bench
