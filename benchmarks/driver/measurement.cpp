#include "benchmarks/driver/measurement.h"

#include "files/unique_fd.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

namespace corvid::bench {

namespace {

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> mergedEnvironment(const std::vector<std::string>& added) {
    std::vector<std::string> merged = added;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        const std::string name = text.substr(0, text.find('=') + 1);
        const bool isReplaced =
            std::any_of(added.begin(), added.end(),
                        [&name](const std::string& one) { return one.rfind(name, 0) == 0; });
        if (!isReplaced) {
            merged.push_back(text);
        }
    }
    return merged;
}

// Where a child's standard streams lead.
class ChildStreams {
public:
    explicit ChildStreams(int output) {
        ::posix_spawn_file_actions_init(&m_actions);
        ::posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_adddup2(&m_actions, output, STDOUT_FILENO);
    }
    ~ChildStreams() { ::posix_spawn_file_actions_destroy(&m_actions); }
    ChildStreams(const ChildStreams&) = delete;
    ChildStreams& operator=(const ChildStreams&) = delete;

    const posix_spawn_file_actions_t* actions() const { return &m_actions; }

private:
    posix_spawn_file_actions_t m_actions{};
};

std::string readToEnd(int file) {
    std::string text;
    char piece[4096];
    for (;;) {
        const ssize_t length = ::read(file, piece, sizeof(piece));
        if (length > 0) {
            text.append(piece, static_cast<std::size_t>(length));
        } else if (length == 0 || errno != EINTR) {
            return text;
        }
    }
}

double secondsOf(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

pid_t spawn(const Command& command, int output) {
    std::vector<std::string> words = command.words;
    std::vector<std::string> variables = mergedEnvironment(command.environment);
    const ChildStreams streams(output);
    pid_t child = 0;
    const int error = ::posix_spawnp(&child, words.at(0).c_str(), streams.actions(), nullptr,
                                     pointersTo(words).data(), pointersTo(variables).data());
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "start " + words[0]);
    }
    return child;
}

} // namespace

Run run(const Command& command) {
    if (command.prepare) {
        command.prepare();
    }
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    const UniqueFd reading(ends[0]);
    UniqueFd writing(ends[1]);

    const auto start = std::chrono::steady_clock::now();
    const pid_t child = spawn(command, writing.get());
    writing.reset();
    Run result;
    result.output = readToEnd(reading.get());
    int status = 0;
    rusage usage{};
    while (::wait4(child, &status, 0, &usage) < 0) {
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "wait for " + command.words[0]);
        }
    }
    result.wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error(command.words[0] + " failed: " + result.output);
    }
    result.user = secondsOf(usage.ru_utime);
    result.system = secondsOf(usage.ru_stime);
    return result;
}

Runs alternate(const std::vector<Command>& commands, int rounds, int warmUps) {
    Runs runs(commands.size());
    for (int round = -warmUps; round < rounds; ++round) {
        for (std::size_t i = 0; i < commands.size(); ++i) {
            const std::size_t turn = round % 2 == 0 ? i : commands.size() - 1 - i;
            Run one = run(commands[turn]);
            if (round >= 0) {
                runs[turn].push_back(std::move(one));
            }
        }
    }
    return runs;
}

Statistics statisticsOf(std::vector<double> values) {
    if (values.empty()) {
        throw std::runtime_error("nothing was measured");
    }
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    const double median =
        values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
    return {median, values.front(), values.back()};
}

double wallOf(const Run& run) {
    return run.wall;
}

double cpuOf(const Run& run) {
    return run.cpu();
}

Statistics statisticsOf(const std::vector<Run>& runs, Measure measure) {
    std::vector<double> values;
    std::transform(runs.begin(), runs.end(), std::back_inserter(values), measure);
    return statisticsOf(std::move(values));
}

Statistics ratioOf(const std::vector<Run>& runs, const std::vector<Run>& others, Measure measure) {
    std::vector<double> values;
    for (std::size_t i = 0; i < runs.size() && i < others.size(); ++i) {
        values.push_back(measure(runs[i]) / measure(others[i]));
    }
    return statisticsOf(std::move(values));
}

void requireSameOutput(const Runs& runs) {
    const std::string& expected = runs.at(0).at(0).output;
    for (std::size_t i = 0; i < 2; ++i) {
        for (const Run& run : runs.at(i)) {
            if (run.output != expected) {
                throw std::runtime_error("read '" + run.output + "' where there is '" + expected +
                                         "'");
            }
        }
    }
}

bool isInstalled(const std::string& program) {
    const char* path = std::getenv("PATH"); // NOLINT(concurrency-mt-unsafe): one thread
    std::istringstream folders(path != nullptr ? path : "");
    for (std::string folder; std::getline(folders, folder, ':');) {
        folder += "/" + program;
        if (::access(folder.c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

SystemCalls countSystemCalls(const Command& command, const std::string& scratchFile) {
    Command traced = command;
    const std::vector<std::string> tracer = {"strace",     "-f", "-qq", "-U",
                                             "calls,name", "-c", "-o",  scratchFile};
    traced.words.insert(traced.words.begin(), tracer.begin(), tracer.end());
    run(traced);
    SystemCalls calls;
    std::ifstream table(scratchFile);
    for (std::string line; std::getline(table, line);) {
        std::istringstream fields(line);
        double number = 0;
        std::string name;
        if (!(fields >> number >> name) || name == "total") {
            continue;
        }
        calls.all += number;
        if (name.rfind("rename", 0) == 0) {
            calls.renames += number;
        }
    }
    if (calls.all == 0) {
        throw std::runtime_error("strace counted nothing");
    }
    return calls;
}

double countInstructions(const Command& command, const std::string& scratchFile) {
    Command counted = command;
    const std::vector<std::string> counter = {"valgrind", "--tool=callgrind",
                                              "--callgrind-out-file=/dev/null",
                                              "--log-file=" + scratchFile};
    counted.words.insert(counted.words.begin(), counter.begin(), counter.end());
    run(counted);
    std::ifstream report(scratchFile);
    for (std::string line; std::getline(report, line);) {
        const std::string label = "Collected : ";
        const std::size_t found = line.find(label);
        if (found != std::string::npos) {
            return std::stod(line.substr(found + label.size()));
        }
    }
    throw std::runtime_error("valgrind counted nothing");
}

} // namespace corvid::bench
