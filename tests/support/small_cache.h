#pragma once

// A few small caches, made by hand, for what lists and counts them.

#include "store/KavroPISSFrameCache.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "store/PISSMD5.h"
#include "tests/support/product_root.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <string>

namespace corvid::test {

class SmallCacheTest : public ProductTest {
protected:
    // A cache root; not registered by itself, without "/" at its end.
    std::string cache(const std::string& name = "Cache") const { return root.path(name); }

    void registerRoot(const std::string& path, const std::string& project = "/p.aep") const {
        KavroPISSFrameCacheRegistry registry;
        registry.Add(project.c_str(), corvid::kPathToCache, path.c_str());
        EXPECT_EQ(registry.Commit(), 1);
    }
    // A feature with its lines in the tables; its folder, without "/" at its end.
    static std::string addFeature(const std::string& cache, const std::string& project,
                                  const std::string& composition, const std::string& feature) {
        const KavroPISSFrameCache model(cache.c_str(), project.c_str(), composition.c_str(),
                                        feature.c_str());
        const std::string folder =
            cache + "/" + hashOf(project) + "/" + hashOf(composition) + "/" + feature;
        makeDirectory(folder);
        return folder;
    }
    // A frame of so many bytes, dated.
    static void addFrame(const std::string& feature, int number, std::size_t bytes, long time) {
        const std::string digits = std::to_string(number);
        const std::string path =
            feature + "/" + std::string(8 - digits.size(), '0') + digits + ".raw";
        writeFile(path, std::string(bytes, 'x'));
        setTime(path, time);
    }
    static void setTime(const std::string& path, long time) {
        const timespec times[2] = {{time, 0}, {time, 0}};
        EXPECT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0) << path;
    }
};

} // namespace corvid::test
