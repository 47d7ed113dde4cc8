// A log that cannot be written costs its own lines and nothing else.

#include "runtime/maro_log.h"
#include "tests/reliability/product_world.h"
#include "tests/support/failing_calls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using corvid::test::Call;
using corvid::test::exists;
using corvid::test::FailNth;
using corvid::test::linesOf;
using corvid::test::openDescriptors;
using corvid::test::ShortWrites;
using ::testing::Contains;
using ::testing::EndsWith;
using ::testing::IsSubsetOf;

struct Kind {
    Call call;
    int error;
};

const Kind kKinds[] = {{Call::Open, EACCES},   {Call::Open, EMFILE},       {Call::Open, EINTR},
                       {Call::Write, ENOSPC},  {Call::Write, EIO},         {Call::Write, EINTR},
                       {Call::Rename, EACCES}, {Call::Rename, ENOENT},     {Call::Unlink, EACCES},
                       {Call::Unlink, ENOENT}, {Call::ChangeMode, EACCES}, {Call::ChangeMode, EIO}};

class FailingLogTest : public corvid::test::ProductTest {
protected:
    // Lines before and behind a roll-over; the messages as the files must hold them.
    static std::vector<std::string> log() {
        std::vector<std::string> messages;
        for (const char* message : {"first", "second", "third", "fourth"}) {
            maro_log("%s", message);
            maro_logError("%s", message);
            messages.push_back(message);
            messages.push_back(std::string("ERROR\t") + message);
            if (messages.size() == 4) {
                rollMaroLogFile();
            }
        }
        return messages;
    }
    // What is in the log and its backups.
    std::vector<std::string> logged() const {
        std::vector<std::string> messages;
        for (int backup = 0; backup < 10; ++backup) {
            const std::string file = root.logFile() + "." + std::to_string(backup) + ".txt";
            if (!exists(file)) {
                continue;
            }
            for (const std::string& line : linesOf(file)) {
                messages.push_back(line.substr(line.find(">\t<Thread=") + 2));
                messages.back().erase(0, messages.back().find('\t') + 1);
            }
        }
        for (const std::string& message : root.logMessages()) {
            messages.push_back(message);
        }
        return messages;
    }
    void forget() {
        root.clearLog();
        for (int backup = 0; backup < 10; ++backup) {
            ::unlink((root.logFile() + "." + std::to_string(backup) + ".txt").c_str());
        }
    }
};

TEST_F(FailingLogTest, AFailingCallCostsAtMostItsOwnLine) {
    int failures = 0;
    for (const Kind& kind : kKinds) {
        bool hasFailed = true;
        for (int nth = 1; hasFailed; ++nth) {
            ASSERT_LT(nth, 100);
            forget();
            const int descriptors = openDescriptors();
            std::vector<std::string> messages;
            {
                const FailNth failing(kind.call, nth, kind.error, root.path("private"));
                messages = log();
                hasFailed = failing.failures() > 0;
                failures += hasFailed ? 1 : 0;
            }
            const std::vector<std::string> kept = logged();
            EXPECT_THAT(kept, IsSubsetOf(messages)) << "call " << nth;
            EXPECT_GE(kept.size() + (hasFailed ? 1 : 0), messages.size()) << "call " << nth;
            EXPECT_EQ(openDescriptors(), descriptors);
        }
    }
    EXPECT_GT(failures, 0);
}

TEST_F(FailingLogTest, ShortWritesAreContinued) {
    const ShortWrites pieces(3);
    const std::vector<std::string> messages = log();
    EXPECT_EQ(logged(), messages);
}

TEST_F(FailingLogTest, LinesComeAgainWhenTheDiskHasRoom) {
    {
        const FailNth full(Call::Write, 1, ENOSPC, root.path("private"),
                           corvid::test::Lasting::FromThenOn);
        maro_log("lost");
        EXPECT_GT(full.failures(), 0);
    }
    maro_log("found");
    EXPECT_EQ(root.logMessages(), std::vector<std::string>{"found"});
}

} // namespace
