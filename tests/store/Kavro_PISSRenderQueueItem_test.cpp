#include "tests/support/failing_calls.h"
#include "tests/support/render_queue_test.h"

#include <cerrno>
#include <climits>

namespace {

using namespace corvid::test;

using RenderQueueItemTest = RenderQueueTest;
using RenderQueueOutputModuleTest = RenderQueueTest;

std::string textValue(const KavroPISSRenderQueueItem& item, const char* name, const char* key) {
    char* value = nullptr;
    if (item.GetItem(&value, name, key) == 0) {
        return value == nullptr ? "missing" : "not null";
    }
    const corvid::OwnedText text(value);
    return text.get();
}

TEST_F(RenderQueueItemTest, HandsOutACopyOfATextValue) {
    KavroPISSRenderQueueItem item;
    ASSERT_EQ(item.Add("comp", "name", "Main comp"), 1);
    char* value = nullptr;
    ASSERT_EQ(item.GetItem(&value, "comp", "name"), 1);
    const corvid::OwnedText text(value);
    *value = 'X';
    EXPECT_EQ(textValue(item, "comp", "name"), "Main comp");
}

TEST_F(RenderQueueItemTest, GivesNullForATextThatIsMissing) {
    KavroPISSRenderQueueItem item;
    item.Add("comp", "name", "Main");
    EXPECT_EQ(textValue(item, "comp", "other"), "missing");
    EXPECT_EQ(textValue(item, "other", "name"), "missing");
    EXPECT_EQ(textValue(item, nullptr, "name"), "missing");
    EXPECT_EQ(textValue(item, "comp", nullptr), "missing");
}

TEST_F(RenderQueueItemTest, GivesZeroForAnIntegerThatIsMissing) {
    const KavroPISSRenderQueueItem item;
    int value = 5;
    EXPECT_EQ(item.GetItem(&value, "comp", "frames"), 0);
    EXPECT_EQ(value, 0);
}

TEST_F(RenderQueueItemTest, KeepsIntegersOfAnySize) {
    KavroPISSRenderQueueItem item;
    ASSERT_EQ(item.Add("comp", "low", INT_MIN), 1);
    ASSERT_EQ(item.Add("comp", "high", INT_MAX), 1);
    int value = 0;
    EXPECT_EQ(item.GetItem(&value, "comp", "low"), 1);
    EXPECT_EQ(value, INT_MIN);
    EXPECT_EQ(item.GetItem(&value, "comp", "high"), 1);
    EXPECT_EQ(value, INT_MAX);
}

TEST_F(RenderQueueItemTest, FindsTheFirstOfTwoPairsWithTheSameNameAndKey) {
    KavroPISSRenderQueueItem item;
    item.Add("comp", "name", "first");
    item.Add("comp", "name", "second");
    EXPECT_EQ(textValue(item, "comp", "name"), "first");
    EXPECT_EQ(item.NumberOfKeyValuePairsInList(), 2);
}

TEST_F(RenderQueueItemTest, LooksForPairsOfTheAskedTypeOnly) {
    KavroPISSRenderQueueItem item;
    item.Add("comp", "size", 7);
    EXPECT_EQ(textValue(item, "comp", "size"), "missing");
    item.Add("comp", "size", "seven");
    EXPECT_EQ(textValue(item, "comp", "size"), "seven");
    int value = 0;
    EXPECT_EQ(item.GetItem(&value, "comp", "size"), 1);
    EXPECT_EQ(value, 7);
}

TEST_F(RenderQueueItemTest, ChangesTheFirstMatchingText) {
    KavroPISSRenderQueueItem item;
    item.Add("comp", "name", "old");
    item.Add("comp", "name", "second");
    ASSERT_EQ(item.ChangeItem("comp", "name", "a much longer new value"), 1);
    ASSERT_EQ(item.ChangeItem("comp", "name", "newest"), 1);
    EXPECT_EQ(textOf(item),
              "{\n\tcomp string\tname newest\n\tcomp string\tname second\n\t{\n\t}\n}\n");
}

TEST_F(RenderQueueItemTest, ChangesTheFirstMatchingInteger) {
    KavroPISSRenderQueueItem item;
    item.Add("comp", "frames", 1);
    ASSERT_EQ(item.ChangeItem("comp", "frames", -2), 1);
    EXPECT_EQ(textOf(item), "{\n\tcomp int\tframes -2\n\t{\n\t}\n}\n");
}

TEST_F(RenderQueueItemTest, ChangesNothingWithoutAMatch) {
    KavroPISSRenderQueueItem item;
    item.Add("comp", "name", "text");
    item.Add("comp", "frames", 3);
    const std::string before = textOf(item);
    EXPECT_EQ(item.ChangeItem("comp", "other", "x"), 0);
    EXPECT_EQ(item.ChangeItem("comp", "name", 4), 0);
    EXPECT_EQ(item.ChangeItem("comp", "frames", "x"), 0);
    EXPECT_EQ(item.ChangeItem("comp", "name", nullptr), 0);
    EXPECT_EQ(textOf(item), before);
}

TEST_F(RenderQueueItemTest, RefusesNullTexts) {
    KavroPISSRenderQueueItem item;
    EXPECT_EQ(item.Add(nullptr, "key", "v"), 0);
    EXPECT_EQ(item.Add("name", nullptr, 1), 0);
    EXPECT_EQ(item.Add("name", "key", nullptr), 0);
    EXPECT_EQ(item.NumberOfKeyValuePairsInList(), 0);
}

// A line that fills a reader's whole piece goes without its line feed.
TEST_F(RenderQueueItemTest, WritesALineOf1023CharactersWithItsIndentAndNoLongerOne) {
    const std::string longest(1023 - std::string("\tname string\tkey ").size(), 'x');
    KavroPISSRenderQueueItem item;
    EXPECT_EQ(item.Add("name", "key", longest.c_str()), 1);
    EXPECT_EQ(item.Add("name", "key", (longest + "x").c_str()), 1);
    EXPECT_EQ(item.Add("name", "last", 1), 1);
    std::string text;
    item.formatTo(text);
    EXPECT_EQ(text, "{\n\tname string\tkey " + longest + "\tname int\tlast 1\n\t{\n\t}\n}\n");
}

TEST_F(RenderQueueItemTest, WalksItsPairsInOrder) {
    KavroPISSRenderQueueItem item;
    EXPECT_EQ(item.PrepareKeyValuePairList(), 0);
    EXPECT_EQ(item.GetNextKeyValuePairInList(), nullptr);
    item.Add("comp", "name", "text");
    item.Add("comp", "frames", 3);
    ASSERT_EQ(item.PrepareKeyValuePairList(), 1);
    const sRenderQueueItemKVPEntry* first = item.GetNextKeyValuePairInList();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first, item.getHeadItem());
    EXPECT_STREQ(first->name, "comp");
    EXPECT_EQ(first->type, 0);
    EXPECT_STREQ(first->key, "name");
    EXPECT_STREQ(first->value, "text");
    const sRenderQueueItemKVPEntry* second = item.GetNextKeyValuePairInList();
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->type, 1);
    EXPECT_EQ(second->intValue, 3);
    EXPECT_EQ(item.GetNextKeyValuePairInList(), nullptr);
}

