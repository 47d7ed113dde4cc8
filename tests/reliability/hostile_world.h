#pragma once

// A hostile cache with everything around it that must stay as it is, and another process that
// changes the cache meanwhile.

#include "tests/reliability/hostile_cache.h"
#include "tests/reliability/runs.h"
#include "tests/support/forked_child.h"
#include "tests/support/product_root.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <exception>
#include <string>
#include <utility>

#include <sys/types.h>

namespace corvid::test {

// A number that the test and its child processes share.
class SharedNumber {
public:
    SharedNumber();
    ~SharedNumber();
    SharedNumber(const SharedNumber&) = delete;
    SharedNumber& operator=(const SharedNumber&) = delete;

    std::atomic<std::uint64_t>& operator*() const { return *m_number; }

private:
    std::atomic<std::uint64_t>* m_number;
};

// In a folder: the cache, the guarded neighbour that its links lead to, and an empty folder in
// which the process stands and where a command that a name smuggled into a shell would leave its
// mark.
class HostileWorld {
public:
    HostileWorld(std::string folder, const HostileOptions& options);

    HostileCache cache;
    // The text that models take for the cache root.
    std::string root() const { return cache.path() + "/"; }
    // The path of something beside the cache.
    std::string beside(const std::string& name) const { return m_folder + "/" + name; }
    // Fails the test unless the neighbour is as it was and no name was run as a command.
    void expectOutsideUntouched() const;

private:
    static std::string withGuarded(const std::string& folder);

    std::string m_folder;
    Snapshot m_guarded;
};

// While it lives, another process changes a cache: files and directories vanish for a while or for
// good, some appear, and directories turn into links to the guarded neighbour and back. The tables
// stay.
class Disturber {
public:
    // Returns when the first change was made.
    Disturber(const HostileWorld& world, std::uint64_t seed);
    // Waits until the last change is complete.
    ~Disturber();
    Disturber(const Disturber&) = delete;
    Disturber& operator=(const Disturber&) = delete;

    std::uint64_t changes() const { return *m_changes; }

private:
    SharedNumber m_stop;
    SharedNumber m_changes;
    pid_t m_process;
};

// From now on this process and its children can change nothing on the machine but what is below
// the path. False, and no change, where the system cannot promise that.
bool confineChangesTo(const std::string& path);

// Calls body(world, options) for the seeds from 1 on, each in a process of its own that a crash or
// a hang cannot take farther than its seed; every second one gives up the rights of root, and a few
// caches are deep. An assertion in the body fails the test.
template <class Body>
void forEachHostileWorld(const ProductRoot& root, HostileOptions options, Body body) {
    constexpr std::uint64_t kCachesPerNest = 51; // odd, so that both kinds of process get them
    constexpr std::uint64_t kNestingCache = 11;  // of those
    constexpr unsigned kPatience = 250;          // some disks take milliseconds for each directory
    letOthersIn(root);
    const std::string folder = root.path("world");
    const auto seeds = static_cast<std::uint64_t>(reliabilityRuns(kSanitized ? 12 : 40));
    for (options.seed = 1; options.seed <= seeds; ++options.seed) {
        options.isDeep = options.seed % kCachesPerNest == kNestingCache;
        makeDirectory(folder);
        ::chmod(folder.c_str(), 0777);
        const auto run = [&] {
            if (options.seed % 2 == 0 && !becomeNobody()) {
                return false;
            }
            try {
                // Whatever else fails, no test may reach what is behind a link to "/".
                options.hasLinksToTheMachine = confineChangesTo(root.path());
                HostileWorld world(folder, options);
                body(world, std::as_const(options));
                world.expectOutsideUntouched();
            } catch (const std::exception& failure) {
                ADD_FAILURE() << failure.what();
            }
            return !::testing::Test::HasFailure();
        };
        ASSERT_TRUE(holdsInChild(run, kPatience)) << "with the seed " << options.seed;
        removeTree(folder);
    }
}

} // namespace corvid::test
