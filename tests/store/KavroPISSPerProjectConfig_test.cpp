#include "store/KavroPISSPerProjectConfig.h"

#include "files/owned_text.h"
#include "store/PISSMD5.h"
#include "tests/support/failing_calls.h"
#include "tests/support/forked_child.h"
#include "tests/support/per_project_config_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace {

using corvid::hashOf;
using corvid::OwnedText;
using corvid::test::Call;
using corvid::test::FailNth;
using corvid::test::makeDirectory;
using corvid::test::PerProjectConfigTest;
using corvid::test::readFile;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(KavroPISSProjectKeysTest, APathIsSplitAtItsLastSeparator) {
    const KavroPISSProjectKeys keys("/Users/a/Shots/Edit.aep");
    EXPECT_EQ("/Users/a/Shots/", keys.folder);
    EXPECT_EQ("Edit.aep", keys.name);
    EXPECT_EQ("/Users/a/Shots/::*::Edit.aep", keys.identity);
}

TEST(KavroPISSProjectKeysTest, APathWithoutASeparatorIsAName) {
    const KavroPISSProjectKeys keys("Edit.aep");
    EXPECT_EQ("", keys.folder);
    EXPECT_EQ("Edit.aep", keys.name);
    EXPECT_EQ("::*::Edit.aep", keys.identity);
}

TEST(KavroPISSProjectKeysTest, APathThatEndsInASeparatorHasNoName) {
    const KavroPISSProjectKeys keys("/Shots/");
    EXPECT_EQ("/Shots/", keys.folder);
    EXPECT_EQ("", keys.name);
    EXPECT_EQ("/Shots/::*::", keys.identity);
}

TEST(KavroPISSProjectKeysTest, AnEmptyPathHasNothingButTheMark) {
    const KavroPISSProjectKeys keys("");
    EXPECT_EQ("", keys.folder);
    EXPECT_EQ("", keys.name);
    EXPECT_EQ("::*::", keys.identity);
}

TEST(KavroPISSProjectKeysTest, ANullPathIsAnEmptyOne) {
    const KavroPISSProjectKeys keys(nullptr);
    EXPECT_EQ("::*::", keys.identity);
    EXPECT_EQ("", keys.name);
    EXPECT_EQ("", keys.folder);
}

