#include "runtime/fixed_paths.h"

#include <cstdlib>

namespace corvid {

const char* fixedPathPrefix() {
    // Nothing in the product changes the environment, so reading it needs no lock.
    const char* root = std::getenv("CORVIDPRO_ROOT"); // NOLINT(concurrency-mt-unsafe)
    return root != nullptr ? root : "";
}

} // namespace corvid
