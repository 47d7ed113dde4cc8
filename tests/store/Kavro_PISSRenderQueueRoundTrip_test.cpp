#include "runtime/maro_log.h"
#include "tests/support/forked_child.h"
#include "tests/support/render_queue_test.h"

#include <chrono>
#include <random>

#include <unistd.h>

namespace {

using namespace corvid::test;

// One thread at work has little to tell to the thread sanitizer, which takes its time.
constexpr int kRounds = kThreadSanitizer ? 300 : 10000;
constexpr int kBrokenRounds = kThreadSanitizer ? 100 : 3000;

// Makes random items of everything that may be queued.
class RandomItems {
public:
    OwnedItem next() {
        auto item = std::make_unique<KavroPISSRenderQueueItem>();
        for (int pairs = upTo(6); pairs > 0; --pairs) {
            if (upTo(3) == 0) {
                item->Add(word().c_str(), word().c_str(), static_cast<int>(m_random()));
            } else {
                item->Add(word().c_str(), word().c_str(), value().c_str());
            }
        }
        for (int modules = upTo(3); modules > 0; --modules) {
            auto module = std::make_unique<KavroPISSRenderQueueItemOutputModule>();
            for (int pairs = upTo(4); pairs > 0; --pairs) {
                module->Add(word().c_str(), word().c_str(), value().c_str());
            }
            item->AddNewOutputModule(module.release());
        }
        return item;
    }
    int upTo(int most) { return std::uniform_int_distribution<int>(0, most)(m_random); }

private:
    // Any bytes but NUL and line feed; braces and blanks often.
    std::string text(int length) {
        std::string bytes;
        for (; length > 0; --length) {
            const int kind = upTo(4);
            char byte = static_cast<char>(1 + upTo(254));
            byte = kind == 0 ? "{} \t"[upTo(3)] : byte;
            bytes += byte == '\n' ? 'n' : byte;
        }
        return bytes;
    }
    std::string word() {
        std::string bytes = text(1 + upTo(8));
        for (char& byte : bytes) {
            byte = byte == ' ' || byte == '\t' ? '_' : byte;
        }
        return bytes;
    }
    // Without leading blanks, which no reader gives back; now and then longer than a line may be.
    std::string value() {
        const std::string bytes = text(upTo(20) == 0 ? upTo(1100) : upTo(30));
        const std::size_t start = bytes.find_first_not_of(" \t");
        return start == std::string::npos ? "" : bytes.substr(start);
    }

    std::mt19937 m_random{20080229};
};

// Tens of thousands of small files are replaced here, so they live in memory where the system has a
// place for that.
class RenderQueueRoundTripTest : public RenderQueueTest {
protected:
    static void SetUpTestSuite() {
        constexpr char kMemory[] = "/dev/shm";
        if (::access(kMemory, W_OK) == 0) {
            folder = std::make_unique<EnvironmentGuard>("TMPDIR", kMemory);
        }
    }
    static void TearDownTestSuite() { folder.reset(); }

private:
    static inline std::unique_ptr<EnvironmentGuard> folder;
};

TEST_F(RenderQueueRoundTripTest, GivesTheSameBytesForAnyQueue) {
    RandomItems random;
    KavroPISSRenderQueue written;
    KavroPISSRenderQueue read;
    for (int round = 0; round < kRounds; ++round) {
        written.DeleteAllRenderQueueItems();
        for (int items = random.upTo(4); items > 0; --items) {
            ASSERT_EQ(written.AddNewRenderQueueItem(random.next().release()), 1);
        }
        ASSERT_EQ(written.Commit(), 1);
        const std::string first = readFile(file("RQ.txt"));
        ASSERT_EQ(read.StartTransaction(), 1) << first;
        ASSERT_EQ(read.NumberOfRenderQueueItemsInList(), written.NumberOfRenderQueueItemsInList());
        ASSERT_EQ(read.Commit(), 1);
        ASSERT_EQ(readFile(file("RQ.txt")), first) << "round " << round;
    }
    // Names that are braces stay out of the file; nothing else is said.
    for (const std::string& message : root.logMessages()) {
        EXPECT_TRUE(message.starts_with("RenderQueue::Commit - copying") ||
                    message.find("is left out of its file") != std::string::npos)
            << message;
    }
}

// Broken files: a good one with lines removed, doubled, exchanged and cut.
class RandomDamage {
public:
    std::string damaged(std::string text) {
        for (int blows = 1 + upTo(5); blows > 0 && !text.empty(); --blows) {
            const auto place = static_cast<std::size_t>(upTo(static_cast<int>(text.size()) - 1));
            switch (upTo(4)) {
            case 0:
                text.erase(place, static_cast<std::size_t>(upTo(20)));
                break;
            case 1:
                text.insert(place, 1, "{}\n\t \0x"[upTo(6)]);
                break;
            case 2:
                text[place] = static_cast<char>(upTo(255));
                break;
            case 3:
                text.insert(place, text.substr(place, static_cast<std::size_t>(upTo(60))));
                break;
            default:
                text.resize(place);
            }
        }
        return text;
    }

private:
    int upTo(int most) { return std::uniform_int_distribution<int>(0, most)(m_random); }

