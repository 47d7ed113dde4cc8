#include "upkeep/answer_in_time.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

namespace {

using corvid::answerInTime;
using corvid::finishInTime;
using std::chrono::milliseconds;
using std::chrono::seconds;

// Waits until it is let go, and says that it has ended.
struct Gate {
    std::atomic<bool> isOpen = false;
    std::atomic<bool> hasEnded = false;

    void wait() {
        while (!isOpen) {
            std::this_thread::sleep_for(milliseconds(1));
        }
        hasEnded = true;
    }
    void open() {
        isOpen = true;
        while (!hasEnded) {
            std::this_thread::sleep_for(milliseconds(1));
        }
    }
};

TEST(AnswerInTime, GivesTheAnswer) {
    EXPECT_EQ(answerInTime(seconds(30), [] { return 7; }), 7);
}

TEST(AnswerInTime, GivesNoneWhenItDoesNotCome) {
    const auto gate = std::make_shared<Gate>();
    EXPECT_EQ(answerInTime(milliseconds(20),
                           [gate] {
                               gate->wait();
                               return 7;
                           }),
              std::nullopt);
    gate->open();
}

TEST(FinishInTime, GoesOnWaitingWhileThereIsProgress) {
    const auto gate = std::make_shared<Gate>();
    int asked = 0;
    EXPECT_TRUE(finishInTime(
        milliseconds(20), [gate] { gate->wait(); },
        [&] {
            gate->isOpen = ++asked >= 4;
            return asked;
        }));
    EXPECT_GE(asked, 4);
}

} // namespace
