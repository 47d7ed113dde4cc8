#include "tests/support/failing_calls.h"
#include "tests/support/forked_child.h"
#include "tests/support/render_queue_test.h"

#include <cerrno>

#include <sys/stat.h>

namespace {

using namespace corvid::test;
using Ids = std::vector<std::string>;

constexpr char kOperation[] = "KavroPISSRenderQueue::MoveRenderQueueItemToHistory -=- ";

class RenderQueueHistoryTest : public RenderQueueTest {
protected:
    [[nodiscard]] std::string history() const { return file("RQ-History.txt"); }

    KavroPISSRenderQueue queue;
};

TEST_F(RenderQueueHistoryTest, AppendsTheItemAndRemovesItFromTheQueue) {
    writeFile(history(), jobText("old"));
    addJobs(queue, {"a", "b"});
    EXPECT_EQ(queue.MoveRenderQueueItemToHistory(1), 1);
    EXPECT_EQ(readFile(history()), jobText("old") + jobText("a"));
    EXPECT_EQ(idsOf(queue), Ids{"b"});
    EXPECT_EQ(root.logText(), "");
}

TEST_F(RenderQueueHistoryTest, CreatesTheHistory) {
    addJob(queue, "a");
    ASSERT_EQ(queue.MoveRenderQueueItemToHistory(1), 1);
    EXPECT_EQ(readFile(history()), jobText("a"));
}

TEST_F(RenderQueueHistoryTest, WritesTheItemInTheGrammarOfTheQueue) {
    const std::string text =
        "{\n\tjob int\tframes 7\n\t{\n\t\t{\n\t\t\tout string\tpath x\n\t\t}\n\t}\n}\n";
    ASSERT_EQ(load(queue, text), 1);
    ASSERT_EQ(queue.MoveRenderQueueItemToHistory(1), 1);
    EXPECT_EQ(readFile(history()), text);
}

TEST_F(RenderQueueHistoryTest, ChangesTheQueueFileOnlyWithTheNextCommit) {
    ASSERT_EQ(load(queue, jobText("a") + jobText("b")), 1);
    ASSERT_EQ(queue.MoveRenderQueueItemToHistory(1), 1);
    EXPECT_EQ(readFile(file("RQ.txt")), jobText("a") + jobText("b"));
    ASSERT_EQ(queue.Commit(), 1);
    EXPECT_EQ(readFile(file("RQ.txt")), jobText("b"));
}

TEST_F(RenderQueueHistoryTest, RemovesByPositionWhenTheIndicesHaveGaps) {
    addJobs(queue, {"a", "b", "c"});
    ASSERT_EQ(queue.DeleteRenderQueueItem(1), 1);
    EXPECT_EQ(queue.MoveRenderQueueItemToHistory(2), 1);
    EXPECT_EQ(readFile(history()), jobText("b"));
    EXPECT_EQ(idsOf(queue), Ids{"b"});
}

TEST_F(RenderQueueHistoryTest, WarnsWhenNothingStandsAtThatPosition) {
    addJobs(queue, {"a", "b"});
    ASSERT_EQ(queue.DeleteRenderQueueItem(1), 1);
    EXPECT_EQ(queue.MoveRenderQueueItemToHistory(2), 0);
    EXPECT_EQ(idsOf(queue), Ids{"b"});
    EXPECT_EQ(root.logMessages(), Ids{std::string("WARNING\t") + kOperation +
                                      "Unable to delete item [2] from RQ.txt."});
}

TEST_F(RenderQueueHistoryTest, ReportsAnItemThatIsNotThere) {
    addJob(queue, "a");
    for (const int index : {0, -3, 2}) {
        root.clearLog();
        EXPECT_EQ(queue.MoveRenderQueueItemToHistory(index), 0);
        EXPECT_EQ(root.logMessages(),
                  Ids{std::string("ERROR\t") + kOperation + "Unable to find item [" +
                      std::to_string(index) + "] to move to history."});
    }
    EXPECT_EQ(readFile(history()), "");
    EXPECT_EQ(idsOf(queue), Ids{"a"});
}

TEST_F(RenderQueueHistoryTest, ReportsAHistoryThatCannotBeOpened) {
    makeDirectory(history());
    addJob(queue, "a");
    EXPECT_EQ(queue.MoveRenderQueueItemToHistory(1), 0);
    EXPECT_EQ(root.logMessages(), Ids{std::string("ERROR\t") + kOperation +
                                      "Unable to open file for writing : RQ-History.txt"});
    EXPECT_EQ(idsOf(queue), Ids{"a"});
}

TEST_F(RenderQueueHistoryTest, RefusesAPipeInPlaceOfTheHistoryWithoutWaiting) {
    ASSERT_EQ(::mkfifo(history().c_str(), 0666), 0);
    addJob(queue, "a");
    EXPECT_TRUE(holdsInChild([this] { return queue.MoveRenderQueueItemToHistory(1) == 0; }));
}

TEST_F(RenderQueueHistoryTest, ReplacesTheFirstOccurrenceOfTheQueuesNameInItsPath) {
    const std::string directory = root.path("RQ.txt.d");
    writeFile(root.productFile("Config.txt"),
              "default string\tDirectoryLocationOfRenderQueue " + directory + "\n");
    makeDirectory(root.path("RQ-History.txt.d"));
    KavroPISSRenderQueue other;
    addJob(other, "a");
    ASSERT_EQ(other.MoveRenderQueueItemToHistory(1), 1);
    EXPECT_EQ(readFile(root.path("RQ-History.txt.d/RQ.txt")), jobText("a"));
}

TEST_F(RenderQueueHistoryTest, WritesTheRecordAtOnce) {
    std::string text = "{\n";
    for (int pair = 0; pair < 500; ++pair) {
        text += "\tjob string\tkey" + std::to_string(pair) + " " + std::string(900, 'v') + "\n";
    }
    ASSERT_EQ(load(queue, text + "\t{\n\t}\n}\n"), 1);
    const std::uint64_t before = callsMade(Call::Write);
    ASSERT_EQ(queue.MoveRenderQueueItemToHistory(1), 1);
    EXPECT_EQ(callsMade(Call::Write) - before, 1U);
    EXPECT_EQ(readFile(history()), text + "\t{\n\t}\n}\n");
}

TEST_F(RenderQueueHistoryTest, WritesAgainAfterAnInterruption) {
    addJob(queue, "a");
    const FailNth failing(Call::Write, 1, EINTR, "RQ-History.txt");
    EXPECT_EQ(queue.MoveRenderQueueItemToHistory(1), 1);
    EXPECT_EQ(failing.failures(), 1);
    EXPECT_EQ(readFile(history()), jobText("a"));
}

TEST_F(RenderQueueHistoryTest, KeepsTheItemWhenTheDiskIsFull) {
    addJob(queue, "a");
    {
        const FailNth failing(Call::Write, 1, ENOSPC, "RQ-History.txt");
        EXPECT_EQ(queue.MoveRenderQueueItemToHistory(1), 0);
    }
    EXPECT_EQ(idsOf(queue), Ids{"a"});
    EXPECT_EQ(root.logMessages(), Ids{std::string("ERROR\t") + kOperation +
                                      "Unable to write item [1] to RQ-History.txt."});
}

TEST_F(RenderQueueHistoryTest, TakesBackARecordThatIsWrittenHalf) {
    writeFile(history(), jobText("old"));
    addJob(queue, "a");
    {
        const ShortWrites shortly(10);
        EXPECT_EQ(queue.MoveRenderQueueItemToHistory(1), 0);
    }
    EXPECT_EQ(readFile(history()), jobText("old"));
    EXPECT_EQ(idsOf(queue), Ids{"a"});
    EXPECT_EQ(queue.MoveRenderQueueItemToHistory(1), 1);
    EXPECT_EQ(readFile(history()), jobText("old") + jobText("a"));
}

class RenderQueueBackupNameTest : public RenderQueueTest {
protected:
    // The next name, or "failed".
    std::string nextName() {
        char name[4096] = "unset";
        return queue.CreateBackupProjectName(name, sizeof(name)) == 1 ? name : "failed";
    }
    [[nodiscard]] std::string nameOf(const std::string& number) const {
        return file("RQProjects/CPro2BGRQProject_" + number + ".aep");
    }
    [[nodiscard]] std::string counter() const { return file("RQProjects/cpro2-count.cvp"); }

