#include "store/KavroPISSPerProjectConfig.h"

#include "files/owned_text.h"
#include "runtime/maro_log.h"
#include "store/PISSMD5.h"
#include "tests/support/per_project_config_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

namespace {

using corvid::hashOf;
using corvid::OwnedText;
using corvid::test::exists;
using corvid::test::makeDirectory;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PerProjectConfigReadingTest : public corvid::test::PerProjectConfigTest {
protected:
    // Whether an object reads nothing of the file, and what it logs.
    std::vector<std::string> messagesOfUnreadFile(const std::string& text) {
        writeFile(file(), text);
        root.clearLog();
        KavroPISSPerProjectConfig config(folder().c_str());
        EXPECT_EQ(0U, config.NumberOfKeyValuePairsInList());
        EXPECT_FALSE(config.PrepareKeyValuePairList());
        return root.logMessages();
    }
    std::string outOfDate() const { return "CVP version for " + file() + " is out of date."; }
    std::string outOfDate(int version) const {
        return outOfDate() + " File Version: 1. CVP Version: " + std::to_string(version);
    }
};

TEST_F(PerProjectConfigReadingTest, AMissingFileMakesAnEmptyStoreWithoutAMessage) {
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_EQ(0U, config.NumberOfKeyValuePairsInList());
    EXPECT_FALSE(config.PrepareKeyValuePairList());
    EXPECT_EQ(nullptr, config.GetNextKeyValuePairInList());
    EXPECT_THAT(root.logMessages(), IsEmpty());
    EXPECT_FALSE(exists(file()));
}

TEST_F(PerProjectConfigReadingTest, ReadsStringsAndIntegersUnderTheHashOfTheirName) {
    writeLines(stringLine("a", "path /Volumes/My Disk/x") + intLine("a", "size -12") +
               intLine("b", "size 7"));
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_EQ(3U, config.NumberOfKeyValuePairsInList());
    EXPECT_EQ("/Volumes/My Disk/x", textOf(config, "a", "path"));
    EXPECT_EQ("-12", numberOf(config, "a", "size"));
    EXPECT_EQ("7", numberOf(config, "b", "size"));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(PerProjectConfigReadingTest, AHeaderOfAnotherProgramIsOutOfDate) {
    const std::string entry = intLine("a", "key 1");
    for (const std::string& text :
         {"cvp-versi:1\n" + entry, "CVP-version:1\n" + entry, entry, "\n" + entry,
          " cvp-version:1\n" + entry, std::string("cvp"), std::string("cvp-versi")}) {
        EXPECT_THAT(messagesOfUnreadFile(text), ElementsAre(outOfDate())) << text;
    }
}

TEST_F(PerProjectConfigReadingTest, AVersionBelowOneIsOutOfDate) {
    const std::string entry = intLine("a", "key 1");
    EXPECT_THAT(messagesOfUnreadFile("cvp-version:0\n" + entry), ElementsAre(outOfDate(0)));
    EXPECT_THAT(messagesOfUnreadFile("cvp-version:-3\n" + entry), ElementsAre(outOfDate(-3)));
    for (const char* header :
         {"cvp-version:\n", "cvp-version:x\n", "cvp-versio\n", "cvp-version\n", "cvp-versio"}) {
        EXPECT_THAT(messagesOfUnreadFile(header + entry), ElementsAre(outOfDate(-1))) << header;
    }
}

TEST_F(PerProjectConfigReadingTest, AnOutOfDateFileIsToldAtOrdinaryLevel) {
    setLoggingEnabled(false);
    EXPECT_THAT(messagesOfUnreadFile("other\n"), IsEmpty());
    EXPECT_THAT(messagesOfUnreadFile("cvp-version:0\n"), IsEmpty());
}

TEST_F(PerProjectConfigReadingTest, TenCharactersOfTheTagAreCompared) {
    for (const char* header : {"cvp-versioXY5\n", "cvp-version:5\n", "cvp-version:2147483647\n",
                               "cvp-version:1 and more\n", "cvp-version:1\r\n"}) {
        writeFile(file(), header + intLine("a", "key 9"));
        KavroPISSPerProjectConfig config(folder().c_str());
        EXPECT_EQ("9", numberOf(config, "a", "key")) << header;
    }
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(PerProjectConfigReadingTest, AnEmptyFileMakesAnEmptyStoreWithoutAMessage) {
    EXPECT_THAT(messagesOfUnreadFile(""), IsEmpty());
}

TEST_F(PerProjectConfigReadingTest, AHeaderAloneMakesAnEmptyStore) {
    EXPECT_THAT(messagesOfUnreadFile("cvp-version:1\n"), IsEmpty());
    EXPECT_THAT(messagesOfUnreadFile("cvp-version:1"), IsEmpty());
}

TEST_F(PerProjectConfigReadingTest, AFileThatIsADirectoryMakesAnEmptyStore) {
    makeDirectory(file());
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_EQ(0U, config.NumberOfKeyValuePairsInList());
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(PerProjectConfigReadingTest, AnEmptyLineEndsTheReadingSilently) {
    for (const char* end : {"\n", " \t \n"}) {
        writeLines(intLine("a", "first 1") + end + intLine("a", "second 2"));
        KavroPISSPerProjectConfig config(folder().c_str());
        EXPECT_EQ(1U, config.NumberOfKeyValuePairsInList());
    }
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(PerProjectConfigReadingTest, ALineWithoutAKeyIsSkipped) {
    writeLines("lonely\n" + hashOf("a") + " string\n" + hashOf("a") + " odd\n" +
               intLine("a", "key 1"));
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_EQ("1", numberOf(config, "a", "key"));
    const std::string message = "WARNING\tPerProjectConfig: keyValue was NULL";
    EXPECT_THAT(root.logMessages(), ElementsAre(message, message, message));
}

TEST_F(PerProjectConfigReadingTest, ALineWithoutAValueIsSkipped) {
    writeLines(stringLine("a", "path") + intLine("a", "size \t ") + hashOf("a") + " odd\tthing\n" +
               intLine("a", "key 1"));
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_EQ(1U, config.NumberOfKeyValuePairsInList());
    EXPECT_EQ("1", numberOf(config, "a", "key"));
    const std::string message = "WARNING\tPerProjectConfig: stringRemainder was NULL for key: ";
    EXPECT_THAT(root.logMessages(),
                ElementsAre(message + "path", message + "size", message + "thing"));
}

TEST_F(PerProjectConfigReadingTest, AnUnknownTypeEndsTheReading) {
    for (const char* type : {"integer", "strings", "String", "float", "%s%n"}) {
        root.clearLog();
        writeLines(intLine("a", "first 1") + hashOf("a") + " " + type + "\tkey 2\n" +
                   intLine("a", "third 3"));
        KavroPISSPerProjectConfig config(folder().c_str());
        EXPECT_EQ(1U, config.NumberOfKeyValuePairsInList());
        EXPECT_EQ("1", numberOf(config, "a", "first"));
        EXPECT_THAT(root.logMessages(),
                    ElementsAre("WARNING\tPerProjectConfig:  type not yet supported: " +
                                std::string(type) + " for key: key\n"));
    }
}

TEST_F(PerProjectConfigReadingTest, ValuesAreReadLikeTheGlobalStores) {
    writeLines(stringLine("a", "text  \t two  words ") + intLine("a", "number  12frames") +
               intLine("a", "none frames") + intLine("a", "huge 99999999999") +
               intLine("a", "low -99999999999") + hashOf("a") + " int\tlast 4");
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_EQ("two  words ", textOf(config, "a", "text"));
    EXPECT_EQ("12", numberOf(config, "a", "number"));
    EXPECT_EQ("0", numberOf(config, "a", "none"));
    EXPECT_EQ(std::to_string(INT_MAX), numberOf(config, "a", "huge"));
    EXPECT_EQ(std::to_string(INT_MIN), numberOf(config, "a", "low"));
    EXPECT_EQ("4", numberOf(config, "a", "last"));
}

TEST_F(PerProjectConfigReadingTest, EachPieceOfALongLineIsALine) {
    const std::string start = hashOf("a") + " string\tpath ";
    const std::string value(1023 - start.size(), 'x');
    writeFile(file(), "cvp-version:1\n" + start + value + hashOf("b") + " int\tkey 3\n" +
                          intLine("a", "after 4"));
    KavroPISSPerProjectConfig config(folder().c_str());
    EXPECT_EQ(value, textOf(config, "a", "path"));
    EXPECT_EQ("3", numberOf(config, "b", "key"));
    EXPECT_EQ("4", numberOf(config, "a", "after"));
}

} // namespace
