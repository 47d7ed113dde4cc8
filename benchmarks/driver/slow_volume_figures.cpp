#include "benchmarks/driver/figures.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace corvid::bench {

namespace {

bool isMountPoint(const std::string& directory) {
    struct stat own {};
    struct stat parent {};
    return ::stat(directory.c_str(), &own) == 0 &&
           ::stat((directory + "/..").c_str(), &parent) == 0 && own.st_dev != parent.st_dev;
}

// A directory mounted a second time as a slow volume, until the end of the scope.
class SlowVolume {
public:
    SlowVolume(std::string program, std::string source, const std::string& mountPoint) {
        std::string target = mountPoint;
        char* words[] = {program.data(), source.data(), target.data(), nullptr};
        if (::posix_spawn(&m_server, program.c_str(), nullptr, nullptr, words, environ) != 0) {
            m_server = 0;
        }
        for (int wait = 0; wait < 500 && isRunning() && !m_isMounted; ++wait) {
            m_isMounted = isMountPoint(mountPoint);
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    ~SlowVolume() {
        if (isRunning()) {
            ::kill(m_server, SIGTERM);
            ::waitpid(m_server, nullptr, 0);
        }
    }
    SlowVolume(const SlowVolume&) = delete;
    SlowVolume& operator=(const SlowVolume&) = delete;

    bool isMounted() const { return m_isMounted; }

private:
    bool isRunning() {
        if (m_server > 0 && ::waitpid(m_server, nullptr, WNOHANG) != 0) {
            m_server = 0;
        }
        return m_server > 0;
    }

    pid_t m_server = 0;
    bool m_isMounted = false;
};

} // namespace

void measureSlowVolume(Bench& bench) {
    const std::string what = "slow volume, 1 ms a call";
    if (::access(bench.program("slow_volume").c_str(), X_OK) != 0) {
        bench.report.skip(what, "built without libfuse 3");
        return;
    }
    const Shape shape{bench.scaled(30), 2, 3, 10};
    const Cache source = bench.caches.cache(shape);
    const std::string mountPoint = bench.caches.folder() + "/slow-volume";
    std::filesystem::create_directories(mountPoint);
    const SlowVolume volume(bench.program("slow_volume"), source.cacheRoot, mountPoint);
    if (!volume.isMounted()) {
        bench.report.skip(what, "/dev/fuse cannot be used here");
        return;
    }
    // A product whose only cache root is the slow volume.
    Cache slow = bench.caches.freshCache({}, "slow-product");
    slow.cacheRoot = mountPoint + "/";
    writeFile(slow.configDirectory + "FrameCache.cvp",
              std::string(32, '0') + " string\tPathToCache " + slow.cacheRoot + "\n");

    const Runs runs = alternate({bench.buildTree(slow),
                                 bench.limit(slow),
                                 {{"du", "-s", "--apparent-size", slow.cacheRoot}}},
                                bench.rounds, 0); // the volume keeps nothing that could be warm
    requireSameOutput(runs);
    bench.report.add(what + ", " + std::to_string(shape.totalFrames()) + " frames", "du : tree",
                     ratioOf(runs[2], runs[0], wallOf), "x", atLeast(8));
    bench.report.add(what, "limit : tree", ratioOf(runs[1], runs[0], wallOf), "x");
    bench.report.add(what, "time of the tree", statisticsOf(runs[0], wallOf), "s");
    measureGap(bench, what, slow);
}

} // namespace corvid::bench
