#pragma once

// No operation that plug-ins call may throw: what has to be done without memory is said here, once.

#include "runtime/maro_log.h"

#include <new>
#include <utility>

namespace corvid {

// Does the work and returns its result; when there is no memory for it, `failed` after one error
// line that names the operation.
template <class Result, class Work>
Result unlessOutOfMemory(const char* operation, Result failed, Work work) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        maro_logError("%s: malloc failed\n", operation);
        return failed;
    }
}

} // namespace corvid