    std::mt19937 m_random{19970101};
};

TEST_F(RenderQueueRoundTripTest, ReadsWhatItWroteAfterReadingABrokenFile) {
    RandomItems random;
    RandomDamage damage;
    KavroPISSRenderQueue queue;
    setLoggingEnabled(false);
    for (int round = 0; round < kBrokenRounds; ++round) {
        const std::string text = textOf(*random.next()) + textOf(*random.next());
        load(queue, damage.damaged(text)); // whatever comes of it
        const int items = queue.NumberOfRenderQueueItemsInList();
        ASSERT_EQ(queue.Commit(), 1);
        const std::string first = readFile(file("RQ.txt"));
        ASSERT_EQ(queue.StartTransaction(), 1) << first;
        ASSERT_EQ(queue.NumberOfRenderQueueItemsInList(), items) << first;
        ASSERT_EQ(queue.Commit(), 1);
        ASSERT_EQ(readFile(file("RQ.txt")), first);
    }
}

class RenderQueueProcessesTest : public RenderQueueTest {
protected:
    using Clock = std::chrono::steady_clock;

    // A minute instead of two seconds when CORVID_LONG_TESTS is set.
    static std::chrono::seconds duration() {
        return std::chrono::seconds(std::getenv("CORVID_LONG_TESTS") != nullptr ? 60 : 2); // NOLINT
    }
    // Queues, archives and commits until the end; whether every load and every write succeeded.
    static bool work(const std::string& name, Clock::time_point end) {
        const std::string filler(500, 'x');
        for (int job = 0; Clock::now() < end; ++job) {
            KavroPISSRenderQueue queue;
            if (queue.StartTransaction() == 0) {
                return false;
            }
            auto item = jobNamed(name + std::to_string(job));
            for (int pair = 0; pair < 20; ++pair) {
                item->Add("job", "filler", filler.c_str());
            }
            queue.AddNewRenderQueueItem(item.release());
            if (queue.NumberOfRenderQueueItemsInList() > 5 &&
                queue.MoveRenderQueueItemToHistory(1) == 0) {
                return false;
            }
            if (queue.Commit() == 0) {
                return false;
            }
        }
        return true;
    }
    // Whether a file holds whole items only, and how many.
    int itemsIn(const std::string& name) const {
        const std::string text = readFile(file(name));
        KavroPISSRenderQueue queue;
        EXPECT_EQ(load(queue, text), 1) << name;
        return queue.NumberOfRenderQueueItemsInList();
    }
};

TEST_F(RenderQueueProcessesTest, LeaveFilesThatCanBeReadWhenTheyWorkAtTheSameTime) {
    const Clock::time_point end = Clock::now() + duration();
    const pid_t one = startChild([end] { return work("one", end); }, 90);
    const pid_t two = startChild([end] { return work("two", end); }, 90);
    int loads = 0;
    for (; Clock::now() < end; ++loads) {
        KavroPISSRenderQueue queue;
        EXPECT_EQ(queue.StartTransaction(), 1);
    }
    EXPECT_TRUE(endedWell(one));
    EXPECT_TRUE(endedWell(two));
    EXPECT_GT(loads, 0);
    EXPECT_GT(itemsIn("RQ.txt"), 0);
    EXPECT_GT(itemsIn("ShadowRQ.txt"), 0);
    EXPECT_GT(itemsIn("RQ-History.txt"), 0);
}

TEST_F(RenderQueueProcessesTest, NeverMixTheirRecordsInTheHistory) {
    constexpr int kRecords = 500;
    const auto archive = [](const std::string& name) {
        KavroPISSRenderQueue queue;
        for (int job = 0; job < kRecords; ++job) {
            addJob(queue, name + std::string(900, 'x'));
            if (queue.MoveRenderQueueItemToHistory(1) == 0) {
                return false;
            }
        }
        return true;
    };
    const pid_t one = startChild([&] { return archive("one"); });
    const pid_t two = startChild([&] { return archive("two"); });
    EXPECT_TRUE(endedWell(one));
    EXPECT_TRUE(endedWell(two));
    EXPECT_EQ(itemsIn("RQ-History.txt"), 2 * kRecords);
}

} // namespace