TEST_F(RenderQueueItemTest, CopiesTheDataOfEachEntryAsText) {
    KavroPISSRenderQueueItem item;
    EXPECT_EQ(item.getHeadItem(), nullptr);
    item.Add("comp", "name", "text");
    item.Add("comp", "frames", -12);
    char key[16];
    char value[16];
    const auto* second =
        item.getItemData(item.getHeadItem(), key, sizeof(key), value, sizeof(value));
    EXPECT_STREQ(key, "name");
    EXPECT_STREQ(value, "text");
    EXPECT_EQ(item.getItemData(second, key, sizeof(key), value, sizeof(value)), nullptr);
    EXPECT_STREQ(key, "frames");
    EXPECT_STREQ(value, "-12");
    EXPECT_EQ(item.getItemData(nullptr, key, sizeof(key), value, sizeof(value)), nullptr);
}

TEST_F(RenderQueueItemTest, CutsTheDataOfAnEntryToTheBuffers) {
    KavroPISSRenderQueueItem item;
    item.Add("comp", "name", "text");
    char key[4] = "old";
    char value[3] = "ol";
    item.getItemData(item.getHeadItem(), key, sizeof(key), value, sizeof(value));
    EXPECT_STREQ(key, "nam");
    EXPECT_STREQ(value, "te");
    item.getItemData(item.getHeadItem(), nullptr, 4, value, 0);
    EXPECT_STREQ(value, "te");
}

