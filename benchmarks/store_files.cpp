// store_files registry|roots|config|project REPETITIONS [PROJECT_FOLDER]: reads one of the stores'
// files and writes it back (for roots: names the distinct cache roots instead), and prints how many
// entries there were. CORVIDPRO_ROOT chooses the files.

#include "store/KavroPISSConfig.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "store/KavroPISSPerProjectConfig.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

// Each answers the number of entries, or -1 when something failed.

long passRegistry() {
    KavroPISSFrameCacheRegistry registry;
    return registry.Commit() != 0 ? registry.NumberOfKeyValuePairsInList() : -1;
}

long passRoots() {
    KavroPISSFrameCacheRegistry registry;
    return static_cast<long>(corvid::registeredCacheRoots(registry).size());
}

long passConfig() {
    KavroPISSConfig config;
    const bool done = config.IsValid() != 0 && config.Commit();
    return done ? static_cast<long>(config.NumberOfKeyValuePairsInList()) : -1;
}

long passProject(const char* folder) {
    KavroPISSPerProjectConfig config(folder);
    return config.Commit() ? static_cast<long>(config.NumberOfKeyValuePairsInList()) : -1;
}

long pass(const std::string& store, const char* folder) {
    if (store == "registry") {
        return passRegistry();
    }
    if (store == "roots") {
        return passRoots();
    }
    if (store == "config") {
        return passConfig();
    }
    return store == "project" && folder != nullptr ? passProject(folder) : -1;
}

} // namespace

int main(int argc, char** argv) {
    const std::string store = argc > 1 ? argv[1] : "";
    const long repetitions = argc > 2 ? std::strtol(argv[2], nullptr, 10) : 0;
    long entries = -1;
    for (long i = 0; i < repetitions; ++i) {
        entries = pass(store, argc > 3 ? argv[3] : nullptr);
        if (entries < 0) {
            break;
        }
    }
    if (entries < 0) {
        static_cast<void>(std::fputs("store_files: failed\n", stderr));
        return 1;
    }
    std::printf("%ld\n", entries);
    return 0;
}
