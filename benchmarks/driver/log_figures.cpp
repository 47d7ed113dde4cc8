#include "benchmarks/driver/figures.h"

#include <filesystem>

namespace corvid::bench {

namespace {

Statistics linesPerSecond(const std::vector<Run>& runs, int lines) {
    const Statistics time = statisticsOf(runs, wallOf);
    return {lines / time.median, lines / time.greatest, lines / time.least};
}

class LogBench {
public:
    explicit LogBench(Bench& bench)
        : m_bench(bench), m_cache(bench.caches.cache({})),
          m_log(m_cache.root + "/private/tmp/bench.log"), m_lines(bench.scaled(30000)) {}

    Command lines(int threads, int lines) const {
        return withFreshLog(
            {{m_bench.program("log_lines"), std::to_string(threads), std::to_string(lines)},
             {m_cache.variable()}});
    }
    Command plain(int lines) const {
        return withFreshLog({{m_bench.program("plain_log"), m_log, std::to_string(lines)}});
    }

    void measureSpeed() {
        const Runs runs =
            alternate({plain(m_lines), lines(1, m_lines), lines(8, m_lines)}, m_bench.rounds);
        const char* names[] = {"plain open, write, close, chmod", "one thread", "eight threads"};
        const std::string what = "log, " + std::to_string(m_lines) + " lines";
        for (std::size_t i = 0; i < 3; ++i) {
            m_bench.report.add(what, std::string("lines per second, ") + names[i],
                               linesPerSecond(runs[i], m_lines), "/s");
        }
        m_bench.report.add(what, "one thread : plain", ratioOf(runs[1], runs[0], wallOf), "x");
        m_bench.report.add(what, "eight threads : plain", ratioOf(runs[2], runs[0], wallOf), "x");
    }

    // What the start and the end of the process take is not the lines'.
    void measureCalls() {
        constexpr int kLines = 2000;
        const auto calls = [this](const Command& command) {
            return countSystemCalls(command, m_bench.scratchFile()).all;
        };
        const double ours = (calls(lines(1, kLines)) - calls(lines(1, 0))) / kLines;
        const double least = (calls(plain(kLines)) - calls(plain(0))) / kLines;
        m_bench.report.add("log", "system calls per line", {ours, ours, ours}, "");
        m_bench.report.add("log", "system calls per line, plain", {least, least, least}, "");
    }

private:
    Command withFreshLog(Command command) const {
        command.prepare = [log = m_log] { std::filesystem::remove(log); };
        return command;
    }

    Bench& m_bench;
    Cache m_cache;
    std::string m_log;
    int m_lines;
};

} // namespace

void measureLog(Bench& bench) {
    LogBench log(bench);
    log.measureSpeed();
    if (isInstalled("strace")) {
        log.measureCalls();
    } else {
        bench.report.skip("system calls of the log", "strace is not installed");
    }
}

} // namespace corvid::bench
