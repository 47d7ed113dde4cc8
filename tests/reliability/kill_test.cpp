// A process that is killed, whenever that is, leaves files that are whole, caches that can be read,
// and nothing lost.

#include "tests/reliability/kill_run.h"
#include "tests/reliability/runs.h"

#include <gtest/gtest.h>

namespace {

using corvid::test::KillRun;
using corvid::test::KillScenario;

class KillTest : public ::testing::TestWithParam<KillScenario> {};

TEST_P(KillTest, LeavesFilesWholeAndCachesReadable) {
    KillRun run(GetParam(), corvid::test::treeOfModels);
    run.kill(corvid::test::reliabilityRuns(corvid::test::kSanitized ? 10 : 50));
}

const auto kName = [](const ::testing::TestParamInfo<KillScenario>& info) {
    return info.param.name;
};

INSTANTIATE_TEST_SUITE_P(Stores, KillTest, ::testing::ValuesIn(corvid::test::storeScenarios()),
                         kName);
INSTANTIATE_TEST_SUITE_P(Caches, KillTest, ::testing::ValuesIn(corvid::test::cacheScenarios()),
                         kName);

} // namespace
