#include "tests/reliability/several_programs_run.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace corvid::test {

std::chrono::seconds SeveralProgramsTest::duration() {
    const char* set = std::getenv("CORVID_RELIABILITY_SECONDS"); // NOLINT(concurrency-mt-unsafe)
    const long seconds = set != nullptr ? std::strtol(set, nullptr, 10) : 0;
    return std::chrono::seconds(seconds > 0 ? seconds : 3);
}

bool SeveralProgramsTest::haveAllWorked() const {
    constexpr std::uint64_t kLeastRounds = 20; // however slow the machine is
    for (std::size_t i = 0; i < m_programs.size(); ++i) {
        if (world.journal().rounds(i) < kLeastRounds) {
            return false;
        }
    }
    return true;
}

void SeveralProgramsTest::look() const {
    world.expectConfig();
    world.expectRegistry();
    world.expectTables();
}

void SeveralProgramsTest::watch() {
    constexpr int kLooksPerLog = 50; // it is long
    const auto end = std::chrono::steady_clock::now() + duration();
    int looks = 0;
    while (!HasFailure() && (std::chrono::steady_clock::now() < end || !haveAllWorked())) {
        look();
        if (++looks % kLooksPerLog == 0) {
            world.expectEndOfLog();
        }
    }
    world.journal().stop() = true;
    std::printf("looks at the files: %d; rounds of the programs:", looks);
    for (std::size_t i = 0; i < m_programs.size(); ++i) {
        EXPECT_TRUE(endedWell(m_programs[i]));
        std::printf(" %llu", static_cast<unsigned long long>(world.journal().rounds(i).load()));
    }
    std::printf("\n");
}

std::vector<std::string> SeveralProgramsTest::leftOvers() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(world.root.path())) {
        if (entry.path().extension() == ".new") {
            names.push_back(entry.path().string());
        }
    }
    return names;
}

} // namespace corvid::test
