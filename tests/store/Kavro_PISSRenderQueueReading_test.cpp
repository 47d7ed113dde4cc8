#include "tests/support/failing_calls.h"
#include "tests/support/render_queue_test.h"

#include <cerrno>
#include <climits>

namespace {

using namespace corvid::test;
using Ids = std::vector<std::string>;

constexpr char kItemEnded[] =
    "WARNING\tProcessRenderQueueItem: EOF reached prematurely in Render Queue item\n";
constexpr char kModulesEnded[] =
    "WARNING\tProcessOutputModuleItem: EOF reached prematurely in output module\n";
constexpr char kModuleOpen[] =
    "WARNING\tProcessOutputModuleItem: incompletely processed an active module\n";
constexpr char kOpenedTwice[] = "WARNING\tProcessOutputModuleItem: { reached while an output "
                                "module was actively being processed\n";
constexpr char kClosedUnopened[] =
    "WARNING\tProcessOutputModuleItem: } reached without a corresponding { token\n";
constexpr char kPairOutside[] =
    "WARNING\tProcessOutputModuleItem: Key Value reached without a corresponding { token\n";
constexpr char kIntegerInModule[] =
    "WARNING\tProcessOutputModuleItem: int type not yet supported\n";

class RenderQueueReadingTest : public RenderQueueTest {
protected:
    // Loads an item whose output module section holds these lines; the item as it is then, or
    // "failed".
    std::string loadSection(const std::string& lines) {
        const int result = load(queue, "{\n\t{\n" + lines + "\t}\n}\n");
        const KavroPISSRenderQueueItem* item = queue.GetSpecificRenderQueueItemInList(1);
        return result == 1 && item != nullptr ? textOf(*item) : "failed";
    }
    static std::string section(const std::string& lines) { return "{\n\t{\n" + lines + "\t}\n}\n"; }
    [[nodiscard]] std::vector<std::string> messages() const { return root.logMessages(); }