TEST_F(RenderQueueItemTest, TakesOverOutputModulesInOrder) {
    KavroPISSRenderQueueItem item;
    EXPECT_EQ(item.AddNewOutputModule(nullptr), 0);
    EXPECT_EQ(item.PrepareOuputModuleList(), 0);
    EXPECT_EQ(item.GetNextOutputModuleInList(), nullptr);
    auto* first = new KavroPISSRenderQueueItemOutputModule;
    auto* second = new KavroPISSRenderQueueItemOutputModule;
    ASSERT_EQ(item.AddNewOutputModule(first), 1);
    ASSERT_EQ(item.AddNewOutputModule(second), 1);
    EXPECT_EQ(item.NumberOfOutputModulesInList(), 2);
    EXPECT_EQ(item.PrepareOuputModuleList(), 1);
    EXPECT_EQ(item.GetNextOutputModuleInList(), first);
    EXPECT_EQ(item.GetNextOutputModuleInList(), second);
    EXPECT_EQ(item.GetNextOutputModuleInList(), nullptr);
}

TEST_F(RenderQueueItemTest, ReportsAPairForWhichThereIsNoMemory) {
    KavroPISSRenderQueueItem item;
    for (const int kind : {0, 1}) {
        root.clearLog();
        const FailNth failing(Call::Malloc, 1, ENOMEM);
        EXPECT_EQ(kind == 0 ? item.Add("n", "k", "v") : item.Add("n", "k", 1), 0);
        EXPECT_EQ(failing.failures(), 1);
        EXPECT_TRUE(root.hasLogged("ERROR\tKavroPISSRenderQueueItem::Add malloc failed\n"));
    }
    EXPECT_EQ(item.NumberOfKeyValuePairsInList(), 0);
}

TEST_F(RenderQueueItemTest, LeavesAModuleWithItsCallerWhenThereIsNoMemory) {
    KavroPISSRenderQueueItem item;
    const auto module = std::make_unique<KavroPISSRenderQueueItemOutputModule>();
    const FailNth failing(Call::Malloc, 1, ENOMEM);
    EXPECT_EQ(item.AddNewOutputModule(module.get()), 0);
    EXPECT_EQ(item.NumberOfOutputModulesInList(), 0);
    EXPECT_TRUE(
        root.hasLogged("ERROR\tKavroPISSRenderQueueItem::AddNewOutputModule malloc failed\n"));
}

TEST_F(RenderQueueItemTest, KeepsTheOldTextWhenThereIsNoMemoryForTheNewOne) {
    KavroPISSRenderQueueItem item;
    item.Add("n", "k", "old");
    {
        const FailNth failing(Call::Strdup, 1, ENOMEM);
        EXPECT_EQ(item.ChangeItem("n", "k", "new"), 0);
        EXPECT_EQ(failing.failures(), 1);
    }
    EXPECT_EQ(textValue(item, "n", "k"), "old");
}

TEST_F(RenderQueueItemTest, GivesNullWhenThereIsNoMemoryForACopy) {
    KavroPISSRenderQueueItem item;
    item.Add("n", "k", "v");
    const FailNth failing(Call::Strdup, 1, ENOMEM);
    EXPECT_EQ(textValue(item, "n", "k"), "missing");
}

TEST_F(RenderQueueOutputModuleTest, KeepsTextPairsInOrder) {
    KavroPISSRenderQueueItemOutputModule module;
    EXPECT_EQ(module.PrepareOMKVPList(), 0);
    ASSERT_EQ(module.Add("out", "path", "/tmp/a b"), 1);
    ASSERT_EQ(module.Add("out", "path", "second"), 1);
    EXPECT_EQ(module.GetNumberOfKVPEntries(), 2);
    ASSERT_EQ(module.PrepareOMKVPList(), 1);
    EXPECT_STREQ(module.GetNextOMKVPInList()->value, "/tmp/a b");
    EXPECT_STREQ(module.GetNextOMKVPInList()->value, "second");
    EXPECT_EQ(module.GetNextOMKVPInList(), nullptr);
}

TEST_F(RenderQueueOutputModuleTest, HandsOutACopyOfTheFirstMatchingValue) {
    KavroPISSRenderQueueItemOutputModule module;
    module.Add("out", "path", "first");
    module.Add("out", "path", "second");
    char* value = nullptr;
    ASSERT_EQ(module.GetItem(&value, "out", "path"), 1);
    const corvid::OwnedText text(value);
    EXPECT_STREQ(value, "first");
    EXPECT_EQ(module.GetItem(&value, "out", "other"), 0);
    EXPECT_EQ(value, nullptr);
}

TEST_F(RenderQueueOutputModuleTest, RefusesNullTexts) {
    KavroPISSRenderQueueItemOutputModule module;
    EXPECT_EQ(module.Add("n", "k", nullptr), 0);
    EXPECT_EQ(module.Add(nullptr, "k", "v"), 0);
    EXPECT_EQ(module.GetNumberOfKVPEntries(), 0);
}

} // namespace
