#include "MacCacheManager/FrameCacheEntry.h"

#include "tests/support/product_root.h"

#include <QDateTime>
#include <QLocale>

#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>

namespace {

using corvid::test::EnvironmentGuard;

TEST(FrameCacheEntry, BareNodeIsUnsetAndHoldsNothing) {
    const FrameCacheEntry node;
    EXPECT_EQ(node.getNodeType(), 1);
    EXPECT_EQ(node.getName(), nullptr);
    EXPECT_EQ(node.getPath(), nullptr);
    EXPECT_EQ(node.getPathToRootCache(), nullptr);
    EXPECT_EQ(node.getParent(), nullptr);
    EXPECT_EQ(node.getNumberOfChildren(), 0);
    EXPECT_EQ(node.getFileSize(), 0U);
    EXPECT_EQ(node.getFileCount(), 0);
    EXPECT_EQ(node.getModifiedTime(), 0);
}

TEST(FrameCacheEntry, TextsOfANodeWithoutNumbersSayNothingIsKnown) {
    const FrameCacheEntry node(2, "project", "/cache/project");
    EXPECT_EQ(node.getFileSizeString(), "0");
    EXPECT_EQ(node.getFileCountString(), "0");
    EXPECT_EQ(node.getLastModifiedTime(), "\?\?-\?\?-\?\?\?\?");
}

TEST(FrameCacheEntry, KeepsItsOwnCopiesOfNameAndPath) {
    char name[] = "name";
    char path[] = "/path";
    const FrameCacheEntry node(3, name, path);
    name[0] = 'X';
    path[1] = 'X';
    EXPECT_STREQ(node.getName(), "name");
    EXPECT_STREQ(node.getPath(), "/path");
    EXPECT_EQ(node.getNodeType(), 3);
}

TEST(FrameCacheEntry, SettersReplaceTypeNameAndPath) {
    FrameCacheEntry node(3, "name", "/path");
    node.setNodeType(4);
    node.setName("other");
    node.setPath("/elsewhere");
    EXPECT_EQ(node.getNodeType(), 4);
    EXPECT_STREQ(node.getName(), "other");
    EXPECT_STREQ(node.getPath(), "/elsewhere");
}

TEST(FrameCacheEntry, SettingANameToItsOwnTextKeepsIt) {
    FrameCacheEntry node(3, "name", "/path");
    node.setName(node.getName());
    node.setPath(node.getPath());
    EXPECT_STREQ(node.getName(), "name");
    EXPECT_STREQ(node.getPath(), "/path");
}

TEST(FrameCacheEntry, CacheRootIsCopiedAndCanBeTakenAway) {
    FrameCacheEntry node(2, "name", "/path");
    char root[] = "/cache";
    node.setPathToRootCache(root);
    root[1] = 'X';
    EXPECT_STREQ(node.getPathToRootCache(), "/cache");
    node.setPathToRootCache(nullptr);
    EXPECT_EQ(node.getPathToRootCache(), nullptr);
}

TEST(FrameCacheEntry, ChildrenKeepTheOrderInWhichTheyWereAdded) {
    FrameCacheEntry node(2, "name", "/path");
    const FrameCacheEntry* first = node.addChild(std::make_unique<FrameCacheEntry>(3, "b", "/b"));
    const FrameCacheEntry* second = node.addChild(std::make_unique<FrameCacheEntry>(3, "a", "/a"));
    EXPECT_EQ(node.getNumberOfChildren(), 2);
    EXPECT_EQ(node.getChildAt(0), first);
    EXPECT_EQ(node.getChildAt(1), second);
}

TEST(FrameCacheEntry, ThereIsNoChildOutsideTheRange) {
    FrameCacheEntry node(2, "name", "/path");
    node.addChild(std::make_unique<FrameCacheEntry>(3, "a", "/a"));
    EXPECT_EQ(node.getChildAt(-1), nullptr);
    EXPECT_EQ(node.getChildAt(1), nullptr);
    EXPECT_EQ(node.getChildAt(std::numeric_limits<int>::max()), nullptr);
}

TEST(FrameCacheEntry, AddingAChildLeavesItsParentToBeSet) {
    FrameCacheEntry node(2, "name", "/path");
    FrameCacheEntry* child = node.addChild(std::make_unique<FrameCacheEntry>(3, "a", "/a"));
    EXPECT_EQ(child->getParent(), nullptr);
    child->setParent(&node);
    EXPECT_EQ(child->getParent(), &node);
}

TEST(FrameCacheEntry, RemovesAChildByIdentityAndNotByLooks) {
    FrameCacheEntry node(2, "name", "/path");
    FrameCacheEntry* first = node.addChild(std::make_unique<FrameCacheEntry>(3, "same", "/same"));
    const FrameCacheEntry* second =
        node.addChild(std::make_unique<FrameCacheEntry>(3, "same", "/same"));
    node.removeAndFreeChild(second);
    ASSERT_EQ(node.getNumberOfChildren(), 1);
    EXPECT_EQ(node.getChildAt(0), first);
}

TEST(FrameCacheEntry, RemovingAStrangerChangesNothing) {
    FrameCacheEntry node(2, "name", "/path");
    node.addChild(std::make_unique<FrameCacheEntry>(3, "a", "/a"));
    const FrameCacheEntry stranger(3, "a", "/a");
    node.removeAndFreeChild(&stranger);
    node.removeAndFreeChild(nullptr);
    EXPECT_EQ(node.getNumberOfChildren(), 1);
}

TEST(FrameCacheEntry, RemovingAChildLeavesTheSumsAsTheyWere) {
    FrameCacheEntry node(2, "name", "/path");
    const FrameCacheEntry* child = node.addChild(std::make_unique<FrameCacheEntry>(3, "a", "/a"));
    node.setFileSize(1000);
    node.setFileCount(10);
    node.removeAndFreeChild(child);
    EXPECT_EQ(node.getFileSize(), 1000U);
    EXPECT_EQ(node.getFileCount(), 10);
}

TEST(FrameCacheEntry, TakingAChildGivesItUpAlive) {
    FrameCacheEntry node(2, "name", "/path");
    const FrameCacheEntry* child = node.addChild(std::make_unique<FrameCacheEntry>(3, "a", "/a"));
    const std::unique_ptr<FrameCacheEntry> taken = node.takeChild(child);
    EXPECT_EQ(taken.get(), child);
    EXPECT_STREQ(taken->getName(), "a");
    EXPECT_EQ(node.getNumberOfChildren(), 0);
    EXPECT_EQ(node.takeChild(child), nullptr);
}

TEST(FrameCacheEntry, TextsFollowEverySet) {
    FrameCacheEntry node(4, "PROXY", "/path");
    node.setFileSize(1);
    node.setFileCount(2);
    node.setModifiedTime(3);
    EXPECT_EQ(node.getFileSizeString(), "1 bytes");
    EXPECT_EQ(node.getFileCountString(), "2");
    const QString before = node.getLastModifiedTime();
    node.setFileSize(1024);
    node.setFileCount(-5);
    node.setModifiedTime(86400 * 365);
    EXPECT_EQ(node.getFileSizeString(), "1.00 KB");
    EXPECT_EQ(node.getFileCountString(), "-5");
    EXPECT_NE(node.getLastModifiedTime(), before);
}

TEST(FrameCacheEntry, ASetZeroIsANumberLikeAnyOther) {
    FrameCacheEntry node(4, "PROXY", "/path");
    node.setFileSize(0);
    node.setFileCount(0);
    node.setModifiedTime(0);
    EXPECT_EQ(node.getFileSizeString(), "0 bytes");
    EXPECT_EQ(node.getFileCountString(), "0");
    EXPECT_NE(node.getLastModifiedTime(), "\?\?-\?\?-\?\?\?\?");
}

TEST(FrameCacheEntry, TextsAreMadeOncePerSet) {
    FrameCacheEntry node(4, "PROXY", "/path");
    node.setFileSize(123456);
    node.setFileCount(789);
    node.setModifiedTime(1700000000);
    EXPECT_EQ(node.getFileSizeString().constData(), node.getFileSizeString().constData());
    EXPECT_EQ(node.getFileCountString().constData(), node.getFileCountString().constData());
    EXPECT_EQ(node.getLastModifiedTime().constData(), node.getLastModifiedTime().constData());
    EXPECT_EQ(node.getDisplayName().constData(), node.getDisplayName().constData());
}

TEST(FrameCacheEntry, ANewNameGivesANewDisplayName) {
    FrameCacheEntry node(4, "PROXY", "/path");
    EXPECT_EQ(node.getDisplayName(), "Precomp Proxy");
    node.setName("SPEC_RENDER");
    EXPECT_EQ(node.getDisplayName(), "Spec Render");
    node.setName(nullptr);
    EXPECT_EQ(node.getDisplayName(), "-");
}

TEST(FrameCacheEntry, TimesBeforeAndFarAfterNowHaveADate) {
    const EnvironmentGuard utc("TZ", "UTC");
    FrameCacheEntry node(4, "PROXY", "/path");
    for (const int seconds :
         {0, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        node.setModifiedTime(seconds);
        EXPECT_EQ(node.getModifiedTime(), seconds);
        EXPECT_EQ(node.getLastModifiedTime(),
                  QLocale::system().toString(
                      QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC).toLocalTime(),
                      QLocale::ShortFormat));
    }
}

struct SizeText {
    std::uint64_t bytes;
    const char* text;
};

class ReadableFileSize : public ::testing::TestWithParam<SizeText> {};

TEST_P(ReadableFileSize, SwitchesUnitsWhereItShould) {
    EXPECT_EQ(FrameCacheEntry::readableFileSize(GetParam().bytes), GetParam().text);
}

constexpr std::uint64_t kMega = 1024 * 1024;

INSTANTIATE_TEST_SUITE_P(
    Sizes, ReadableFileSize,
    ::testing::Values(SizeText{0, "0 bytes"}, SizeText{1, "1 bytes"}, SizeText{511, "511 bytes"},
                      SizeText{512, "0.50 KB"}, SizeText{1024, "1.00 KB"},
                      SizeText{1023990, "999.99 KB"}, SizeText{1023999, "1000.00 KB"},
                      SizeText{1024000, "0.98 MB"}, SizeText{kMega, "1.00 MB"},
                      SizeText{1000 * kMega - 1, "1000.00 MB"}, SizeText{1000 * kMega, "0.98 GB"},
                      SizeText{1048576000, "0.98 GB"}, SizeText{1024 * kMega, "1.00 GB"},
                      SizeText{1152, "1.12 KB"}, SizeText{3200, "3.12 KB"},
                      SizeText{3456, "3.38 KB"}, SizeText{1179648, "1.12 MB"},
                      SizeText{1024 * 1024 * kMega, "1024.00 GB"},
                      SizeText{std::numeric_limits<std::uint64_t>::max(), "17179869184.00 GB"}));

// The text that the C library makes of the size.
std::string printedSize(std::uint64_t bytes) {
    const char* units[] = {"KB", "MB", "GB"};
    auto size = static_cast<double>(bytes);
    char text[64];
    if (bytes < 512) {
        std::snprintf(text, sizeof(text), "%.0f bytes", size);
        return text;
    }
    std::size_t unit = 0;
    size /= 1024;
    while (size >= 1000 && unit < 2) {
        size /= 1024;
        ++unit;
    }
    std::snprintf(text, sizeof(text), "%.2f %s", size, units[unit]);
    return text;
}

TEST(ReadableFileSizes, RoundAsTheCLibraryDoes) {
    for (std::uint64_t bytes = 0; bytes <= 4 * kMega; bytes += 128) {
        ASSERT_EQ(FrameCacheEntry::readableFileSize(bytes).toStdString(), printedSize(bytes));
    }
    std::mt19937_64 random(2026);
    for (int i = 0; i < 200000; ++i) {
        const std::uint64_t bytes = random() >> random() % 64; // of every magnitude
        ASSERT_EQ(FrameCacheEntry::readableFileSize(bytes).toStdString(), printedSize(bytes));
    }
}

// Takes the process into a locale with a decimal comma, made for it where none is installed.
class CommaLocale : public corvid::test::ProductTest {
protected:
    CommaLocale() : m_path("LOCPATH", root.path().c_str()) {
        const std::string command =
            "localedef -i de_DE -f UTF-8 '" + root.path("de_DE.UTF-8") + "' >/dev/null 2>&1";
        m_isSet =
            std::system(command.c_str()) == 0 && std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
    }
    ~CommaLocale() override { std::setlocale(LC_ALL, "C"); }