    KavroPISSRenderQueue queue;
};

using Messages = std::vector<std::string>;

TEST_F(RenderQueueReadingTest, ReadsAnEmptyFile) {
    EXPECT_EQ(load(queue, ""), 1);
    EXPECT_EQ(queue.NumberOfRenderQueueItemsInList(), 0);
}

TEST_F(RenderQueueReadingTest, DropsTheItemsInMemoryFirst) {
    addJob(queue, "memory");
    EXPECT_EQ(load(queue, jobText("file")), 1);
    EXPECT_EQ(idsOf(queue), Ids{"file"});
    EXPECT_EQ(idOf(queue.GetSpecificRenderQueueItemInList(1)), "file");
}

TEST_F(RenderQueueReadingTest, ReadsItemsPairsAndModules) {
    const std::string text =
        "{\n\tjob string\tid a b\n\tjob int\tframes -5\n\t{\n"
        "\t\t{\n\t\t\tout string\tpath /tmp/x\n\t\t\tout string\tkind Lossless\n\t\t}\n"
        "\t\t{\n\t\t}\n\t}\n}\n";
    ASSERT_EQ(load(queue, text + jobText("second")), 1);
    ASSERT_EQ(queue.NumberOfRenderQueueItemsInList(), 2);
    EXPECT_EQ(textOf(*queue.GetSpecificRenderQueueItemInList(1)), text);
    EXPECT_EQ(idOf(queue.GetSpecificRenderQueueItemInList(2)), "second");
    EXPECT_EQ(messages(), Messages{});
}

TEST_F(RenderQueueReadingTest, ReadsASectionWithoutModules) {
    EXPECT_EQ(load(queue, jobText("a") + jobText("b")), 1);
    EXPECT_EQ(idsOf(queue), (Ids{"a", "b"}));
    EXPECT_EQ(queue.GetSpecificRenderQueueItemInList(1)->NumberOfOutputModulesInList(), 0);
    EXPECT_EQ(messages(), Messages{});
}

TEST_F(RenderQueueReadingTest, ReadsAnItemWithoutASection) {
    EXPECT_EQ(load(queue, "{\njob string\tid a\n}\n"), 1);
    EXPECT_EQ(idsOf(queue), Ids{"a"});
}

TEST_F(RenderQueueReadingTest, AddsTheModulesOfASecondSection) {
    EXPECT_EQ(load(queue, "{\n\t{\n\t\t{\n\t\t}\n\t}\n\t{\n\t\t{\n\t\t}\n\t}\n}\n"), 1);
    EXPECT_EQ(queue.GetSpecificRenderQueueItemInList(1)->NumberOfOutputModulesInList(), 2);
}

TEST_F(RenderQueueReadingTest, SkipsEmptyLinesBetweenItems) {
    EXPECT_EQ(load(queue, "\n \t\n" + jobText("a") + "\n\n" + jobText("b") + "\n"), 1);
    EXPECT_EQ(idsOf(queue), (Ids{"a", "b"}));
}

TEST_F(RenderQueueReadingTest, NeedsNoLineFeedAtTheEnd) {
    EXPECT_EQ(load(queue, "{\n\t{\n\t}\n}"), 1);
    EXPECT_EQ(queue.NumberOfRenderQueueItemsInList(), 1);
}

TEST_F(RenderQueueReadingTest, LoadsNothingWhenTheFirstTokenIsNoOpeningBrace) {
    EXPECT_EQ(load(queue, "\nhello world\n" + jobText("a")), 0);
    EXPECT_EQ(queue.NumberOfRenderQueueItemsInList(), 0);
    EXPECT_EQ(messages(),
              Messages{"WARNING\tStartTransaction: Invalid start to Render Queue item: No opening "
                       "'{', instead 'hello'\n"});
}

TEST_F(RenderQueueReadingTest, KeepsTheItemsBeforeAnInvalidStart) {
    EXPECT_EQ(load(queue, jobText("a") + "}\n" + jobText("b")), 0);
    EXPECT_EQ(idsOf(queue), Ids{"a"});
    EXPECT_TRUE(root.hasLogged("WARNING\tStartTransaction: Invalid start to Render Queue item: No "
                               "opening '{', instead '}'\n"));
}

TEST_F(RenderQueueReadingTest, FailsAtTheEndOfTheFileInAnItem) {
    EXPECT_EQ(load(queue, jobText("a") + "{\n\tjob string\tid b\n"), 0);
    EXPECT_EQ(idsOf(queue), Ids{"a"});
    EXPECT_EQ(messages(), Messages{kItemEnded});
}

TEST_F(RenderQueueReadingTest, TakesAnEmptyLineInAnItemForItsEnd) {
    EXPECT_EQ(load(queue, "{\n\tjob string\tid a\n \n\t{\n\t}\n}\n"), 0);
    EXPECT_EQ(queue.NumberOfRenderQueueItemsInList(), 0);
    EXPECT_EQ(messages(), Messages{kItemEnded});
}

TEST_F(RenderQueueReadingTest, FailsAtTheEndOfTheFileBehindASection) {
    EXPECT_EQ(load(queue, "{\n\t{\n\t}\n"), 0);
    EXPECT_EQ(messages(), Messages{kItemEnded});
}

TEST_F(RenderQueueReadingTest, FailsAtTheEndOfTheFileInASection) {
    for (const char* start : {"{\n\t{\n", "{\n\t{\n\t\t{\n\t\t}\n"}) {
        root.clearLog();
        EXPECT_EQ(load(queue, start), 0);
        EXPECT_EQ(messages(), Messages{kModulesEnded});
    }
}

TEST_F(RenderQueueReadingTest, FailsAtTheEndOfTheFileInAModule) {
    EXPECT_EQ(load(queue, jobText("a") + "{\n\t{\n\t\t{\n\t\t\tout string\tpath x\n"), 0);
    EXPECT_EQ(idsOf(queue), Ids{"a"});
    EXPECT_EQ(messages(), (Messages{kModuleOpen, kModulesEnded}));
}

TEST_F(RenderQueueReadingTest, TakesAnUnclosedItemsNextItemForASection) {
    EXPECT_EQ(load(queue, "{\n\tjob string\tid a\n" + jobText("b")), 0);
    EXPECT_EQ(queue.NumberOfRenderQueueItemsInList(), 0);
    EXPECT_TRUE(root.hasLogged(kPairOutside));
}

TEST_F(RenderQueueReadingTest, DiscardsAModuleThatIsOpenWhenAnotherStarts) {
    EXPECT_EQ(
        loadSection(
            "\t\t{\n\t\t\tout string\tpath lost\n\t\t{\n\t\t\tout string\tpath kept\n\t\t}\n"),
        section("\t\t{\n\t\t\tout string\tpath kept\n\t\t}\n"));
    EXPECT_EQ(messages(), Messages{kOpenedTwice});
}

TEST_F(RenderQueueReadingTest, StartsAModuleForAPairOutsideOfOne) {
    EXPECT_EQ(loadSection("\t\t\tout string\tpath x\n\t\t}\n"),
              section("\t\t{\n\t\t\tout string\tpath x\n\t\t}\n"));
    EXPECT_EQ(messages(), Messages{kPairOutside});
}

TEST_F(RenderQueueReadingTest, StartsAModuleForAPairBehindAModule) {
    EXPECT_EQ(loadSection("\t\t{\n\t\t}\n\t\t\tout string\tpath x\n\t\t}\n"),
              section("\t\t{\n\t\t}\n\t\t{\n\t\t\tout string\tpath x\n\t\t}\n"));
    EXPECT_EQ(messages(), Messages{kPairOutside});
}

TEST_F(RenderQueueReadingTest, DiscardsAModuleWithAPairThatIsNoTextAndAddsAnEmptyOneAtItsEnd) {
    EXPECT_EQ(loadSection("\t\t{\n\t\t\tout string\tpath x\n\t\t\tout int\tframes 5\n\t\t}\n"),
              section("\t\t{\n\t\t}\n"));
    EXPECT_EQ(messages(), (Messages{kIntegerInModule, kClosedUnopened}));
}

TEST_F(RenderQueueReadingTest, TakesAModulesLineWithoutATypeForNoText) {
    EXPECT_EQ(loadSection("\t\t{\n\t\t\tword\n\t\t}\n"), section("\t\t{\n\t\t}\n"));
    EXPECT_EQ(messages(), (Messages{kIntegerInModule, kClosedUnopened}));
}

TEST_F(RenderQueueReadingTest, StartsANewModuleBehindADiscardedOne) {
    EXPECT_EQ(loadSection("\t\t{\n\t\t\tout int\tframes 5\n\t\t\tout string\tpath x\n\t\t}\n"),
              section("\t\t{\n\t\t\tout string\tpath x\n\t\t}\n"));
    EXPECT_EQ(messages(), (Messages{kIntegerInModule, kPairOutside}));
}

TEST_F(RenderQueueReadingTest, SkipsEmptyLinesAmongModules) {
    EXPECT_EQ(loadSection("\n\t\t{\n\n\t\t\tout string\tpath x\n\t\t}\n\n"),
              section("\t\t{\n\t\t\tout string\tpath x\n\t\t}\n"));
    EXPECT_EQ(messages(), Messages{});
}

TEST_F(RenderQueueReadingTest, EndsTheSectionAndTheItemAtClosingBracesTooMany) {
    EXPECT_EQ(load(queue, "{\n\t{\n\t\t{\n\t\t}\n\t\t}\n\t}\n}\n"), 0);
    EXPECT_EQ(queue.NumberOfRenderQueueItemsInList(), 1);
    EXPECT_TRUE(root.hasLogged("WARNING\tStartTransaction: Invalid start to Render Queue item: No "
                               "opening '{', instead '}'\n"));
}

TEST_F(RenderQueueReadingTest, FailsWhenAModulesClosingBraceIsMissing) {
    EXPECT_EQ(load(queue, "{\n\t{\n\t\t{\n\t\t\tout string\tpath x\n\t}\n}\n"), 0);
    EXPECT_EQ(messages(), Messages{kItemEnded});
}

TEST_F(RenderQueueReadingTest, TakesAModulesOpeningBraceForTheSectionsMissingOne) {
    const std::string pairs = "\t\t{\n\t\t\tout string\tpath x\n\t\t}\n\t}\n}\n";
    EXPECT_EQ(load(queue, "{\n" + pairs), 1);
    EXPECT_EQ(textOf(*queue.GetSpecificRenderQueueItemInList(1)), "{\n\t{\n" + pairs);
    EXPECT_EQ(messages(), Messages{kPairOutside});
}

TEST_F(RenderQueueReadingTest, ReadsAnEmptyTextValueAsAnEmptyText) {
    ASSERT_EQ(
        load(queue,
             "{\n\tjob string\tid \n\tjob string\tother\n\t{\n\t\t{\n\t\t\tout string\tpath \n"
             "\t\t}\n\t}\n}\n"),
        1);
    EXPECT_EQ(textOf(*queue.GetSpecificRenderQueueItemInList(1)),
              "{\n\tjob string\tid \n\tjob string\tother \n\t{\n\t\t{\n\t\t\tout string\tpath "
              "\n\t\t}\n\t}\n}\n");
}

TEST_F(RenderQueueReadingTest, ClipsTheLeadingBlanksOfAValueAndKeepsTheTrailingOnes) {
    ASSERT_EQ(load(queue, jobText("  \t a  b \t")), 1);
    EXPECT_EQ(idsOf(queue), Ids{"a  b \t"});
}

TEST_F(RenderQueueReadingTest, TakesBracesInsideALineForText) {
    ASSERT_EQ(load(queue, jobText("{ } {")), 1);
    EXPECT_EQ(idsOf(queue), Ids{"{ } {"});
}

TEST_F(RenderQueueReadingTest, TakesEveryOtherTypeForAnInteger) {
    ASSERT_EQ(load(queue, "{\n\ta float\tk 2.5\n\tb String\tk 7x\n\tc int\tk x\n\td int\tk\n}\n"),
              1);
    EXPECT_EQ(textOf(*queue.GetSpecificRenderQueueItemInList(1)),
              "{\n\ta int\tk 2\n\tb int\tk 7\n\tc int\tk 0\n\td int\tk 0\n\t{\n\t}\n}\n");
}

TEST_F(RenderQueueReadingTest, HoldsIntegersWithin32Bits) {
    ASSERT_EQ(load(queue, "{\n\ta int\tk 99999999999999999999\n\tb int\tk -99999999999\n}\n"), 1);
    const KavroPISSRenderQueueItem* item = queue.GetSpecificRenderQueueItemInList(1);
    int value = 0;
    EXPECT_EQ(item->GetItem(&value, "a", "k"), 1);
    EXPECT_EQ(value, INT_MAX);
    EXPECT_EQ(item->GetItem(&value, "b", "k"), 1);
    EXPECT_EQ(value, INT_MIN);
}

// Such a line is what a too long one leaves behind its first piece.
TEST_F(RenderQueueReadingTest, PassesOverALineThatHasNoKey) {
    const Messages noKey{"WARNING\tProcessRenderQueueItem: The line of 'word' has no key\n"};
    for (const char* line : {"word", "word string", "word int"}) {
        root.clearLog();
        EXPECT_EQ(load(queue, "{\n\tjob string\tid a\n\t" + std::string(line) + "\n}\n"), 1);
        EXPECT_EQ(idsOf(queue), Ids{"a"});
        EXPECT_EQ(messages(), noKey);
    }
    root.clearLog();
    EXPECT_EQ(load(queue, "{\n\t{\n\t\t{\n\t\t\tword string\n\t\t}\n\t}\n}\n"), 1);
    EXPECT_EQ(messages(), noKey);
}

std::string valueIn(KavroPISSRenderQueue& queue, const char* name, const char* key) {
    char* value = nullptr;
    queue.GetSpecificRenderQueueItemInList(1)->GetItem(&value, name, key);
    const corvid::OwnedText owned(value);
    return value != nullptr ? value : "missing";
}

TEST_F(RenderQueueReadingTest, ReadsALongLineInPiecesAsIfEachWereALine) {
    const std::string begin = "\tn string\tk ";
    const std::string longest(1023 - begin.size(), 'v');
    const std::string next = "\tm string\tl next\n}\n";
    EXPECT_EQ(load(queue, "{\n" + begin + longest + "\tm string\tl second\n" + next), 1);
    EXPECT_EQ(valueIn(queue, "n", "k"), longest);
    EXPECT_EQ(valueIn(queue, "m", "l"), "second");
    // A piece that fills the reader to the last byte leaves its line feed for a line of its own.
    EXPECT_EQ(load(queue, "{\n" + begin + longest + "\n" + next), 0);
    EXPECT_EQ(load(queue, "{\n" + begin + longest + std::string(3000, 'w') + "\n" + next), 1);
    EXPECT_EQ(valueIn(queue, "n", "k"), longest);
    EXPECT_EQ(valueIn(queue, "m", "l"), "next");
}

TEST_F(RenderQueueReadingTest, FailsAtEveryPlaceWhereThereIsNoMemory) {
    const std::string text =
        "{\n\tjob string\tid a\n\tjob int\tframes 1\n\t{\n\t\t{\n\t\t\tout string\tpath x\n"
        "\t\t}\n\t}\n}\n";
    int places = 0;
    for (bool hasFailed = true; hasFailed;) {
        writeFile(file("RQ.txt"), text);
        const FailNth failing(Call::Malloc, places + 1, ENOMEM);
        const int result = queue.StartTransaction();
        hasFailed = failing.failures() > 0;
        EXPECT_EQ(result, hasFailed ? 0 : 1);
        EXPECT_EQ(queue.NumberOfRenderQueueItemsInList(), hasFailed ? 0 : 1);
        places += hasFailed ? 1 : 0;
    }
    EXPECT_EQ(places, 5) << "three pairs, a module's and an item's place in the lists";
}

} // namespace
