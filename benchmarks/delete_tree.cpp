// delete_tree CACHE_ROOT PROJECT: deletes a project from a cache root as the program does, and
// prints the most memory that it took.

#include "benchmarks/process_memory.h"
#include "store/KavroPISSFrameCache.h"

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 3) {
        static_cast<void>(std::fputs("usage: delete_tree CACHE_ROOT PROJECT\n", stderr));
        return 2;
    }
    if (KavroPISSFrameCache(argv[1], argv[2]).DeleteProject(argv[2]) == 0) {
        return 1;
    }
    std::printf("%ld kB\n", corvid::bench::ownKilobytes("VmHWM:"));
    return 0;
}
