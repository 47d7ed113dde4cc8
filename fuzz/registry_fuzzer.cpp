// Any bytes as the registry: what is read is written and read again unchanged, and its cache roots
// are distinct values of the entries.

#include "fuzz/round_trip.h"
#include "store/KavroPISSFrameCacheRegistry.h"

#include <cstring>
#include <set>

using namespace corvid::fuzz; // NOLINT(google-build-using-namespace)

namespace {

std::string entriesOf(KavroPISSFrameCacheRegistry& registry, std::set<std::string>& roots) {
    Listing listing;
    int count = 0;
    registry.PrepareKeyValuePairList();
    while (const sFrameCacheRegistryEntry* entry = registry.GetNextKeyValuePairInList()) {
        listing.add(entry->projectName);
        listing.add(entry->type);
        listing.add(entry->key);
        listing.add(entry->value);
        listing.endEntry();
        ++count;
        if (std::strcmp(entry->key, corvid::kPathToCache) == 0) {
            roots.insert(entry->value);
        }
    }
    require(count == registry.NumberOfKeyValuePairsInList(), "the count is that of the list");
    return listing.text();
}

void requireRoots(KavroPISSFrameCacheRegistry& registry, const std::set<std::string>& expected) {
    const std::vector<std::string> roots = corvid::registeredCacheRoots(registry);
    require(roots.size() == expected.size(), "every cache root is named once");
    for (const std::string& root : roots) {
        require(expected.count(root) == 1 && !root.empty(),
                "a cache root is a value of the registry");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ScratchRoot::path();
    static const std::string path = corvid::productPath(assignCorvidProFrameCacheRegistryFilePath);
    writeFile(path, data, size);
    std::string before;
    std::set<std::string> roots;
    {
        KavroPISSFrameCacheRegistry registry;
        before = entriesOf(registry, roots);
        requireRoots(registry, roots);
        require(registry.Commit() != 0, "the registry can be committed");
    }
    KavroPISSFrameCacheRegistry registry;
    requireEqual(before, entriesOf(registry, roots), "the registry is read as it was committed");
    requireRoots(registry, roots);
    return 0;
}
