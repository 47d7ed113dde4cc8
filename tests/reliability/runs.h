#pragma once

// How often a test of the reliability repeats what it does.

#include <cstdlib>

namespace corvid::test {

// The value of CORVID_RELIABILITY_RUNS when that is a number above 0, else `usual`.
inline int reliabilityRuns(int usual) {
    const char* set = std::getenv("CORVID_RELIABILITY_RUNS"); // NOLINT(concurrency-mt-unsafe)
    const long runs = set != nullptr ? std::strtol(set, nullptr, 10) : 0;
    return runs > 0 ? static_cast<int>(runs) : usual;
}

} // namespace corvid::test
