#include "tests/support/failing_calls.h"
#include "tests/support/forked_child.h"
#include "tests/support/render_queue_test.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace corvid::test;
using Ids = std::vector<std::string>;
using Messages = std::vector<std::string>;

class RenderQueueOpeningTest : public RenderQueueTest {
protected:
    KavroPISSRenderQueue queue;
};

TEST_F(RenderQueueOpeningTest, CreatesAMissingFileEmpty) {
    EXPECT_EQ(queue.StartTransaction(), 1);
    EXPECT_EQ(readFile(file("RQ.txt")), "");
    EXPECT_EQ(queue.NumberOfRenderQueueItemsInList(), 0);
    EXPECT_EQ(root.logMessages(), Messages{});
}

TEST_F(RenderQueueOpeningTest, HoldsTheFileOpenUntilItIsClosed) {
    const auto openFiles = [] {
        int count = 0;
        for (int descriptor = 0; descriptor < 256; ++descriptor) {
            count += ::fcntl(descriptor, F_GETFD) >= 0 ? 1 : 0;
        }
        return count;
    };
    const int before = openFiles();
    ASSERT_EQ(load(queue, jobText("a")), 1);
    EXPECT_EQ(openFiles(), before + 1);
    ASSERT_EQ(queue.StartTransaction(), 1);
    EXPECT_EQ(openFiles(), before + 1);
    EXPECT_EQ(queue.CloseFileIfOpen(), 1);
    EXPECT_EQ(openFiles(), before);
    EXPECT_EQ(queue.CloseFileIfOpen(), 1);
    removeTree(file("RQ.txt"));
    ASSERT_EQ(queue.StartTransaction(), 1);
    EXPECT_EQ(openFiles(), before + 1);
    ASSERT_EQ(queue.Commit(), 1);
    EXPECT_EQ(openFiles(), before);
}

TEST_F(RenderQueueOpeningTest, TriesToOpenTheFileAgain) {
    writeFile(file("RQ.txt"), jobText("a"));
    const FailNth failing(Call::Open, 2, ETXTBSY, "/RQ.txt"); // the first is the probe
    EXPECT_EQ(queue.StartTransaction(), 1);
    EXPECT_EQ(failing.failures(), 1);
    EXPECT_EQ(idsOf(queue), Ids{"a"});
}

TEST_F(RenderQueueOpeningTest, GivesUpAfter21AttemptsToOpenTheFile) {
    writeFile(file("RQ.txt"), jobText("a"));
    const FailNth failing(Call::Open, 2, EBUSY, "/RQ.txt", Lasting::FromThenOn);
    EXPECT_EQ(queue.StartTransaction(), 0);
    EXPECT_EQ(failing.failures(), 21);
    EXPECT_EQ(root.logMessages(), Messages{"WARNING\tStartTransaction: Cannot open file '" +
                                           file("RQ.txt") + "' for reading\n"});
}

TEST_F(RenderQueueOpeningTest, WarnsWhenTheFileCannotBeCreated) {
    const FailNth failing(Call::Open, 2, EROFS, "/RQ.txt");
    EXPECT_EQ(queue.StartTransaction(), 0);
    EXPECT_EQ(root.logMessages(), Messages{"WARNING\tCannot create file '" + file("RQ.txt") +
                                           "' for creation and locking\n"});
}

TEST_F(RenderQueueOpeningTest, RefusesADirectoryInPlaceOfTheFile) {
    makeDirectory(file("RQ.txt"));
    EXPECT_EQ(queue.StartTransaction(), 0);
    EXPECT_TRUE(root.hasLogged("WARNING\tCannot create file '" + file("RQ.txt") +
                               "' for creation and locking\n"));
}

TEST_F(RenderQueueOpeningTest, RefusesAPipeInPlaceOfTheFileWithoutWaiting) {
    ASSERT_EQ(::mkfifo(file("RQ.txt").c_str(), 0666), 0);
    EXPECT_TRUE(
        holdsInChild([this] { return queue.StartTransaction() == 0 && queue.Commit() == 0; }));
}

TEST_F(RenderQueueOpeningTest, DoesNotEmptyAFileThatCannotBeRead) {
    writeFile(file("RQ.txt"), jobText("a"));
    {
        const FailNth failing(Call::Open, 1, EACCES, "/RQ.txt");
        EXPECT_EQ(queue.StartTransaction(), 0);
    }
    EXPECT_EQ(queue.Commit(), 0);
    EXPECT_TRUE(root.hasLogged("ERROR\tCommit: File '" + file("RQ.txt") +
                               "' could not be read and is not replaced\n"));
    EXPECT_EQ(readFile(file("RQ.txt")), jobText("a"));
    EXPECT_EQ(queue.StartTransaction(), 1);
    EXPECT_EQ(queue.Commit(), 1);
}

TEST_F(RenderQueueOpeningTest, AQueueThatMemoryDidNotSufficeForIsNotCommitted) {
    const std::string text = jobText("a") + jobText("b");
    int places = 0;
    for (bool hasFailed = true; hasFailed;) {
        writeFile(file("RQ.txt"), text);
        {
            const FailNth failing(Call::Malloc, places + 1, ENOMEM);
            hasFailed = queue.StartTransaction() == 0;
        }
        EXPECT_EQ(queue.Commit(), hasFailed ? 0 : 1) << "at allocation " << places + 1;
        EXPECT_EQ(readFile(file("RQ.txt")), text) << "at allocation " << places + 1;
        places += hasFailed ? 1 : 0;
    }
    EXPECT_GE(places, 4) << "a pair and a place in the list for each job";
}

TEST_F(RenderQueueOpeningTest, ReadsAFileThatAppearsAfterTheProbe) {
    writeFile(file("RQ.txt"), jobText("a"));
    const FailNth failing(Call::Open, 1, ENOENT, "/RQ.txt");
    EXPECT_EQ(queue.StartTransaction(), 1);
    EXPECT_EQ(failing.failures(), 1);
    EXPECT_EQ(idsOf(queue), Ids{"a"});
}

TEST_F(RenderQueueOpeningTest, FailsWhenTheFileCannotBeReadToItsEnd) {
    // The sanitizer's first look at a class needs descriptors of its own, so it gets them here.
    ASSERT_EQ(load(queue, jobText("a")), 1);
    ASSERT_EQ(queue.CloseFileIfOpen(), 1);
    EXPECT_TRUE(holdsInChild([this] {
        // Room for the hold, none for the descriptor to read with.
        const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        ::close(next);
        const auto room = static_cast<rlim_t>(next + 1);
        const rlimit limit{room, room};
        return ::setrlimit(RLIMIT_NOFILE, &limit) == 0 && queue.StartTransaction() == 0;
    }));
}

} // namespace
