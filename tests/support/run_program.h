#pragma once

// Runs a program to its end and keeps what it said.

#include <string>
#include <vector>

namespace corvid::test {

struct ProgramRun {
    int status = -1; // 128 and the signal for one that a signal ended
    std::string out;
    std::string err;
};

// Standard input is empty; the environment is the present one. Throws std::runtime_error when the
// program cannot be started.
[[nodiscard]] ProgramRun runProgram(const std::vector<std::string>& words);

} // namespace corvid::test
