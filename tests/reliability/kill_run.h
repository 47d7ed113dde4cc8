#pragma once

// Kills a process at any moment of its work, again and again, while another one reads its files.

#include "tests/reliability/cache_reading.h"
#include "tests/reliability/product_world.h"
#include "tools/sample_plan.h"

#include <chrono>
#include <functional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include <sys/types.h>

namespace corvid::test {

// Work of several turns. After a kill every path is as it was before one of the turns or after it.
struct KillScenario {
    std::string name;
    // Does one turn; false when something failed.
    std::function<bool(ProductWorld&, int turn)> turn;
    int turns = 6;
    std::function<void(ProductWorld&)> arrange = nullptr;
    // Whether texts may be written in small pieces, so that a kill can come between them. A record
    // of the history goes out in one write or not at all.
    bool writesShort = true;
    // Directories in which a path may be in any state.
    std::function<std::vector<std::string>(const ProductWorld&)> halfDone = nullptr;
    // More that has to hold after a kill.
    std::function<void(const ProductWorld&, const Disk& start, const Disk& after)> check = nullptr;
    // Work that has to go well after a kill.
    std::function<void(ProductWorld&, const Disk& start)> goOn = nullptr;
};

inline void PrintTo(const KillScenario& scenario, std::ostream* out) {
    *out << scenario.name;
}

std::vector<KillScenario> storeScenarios();
std::vector<KillScenario> cacheScenarios();

class KillRun {
public:
    using ReadTree = std::function<Tree(const ProductWorld&)>;

    KillRun(const KillScenario& scenario, ReadTree readTree);

    // So many kills, a third each at a certain call, at a certain time, and at a certain time
    // together with the programs that the process has started. The first run has the number 0; the
    // same number gives the same kill.
    void kill(int runs);

private:
    struct Outcome {
        bool isKilled = false;
        bool isReaderContent = false;
    };

    void rehearse();
    void remember();
    void runOnce(int number);
    Outcome killWorker(int number);
    pid_t startWorker(int number, SampleNumbers numbers);
    void work(int number, SampleNumbers& numbers);
    bool readUntil(int stop, int ready) const;
    bool isReadable(const std::string& path) const;
    bool isRight(const std::string& path, const DiskEntry* is) const;
    void expectRight(const Disk& after) const;

    const KillScenario& m_scenario;
    ReadTree m_readTree;
    ProductWorld m_world;
    Disk m_start;
    Snapshot m_guarded;
    // What each path was between two turns, and which was not there.
    std::map<std::string, std::set<DiskEntry>> m_states;
    std::set<std::string> m_absent;
    std::vector<std::string> m_files; // that the reader reads
    std::vector<std::string> m_halfDone;
    std::uint64_t m_calls = 0;
    std::chrono::microseconds m_duration{};
    int m_killed = 0;
};

} // namespace corvid::test
