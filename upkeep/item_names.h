#pragma once

// How users name items of the caches: by the path below the root ("<project>/<composition>/PROXY"),
// with "ROOT:" before it where two roots have it, by the absolute path, by a project's key, or by
// the name that the window shows, if only one item bears it.

#include "upkeep/cache_list.h"

#include <string>
#include <vector>

namespace corvid {

// Leaves only the named items, and what they lie in, in the list; strays go. Throws UnknownItem.
void keepItems(CacheList& list, const std::vector<std::string>& names);

} // namespace corvid
