#include "store/Kavro_PISSRenderQueue.h"

#include "tests/support/failing_calls.h"
#include "tests/support/render_queue_test.h"

#include <cerrno>
#include <chrono>
#include <climits>
#include <filesystem>
#include <type_traits>

namespace {

using namespace corvid::test;
using ::testing::Test;

using RenderQueueListTest = RenderQueueTest;
using RenderQueueMoveTest = RenderQueueTest;
using RenderQueueDuplicateTest = RenderQueueTest;
using Ids = std::vector<std::string>;

class RenderQueueConstructionTest : public RenderQueueTest {
protected:
    void configure(const std::string& directory) const {
        writeFile(root.productFile("Config.txt"),
                  "default string\tDirectoryLocationOfRenderQueue " + directory + "\n");
    }
    [[nodiscard]] std::string defaultFile(const std::string& name) const {
        return root.productFile("RenderQueue/" + name);
    }
    void expectMissingSetting() const {
        EXPECT_TRUE(
            root.hasLogged("ERROR\tRenderQueue::RenderQueue : Could not get General Config item "
                           "default:DirectoryLocationOfRenderQueue\n"));
        EXPECT_TRUE(root.hasLogged("ERROR\tInstallation of Fernwick Corvid Pro could be corrupt."));
    }
};

TEST_F(RenderQueueConstructionTest, UsesTheConfiguredDirectory) {
    KavroPISSRenderQueue queue;
    EXPECT_EQ(queue.StartTransaction(), 1);
    EXPECT_TRUE(exists(file("RQ.txt")));
    EXPECT_EQ(root.logText(), "");
}

TEST_F(RenderQueueConstructionTest, CreatesTheDirectoryAndTheProjectsDirectory) {
    configure(root.path("new/deep"));
    const KavroPISSRenderQueue queue;
    EXPECT_TRUE(std::filesystem::is_directory(root.path("new/deep/RQProjects")));
    EXPECT_FALSE(exists(root.path("new/deep/RQ.txt")));
}

TEST_F(RenderQueueConstructionTest, AcceptsADirectoryThatEndsInASlash) {
    configure(root.path("queue/"));
    KavroPISSRenderQueue queue;
    ASSERT_EQ(queue.StartTransaction(), 1);
    char name[4096];
    ASSERT_EQ(queue.CreateBackupProjectName(name, sizeof(name)), 1);
    EXPECT_EQ(name, file("RQProjects/CPro2BGRQProject_1.aep"));
}

TEST_F(RenderQueueConstructionTest, FallsBackToTheDefaultDirectoryWithoutTheSetting) {
    writeFile(root.productFile("Config.txt"), "default int\tSizeOfFrameCacheInMB 5\n");
    KavroPISSRenderQueue queue;
    expectMissingSetting();
    EXPECT_EQ(queue.StartTransaction(), 1);
    EXPECT_TRUE(exists(defaultFile("RQ.txt")));
    EXPECT_TRUE(exists(defaultFile("RQProjects")));
}

TEST_F(RenderQueueConstructionTest, TakesAnEmptySettingForAMissingOne) {
    configure("");
    KavroPISSRenderQueue queue;
    expectMissingSetting();
    EXPECT_EQ(queue.StartTransaction(), 1);
    EXPECT_TRUE(exists(defaultFile("RQ.txt")));
}

TEST_F(RenderQueueConstructionTest, FallsBackToTheDefaultDirectoryWithoutSettings) {
    removeTree(root.productFile("Config.txt"));
    KavroPISSRenderQueue queue;
    expectMissingSetting();
    EXPECT_EQ(queue.StartTransaction(), 1);
    EXPECT_TRUE(exists(defaultFile("RQ.txt")));
}

TEST_F(RenderQueueConstructionTest, FailsCleanlyWithoutMemoryForTheQueuePath) {
    const auto failing = std::make_unique<FailNth>(Call::Malloc, 1, ENOMEM);
    KavroPISSRenderQueue queue;
    EXPECT_TRUE(root.hasLogged("ERROR\tRenderQueue::RenderQueue : Could not malloc\n"));
    EXPECT_EQ(queue.StartTransaction(), 0);
    EXPECT_TRUE(root.hasLogged("WARNING\tCannot create file '' for creation and locking\n"));
    addJob(queue, "a");
    EXPECT_EQ(queue.MoveRenderQueueItemToHistory(1), 0);
    EXPECT_TRUE(
        root.hasLogged("ERROR\tKavroPISSRenderQueue::MoveRenderQueueItemToHistory -=- Unable to "
                       "determine path to RQ-History.txt file."));
    EXPECT_EQ(queue.Commit(), 0);
}

TEST_F(RenderQueueConstructionTest, FailsCleanlyWithoutMemoryForTheShadowPath) {
    const auto failing = std::make_unique<FailNth>(Call::Malloc, 2, ENOMEM);
    KavroPISSRenderQueue queue;
    EXPECT_TRUE(root.hasLogged("ERROR\tRenderQueue::RenderQueue : Could not malloc\n"));
    EXPECT_EQ(queue.StartTransaction(), 1);
    EXPECT_EQ(queue.Commit(), 0);
    EXPECT_TRUE(root.hasLogged("ERROR\tCommit: Unable to open file '' for writing\n"));
}

TEST_F(RenderQueueConstructionTest, FailsCleanlyWithoutMemoryForTheProjectsPath) {
    const auto failing = std::make_unique<FailNth>(Call::Malloc, 3, ENOMEM);
    KavroPISSRenderQueue queue;
    EXPECT_TRUE(root.hasLogged("ERROR\tRenderQueue::RenderQueue : Could not malloc\n"));
    char name[64] = "old";
    EXPECT_EQ(queue.CreateBackupProjectName(name, sizeof(name)), 0);
    EXPECT_STREQ(name, "");
}

TEST_F(RenderQueueConstructionTest, HasAVirtualDestructor) {
    EXPECT_TRUE(std::has_virtual_destructor_v<KavroPISSRenderQueue>);
}

TEST_F(RenderQueueListTest, StartsEmpty) {
    KavroPISSRenderQueue queue;
    EXPECT_EQ(queue.NumberOfRenderQueueItemsInList(), 0);
    EXPECT_EQ(queue.PrepareRenderQueueList(), 0);
    EXPECT_EQ(queue.GetNextRenderQueueItemInList(), nullptr);
    EXPECT_EQ(queue.GetSpecificRenderQueueItemInList(1), nullptr);
}

TEST_F(RenderQueueListTest, RefusesANullItem) {
    KavroPISSRenderQueue queue;
    EXPECT_EQ(queue.AddNewRenderQueueItem(nullptr), 0);
    EXPECT_EQ(queue.AddNewRenderQueueItem(nullptr, "job"), 0);
    EXPECT_EQ(queue.NumberOfRenderQueueItemsInList(), 0);
}

TEST_F(RenderQueueListTest, GivesItemsInTheOrderOfTheirAddition) {
    KavroPISSRenderQueue queue;
    addJobs(queue, {"a", "b", "c"});
    EXPECT_EQ(queue.PrepareRenderQueueList(), 1);
    EXPECT_EQ(idsOf(queue), (Ids{"a", "b", "c"}));
    EXPECT_EQ(queue.NumberOfRenderQueueItemsInList(), 3);
}

TEST_F(RenderQueueListTest, NumbersItemsFromOne) {
    KavroPISSRenderQueue queue;
    addJobs(queue, {"a", "b"});
    EXPECT_EQ(idOf(queue.GetSpecificRenderQueueItemInList(1)), "a");
    EXPECT_EQ(idOf(queue.GetSpecificRenderQueueItemInList(2)), "b");
    for (const int index : {3, 0, -1, INT_MIN, INT_MAX}) {
        EXPECT_EQ(queue.GetSpecificRenderQueueItemInList(index), nullptr) << index;
    }
}

TEST_F(RenderQueueListTest, LeavesAnItemWithItsCallerWhenThereIsNoMemory) {
    KavroPISSRenderQueue queue;
    const OwnedItem item = jobNamed("a");
    const FailNth failing(Call::Malloc, 1, ENOMEM);
    EXPECT_EQ(queue.AddNewRenderQueueItem(item.get()), 0);
    EXPECT_TRUE(root.hasLogged("ERROR\tKavroPISSRenderQueue::AddToList malloc failed\n"));
    EXPECT_EQ(queue.NumberOfRenderQueueItemsInList(), 0);
}

TEST_F(RenderQueueListTest, KeepsTheIndicesOfTheRemainingItems) {
    KavroPISSRenderQueue queue;
    addJobs(queue, {"a", "b", "c"});
    EXPECT_EQ(queue.DeleteRenderQueueItem(2), 1);
    EXPECT_EQ(queue.GetSpecificRenderQueueItemInList(2), nullptr);
    EXPECT_EQ(idOf(queue.GetSpecificRenderQueueItemInList(3)), "c");
    EXPECT_EQ(queue.NumberOfRenderQueueItemsInList(), 2);
}

TEST_F(RenderQueueListTest, RepeatsAnIndexAfterADeletion) {
    KavroPISSRenderQueue queue;
    addJobs(queue, {"a", "b", "c"});
    ASSERT_EQ(queue.DeleteRenderQueueItem(2), 1);
    addJob(queue, "d");
    EXPECT_EQ(idOf(queue.GetSpecificRenderQueueItemInList(3)), "c"); // the first of the two
    ASSERT_EQ(queue.DeleteRenderQueueItem(3), 1);
    EXPECT_EQ(idOf(queue.GetSpecificRenderQueueItemInList(3)), "d");
    EXPECT_EQ(idsOf(queue), (Ids{"a", "d"}));
}

TEST_F(RenderQueueListTest, FindsItemsThatAreAddedAfterALookup) {
    KavroPISSRenderQueue queue;
    addJob(queue, "a");
    EXPECT_EQ(queue.GetSpecificRenderQueueItemInList(2), nullptr);
    addJob(queue, "b");
    EXPECT_EQ(idOf(queue.GetSpecificRenderQueueItemInList(2)), "b");
}

TEST_F(RenderQueueListTest, DeletesNothingForAnIndexThatIsNotThere) {
    KavroPISSRenderQueue queue;
    addJob(queue, "a");
    for (const int index : {0, -1, 2, INT_MIN, INT_MAX}) {
        EXPECT_EQ(queue.DeleteRenderQueueItem(index), 0) << index;
    }
    EXPECT_EQ(idsOf(queue), Ids{"a"});
}

TEST_F(RenderQueueListTest, DeletesByPositionInTheList) {
    KavroPISSRenderQueue queue;
    addJobs(queue, {"a", "b", "c"});
    EXPECT_EQ(queue.DeleteRenderQueueItemAtIndex(1), 1);
    EXPECT_EQ(queue.DeleteRenderQueueItemAtIndex(1), 1);
    EXPECT_EQ(idsOf(queue), Ids{"a"});
    for (const int position : {-1, 1, INT_MIN, INT_MAX}) {
        EXPECT_EQ(queue.DeleteRenderQueueItemAtIndex(position), 0) << position;
    }
}

TEST_F(RenderQueueListTest, AppendsBehindTheLastItemAfterItsDeletion) {
    KavroPISSRenderQueue queue;
    addJobs(queue, {"a", "b"});
    ASSERT_EQ(queue.DeleteRenderQueueItemAtIndex(1), 1);
    addJob(queue, "c");
    EXPECT_EQ(idsOf(queue), (Ids{"a", "c"}));
}

TEST_F(RenderQueueListTest, DeletesAllItems) {
    KavroPISSRenderQueue queue;
    addJobs(queue, {"a", "b"});
    EXPECT_EQ(queue.DeleteAllRenderQueueItems(), 1);
    EXPECT_EQ(queue.NumberOfRenderQueueItemsInList(), 0);
    EXPECT_EQ(queue.GetSpecificRenderQueueItemInList(1), nullptr);
    addJob(queue, "c");
    EXPECT_EQ(idOf(queue.GetSpecificRenderQueueItemInList(1)), "c");
}

TEST_F(RenderQueueListTest, MovesTheCursorOnWhenItsItemIsDeleted) {
    KavroPISSRenderQueue queue;
    addJobs(queue, {"a", "b", "c"});
    queue.PrepareRenderQueueList();
    EXPECT_EQ(idOf(queue.GetNextRenderQueueItemInList()), "a");
    queue.DeleteRenderQueueItem(2);
    EXPECT_EQ(idOf(queue.GetNextRenderQueueItemInList()), "c");
}

TEST_F(RenderQueueListTest, LooksUpEveryIndexOfALongQueueWithoutWalkingItEachTime) {
    KavroPISSRenderQueue queue;
    constexpr int kItems = 100000;
    for (int item = 0; item < kItems; ++item) {
        ASSERT_EQ(queue.AddNewRenderQueueItem(new KavroPISSRenderQueueItem), 1);
    }
    const auto start = std::chrono::steady_clock::now();
    for (int index = 1; index <= kItems; ++index) {
        ASSERT_NE(queue.GetSpecificRenderQueueItemInList(index), nullptr);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST_F(RenderQueueMoveTest, MovesAnItemForward) {
    KavroPISSRenderQueue queue;
    addJobs(queue, {"1", "2", "3", "4"});
    EXPECT_EQ(queue.MoveRenderQueueItem(1, 4), 1);
    EXPECT_EQ(idsOf(queue), (Ids{"2", "3", "1", "4"}));
}

TEST_F(RenderQueueMoveTest, MovesAnItemBackward) {
    KavroPISSRenderQueue queue;
    addJobs(queue, {"1", "2", "3", "4"});
    EXPECT_EQ(queue.MoveRenderQueueItem(4, 2), 1);
    EXPECT_EQ(idsOf(queue), (Ids{"1", "4", "2", "3"}));
    EXPECT_EQ(queue.MoveRenderQueueItem(2, 1), 1);
    EXPECT_EQ(idsOf(queue), (Ids{"2", "1", "4", "3"}));
}

TEST_F(RenderQueueMoveTest, MovesAnItemToTheEndWhenNoneHasTheSecondIndex) {
    KavroPISSRenderQueue queue;
    addJobs(queue, {"1", "2", "3"});
    EXPECT_EQ(queue.MoveRenderQueueItem(1, 99), 1);
    EXPECT_EQ(idsOf(queue), (Ids{"2", "3", "1"}));
    addJob(queue, "4");
    EXPECT_EQ(idsOf(queue), (Ids{"2", "3", "1", "4"}));
}

TEST_F(RenderQueueMoveTest, KeepsTheIndicesWithTheirItems) {
    KavroPISSRenderQueue queue;
    addJobs(queue, {"1", "2", "3"});
    ASSERT_EQ(queue.MoveRenderQueueItem(3, 1), 1);
    for (const int index : {1, 2, 3}) {
        EXPECT_EQ(idOf(queue.GetSpecificRenderQueueItemInList(index)), std::to_string(index));
    }
}

TEST_F(RenderQueueMoveTest, LeavesTheListForEqualAndForNeighbouringIndices) {
    KavroPISSRenderQueue queue;
    addJobs(queue, {"1", "2", "3"});
    EXPECT_EQ(queue.MoveRenderQueueItem(2, 2), 1);
    EXPECT_EQ(queue.MoveRenderQueueItem(1, 2), 1);
    EXPECT_EQ(idsOf(queue), (Ids{"1", "2", "3"}));
    // The indices decide, not the places: 2 stands behind 3 here and stays there.
    ASSERT_EQ(queue.MoveRenderQueueItem(3, 1), 1);
    EXPECT_EQ(queue.MoveRenderQueueItem(2, 3), 1);
    EXPECT_EQ(idsOf(queue), (Ids{"3", "1", "2"}));
}

TEST_F(RenderQueueMoveTest, FailsForIndicesBelowOneAndForNoItem) {
    KavroPISSRenderQueue queue;
    addJobs(queue, {"1", "2", "3"});
    EXPECT_EQ(queue.MoveRenderQueueItem(0, 2), 0);
    EXPECT_EQ(queue.MoveRenderQueueItem(2, 0), 0);
    EXPECT_EQ(queue.MoveRenderQueueItem(-1, -1), 0);
    EXPECT_EQ(queue.MoveRenderQueueItem(9, 1), 0);
    EXPECT_EQ(queue.MoveRenderQueueItem(INT_MAX, 1), 0);
    EXPECT_EQ(idsOf(queue), (Ids{"1", "2", "3"}));
}

TEST_F(RenderQueueDuplicateTest, RefusesAnItemWithAQueuedValueUnderThatName) {
    KavroPISSRenderQueue queue;
    addJobs(queue, {"a", "b"});
    const OwnedItem same = jobNamed("b");
    EXPECT_EQ(queue.AddNewRenderQueueItem(same.get(), "job"), 0);
    EXPECT_EQ(idsOf(queue), (Ids{"a", "b"}));
    EXPECT_EQ(idOf(same.get()), "b");
}

TEST_F(RenderQueueDuplicateTest, AddsAnItemWithAnotherValueOrName) {
    KavroPISSRenderQueue queue;
    addJob(queue, "a");
    OwnedItem other = jobNamed("b");
    EXPECT_EQ(queue.AddNewRenderQueueItem(other.release(), "job"), 1);
    OwnedItem unnamed = jobNamed("a");
    EXPECT_EQ(queue.AddNewRenderQueueItem(unnamed.release(), "project"), 1);
    EXPECT_EQ(queue.NumberOfRenderQueueItemsInList(), 3);
    EXPECT_EQ(root.logText(), "");
}

TEST_F(RenderQueueDuplicateTest, RefusesANullName) {
    KavroPISSRenderQueue queue;
    const OwnedItem item = jobNamed("a");
    EXPECT_EQ(queue.AddNewRenderQueueItem(item.get(), nullptr), 0);
    EXPECT_EQ(queue.NumberOfRenderQueueItemsInList(), 0);
}

TEST_F(RenderQueueDuplicateTest, ReportsIntegerPairsAndDoesNotCompareThem) {
    KavroPISSRenderQueue queue;
    auto queued = std::make_unique<KavroPISSRenderQueueItem>();
    queued->Add("job", "id", 5);
    ASSERT_EQ(queue.AddNewRenderQueueItem(queued.release()), 1);
    auto item = std::make_unique<KavroPISSRenderQueueItem>();
    item->Add("job", "id", 5);
    EXPECT_EQ(queue.AddNewRenderQueueItem(item.release(), "job"), 1);
    const std::vector<std::string> messages = root.logMessages();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_TRUE(messages[0].starts_with("ERROR\tDeveloper Error!!! Kavro_PISSRenderQueue  "))
        << messages[0];
}

TEST_F(RenderQueueDuplicateTest, ReportsNoIntegerPairThatNothingIsComparedWith) {
    KavroPISSRenderQueue queue;
    auto first = std::make_unique<KavroPISSRenderQueueItem>();
    first->Add("job", "id", 5);
    EXPECT_EQ(queue.AddNewRenderQueueItem(first.release(), "job"), 1) << "into an empty queue";
    auto other = std::make_unique<KavroPISSRenderQueueItem>();
    other->Add("other", "id", "a");
    EXPECT_EQ(queue.AddNewRenderQueueItem(other.release(), "job"), 1) << "without such a pair";
    EXPECT_EQ(root.logText(), "");
    EXPECT_EQ(queue.AddNewRenderQueueItem(jobNamed("a").release(), "job"), 1);
    EXPECT_EQ(root.logMessages().size(), 1U) << "a text against the integer";
}

TEST_F(RenderQueueDuplicateTest, FindsADuplicateBesideAnIntegerPair) {
    KavroPISSRenderQueue queue;
    OwnedItem queued = jobNamed("a");
    queued->Add("job", "number", 1);
    ASSERT_EQ(queue.AddNewRenderQueueItem(queued.release()), 1);
    const OwnedItem same = jobNamed("a");
    EXPECT_EQ(queue.AddNewRenderQueueItem(same.get(), "job"), 0);
}

TEST_F(RenderQueueDuplicateTest, IgnoresIntegerPairsWithOtherNames) {
    KavroPISSRenderQueue queue;
    OwnedItem queued = jobNamed("a");
    queued->Add("other", "number", 1);
    ASSERT_EQ(queue.AddNewRenderQueueItem(queued.release(), "job"), 1);
    EXPECT_EQ(root.logText(), "");
}

} // namespace