TEST_F(PerProjectConfigTest, ANullFolderIsWarnedAbout) {
    KavroPISSPerProjectConfig config(nullptr);
    EXPECT_THAT(
        root.logMessages(),
        ElementsAre("WARNING\tPerProjectConfig::PerProjectConfig : pathToProject set to null.\n"));
    root.clearLog();
    EXPECT_TRUE(config.Add("a", "key", 1));
    EXPECT_FALSE(config.Commit());
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(PerProjectConfigTest, AnEmptyFolderIsWarnedAbout) {
    KavroPISSPerProjectConfig config("");
    EXPECT_THAT(
        root.logMessages(),
        ElementsAre("WARNING\tPerProjectConfig::PerProjectConfig : pathToProject has length 0.\n"));
    root.clearLog();
    EXPECT_FALSE(config.Commit());
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(PerProjectConfigTest, AFolderWithAndWithoutItsSeparatorIsTheSame) {
    {
        KavroPISSPerProjectConfig config(root.path("Shots").c_str());
        EXPECT_TRUE(config.Add("a", "key", 5));
        EXPECT_TRUE(config.Commit());
    }
    EXPECT_EQ("cvp-version:1\n" + intLine("a", "key 5"), readFile(file()));
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_EQ("5", numberOf(config, "a", "key"));
}

TEST_F(PerProjectConfigTest, ItemsNeedTheRightNameAndKey) {
    writeLines(stringLine("a", "path x") + intLine("a", "size 3"));
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_EQ("none", textOf(config, "b", "path"));
    EXPECT_EQ("none", textOf(config, "a", "PATH"));
    EXPECT_EQ("none", textOf(config, "a", "pat"));
    EXPECT_EQ("none", textOf(config, hashOf("a").c_str(), "path"));
    EXPECT_EQ("none", numberOf(config, "b", "size"));
    EXPECT_EQ("none", numberOf(config, "a", "sizes"));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(PerProjectConfigTest, AnIntegerHasNoTextAndATextIsZero) {
    writeLines(stringLine("a", "path 17") + intLine("a", "size 3"));
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_EQ("none", textOf(config, "a", "size"));
    EXPECT_EQ("0", numberOf(config, "a", "path"));
}

TEST_F(PerProjectConfigTest, TheListIsInFileOrder) {
    writeLines(intLine("b", "second 2") + intLine("a", "first 1"));
    KavroPISSPerProjectConfig config(folder().c_str());
    ASSERT_TRUE(config.PrepareKeyValuePairList());
    const tConfigKVPEntry* entry = config.GetNextKeyValuePairInList();
    ASSERT_NE(nullptr, entry);
    EXPECT_EQ(hashOf("b"), entry->scope);
    EXPECT_STREQ("second", entry->key);
    EXPECT_EQ(1, entry->type);
    EXPECT_EQ(2, entry->intValue);
    EXPECT_EQ(nullptr, entry->stringValue);
    ASSERT_NE(nullptr, config.GetNextKeyValuePairInList());
    EXPECT_EQ(nullptr, config.GetNextKeyValuePairInList());
}

TEST_F(PerProjectConfigTest, AnEntryIsAddedUnderTheHashOfItsName) {
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_EQ(1, config.StartTransaction());
    EXPECT_TRUE(config.Add("a", "path", "x"));
    EXPECT_TRUE(config.Add("a", "size", 3));
    EXPECT_EQ(2U, config.NumberOfKeyValuePairsInList());
    config.PrepareKeyValuePairList();
    EXPECT_EQ(hashOf("a"), config.GetNextKeyValuePairInList()->scope);
    EXPECT_EQ("x", textOf(config, "a", "path"));
    EXPECT_EQ("3", numberOf(config, "a", "size"));
}

TEST_F(PerProjectConfigTest, OfTwoEqualEntriesTheFirstCounts) {
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_TRUE(config.Add("a", "size", 3));
    EXPECT_TRUE(config.Add("a", "size", 4));
    EXPECT_EQ("3", numberOf(config, "a", "size"));
    EXPECT_TRUE(config.ChangeItem("a", "size", 5));
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ("cvp-version:1\n" + intLine("a", "size 5") + intLine("a", "size 4"),
              readFile(file()));
}

TEST_F(PerProjectConfigTest, ChangesNeedAnEntry) {
    writeLines(stringLine("a", "path x") + intLine("a", "size 3"));
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_FALSE(config.ChangeItem("b", "path", "y"));
    EXPECT_FALSE(config.ChangeItem("a", "other", "y"));
    EXPECT_FALSE(config.ChangeItem("b", "size", 4));
    EXPECT_EQ(2U, config.NumberOfKeyValuePairsInList());
    EXPECT_TRUE(config.ChangeItem("a", "path", "y"));
    EXPECT_TRUE(config.ChangeItem("a", "size", 4));
    EXPECT_EQ("y", textOf(config, "a", "path"));
    EXPECT_EQ("4", numberOf(config, "a", "size"));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(PerProjectConfigTest, AChangeKeepsTheType) {
    writeLines(stringLine("a", "path x") + intLine("a", "size 3"));
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_TRUE(config.ChangeItem("a", "path", 4));
    EXPECT_TRUE(config.ChangeItem("a", "size", "text"));
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ("cvp-version:1\n" + stringLine("a", "path x") + intLine("a", "size 3"),
              readFile(file()));
}

TEST_F(PerProjectConfigTest, ANullTextMayBeAddedAndChangedTo) {
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_TRUE(config.Add("a", "path", static_cast<const char*>(nullptr)));
    EXPECT_EQ("none", textOf(config, "a", "path"));
    EXPECT_TRUE(config.ChangeItem("a", "path", "x"));
    EXPECT_TRUE(config.ChangeItem("a", "path", static_cast<const char*>(nullptr)));
    EXPECT_EQ("none", textOf(config, "a", "path"));
}

TEST_F(PerProjectConfigTest, NullArgumentsWithoutHashingAreErrors) {
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_FALSE(config.AddWithoutHashing(nullptr, "key", "x"));
    EXPECT_FALSE(config.AddWithoutHashing("hash", nullptr, "x"));
    EXPECT_FALSE(config.AddWithoutHashing("hash", "key", static_cast<const char*>(nullptr)));
    EXPECT_FALSE(config.AddWithoutHashing(nullptr, "key", 1));
    EXPECT_FALSE(config.AddWithoutHashing("hash", nullptr, 1));
    EXPECT_EQ(0U, config.NumberOfKeyValuePairsInList());
    EXPECT_THAT(
        root.logMessages(),
        ElementsAre("ERROR\tAddWithoutHashing received a null projectOrCompositionName",
                    "ERROR\tAddWithoutHashing received a null key",
                    "ERROR\tAddWithoutHashing received a null value for key: key",
                    "ERROR\tAddWithoutHashing(int) received a null projectOrCompositionName",
                    "ERROR\tAddWithoutHashing(int) received a null key"));
}

TEST_F(PerProjectConfigTest, WithoutHashingTheScopeIsKept) {
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_TRUE(config.AddWithoutHashing("scope", "path", "x"));
    EXPECT_TRUE(config.AddWithoutHashing("scope", "size", 1));
    config.PrepareKeyValuePairList();
    EXPECT_STREQ("scope", config.GetNextKeyValuePairInList()->scope);
    EXPECT_STREQ("scope", config.GetNextKeyValuePairInList()->scope);
}

TEST_F(PerProjectConfigTest, AnEntryThatFindsNoMemoryIsAnError) {
    KavroPISSPerProjectConfig config(folder().c_str());
    for (const Call call : {Call::New, Call::Strdup}) {
        root.clearLog();
        {
            const FailNth outOfMemory(call, 1, ENOMEM, {}, corvid::test::Lasting::FromThenOn);
            EXPECT_FALSE(config.Add("a", "key", "x"));
            EXPECT_FALSE(config.Add("a", "key", 1));
            EXPECT_FALSE(config.AddWithoutHashing("a", "key", "x"));
            EXPECT_FALSE(config.AddWithoutHashing("a", "key", 1));
            EXPECT_EQ(call == Call::New ? 4 : 8, outOfMemory.failures());
        }
        const std::string add = "ERROR\tPerProjectConfig::Add malloc failed\n";
        const std::string raw = "ERROR\tPerProjectConfig::AddWithoutHashing malloc failed\n";
        EXPECT_THAT(root.logMessages(), ElementsAre(add, add, raw, raw));
    }
    EXPECT_EQ(0U, config.NumberOfKeyValuePairsInList());
}

TEST_F(PerProjectConfigTest, ANullNameOrKeyIsNoItem) {
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_TRUE(corvid::test::holdsInChild([&config] {
        char* text = nullptr;
        int number = 5;
        return !config.Add("a", nullptr, 1) && !config.Add("a", nullptr, "x") &&
               !config.GetItem(&number, "a", nullptr) && number == 0 &&
               !config.GetItem(&text, "a", nullptr) && !config.ChangeItem("a", nullptr, 1) &&
               !config.ChangeItem("a", nullptr, "x");
    }));
    EXPECT_TRUE(corvid::test::holdsInChild([&config] {
        char* text = nullptr;
        int number = 5;
        return !config.Add(nullptr, "key", 1) && !config.Add(nullptr, "key", "x") &&
               !config.GetItem(&number, nullptr, "key") && number == 0 &&
               !config.GetItem(&text, nullptr, "key") && !config.ChangeItem(nullptr, "key", 1) &&
               !config.ChangeItem(nullptr, "key", "x");
    }));
}

} // namespace
