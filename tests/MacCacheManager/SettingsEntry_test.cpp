#include "MacCacheManager/SettingsEntry.h"

#include "tests/support/product_root.h"

#include <QLocale>
#include <gtest/gtest.h>

#include <cmath>

using namespace corvid::test;

namespace {

struct Read {
    const char* text;
    double number;
};

class NumberInField : public ::testing::TestWithParam<Read> {};

TEST_P(NumberInField, IsTheNumberThatTheTextBeginsWith) {
    EXPECT_DOUBLE_EQ(corvid::numberInField(QString::fromUtf8(GetParam().text)), GetParam().number);
}

INSTANTIATE_TEST_SUITE_P(
    SettingsEntry, NumberInField,
    ::testing::Values(Read{"", 0}, Read{" ", 0}, Read{"letters", 0}, Read{"unlimited", 0},
                      Read{"20000", 20000}, Read{"  12  ", 12}, Read{"\t7", 7}, Read{"12MB", 12},
                      Read{"12 34", 12}, Read{"1500.9", 1500.9}, Read{"1500.", 1500},
                      Read{".5", 0.5}, Read{"-5", -5}, Read{"+5", 5}, Read{"- 5", 0},
                      Read{"--5", 0}, Read{"-.5", -0.5}, Read{"1e3", 1000}, Read{"1e", 1},
                      Read{"1E-2", 0.01}, Read{"1,500", 1}, Read{"0x10", 0}, Read{"inf", 0},
                      Read{"nan", 0}, Read{".", 0}, Read{"007", 7}, Read{"MB 5", 0},
                      // what a limit cannot be becomes the nearest that it can
                      Read{"2147483647", 2147483647}, Read{"2147483648", 2147483647},
                      Read{"1e400", 2147483647}, Read{"-1e400", -2147483648.0},
                      Read{"-3000000000", -2147483648.0}, Read{"1e-400", 0}));

TEST(SettingsEntry, ZeroHasNoSign) {
    for (const char* text : {"-0", "-0.0", "-.0e5", "-1e-400"}) {
        EXPECT_FALSE(std::signbit(corvid::numberInField(QString::fromLatin1(text)))) << text;
    }
}

TEST(SettingsEntry, ReadsAFullStopAsTheDecimalPointInEveryLocale) {
    const QLocale before;
    QLocale::setDefault(QLocale(QLocale::German));

    const double number = corvid::numberInField(QStringLiteral("1500.9"));
    const QString text = corvid::fieldText(1500.5);

    QLocale::setDefault(before);
    EXPECT_DOUBLE_EQ(number, 1500.9);
    EXPECT_EQ(text, QStringLiteral("1500.5"));
}

struct Limit {
    const char* text;
    int limit;
};

class LimitInField : public ::testing::TestWithParam<Limit> {};

TEST_P(LimitInField, IsTruncatedTowardsZeroAndHeldWithin32Bits) {
    EXPECT_EQ(corvid::limitInField(QString::fromUtf8(GetParam().text)), GetParam().limit);
}

INSTANTIATE_TEST_SUITE_P(
    SettingsEntry, LimitInField,
    ::testing::Values(Limit{"1500.9", 1500}, Limit{"-5.9", -5}, Limit{"0.9", 0}, Limit{"-0.9", 0},
                      Limit{"2147483647", 2147483647}, Limit{"2147483648", 2147483647},
                      Limit{"-2147483648", -2147483647 - 1}, Limit{"-2147483649", -2147483647 - 1},
                      Limit{"1e400", 2147483647}, Limit{"-1e400", -2147483647 - 1},
                      Limit{"1e-400", 0}, Limit{"letters", 0}));

TEST(SettingsEntry, LimitOfAThousandDigitsIsHeldWithin32Bits) {
    EXPECT_EQ(corvid::limitInField(QString(1000, QLatin1Char('9'))), 2147483647);
}

struct Shown {
    double number;
    const char* text;
};

class FieldText : public ::testing::TestWithParam<Shown> {};

TEST_P(FieldText, HasNoNeedlessDigits) {
    EXPECT_EQ(corvid::fieldText(GetParam().number).toStdString(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(SettingsEntry, FieldText,
                         ::testing::Values(Shown{0, "0"}, Shown{20000, "20000"},
                                           Shown{1500.9, "1500.9"}, Shown{-1, "-1"},
                                           Shown{0.25, "0.25"}, Shown{16777216, "16777216"},
                                           Shown{1e15, "1000000000000000"}));

class FolderInField : public ProductTest {
protected:
    static std::optional<std::string> folder(const std::string& typed) {
        return corvid::folderInField(QString::fromStdString(typed));
    }
};

TEST_F(FolderInField, GetsASlash) {
    EXPECT_EQ(folder(root.path()), root.path() + "/");
}

TEST_F(FolderInField, KeepsItsSlash) {
    EXPECT_EQ(folder(root.path() + "/"), root.path() + "/");
}

TEST_F(FolderInField, MayBeAFile) {
    writeFile(root.path("file"), "");

    EXPECT_EQ(folder(root.path("file")), root.path("file") + "/");
}

TEST_F(FolderInField, MayBeALink) {
    ASSERT_EQ(::symlink(root.path().c_str(), root.path("link").c_str()), 0);

    EXPECT_EQ(folder(root.path("link")), root.path("link") + "/");
}

TEST_F(FolderInField, IsNothingForALinkThatLeadsNowhere) {
    ASSERT_EQ(::symlink("/nowhere/at/all", root.path("link").c_str()), 0);

    EXPECT_EQ(folder(root.path("link")), std::nullopt);
}

TEST_F(FolderInField, IsNothingForAnEmptyText) {
    EXPECT_EQ(folder(""), std::nullopt);
}

TEST_F(FolderInField, IsNothingWhenItDoesNotExist) {
    EXPECT_EQ(folder(root.path("nowhere")), std::nullopt);
}

TEST_F(FolderInField, IsNothingWithALineFeedInIt) {
    makeDirectory(root.path("a\nb"));

    EXPECT_EQ(folder(root.path("a\nb")), std::nullopt);
}

TEST_F(FolderInField, MayHaveBlanksInside) {
    makeDirectory(root.path("a  b\tc"));

    EXPECT_EQ(folder(root.path("a  b\tc")), root.path("a  b\tc") + "/");
}

// The line of the settings file holds 1,023 bytes and frames the path with 45 of them.
TEST_F(FolderInField, IsTheLongestPathThatALineHolds) {
    constexpr std::size_t kLongest =
        1023 - sizeof("default string\tDirectoryLocationOfFrameCache ");
    std::string longest = root.path();
    while (longest.size() < kLongest - 200) {
        longest += "/" + std::string(100, 'd');
    }
    longest += "/" + std::string(kLongest - longest.size() - 2, 'e');
    makeDirectory(longest);
    makeDirectory(longest + "f");
    makeDirectory(longest + "ff");

    EXPECT_EQ(longest.size(), kLongest - 1);
    EXPECT_EQ(folder(longest), longest + "/");
    EXPECT_EQ(folder(longest + "ff"), std::nullopt);
}

} // namespace
