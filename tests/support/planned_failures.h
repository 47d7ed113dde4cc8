#pragma once

// Between the plans that tests make (failing_calls.h) and the wrappers of the calls.

#include "tests/support/failing_calls.h"

#include <cstddef>

namespace corvid::test {

// Where a call works: a path, a descriptor, or neither.
struct Place {
    const char* path = nullptr;
    int descriptor = -1;
};

// Counts the call, or ends the process in its place. The error to fail it with, or 0 to let it
// through.
int plannedError(Call call, const Place& place = {});
// True when the call has to fail; errno then says why.
bool mustFail(Call call, const Place& place = {});
// How many bytes a write of that many may take.
std::size_t limitedWrite(std::size_t size);

} // namespace corvid::test
