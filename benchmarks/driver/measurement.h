#pragma once

// Running programs and taking their times. What is compared is run in alternation, so that a change
// of the machine's load or temperature meets all of it alike.

#include <functional>
#include <string>
#include <vector>

namespace corvid::bench {

struct Command {
    std::vector<std::string> words; // the program, sought in PATH when it has no "/", and arguments
    std::vector<std::string> environment{}; // "NAME=value", beside the driver's own
    std::function<void()> prepare{};        // before each run; not timed
};

// One run, in seconds. The time of the processor is that of the program and of all it waited for.
struct Run {
    double wall = 0;
    double user = 0;
    double system = 0;
    std::string output; // what it wrote to its standard output

    double cpu() const { return user + system; }
};

// Runs a program to its end. Throws std::runtime_error when it cannot be started or fails.
Run run(const Command& command);

// All runs of each command, in the order of the commands.
using Runs = std::vector<std::vector<Run>>;

// Runs the commands in turn, `rounds` times after `warmUps` rounds that do not count; every other
// round begins at the last command.
Runs alternate(const std::vector<Command>& commands, int rounds, int warmUps = 1);

struct Statistics {
    double median = 0;
    double least = 0;
    double greatest = 0;
};

// Throws std::runtime_error when there is no value.
Statistics statisticsOf(std::vector<double> values);

using Measure = double (*)(const Run&);
double wallOf(const Run& run);
double cpuOf(const Run& run);
Statistics statisticsOf(const std::vector<Run>& runs, Measure measure);
// Of the quotients of runs of the same round.
Statistics ratioOf(const std::vector<Run>& runs, const std::vector<Run>& others, Measure measure);

// Throws std::runtime_error unless all runs of the first two commands wrote the same: two readers
// that found different things cannot be compared.
void requireSameOutput(const Runs& runs);

// Whether a program of this name is in PATH.
bool isInstalled(const std::string& program);

// How often a program and its threads entered the system, start and end included. Needs strace.
struct SystemCalls {
    double all = 0;
    double renames = 0;
};
SystemCalls countSystemCalls(const Command& command, const std::string& scratchFile);

// How many instructions a program and its threads executed outside the system, which hardly differs
// between runs and machines. The scratch file is overwritten. Needs valgrind; throws
// std::runtime_error when it counted nothing.
double countInstructions(const Command& command, const std::string& scratchFile);

} // namespace corvid::bench
