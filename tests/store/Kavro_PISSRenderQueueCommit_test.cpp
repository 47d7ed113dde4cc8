#include "tests/support/failing_calls.h"
#include "tests/support/render_queue_test.h"

#include <algorithm>
#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace corvid::test;

class RenderQueueCommitTest : public RenderQueueTest {
protected:
    [[nodiscard]] std::string copying() const {
        return "RenderQueue::Commit - copying " + file("ShadowRQ.txt") + " to " + file("RQ.txt") +
               ".";
    }
    // Nothing but the three files and the directory: no half-made file stays behind.
    [[nodiscard]] bool isTidy() const {
        const Snapshot all = snapshot(root.path("queue"));
        return std::all_of(all.begin(), all.end(), [](const auto& entry) {
            return entry.first == "." || entry.first == "RQ.txt" || entry.first == "ShadowRQ.txt" ||
                   entry.first == "RQProjects";
        });
    }

    KavroPISSRenderQueue queue;
};

TEST_F(RenderQueueCommitTest, WritesTheWholeGrammar) {
    auto item = std::make_unique<KavroPISSRenderQueueItem>();
    item->Add("job", "id", "a b");
    item->Add("job", "frames", -5);
    for (const char* path : {"/tmp/x", ""}) {
        auto module = std::make_unique<KavroPISSRenderQueueItemOutputModule>();
        module->Add("out", "path", path);
        ASSERT_EQ(item->AddNewOutputModule(module.release()), 1);
    }
    ASSERT_EQ(queue.StartTransaction(), 1);
    ASSERT_EQ(queue.AddNewRenderQueueItem(item.release()), 1);
    addJob(queue, "second");
    EXPECT_EQ(queue.Commit(), 1);
    EXPECT_EQ(
        readFile(file("RQ.txt")),
        "{\n\tjob string\tid a b\n\tjob int\tframes -5\n\t{\n\t\t{\n\t\t\tout string\tpath "
        "/tmp/x\n\t\t}\n"
        "\t\t{\n\t\t\tout string\tpath \n\t\t}\n\t}\n}\n{\n\tjob string\tid second\n\t{\n\t}\n}\n");
    EXPECT_EQ(readFile(file("ShadowRQ.txt")), readFile(file("RQ.txt")));
}

TEST_F(RenderQueueCommitTest, LogsTheCopyAtTheOrdinaryLevel) {
    ASSERT_EQ(queue.Commit(), 1);
    EXPECT_EQ(root.logMessages(), std::vector<std::string>{copying()});
}

TEST_F(RenderQueueCommitTest, WritesTheItemsInListOrder) {
    addJobs(queue, {"1", "2", "3"});
    ASSERT_EQ(queue.MoveRenderQueueItem(3, 1), 1);
    ASSERT_EQ(queue.Commit(), 1);
    EXPECT_EQ(readFile(file("RQ.txt")), jobText("3") + jobText("1") + jobText("2"));
}

TEST_F(RenderQueueCommitTest, ReplacesALongerQueueWhole) {
    ASSERT_EQ(load(queue, jobText("a") + jobText(std::string(900, 'b'))), 1);
    ASSERT_EQ(queue.DeleteRenderQueueItem(2), 1);
    ASSERT_EQ(queue.Commit(), 1);
    EXPECT_EQ(readFile(file("RQ.txt")), jobText("a"));
}

TEST_F(RenderQueueCommitTest, EmptiesTheFileOfAnEmptyQueue) {
    ASSERT_EQ(load(queue, jobText("a")), 1);
    queue.DeleteAllRenderQueueItems();
    ASSERT_EQ(queue.Commit(), 1);
    EXPECT_EQ(readFile(file("RQ.txt")), "");
}

TEST_F(RenderQueueCommitTest, KeepsTheItemsForAnotherCommit) {
    addJob(queue, "a");
    ASSERT_EQ(queue.Commit(), 1);
    addJob(queue, "b");
    ASSERT_EQ(queue.Commit(), 1);
    EXPECT_EQ(readFile(file("RQ.txt")), jobText("a") + jobText("b"));
}

TEST_F(RenderQueueCommitTest, KeepsTheOldQueueWhenTheShadowCannotBeOpened) {
    ASSERT_EQ(load(queue, jobText("a")), 1);
    addJob(queue, "b");
    makeDirectory(file("ShadowRQ.txt"));
    EXPECT_EQ(queue.Commit(), 0);
    EXPECT_EQ(readFile(file("RQ.txt")), jobText("a"));
    EXPECT_EQ(root.logMessages(),
              std::vector<std::string>{"ERROR\tCommit: Unable to open file '" +
                                       file("ShadowRQ.txt") + "' for writing\n"});
}

