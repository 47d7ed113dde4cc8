#include "store/KavroPISSConfig.h"

#include "tests/support/config_test.h"
#include "tests/support/failing_calls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string>

namespace {

using corvid::test::Call;
using corvid::test::ConfigTest;
using corvid::test::FailNth;
using corvid::test::linesOf;
using corvid::test::readFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(ConfigTest, AddAppendsWithoutLookingForTheSameKey) {
    write("");
    KavroPISSConfig config;
    EXPECT_TRUE(config.Add("default", "key", "first"));
    EXPECT_TRUE(config.Add("default", "key", "second"));
    EXPECT_TRUE(config.Add("default", "key", 3));
    EXPECT_EQ(3U, config.NumberOfKeyValuePairsInList());
    EXPECT_EQ("first", text(config, "key"));
    EXPECT_TRUE(config.Commit());
    EXPECT_THAT(linesOf(file()), ElementsAre("default string\tkey first",
                                             "default string\tkey second", "default int\tkey 3"));
}

TEST_F(ConfigTest, ANullValueIsWrittenAsAnEmptyOne) {
    write("");
    KavroPISSConfig config;
    const char* none = nullptr;
    EXPECT_TRUE(config.Add("default", "key", none));
    config.PrepareKeyValuePairList();
    EXPECT_EQ(nullptr, config.GetNextKeyValuePairInList()->stringValue);
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ("default string\tkey \n", readFile(file()));
}

TEST_F(ConfigTest, LookupsCompareKeyAndScopeExactly) {
    write("default string\tkey value\ndefault int\tsize 5\n");
    KavroPISSConfig config;
    EXPECT_EQ("value", text(config, "key"));
    EXPECT_EQ(std::nullopt, text(config, "key", "other"));
    EXPECT_EQ(std::nullopt, text(config, "Key"));
    EXPECT_EQ(std::nullopt, text(config, "ke"));
    EXPECT_EQ(std::nullopt, text(config, "key", "DEFAULT"));
    EXPECT_EQ(5, number(config, "size"));
    EXPECT_EQ(std::nullopt, number(config, "size", "other"));
    EXPECT_EQ(std::nullopt, number(config, "Size"));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(ConfigTest, AnIntegerLookupOfATextGivesZero) {
    write("default string\tkey 17\n");
    KavroPISSConfig config;
    EXPECT_EQ(0, number(config, "key"));
}

TEST_F(ConfigTest, ATextLookupOfAnIntegerCountsAsMissing) {
    write("default int\tkey 17\n");
    KavroPISSConfig config;
    EXPECT_EQ(std::nullopt, text(config, "key"));
}

TEST_F(ConfigTest, AResultIsACopyOfTheCallers) {
    write("default string\tkey value\n");
    KavroPISSConfig config;
    char* value = nullptr;
    ASSERT_TRUE(config.GetItem(&value, "default", "key"));
    value[0] = 'V';
    EXPECT_EQ("value", text(config, "key"));
    std::free(value);
}

TEST_F(ConfigTest, ChangeItemReplacesTheValueOfTheFirstMatch) {
    write("default string\tkey a\ndefault string\tkey b\ndefault int\tsize 1\n");
    KavroPISSConfig config;
    EXPECT_TRUE(config.ChangeItem("default", "key", "new text"));
    EXPECT_TRUE(config.ChangeItem("default", "size", 9));
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ("default string\tkey new text\ndefault string\tkey b\ndefault int\tsize 9\n",
              readFile(file()));
}

TEST_F(ConfigTest, ChangeItemNeverChangesTheType) {
    write("default string\tkey a\ndefault int\tsize 1\n");
    KavroPISSConfig config;
    EXPECT_TRUE(config.ChangeItem("default", "key", 5));
    EXPECT_TRUE(config.ChangeItem("default", "size", "big"));
    EXPECT_EQ(5, number(config, "key"));
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ("default string\tkey a\ndefault int\tsize 1\n", readFile(file()));
}

TEST_F(ConfigTest, ChangeItemAddsNothing) {
    write("default string\tkey a\n");
    KavroPISSConfig config;
    EXPECT_FALSE(config.ChangeItem("default", "other", "x"));
    EXPECT_FALSE(config.ChangeItem("default", "other", 1));
    EXPECT_FALSE(config.ChangeItem("scope", "key", "x"));
    EXPECT_EQ(1U, config.NumberOfKeyValuePairsInList());
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(ConfigTest, ChangeItemTakesANullText) {
    write("default string\tkey a\n");
    KavroPISSConfig config;
    const char* none = nullptr;
    EXPECT_TRUE(config.ChangeItem("default", "key", none));
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ("default string\tkey \n", readFile(file()));
}

TEST_F(ConfigTest, ANullScopeOrKeyIsRefused) {
    write("default string\tkey a\n");
    KavroPISSConfig config;
    EXPECT_FALSE(config.Add(nullptr, "k", "v"));
    EXPECT_FALSE(config.Add("default", nullptr, "v"));
    EXPECT_FALSE(config.Add(nullptr, "k", 1));
    EXPECT_FALSE(config.Add("default", nullptr, 1));
    EXPECT_FALSE(config.ChangeItem(nullptr, "key", "v"));
    EXPECT_FALSE(config.ChangeItem("default", nullptr, 1));
    EXPECT_EQ(std::nullopt, text(config, nullptr));
    EXPECT_EQ(std::nullopt, text(config, "key", nullptr));
    EXPECT_EQ(std::nullopt, number(config, nullptr));
    EXPECT_EQ(1U, config.NumberOfKeyValuePairsInList());
}

TEST_F(ConfigTest, TheLongestLineIsReadBackAndALongerOneLeftOut) {
    write("");
    const std::string longest(1023 - std::string("default string\tkey ").size(), 'x');
    {
        KavroPISSConfig config;
        EXPECT_TRUE(config.Add("default", "key", (longest + "x").c_str()));
        EXPECT_TRUE(config.Add("default", "key", longest.c_str()));
        EXPECT_TRUE(config.Add("default", "next", 7));
        EXPECT_TRUE(config.Commit());
    }
    KavroPISSConfig config;
    EXPECT_EQ(longest, text(config, "key"));
    EXPECT_EQ(7, number(config, "next"));
}

TEST_F(ConfigTest, AddReportsWantOfMemory) {
    write("");
    KavroPISSConfig config;
    const std::string message = "ERROR\tPersistent Storage Configuration - Add malloc failed\n";
    {
        const FailNth failing(Call::New, 1, ENOMEM);
        EXPECT_FALSE(config.Add("default", "key", "value"));
        EXPECT_EQ(1, failing.failures());
    }
    for (int copy = 1; copy <= 3; ++copy) {
        const FailNth failing(Call::Strdup, copy, ENOMEM);
        EXPECT_FALSE(config.Add("default", "key", "value"));
        EXPECT_EQ(1, failing.failures());
    }
    {
        const FailNth failing(Call::Strdup, 2, ENOMEM);
        EXPECT_FALSE(config.Add("default", "key", 1));
    }
    EXPECT_EQ(0U, config.NumberOfKeyValuePairsInList());
    EXPECT_THAT(root.logMessages(), ElementsAre(message, message, message, message, message));
}

TEST_F(ConfigTest, ChangeItemKeepsTheOldValueForWantOfMemory) {
    write("default string\tkey a\n");
    KavroPISSConfig config;
    {
        const FailNth failing(Call::Strdup, 1, ENOMEM);
        EXPECT_FALSE(config.ChangeItem("default", "key", "b"));
    }
    EXPECT_EQ("a", text(config, "key"));
}

TEST_F(ConfigTest, ATransactionIsOnlyAConvention) {
    write("default int\ta 1\n");
    KavroPISSConfig config;
    EXPECT_EQ(1, config.StartTransaction());
    EXPECT_TRUE(config.ChangeItem("default", "a", 2));
    EXPECT_EQ("default int\ta 1\n", readFile(file()));
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ("default int\ta 2\n", readFile(file()));
}

TEST_F(ConfigTest, ChangesWithoutACommitAreLost) {
    write("default int\ta 1\n");
    {
        KavroPISSConfig config;
        config.Add("default", "b", 2);
    }
    EXPECT_EQ("default int\ta 1\n", readFile(file()));
}

TEST_F(ConfigTest, TheLastCommitWins) {
    write("default int\ta 1\n");
    KavroPISSConfig first;
    KavroPISSConfig second;
    first.ChangeItem("default", "a", 2);
    second.Add("default", "b", 3);
    EXPECT_TRUE(first.Commit());
    EXPECT_TRUE(second.Commit());
    EXPECT_EQ("default int\ta 1\ndefault int\tb 3\n", readFile(file()));
}

TEST(ConfigEntry, StartsAsAnEmptyIntegerEntry) {
    const tConfigKVPEntry entry;
    EXPECT_EQ(1, entry.type);
    EXPECT_EQ(0, entry.intValue);
    EXPECT_EQ(nullptr, entry.next);
    EXPECT_EQ(nullptr, entry.scope);
}

} // namespace
