// What the window shows after something that changed the caches was killed is what is on the disk.

#include "tests/reliability/kill_run.h"
#include "tests/reliability/runs.h"
#include "tests/reliability/source_tree.h"

#include <gtest/gtest.h>

namespace {

using corvid::test::KillRun;
using corvid::test::KillScenario;

class KillTreeTest : public ::testing::TestWithParam<KillScenario> {};

TEST_P(KillTreeTest, LeavesCachesThatTheWindowCanShow) {
    KillRun run(GetParam(), corvid::test::treeOfWindow);
    run.kill(corvid::test::reliabilityRuns(corvid::test::kSanitized ? 10 : 50));
}

const auto kName = [](const ::testing::TestParamInfo<KillScenario>& info) {
    return info.param.name;
};

INSTANTIATE_TEST_SUITE_P(Caches, KillTreeTest, ::testing::ValuesIn(corvid::test::cacheScenarios()),
                         kName);

} // namespace
