#include "benchmarks/driver/figures.h"

#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include <unistd.h>

namespace corvid::bench {

namespace {

// "load                        123.4 ms        567 MB/s" -> "load", 123.4
bool parseLine(const std::string& line, std::string& figure, double& milliseconds) {
    const std::size_t unit = line.find(" ms");
    if (unit == std::string::npos) {
        return false;
    }
    const std::size_t number = line.find_last_of(' ', unit - 1) + 1;
    figure = line.substr(0, line.find_last_not_of(' ', number - 1) + 1);
    milliseconds = std::strtod(line.c_str() + number, nullptr);
    return !figure.empty();
}

} // namespace

// The program measures by itself, in alternation; its medians are taken over.
void measureRenderQueue(Bench& bench) {
    const std::string program = bench.program("render_queue_bench");
    if (::access(program.c_str(), X_OK) != 0) {
        bench.report.skip("render queue", "render_queue_bench is not built");
        return;
    }
    std::istringstream lines(run({{program}}).output);
    std::string title;
    std::getline(lines, title);
    const std::string what = title.substr(0, title.find(", "));
    int figures = 0;
    for (std::string line; std::getline(lines, line);) {
        std::string figure;
        double milliseconds = 0;
        if (parseLine(line, figure, milliseconds)) {
            bench.report.add(what, figure, {milliseconds, milliseconds, milliseconds}, "ms");
            ++figures;
        }
    }
    if (figures == 0) {
        throw std::runtime_error("render_queue_bench gave no figures");
    }
}

} // namespace corvid::bench
