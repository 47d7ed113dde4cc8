// Whichever call fails, and however it fails: what is on the disk is what was there or what was to
// come, never anything else, and the answer tells which.

#include "tests/reliability/failing_calls_run.h"

#include <gtest/gtest.h>

namespace {

using corvid::test::FailingCallsRun;
using corvid::test::Operation;

class FailingCallsTest : public ::testing::TestWithParam<Operation> {};

TEST_P(FailingCallsTest, LeaveWhatWasThereOrWhatWasToCome) {
    FailingCallsRun run(GetParam());
    EXPECT_GT(run.failEachCall(), 0) << "no call of it can be made to fail";
}

TEST_P(FailingCallsTest, ShortWritesLeaveWhatWasThereOrWhatWasToCome) {
    FailingCallsRun run(GetParam());
    run.writeShort();
}

const auto kName = [](const ::testing::TestParamInfo<Operation>& info) { return info.param.name; };

INSTANTIATE_TEST_SUITE_P(Settings, FailingCallsTest,
                         ::testing::ValuesIn(corvid::test::settingsOperations()), kName);
INSTANTIATE_TEST_SUITE_P(Cache, FailingCallsTest,
                         ::testing::ValuesIn(corvid::test::cacheOperations()), kName);
INSTANTIATE_TEST_SUITE_P(RenderQueue, FailingCallsTest,
                         ::testing::ValuesIn(corvid::test::queueOperations()), kName);

} // namespace