    bool m_isSet = false;

private:
    EnvironmentGuard m_path;
};

TEST_F(CommaLocale, PutsNoCommaIntoASize) {
    if (!m_isSet) {
        GTEST_SKIP() << "no locale with a comma can be made here";
    }
    ASSERT_EQ(printedSize(3200), "3,12 KB");
    EXPECT_EQ(FrameCacheEntry::readableFileSize(3200), "3.12 KB");
    EXPECT_EQ(FrameCacheEntry::readableFileSize(kMega), "1.00 MB");
}

struct ShownName {
    const char* name;
    const char* shown;
};

class DisplayName : public ::testing::TestWithParam<ShownName> {};

TEST_P(DisplayName, IsTheFeatureKindOrTheLastComponent) {
    const FrameCacheEntry node(4, GetParam().name, "/path");
    EXPECT_EQ(node.getDisplayName(), QString::fromUtf8(GetParam().shown));
}

INSTANTIATE_TEST_SUITE_P(
    Names, DisplayName,
    ::testing::Values(ShownName{"PROXY", "Precomp Proxy"}, ShownName{"SPEC_PROXY", "Precomp Proxy"},
                      ShownName{"SPEC_RENDER", "Spec Render"},
                      ShownName{"SPEC_PREVIEW", "Spec Preview"},
                      ShownName{"spec_render", "spec_render"},
                      ShownName{"SPEC_RENDER2", "SPEC_RENDER2"}, ShownName{"MY_PROXY", "MY_PROXY"},
                      ShownName{" PROXY", " PROXY"}, ShownName{"/Jobs/Film.aep", "Film.aep"},
                      ShownName{"/Jobs/PROXY", "Precomp Proxy"},
                      ShownName{"/Jobs/PROXY/", "Precomp Proxy"}, ShownName{"/Jobs/Film//", "Film"},
                      ShownName{"relative/Film", "Film"}, ShownName{"/", "/"}, ShownName{"//", "/"},
                      ShownName{"", ""}, ShownName{"PROXY*", "PROXY*"}, ShownName{"?ROXY", "?ROXY"},
                      ShownName{"Žižkov/Übersicht", "Übersicht"}));

TEST(FrameCacheEntry, ShowsAFeatureThatIsAddedToTheTableByItsLabel) {
    static constexpr corvid::Feature kFour[] = {
        corvid::kKnownFeatures[0],
        corvid::kKnownFeatures[1],
        corvid::kKnownFeatures[2],
        {"DEPTH", "OLD_DEPTH", "Depth Pass", "Depth Pass", "."},
    };
    EXPECT_EQ(FrameCacheEntry::displayNameOf("/cache/DEPTH/", kFour), "Depth Pass");
    EXPECT_EQ(FrameCacheEntry::displayNameOf("OLD_DEPTH", kFour), "Depth Pass");
    EXPECT_EQ(FrameCacheEntry::displayNameOf("PROXY", kFour), "Precomp Proxy");
    EXPECT_EQ(FrameCacheEntry::displayNameOf("DEPTH"), "DEPTH");
}

} // namespace
