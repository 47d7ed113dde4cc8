#include "files/work_crew.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <new>
#include <thread>

namespace {

using corvid::WorkCrew;

TEST(WorkCrewTest, WhatTheTickThrowsArrivesOnceAllTasksAreDone) {
    WorkCrew crew;
    std::atomic<int> done = 0;
    constexpr int kTasks = 8;
    for (int i = 0; i < kTasks; ++i) {
        crew.add([&done] {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            ++done;
        });
    }
    int ticks = 0;
    const auto tick = [&ticks] {
        ++ticks;
        throw std::bad_alloc();
    };
    EXPECT_THROW(crew.run(tick), std::bad_alloc);
    EXPECT_EQ(done, kTasks);
    EXPECT_EQ(ticks, 1);
}

TEST(WorkCrewTest, WorksAgainAfterATaskRanOutOfMemory) {
    WorkCrew crew;
    crew.add([] { throw std::bad_alloc(); });
    EXPECT_THROW(crew.run(nullptr), std::bad_alloc);
    bool isDone = false;
    crew.add([&isDone] { isDone = true; });
    crew.run(nullptr);
    EXPECT_TRUE(isDone);
}

} // namespace
