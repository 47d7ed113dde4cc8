#include "benchmarks/driver/figures.h"

#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>
#include <stdexcept>

namespace corvid::bench {

namespace {

// Without a screen, and with settings of its own rather than the user's.
Command offscreen(const Bench& bench, const std::string& program, const Cache& cache) {
    const std::string home = bench.caches.folder() + "/home";
    std::filesystem::create_directories(home);
    std::filesystem::permissions(home, std::filesystem::perms::owner_all);
    return {{bench.program(program)},
            {cache.variable(), "QT_QPA_PLATFORM=offscreen", "HOME=" + home,
             "XDG_CONFIG_HOME=" + home, "XDG_RUNTIME_DIR=" + home, "LC_ALL=C.UTF-8",
             // A window that has no screen cannot be raised either.
             "QT_LOGGING_RULES=default.warning=false"}};
}

// Lines of a name, a TAB and numbers.
std::map<std::string, std::vector<double>> parseTimes(const std::string& output) {
    std::map<std::string, std::vector<double>> times;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t tab = line.find('\t');
        std::istringstream numbers(tab == std::string::npos ? "" : line.substr(tab + 1));
        for (double number = 0; numbers >> number;) {
            times[line.substr(0, tab)].push_back(number);
        }
    }
    return times;
}

double megabytesOf(const Run& run) {
    return std::strtod(run.output.c_str(), nullptr) / 1024;
}

void measureMemory(Bench& bench) {
    const Shape shape = bench.millionFrames();
    const Cache filled = bench.caches.cache(shape);
    const Cache empty = bench.caches.cache({});
    const Runs runs = alternate(
        {windowOf(bench, empty, "program"), windowOf(bench, filled, "program")}, bench.rounds);
    std::vector<double> added;
    for (std::size_t i = 0; i < runs[0].size(); ++i) {
        added.push_back(megabytesOf(runs[1][i]) - megabytesOf(runs[0][i]));
    }
    const std::string what = "memory of the window";
    bench.report.add(what, "added by " + std::to_string(shape.totalFrames()) + " frames",
                     statisticsOf(added), "MB", atMost(24));
    bench.report.add(what, "with an empty tree", statisticsOf(runs[0], megabytesOf), "MB");
}

void measureStart(Bench& bench) {
    const Shape shape{bench.scaled(100), 2, 3, 50};
    const Cache cache = bench.caches.cache(shape);
    const Runs runs = alternate(
        {windowOf(bench, cache, "program"), windowOf(bench, cache, "bare"), bench.limit(cache)},
        4 * bench.rounds); // it is short, and what else the machine does shows
    const auto ratio = [&runs](Measure measure) {
        std::vector<double> values;
        for (std::size_t i = 0; i < runs[0].size(); ++i) {
            values.push_back(measure(runs[0][i]) / (measure(runs[1][i]) + measure(runs[2][i])));
        }
        return statisticsOf(std::move(values));
    };
    const std::string what =
        "first filled window, " + std::to_string(shape.totalFrames()) + " frames";
    bench.report.add(what, "start : bare window + limit", ratio(wallOf), "x", atMost(1.25));
    bench.report.add(what, "start : bare window + limit, processor time", ratio(cpuOf), "x");
    bench.report.add(what, "time of the start", statisticsOf(runs[0], wallOf), "s");
    bench.report.add(what, "time of the bare window", statisticsOf(runs[1], wallOf), "s");
}

} // namespace

Command windowOf(const Bench& bench, const Cache& cache, const char* kind) {
    Command command = offscreen(bench, "window_start", cache);
    command.words.emplace_back(kind);
    return command;
}

void measureGap(Bench& bench, const std::string& what, const Cache& cache) {
    std::vector<double> gaps;
    gaps.reserve(static_cast<std::size_t>(bench.rounds));
    for (int round = 0; round < bench.rounds; ++round) {
        gaps.push_back(std::strtod(run(windowOf(bench, cache, "gap")).output.c_str(), nullptr));
    }
    bench.report.add(what, "longest wait of a painting while all is read",
                     statisticsOf(std::move(gaps)), "ms", atMost(50));
}

void measureOutline(Bench& bench) {
    const Shape shape = bench.manyFeatures();
    auto times =
        parseTimes(run(offscreen(bench, "outline_bench", bench.caches.cache(shape))).output);
    if (times["rows"] != std::vector<double>{static_cast<double>(shape.totalNodes())}) {
        throw std::runtime_error("the outline does not show every node");
    }
    times.erase("rows");
    const std::string what = "outline, " + std::to_string(shape.totalNodes()) + " rows";
    for (const auto& [figure, values] : times) {
        const bool isPainting = figure.rfind("paint", 0) == 0;
        bench.report.add(what, figure, statisticsOf(values), "ms", atMost(isPainting ? 8 : 100));
    }
}

void measureWindow(Bench& bench) {
    measureMemory(bench);
    measureStart(bench);
    const Shape shape = bench.millionFrames();
    measureGap(bench, "window, " + std::to_string(shape.totalFrames()) + " frames",
               bench.caches.cache(shape));
}

} // namespace corvid::bench
