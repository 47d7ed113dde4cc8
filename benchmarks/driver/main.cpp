// bench: measures what the program's work costs beside other programs that do the least of it, and
// writes the figures as a table, as Markdown, as JSON and as a picture.

#include "benchmarks/driver/figures.h"
#include "benchmarks/driver/machine.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <stdexcept>

namespace corvid::bench {

namespace {

struct Family {
    const char* name;
    void (*measure)(Bench& bench);
};

constexpr Family kFamilies[] = {
    {"million", measureMillionFrames}, {"features", measureManyFeatures},
    {"size", measureCacheSize},        {"growth", measureGrowth},
    {"slow", measureSlowVolume},       {"outline", measureOutline},
    {"window", measureWindow},         {"removal", measureRemoval},
    {"stores", measureStores},         {"log", measureLog},
    {"queue", measureRenderQueue}};

constexpr char kUsage[] =
    "usage: bench [--size full|half|quick] [--only NAME] [--folder FOLDER]\n"
    "  --size    full: a million frames (default); half; quick: a twentieth, to try the driver\n"
    "  --only    one family of figures: million, features, size, growth, slow, outline, window,\n"
    "            removal, stores, log or queue\n"
    "  --folder  where the caches and the reports lie (build/bench); the caches are kept\n";

struct Options {
    std::string size = "full";
    std::string only;
    std::string folder = "build/bench";
};

Options parse(const std::vector<std::string>& words) {
    Options options;
    for (std::size_t i = 0; i < words.size(); i += 2) {
        if (i + 1 == words.size()) {
            throw std::invalid_argument(words[i] + " needs a value");
        }
        if (words[i] == "--size") {
            options.size = words[i + 1];
        } else if (words[i] == "--only") {
            options.only = words[i + 1];
        } else if (words[i] == "--folder") {
            options.folder = words[i + 1];
        } else {
            throw std::invalid_argument("unknown option " + words[i]);
        }
    }
    return options;
}

int divisorOf(const std::string& size) {
    if (size == "full") {
        return 1;
    }
    if (size == "half") {
        return 2;
    }
    if (size == "quick") {
        return 20;
    }
    throw std::invalid_argument("unknown size " + size);
}

bool isFamily(const std::string& name) {
    for (const Family& family : kFamilies) {
        if (name == family.name) {
            return true;
        }
    }
    return false;
}

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void measure(Bench& bench, const std::string& only) {
    const Clock::time_point start = Clock::now();
    for (const Family& family : kFamilies) {
        if (!only.empty() && only != family.name) {
            continue;
        }
        const Clock::time_point familyStart = Clock::now();
        try {
            family.measure(bench);
        } catch (const std::exception& error) {
            bench.report.fail(family.name, error.what());
        }
        std::fprintf(stderr, "bench: measuring \"%s\" took %.0f s\n", family.name,
                     secondsSince(familyStart));
    }
    if (only.empty()) {
        bench.report.add("this benchmark", "time of all figures",
                         statisticsOf({secondsSince(start)}), "s", atMost(600));
    }
}

// A run of one family leaves the reports of the whole run alone.
void handOut(const Bench& bench, const std::string& only) {
    const std::string base = bench.caches.folder() + (only.empty() ? "/bench" : "/bench-" + only);
    writeFile(base + ".txt", bench.report.text());
    writeFile(base + ".md", bench.report.markdown());
    writeFile(base + ".json", bench.report.json());
    writeFile(base + ".svg", barPlot(bench.report.rows()));
    std::printf("%s\nReports and plot: %s.txt, .md, .json, .svg\n", bench.report.text().c_str(),
                base.c_str());
}

int runBench(const std::vector<std::string>& words) {
    constexpr int kRounds = 5;
    const Options options = parse(words);
    const int divisor = divisorOf(options.size);
    if (!options.only.empty() && !isFamily(options.only)) {
        throw std::invalid_argument("unknown family " + options.only);
    }
    const std::string folder = std::filesystem::absolute(options.folder).lexically_normal();
    std::filesystem::create_directories(folder);
    std::vector<std::string> about = describeMachine(folder);
    about.push_back("Size: " + options.size +
                    (divisor > 1 ? "; the bounds are meant for the full size" : ""));
    Bench bench{std::filesystem::read_symlink("/proc/self/exe").parent_path(), Caches(folder),
                Report(std::move(about)), divisor, kRounds};
    measure(bench, options.only);
    handOut(bench, options.only);
    return bench.report.hasFailed() ? 1 : 0;
}

} // namespace

} // namespace corvid::bench

int main(int argc, char** argv) {
    try {
        return corvid::bench::runBench({argv + 1, argv + argc});
    } catch (const std::invalid_argument& error) {
        static_cast<void>(
            std::fprintf(stderr, "bench: %s\n%s", error.what(), corvid::bench::kUsage));
        return 2;
    } catch (const std::exception& error) {
        static_cast<void>(std::fprintf(stderr, "bench: %s\n", error.what()));
        return 1;
    }
}