TEST_F(RenderQueueCommitTest, KeepsTheOldQueueWhenTheDiskIsFullForTheShadow) {
    ASSERT_EQ(load(queue, jobText("a")), 1);
    addJob(queue, "b");
    {
        const FailNth failing(Call::Write, 1, ENOSPC, "ShadowRQ.txt");
        EXPECT_EQ(queue.Commit(), 0);
        EXPECT_EQ(failing.failures(), 1);
    }
    EXPECT_EQ(readFile(file("RQ.txt")), jobText("a"));
    EXPECT_TRUE(isTidy());
    EXPECT_EQ(root.logMessages(), std::vector<std::string>{"ERROR\tCommit: Unable to write file '" +
                                                           file("ShadowRQ.txt") + "'\n"});
}

TEST_F(RenderQueueCommitTest, KeepsTheOldQueueWhenTheShadowIsWrittenHalf) {
    ASSERT_EQ(load(queue, jobText("a")), 1);
    addJob(queue, "b");
    {
        const ShortWrites shortly(10);
        const FailNth failing(Call::Write, 2, ENOSPC, "ShadowRQ.txt");
        EXPECT_EQ(queue.Commit(), 0);
        EXPECT_EQ(failing.failures(), 1);
    }
    EXPECT_EQ(readFile(file("RQ.txt")), jobText("a"));
    EXPECT_TRUE(isTidy());
}

TEST_F(RenderQueueCommitTest, ReportsAShadowThatIsGoneWhenItIsCopied) {
    ASSERT_EQ(load(queue, jobText("a")), 1);
    ASSERT_EQ(queue.Commit(), 1);
    addJob(queue, "b");
    root.clearLog();
    {
        const FailNth failing(Call::Open, 2, ENOENT, "/ShadowRQ.txt"); // the first is for writing
        EXPECT_EQ(queue.Commit(), 0);
        EXPECT_EQ(failing.failures(), 1);
    }
    EXPECT_EQ(readFile(file("RQ.txt")), jobText("a"));
    EXPECT_EQ(root.logMessages(),
              (std::vector<std::string>{copying(), "ERROR\tUnable to find the src file: " +
                                                       file("ShadowRQ.txt")}));
}

TEST_F(RenderQueueCommitTest, ReportsAQueueFileThatCannotBeOpened) {
    makeDirectory(file("RQ.txt"));
    addJob(queue, "a");
    EXPECT_EQ(queue.Commit(), 0);
    EXPECT_EQ(readFile(file("ShadowRQ.txt")), jobText("a"));
    EXPECT_EQ(root.logMessages(),
              (std::vector<std::string>{copying(),
                                        "ERROR\tUnable to find the dest file: " + file("RQ.txt")}));
}

TEST_F(RenderQueueCommitTest, KeepsTheOldQueueWhenTheDiskIsFullForTheCopy) {
    ASSERT_EQ(load(queue, jobText("a")), 1);
    addJob(queue, "b");
    {
        const ShortWrites shortly(10);
        const FailNth failing(Call::Write, 2, ENOSPC, "/.RQ.txt");
        EXPECT_EQ(queue.Commit(), 0);
        EXPECT_EQ(failing.failures(), 1);
    }
    EXPECT_EQ(readFile(file("RQ.txt")), jobText("a"));
    EXPECT_TRUE(isTidy());
    EXPECT_TRUE(root.hasLogged("ERROR\tUnable to write the dest file: " + file("RQ.txt")));
}

TEST_F(RenderQueueCommitTest, SucceedsAfterAFailureOnceThereIsRoom) {
    ASSERT_EQ(load(queue, jobText("a")), 1);
    addJob(queue, "b");
    {
        const FailNth failing(Call::Write, 1, ENOSPC, "ShadowRQ.txt");
        ASSERT_EQ(queue.Commit(), 0);
    }
    EXPECT_EQ(queue.Commit(), 1);
    EXPECT_EQ(readFile(file("RQ.txt")), jobText("a") + jobText("b"));
}

TEST_F(RenderQueueCommitTest, CopiesThroughShortWrites) {
    addJobs(queue, {"a", std::string(900, 'b')});
    const ShortWrites shortly(7);
    EXPECT_EQ(queue.Commit(), 1);
    EXPECT_EQ(readFile(file("RQ.txt")), jobText("a") + jobText(std::string(900, 'b')));
}

TEST_F(RenderQueueCommitTest, WritesThroughALinkInPlaceOfTheQueueFile) {
    writeFile(file("elsewhere"), "");
    ASSERT_EQ(::symlink("elsewhere", file("RQ.txt").c_str()), 0);
    ASSERT_EQ(queue.StartTransaction(), 1);
    addJob(queue, "a");
    ASSERT_EQ(queue.Commit(), 1);
    struct stat status {};
    ASSERT_EQ(::lstat(file("RQ.txt").c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    EXPECT_EQ(readFile(file("elsewhere")), jobText("a"));
}

} // namespace
