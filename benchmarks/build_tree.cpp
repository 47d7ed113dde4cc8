// build_tree [REPETITIONS]: builds the cache tree as the program does, from the registry to the
// totals, prints files and bytes, and ends without taking the tree down, which is no part of
// building it. CORVIDPRO_ROOT chooses the caches.

#include "MacCacheManager/CacheDataSource.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    const long repetitions = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 1;
    CacheDataSource source;
    source.setShouldProvideData(true);
    for (long i = 0; i < repetitions; ++i) {
        source.reload();
    }
    const FrameCacheEntry* root = source.getRootNode();
    std::printf("%d files %llu bytes\n", root->getFileCount(),
                static_cast<unsigned long long>(root->getFileSize()));
    static_cast<void>(std::fflush(stdout));
    std::_Exit(0);
}
