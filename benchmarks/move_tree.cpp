// move_tree CACHE_ROOT PROJECT NEW_CACHE_ROOT: moves a project to another cache root as the program
// does.

#include "store/KavroPISSFrameCache.h"

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 4) {
        static_cast<void>(
            std::fputs("usage: move_tree CACHE_ROOT PROJECT NEW_CACHE_ROOT\n", stderr));
        return 2;
    }
    return KavroPISSFrameCache(argv[1], argv[2]).MoveProject(argv[2], argv[3]) != 0 ? 0 : 1;
}