    KavroPISSRenderQueue queue;
};

TEST_F(RenderQueueBackupNameTest, CountsFromOne) {
    EXPECT_EQ(nextName(), nameOf("1"));
    EXPECT_EQ(nextName(), nameOf("2"));
    EXPECT_EQ(nextName(), nameOf("3"));
    EXPECT_EQ(readFile(counter()), "3\n");
    EXPECT_EQ(root.logText(), "");
}

TEST_F(RenderQueueBackupNameTest, GoesOnFromTheCounterFile) {
    writeFile(counter(), "41\n");
    EXPECT_EQ(nextName(), nameOf("42"));
    EXPECT_EQ(readFile(counter()), "42\n");
}

TEST_F(RenderQueueBackupNameTest, ReadsTheCounterInTheBaseThatItsPrefixNames) {
    for (const auto& [text, number] : std::vector<std::pair<std::string, std::string>>{
             {"010\n", "9"}, {"0x1F\n", "32"}, {" 7 apples\n", "8"}, {"-5\n", "-4"}, {"+5", "6"}}) {
        writeFile(counter(), text);
        EXPECT_EQ(nextName(), nameOf(number)) << text;
    }
}

TEST_F(RenderQueueBackupNameTest, StartsAtOneWhenTheCounterFileHoldsNoNumber) {
    for (const std::string text : {"", "\n", "apples\n", "\n5\n"}) {
        writeFile(counter(), text);
        EXPECT_EQ(nextName(), nameOf("1")) << text;
    }
}

TEST_F(RenderQueueBackupNameTest, ReadsAtMost31CharactersOfTheCounter) {
    writeFile(counter(), std::string(31, '0') + "5\n");
    EXPECT_EQ(nextName(), nameOf("1"));
    writeFile(counter(), std::string(30, '0') + "5\n");
    EXPECT_EQ(nextName(), nameOf("6"));
}

TEST_F(RenderQueueBackupNameTest, FailsWhenTheNumbersHaveRunOut) {
    for (const std::string text :
         {"2147483647\n", "4294967296\n", "-2147483649\n", "9999999999999999999999999999999\n"}) {
        writeFile(counter(), text);
        root.clearLog();
        EXPECT_EQ(nextName(), "failed") << text;
        EXPECT_EQ(readFile(counter()), text);
        EXPECT_EQ(root.logMessages(),
                  Ids{"ERROR\tKavroPISSRenderQueue::CreateBackupProjectName -=- no number "
                      "follows the one in " +
                      counter() + "."});
    }
    writeFile(counter(), "2147483646\n");
    EXPECT_EQ(nextName(), nameOf("2147483647"));
}

TEST_F(RenderQueueBackupNameTest, FailsWhenTheNameDoesNotFitAndUsesUpNoNumber) {
    const int length = static_cast<int>(nameOf("1").size());
    std::vector<char> name(static_cast<std::size_t>(length) + 1, 'x');
    EXPECT_EQ(queue.CreateBackupProjectName(name.data(), length), 0);
    EXPECT_STREQ(name.data(), "");
    EXPECT_FALSE(exists(counter()));
    EXPECT_TRUE(root.hasLogged("ERROR\tKavroPISSRenderQueue::CreateBackupProjectName -=- " +
                               nameOf("1") + " does not fit into " + std::to_string(length) +
                               " bytes."));
    EXPECT_EQ(queue.CreateBackupProjectName(name.data(), length + 1), 1);
    EXPECT_EQ(name.data(), nameOf("1"));
}

TEST_F(RenderQueueBackupNameTest, FailsWithoutABuffer) {
    char name[8] = "old";
    EXPECT_EQ(queue.CreateBackupProjectName(nullptr, 100), 0);
    EXPECT_EQ(queue.CreateBackupProjectName(name, 0), 0);
    EXPECT_EQ(queue.CreateBackupProjectName(name, -1), 0);
    EXPECT_STREQ(name, "old");
    EXPECT_FALSE(exists(counter()));
    EXPECT_TRUE(root.hasLogged(
        "ERROR\tKavroPISSRenderQueue::CreateBackupProjectName -=- no buffer for the name."));
}

TEST_F(RenderQueueBackupNameTest, FailsWhenTheCounterCannotBeWrittenAndKeepsIt) {
    writeFile(counter(), "41\n");
    {
        const FailNth failing(Call::Write, 1, ENOSPC, "cpro2-count.cvp");
        EXPECT_EQ(nextName(), "failed");
        EXPECT_EQ(failing.failures(), 1);
    }
    EXPECT_TRUE(
        root.hasLogged("ERROR\tKavroPISSRenderQueue::CreateBackupProjectName -=- Unable to write " +
                       counter() + "."));
    EXPECT_EQ(nextName(), nameOf("42"));
}

TEST_F(RenderQueueBackupNameTest, FailsWhenADirectoryStandsInPlaceOfTheCounter) {
    makeDirectory(counter());
    EXPECT_EQ(nextName(), "failed");
}

TEST_F(RenderQueueBackupNameTest, LeavesAWholeCounterWhenTwoProcessesCount) {
    const auto count = [this] {
        for (int call = 0; call < 200; ++call) {
            if (!nextName().ends_with(".aep")) {
                return false;
            }
        }
        return true;
    };
    const pid_t other = startChild(count);
    EXPECT_TRUE(count());
    EXPECT_TRUE(endedWell(other));
    // There is no lock: whoever read early and writes late takes the other's counting back.
    const std::string text = readFile(counter());
    const int number = std::stoi(text);
    EXPECT_EQ(text, std::to_string(number) + "\n");
    EXPECT_GE(number, 1);
    EXPECT_LE(number, 400);
}

} // namespace
