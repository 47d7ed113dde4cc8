#pragma once

// What is wrong with the caches' tables and the registry, and what it hides. Looks only.

#include "upkeep/cache_list.h"

#include <optional>
#include <string>
#include <vector>

namespace corvid {

// Those that can be mended come first.
enum class FindingKind {
    UnnamedProject,
    UnnamedComposition,
    DeadLine,
    DoubleLine,
    WrongHash,
    HiddenByEmptyLine,
    RegistryDoubleRoot,
    UnregisteredProject,
    RegistryMissingRoot,
    NestedRoot,
    Foreign,
    OverLong,
};
const char* wordOf(FindingKind kind);

struct Finding {
    FindingKind kind;
    std::string root;
    std::string path; // the directory, or the table or registry whose line it is
    std::uint64_t hiddenBytes = 0;
    std::uint64_t hiddenFiles = 0;
    std::optional<std::string> fix; // a sentence: what would mend it; none where nothing can
};

// Of a whole list, which tells what could not be looked at; nothing of that is called gone. The
// findings are in the order of their kinds, then of the roots.
std::vector<Finding> checkCaches(const CacheList& list);

} // namespace corvid
