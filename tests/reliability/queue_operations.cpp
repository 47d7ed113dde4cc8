#include "tests/reliability/operation.h"

#include "store/Kavro_PISSRenderQueue.h"
#include "tests/reliability/queue_jobs.h"

#include <memory>
#include <string>

namespace corvid::test {
namespace {

int jobsIn(const std::string& text) {
    const std::string begin = "{\n\tjob string\tid ";
    int count = 0;
    for (std::size_t at = text.find(begin); at != std::string::npos; ++count) {
        at = text.find(begin, at + 1);
    }
    return count;
}

// Reading gives all of the file, or says that it failed.
Answer readQueue(ProductWorld& world) {
    KavroPISSRenderQueue queue;
    if (queue.StartTransaction() == 0) {
        return Answer::Failure;
    }
    const Undisturbed look;
    EXPECT_EQ(queue.NumberOfRenderQueueItemsInList(), jobsIn(readFile(world.queueFile("RQ.txt"))));
    return Answer::Success;
}

Answer enqueue(ProductWorld& /*world*/) {
    KavroPISSRenderQueue queue;
    return answerOf(queue.StartTransaction() == 1 && addJob(queue, "three") && queue.Commit() == 1);
}

// By one who does not ask whether the queue could be read.
Answer commitWhatWasRead(ProductWorld& /*world*/) {
    KavroPISSRenderQueue queue;
    const bool isStarted = queue.StartTransaction() == 1;
    return answerOf(queue.Commit() == 1 && isStarted);
}

// The first job goes to the history.
Answer archive(ProductWorld& /*world*/) {
    KavroPISSRenderQueue queue;
    return answerOf(queue.StartTransaction() == 1 && queue.MoveRenderQueueItemToHistory(1) == 1 &&
                    queue.Commit() == 1);
}

void expectNoJobLost(const ProductWorld& world, const Disk& /*before*/, const Disk& after) {
    expectJobsKept(world, after);
}

// A name that is given out bears the number that is kept.
Answer nameBackup(ProductWorld& world) {
    char name[1024];
    KavroPISSRenderQueue queue;
    const Answer answer = answerOf(queue.CreateBackupProjectName(name, sizeof(name)));
    const Undisturbed look;
    if (answer == Answer::Success) {
        const std::string number = linesOf(world.queueFile("RQProjects/cpro2-count.cvp")).at(0);
        EXPECT_EQ(name,
                  world.queueFile(("RQProjects/CPro2BGRQProject_" + number + ".aep").c_str()));
    }
    return answer;
}

// A transaction whose items are in memory, to be committed, and once more.
Operation commitOfLoadedQueue() {
    auto queue = std::make_shared<std::unique_ptr<KavroPISSRenderQueue>>();
    const auto commit = [queue](ProductWorld&) { return answerOf((*queue)->Commit()); };
    return {.name = "CommitQueue",
            .run = commit,
            .load =
                [queue](ProductWorld&) {
                    *queue = std::make_unique<KavroPISSRenderQueue>();
                    EXPECT_EQ((*queue)->StartTransaction(), 1);
                    EXPECT_TRUE(addJob(**queue, "three"));
                },
            .again = commit,
            .keeps = "/RQ.txt"};
}

} // namespace

std::vector<Operation> queueOperations() {
    const auto removeQueue = [](ProductWorld& world) { removeTree(world.queueFile("")); };
    return {
        {.name = "ReadQueue", .run = readQueue},
        {.name = "Enqueue", .run = enqueue, .check = expectNoJobLost, .keeps = "/RQ.txt"},
        {.name = "CommitWhatWasRead",
         .run = commitWhatWasRead,
         .check = expectNoJobLost,
         .keeps = "/RQ.txt"},
        commitOfLoadedQueue(),
        // A transaction creates the file that its commit fills.
        {.name = "EnqueueFirst",
         .run = enqueue,
         .arrange = removeQueue,
         .alsoRight = {""},
         // Backups, which need this folder, have an answer of their own.
         .mayStay = "Library/Application Support/Fernwick Software/CorvidPro2/RenderQueue/RQProj"},
        {.name = "Archive",
         .run = archive,
         .check = expectNoJobLost,
         .keeps = "/RQ.txt",
         .addsUp = true},
        {.name = "NameBackup", .run = nameBackup, .isAllOrNothing = true, .ifVanished = {"1\n"}},
    };
}

} // namespace corvid::test
