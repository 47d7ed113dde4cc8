#include "store/KavroPISSConfig.h"

#include "tests/support/config_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace {

using corvid::test::ConfigTest;
using corvid::test::readFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const char kUnknownType[] = "WARNING\tProcessOutputModuleItem: int type not yet supported\n";

TEST_F(ConfigTest, AnEmptyFileIsAValidEmptyStore) {
    write("");
    KavroPISSConfig config;
    EXPECT_EQ(1, config.IsValid());
    EXPECT_EQ(0U, config.NumberOfKeyValuePairsInList());
    EXPECT_FALSE(config.PrepareKeyValuePairList());
    EXPECT_EQ(nullptr, config.GetNextKeyValuePairInList());
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(ConfigTest, EveryLineIsReadIntoAnEntryInFileOrder) {
    write("default string\ttemplate Current Settings\nother int\tsize 20000\n");
    KavroPISSConfig config;
    EXPECT_EQ(2U, config.NumberOfKeyValuePairsInList());
    ASSERT_TRUE(config.PrepareKeyValuePairList());
    const tConfigKVPEntry* entry = config.GetNextKeyValuePairInList();
    ASSERT_NE(nullptr, entry);
    EXPECT_STREQ("default", entry->scope);
    EXPECT_STREQ("template", entry->key);
    EXPECT_STREQ("Current Settings", entry->stringValue);
    EXPECT_EQ(0, entry->type);
    EXPECT_EQ(0, entry->intValue);
    entry = config.GetNextKeyValuePairInList();
    ASSERT_NE(nullptr, entry);
    EXPECT_STREQ("other", entry->scope);
    EXPECT_STREQ("size", entry->key);
    EXPECT_EQ(nullptr, entry->stringValue);
    EXPECT_EQ(1, entry->type);
    EXPECT_EQ(20000, entry->intValue);
    EXPECT_EQ(nullptr, entry->next);
    EXPECT_EQ(nullptr, config.GetNextKeyValuePairInList());
    EXPECT_EQ(nullptr, config.GetNextKeyValuePairInList());
}

TEST_F(ConfigTest, PreparingAgainPutsTheCursorBackOnTheFirstEntry) {
    write("default int\ta 1\ndefault int\tb 2\n");
    KavroPISSConfig config;
    config.PrepareKeyValuePairList();
    const tConfigKVPEntry* first = config.GetNextKeyValuePairInList();
    config.GetNextKeyValuePairInList();
    EXPECT_TRUE(config.PrepareKeyValuePairList());
    EXPECT_EQ(first, config.GetNextKeyValuePairInList());
}

TEST_F(ConfigTest, AnyRunOfBlanksAndTabsSeparatesTheWords) {
    write(" \tdefault \t string  \t key \t value  with blanks \n");
    KavroPISSConfig config;
    EXPECT_EQ("value  with blanks ", text(config, "key"));
}

TEST_F(ConfigTest, ALastLineWithoutLineFeedIsRead) {
    write("default int\ta 1\ndefault string\tb last");
    KavroPISSConfig config;
    EXPECT_EQ("last", text(config, "b"));
}

TEST_F(ConfigTest, ALineWithoutValueGivesAnEmptyTextOrZero) {
    write("default string\ta\ndefault string\tb   \ndefault int\tc\ndefault int\td 4\n");
    KavroPISSConfig config;
    EXPECT_EQ("", text(config, "a"));
    EXPECT_EQ("", text(config, "b"));
    EXPECT_EQ(0, number(config, "c"));
    EXPECT_EQ(4, number(config, "d"));
    EXPECT_EQ(1, config.IsValid());
}

TEST_F(ConfigTest, IntegersAreTheLeadingDigits) {
    write("default int\ta 12abc\ndefault int\tb abc\ndefault int\tc -5\n"
          "default int\td 99999999999999999999\ndefault int\te -99999999999\n");
    KavroPISSConfig config;
    EXPECT_EQ(12, number(config, "a"));
    EXPECT_EQ(0, number(config, "b"));
    EXPECT_EQ(-5, number(config, "c"));
    EXPECT_EQ(INT_MAX, number(config, "d"));
    EXPECT_EQ(INT_MIN, number(config, "e"));
}

TEST_F(ConfigTest, AnEmptyLineEndsTheReadingWithoutAMessage) {
    write("default int\ta 1\n\ndefault int\tb 2\n");
    KavroPISSConfig config;
    EXPECT_EQ(1, config.IsValid());
    EXPECT_EQ(1U, config.NumberOfKeyValuePairsInList());
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(ConfigTest, ALineOfBlanksEndsTheReadingLikeAnEmptyOne) {
    write("default int\ta 1\n \t \ndefault int\tb 2\n");
    const KavroPISSConfig config;
    EXPECT_EQ(1, config.IsValid());
    EXPECT_EQ(1U, config.NumberOfKeyValuePairsInList());
}

TEST_F(ConfigTest, ACommitDropsEveryLineBehindAnEmptyOne) {
    write("default int\ta 1\n\ndefault int\tb 2\n");
    KavroPISSConfig config;
    EXPECT_TRUE(config.Commit());
    EXPECT_EQ("default int\ta 1\n", readFile(file()));
}

class ConfigWrongTypeTest : public ConfigTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(ConfigWrongTypeTest, InvalidatesTheObjectAndKeepsTheEntriesBefore) {
    const std::string content =
        std::string("default int\ta 1\n") + GetParam() + "\ndefault int\tc 3\n";
    write(content);
    KavroPISSConfig config;
    EXPECT_EQ(0, config.IsValid());
    EXPECT_EQ(1U, config.NumberOfKeyValuePairsInList());
    EXPECT_EQ(1, number(config, "a"));
    EXPECT_THAT(root.logMessages(), ElementsAre(kUnknownType));
    EXPECT_EQ(content, readFile(file()));
}

INSTANTIATE_TEST_SUITE_P(Words, ConfigWrongTypeTest,
                         ::testing::Values("default integer\tb 2", "default strings\tb 2",
                                           "default String\tb 2", "default INT\tb 2",
                                           "default in\tb 2", "default", "default  ",
                                           "default float", "\x01\x02\xff\xfe"));

TEST_F(ConfigTest, ALineWithoutKeyIsSkippedWithAWarning) {
    write("default string\ndefault int\tb 2\n");
    KavroPISSConfig config;
    EXPECT_EQ(1, config.IsValid());
    EXPECT_EQ(1U, config.NumberOfKeyValuePairsInList());
    EXPECT_EQ(2, number(config, "b"));
    ASSERT_EQ(1U, root.logMessages().size());
    EXPECT_THAT(root.logMessages()[0], ::testing::StartsWith("WARNING\t"));
}

TEST_F(ConfigTest, ALineThatIsFarTooLongIsReadInPiecesAndChangesNothing) {
    const std::string content =
        "default int\ta 1\ndefault string\tb " + std::string(100000, 'x') + "\n";
    write(content);
    KavroPISSConfig config;
    EXPECT_EQ(0, config.IsValid());
    EXPECT_EQ(1, number(config, "a"));
    EXPECT_THAT(root.logMessages(), ElementsAre(kUnknownType));
    EXPECT_EQ(content, readFile(file()));
}

TEST_F(ConfigTest, PiecesOfALongLineAreLinesOfTheirOwn) {
    std::string line = "default string\tb " + std::string(100000, 'x');
    line.resize(1023);
    write(line + "default int\tc 3\n");
    KavroPISSConfig config;
    EXPECT_EQ(1, config.IsValid());
    EXPECT_EQ(3, number(config, "c"));
}

TEST_F(ConfigTest, ABinaryFileInvalidatesTheObjectAndStaysAsItIs) {
    std::string content;
    for (int i = 0; i < 5000; ++i) {
        content.push_back(static_cast<char>((i * 37 + 1) % 256 == 0 ? 1 : (i * 37 + 1) % 256));
    }
    write(content);
    const KavroPISSConfig config;
    EXPECT_EQ(0, config.IsValid());
    EXPECT_EQ(content, readFile(file()));
}

TEST_F(ConfigTest, TextBehindANulByteIsNotSeen) {
    write(std::string("default int\ta 1\0hidden\ndefault int\tb 2\n", 39));
    KavroPISSConfig config;
    EXPECT_EQ(1, number(config, "a"));
    EXPECT_EQ(2, number(config, "b"));
}

} // namespace
