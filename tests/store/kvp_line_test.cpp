#include "store/kvp_line.h"

#include "files/text_file.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace {

using corvid::appendKvpLine;
using corvid::decimalValue;
using corvid::fitsKvpLine;
using corvid::KvpFields;
using corvid::splitKvpLine;

bool anyLine(const corvid::KvpFields& /*line*/) {
    return true;
}

TEST(KvpLine, ATextEntryHasItsOwnFormat) {
    std::string out = "before\n";
    appendKvpLine(out, "", "default", "key", "a value", anyLine);
    EXPECT_EQ("before\ndefault string\tkey a value\n", out);
}

TEST(KvpLine, AnIntegerEntryHasItsOwnFormat) {
    std::string out;
    appendKvpLine(out, "", "default", "low", INT_MIN, anyLine);
    appendKvpLine(out, "", "default", "high", INT_MAX, anyLine);
    EXPECT_EQ("default int\tlow -2147483648\ndefault int\thigh 2147483647\n", out);
}

TEST(KvpLine, TheIndentStandsBeforeTheScope) {
    std::string out;
    appendKvpLine(out, "\t", "scope", "key", "v", anyLine);
    EXPECT_EQ("\tscope string\tkey v\n", out);
}

TEST(KvpLine, ANullTextIsWrittenAsAnEmptyOne) {
    std::string out;
    const char* none = nullptr;
    appendKvpLine(out, "", "scope", "key", none, anyLine);
    EXPECT_EQ("scope string\tkey \n", out);
}

TEST(KvpLine, SplittingFindsThePartsAndLeavesTheValueWhole) {
    char line[] = "  default \tstring\t key \t a value  with\tblanks \n";
    const KvpFields fields = splitKvpLine(line);
    EXPECT_STREQ("default", fields.scope);
    EXPECT_STREQ("string", fields.type);
    EXPECT_STREQ("key", fields.key);
    EXPECT_STREQ("a value  with\tblanks ", fields.value);
}

TEST(KvpLine, PartsThatALineLacksAreNull) {
    char noValue[] = "default string\tkey \t";
    EXPECT_STREQ("key", splitKvpLine(noValue).key);
    char onlyScope[] = "default\n";
    const KvpFields scope = splitKvpLine(onlyScope);
    EXPECT_STREQ("default", scope.scope);
    EXPECT_EQ(nullptr, scope.type);
    EXPECT_EQ(nullptr, scope.key);
    EXPECT_EQ(nullptr, scope.value);
    char blanks[] = " \t \n";
    EXPECT_EQ(nullptr, splitKvpLine(blanks).scope);
    char empty[] = "";
    EXPECT_EQ(nullptr, splitKvpLine(empty).scope);
}

TEST(KvpLine, OnlyTheLineFeedAtTheEndIsRemoved) {
    char line[] = "s string\tk value\r\n";
    EXPECT_STREQ("value\r", splitKvpLine(line).value);
}

TEST(KvpLine, TheDecimalValueIsThatOfTheLeadingDigits) {
    EXPECT_EQ(0, decimalValue(nullptr));
    EXPECT_EQ(0, decimalValue(""));
    EXPECT_EQ(0, decimalValue("notes"));
    EXPECT_EQ(12, decimalValue("00000012.raw"));
    EXPECT_EQ(-3, decimalValue("-3"));
    EXPECT_EQ(8, decimalValue("08"));
}

TEST(KvpLine, ANumberBeyond32BitsIsHeldWithinThem) {
    EXPECT_EQ(INT_MAX, decimalValue("2147483647"));
    EXPECT_EQ(INT_MAX, decimalValue("2147483648"));
    EXPECT_EQ(INT_MIN, decimalValue("-2147483649"));
    EXPECT_EQ(INT_MAX, decimalValue("99999999999999999999999999"));
}

TEST(KvpLine, AScopeOrKeyMustBeOneWord) {
    EXPECT_TRUE(fitsKvpLine("scope", "key", "any text \t at all"));
    for (const char* bad : {"", " ", "two words", "tab\t", "feed\n"}) {
        EXPECT_FALSE(fitsKvpLine(bad, "key", "v")) << bad;
        EXPECT_FALSE(fitsKvpLine("scope", bad, "v")) << bad;
    }
    EXPECT_FALSE(fitsKvpLine(nullptr, "key", "v"));
    EXPECT_FALSE(fitsKvpLine("scope", nullptr, "v"));
}

TEST(KvpLine, AValueMustNotHoldALineFeed) {
    EXPECT_FALSE(fitsKvpLine("scope", "key", "a\nb"));
    EXPECT_FALSE(fitsKvpLine("scope", "key", "a\n"));
    const char* none = nullptr;
    EXPECT_TRUE(fitsKvpLine("scope", "key", none));
}

TEST(KvpLine, ALineFitsUpToTheLengthThatIsReadAtOnce) {
    const std::string begin = "scope string\tkey ";
    std::string value(corvid::kLinePiece - begin.size(), 'x');
    EXPECT_TRUE(fitsKvpLine("scope", "key", value.c_str()));
    value += 'x';
    EXPECT_FALSE(fitsKvpLine("scope", "key", value.c_str()));
}

TEST(KvpLine, OnlyALineThatFillsAWholePieceGoesWithoutItsLineFeed) {
    const std::string value(corvid::kLinePiece - std::string("scope string\tkey ").size(), 'x');
    std::string lines;
    corvid::appendKvpLine(lines, "", "scope", "key", value.c_str(), anyLine);
    EXPECT_EQ(corvid::kLinePiece, lines.size());
    EXPECT_NE('\n', lines.back());
    corvid::appendKvpLine(lines, "", "scope", "key", value.substr(1).c_str(), anyLine);
    EXPECT_EQ(2 * corvid::kLinePiece, lines.size());
    EXPECT_EQ('\n', lines.back());
}

} // namespace
