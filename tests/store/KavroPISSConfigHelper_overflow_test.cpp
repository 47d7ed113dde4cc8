#include "store/KavroPISSConfigHelper.h"

#include "runtime/maro_log.h"
#include "store/KavroPISSFrameCache.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "store/PISSMD5.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using corvid::hashOf;
using corvid::test::exists;
using corvid::test::makeDirectory;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Helper = KavroPISSConfigHelper;

constexpr std::uint64_t kMebibyte = 1U << 20U;

class CacheOverflowTest : public corvid::test::ProductTest {
protected:
    CacheOverflowTest() { setLimit("20000"); }

    void setLimit(const std::string& value) const {
        writeFile(root.productFile("Config.txt"),
                  "default int\tSizeOfFrameCacheInMB " + value + "\n");
    }
    // A registered root whose one project holds this much, without taking it from the disk.
    bool fill(const std::string& name, std::uint64_t bytes) const {
        const std::string cache = root.path(name + "/");
        const KavroPISSFrameCache recorded(cache.c_str(), "p", "c", "PROXY");
        addTo(cache, "project of " + name);
        const std::string frame = cache + hashOf("p") + "/" + hashOf("c") + "/PROXY/00000001.raw";
        writeFile(frame, "");
        return ::truncate(frame.c_str(), static_cast<off_t>(bytes)) == 0;
    }
    void addTo(const std::string& cache, const std::string& project) const {
        Helper::addOrUpdateRegistryStringSetting(project.c_str(), "PathToCache", cache.c_str());
    }
    std::vector<std::string> messages(std::uint64_t bytes, int predicted, int limit) const {
        const auto actual = static_cast<int>(bytes / kMebibyte);
        return {"Amount of data in frame cache " + std::to_string(bytes),
                "Amount of data in frame cache (MB)" + std::to_string(actual),
                "Values are: actual=" + std::to_string(actual) +
                    " predicted=" + std::to_string(predicted) + "  max=" + std::to_string(limit)};
    }
};

TEST_F(CacheOverflowTest, ReachingTheLimitIsNoOverflowAndPassingItIs) {
    ASSERT_TRUE(fill("cache", 19000 * kMebibyte));
    EXPECT_EQ(0, Helper::determineIfCacheWillOverflow(1000, kMebibyte));
    EXPECT_EQ(messages(19000 * kMebibyte, 1000, 20000), root.logMessages());
    root.clearLog();
    EXPECT_EQ(1, Helper::determineIfCacheWillOverflow(1001, kMebibyte));
    EXPECT_EQ(messages(19000 * kMebibyte, 1001, 20000), root.logMessages());
}

TEST_F(CacheOverflowTest, WholeMebibytesCount) {
    ASSERT_TRUE(fill("cache", 19001 * kMebibyte - 1));
    EXPECT_EQ(0, Helper::determineIfCacheWillOverflow(1, 1001 * kMebibyte - 1));
    EXPECT_EQ(1, Helper::determineIfCacheWillOverflow(1, 1001 * kMebibyte));
}

TEST_F(CacheOverflowTest, ItsMessagesAreOrdinary) {
    ASSERT_TRUE(fill("cache", 2 * kMebibyte));
    setLoggingEnabled(false);
    EXPECT_EQ(0, Helper::determineIfCacheWillOverflow(1, 1));
    EXPECT_EQ(0, Helper::determineIfCacheWillOverflow(0, 1));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(CacheOverflowTest, FewerThanOneFrameOverflowNothing) {
    ASSERT_TRUE(fill("cache", 30000 * kMebibyte));
    EXPECT_EQ(0, Helper::determineIfCacheWillOverflow(0, kMebibyte));
    EXPECT_EQ(0, Helper::determineIfCacheWillOverflow(-1, kMebibyte));
    const std::string message = "No substantial amount of frames to work on";
    EXPECT_THAT(root.logMessages(), ElementsAre(message, message));
}

TEST_F(CacheOverflowTest, AnUnlimitedCacheNeverOverflows) {
    ASSERT_TRUE(fill("cache", 30000 * kMebibyte));
    setLimit("-1");
    EXPECT_EQ(0, Helper::determineIfCacheWillOverflow(INT_MAX, UINT64_MAX));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(CacheOverflowTest, AnotherNegativeLimitIsInvalid) {
    ASSERT_TRUE(fill("cache", 30000 * kMebibyte));
    setLimit("-2");
    EXPECT_EQ(0, Helper::determineIfCacheWillOverflow(1, kMebibyte));
    EXPECT_THAT(root.logMessages(),
                ElementsAre("WARNING\tInvalid value: -2 for key: SizeOfFrameCacheInMB"));
}

TEST_F(CacheOverflowTest, WithoutItsKeyTheLimitIsTheUsualOne) {
    ASSERT_TRUE(fill("cache", 19000 * kMebibyte));
    writeFile(root.productFile("Config.txt"), "default int\tother 1\n");
    EXPECT_EQ(0, Helper::determineIfCacheWillOverflow(1000, kMebibyte));
    EXPECT_EQ(1, Helper::determineIfCacheWillOverflow(1001, kMebibyte));
}

TEST_F(CacheOverflowTest, ALimitOfNothingIsALimit) {
    ASSERT_TRUE(fill("cache", kMebibyte));
    setLimit("0");
    EXPECT_EQ(1, Helper::determineIfCacheWillOverflow(1, 0));
}

TEST_F(CacheOverflowTest, ACacheUnderOneMebibyteNeverOverflows) {
    ASSERT_TRUE(fill("cache", kMebibyte - 1));
    EXPECT_EQ(0, Helper::determineIfCacheWillOverflow(INT_MAX, kMebibyte));
    EXPECT_THAT(root.logMessages(),
                ElementsAre("Amount of data in frame cache 1048575",
                            "Amount of data in frame cache (MB)0",
                            "No substantial amount of data in frame cache disk."));
}

// One registry is walked and another looked back in; each says what it stumbles over.
TEST_F(CacheOverflowTest, WhatTheRegistryComplainsOfIsLoggedTwice) {
    writeFile(root.productFile("FrameCache.cvp"), "hash string\n");
    EXPECT_EQ(0U, Helper::_calculateSizeOfAllFrameCaches());
    const std::string warning = "WARNING\tPersisentFrameCacheRegistry: keyValue was NULL";
    EXPECT_THAT(root.logMessages(), ElementsAre(warning, warning));
}

TEST_F(CacheOverflowTest, ARootIsProcessedOnlyByAnEarlierEntryWithTheVeryPath) {
    writeFile(root.productFile("FrameCache.cvp"),
              "h string\tPathToCache /a\nh string\tOther /b\nh string\tPathToCache /b\n");
    KavroPISSFrameCacheRegistry registry;
    const auto isProcessed = [&registry](const char* path, int number) {
        return Helper::_hasFrameCacheRegistryDirectoryAlreadBeenProcessed(registry, path, number);
    };
    EXPECT_EQ(0, isProcessed("/a", 0));
    EXPECT_EQ(1, isProcessed("/a", 1));
    EXPECT_EQ(0, isProcessed("/b", 1));
    EXPECT_EQ(1, isProcessed("/b", 2));
    EXPECT_EQ(0, isProcessed("/a/", 9));
}

TEST_F(CacheOverflowTest, AnEmptyRegistryIsNoData) {
    EXPECT_EQ(0, Helper::determineIfCacheWillOverflow(1, kMebibyte));
    EXPECT_TRUE(root.hasLogged("Amount of data in frame cache 0"));
}

TEST_F(CacheOverflowTest, ThePlannedBytesGoRoundAt64Bits) {
    ASSERT_TRUE(fill("cache", 2 * kMebibyte));
    EXPECT_EQ(0, Helper::determineIfCacheWillOverflow(2, std::uint64_t{1} << 63U));
    EXPECT_TRUE(root.hasLogged("Values are: actual=2 predicted=0  max=20000"));
}

TEST_F(CacheOverflowTest, ThePlannedMebibytesGoRoundAt32Bits) {
    ASSERT_TRUE(fill("cache", 2 * kMebibyte));
    EXPECT_EQ(0, Helper::determineIfCacheWillOverflow(1, std::uint64_t{1} << 51U));
    EXPECT_TRUE(root.hasLogged("Values are: actual=2 predicted=-2147483648  max=20000"));
    EXPECT_EQ(0, Helper::determineIfCacheWillOverflow(1, std::uint64_t{1} << 52U));
    EXPECT_TRUE(root.hasLogged("Values are: actual=2 predicted=0  max=20000"));
}

TEST_F(CacheOverflowTest, TheSumGoesRoundAt32Bits) {
    ASSERT_TRUE(fill("cache", 2 * kMebibyte));
    EXPECT_EQ(0, Helper::determineIfCacheWillOverflow(INT_MAX, kMebibyte));
    EXPECT_TRUE(root.hasLogged("Values are: actual=2 predicted=2147483647  max=20000"));
    EXPECT_EQ(1, Helper::determineIfCacheWillOverflow(INT_MAX - 2, kMebibyte));
}

TEST_F(CacheOverflowTest, TheCachesMebibytesGoRoundAt32Bits) {
    constexpr std::uint64_t kLargestFile =
        (std::uint64_t{1} << 44U) - 4096; // of usual file systems
    constexpr int kFiles = 129;
    if (!fill("cache", kLargestFile)) {
        GTEST_SKIP() << "the file system takes no file of 16 TiB";
    }
    const std::string feature = root.path("cache/") + hashOf("p") + "/" + hashOf("c") + "/PROXY/";
    for (int file = 2; file <= kFiles; ++file) {
        const std::string frame = feature + std::to_string(file) + ".raw";
        writeFile(frame, "");
        ASSERT_EQ(0, ::truncate(frame.c_str(), static_cast<off_t>(kLargestFile)));
    }
    EXPECT_EQ(0, Helper::determineIfCacheWillOverflow(1, kMebibyte));
    EXPECT_EQ(kFiles * kLargestFile, Helper::_calculateSizeOfAllFrameCaches());
    const auto actual = static_cast<std::int64_t>(kFiles * kLargestFile >> 20U) - (1LL << 32);
    EXPECT_THAT(
        root.logMessages(),
        ElementsAre("Amount of data in frame cache " + std::to_string(kFiles * kLargestFile),
                    "Amount of data in frame cache (MB)" + std::to_string(actual),
                    "No substantial amount of data in frame cache disk."));
}

TEST_F(CacheOverflowTest, ARootOfSeveralProjectsCountsOnce) {
    ASSERT_TRUE(fill("cache", 5000));
    addTo(root.path("cache/"), "another project");
    addTo(root.path("cache/"), "a third");
    EXPECT_EQ(5000U, Helper::_calculateSizeOfAllFrameCaches());
}

TEST_F(CacheOverflowTest, TwoSpellingsOfARootCountTwice) {
    ASSERT_TRUE(fill("cache", 5000));
    addTo(root.path("cache"), "another project");
    addTo(root.path("./cache/"), "a third");
    addTo(root.path("cache"), "a fourth");
    EXPECT_EQ(15000U, Helper::_calculateSizeOfAllFrameCaches());
}

TEST_F(CacheOverflowTest, EveryRegisteredRootCounts) {
    ASSERT_TRUE(fill("first", 5000));
    ASSERT_TRUE(fill("second", 300));
    ASSERT_TRUE(fill("unregistered", 20));
    writeFile(root.productFile("FrameCache.cvp"),
              hashOf("a") + " string\tPathToCache " + root.path("first/") + "\n" + hashOf("b") +
                  " string\tpathtocache " + root.path("unregistered/") + "\n" + hashOf("b") +
                  " string\tPathToCacheX " + root.path("unregistered/") + "\n" + hashOf("b") +
                  " string\tPathToCache " + root.path("second/") + "\n");
    EXPECT_EQ(5300U, Helper::_calculateSizeOfAllFrameCaches());
}

TEST_F(CacheOverflowTest, TheWalkOfARootEndsAtADirectoryThatNoTableNames) {
    makeDirectory(root.path("cache/unknown"));
    writeFile(root.path("cache/unknown/file"), "12345");
    addTo(root.path("cache/"), "p");
    EXPECT_EQ(0U, Helper::_calculateSizeOfAllFrameCaches());
    EXPECT_TRUE(root.hasLogged(
        "ERROR\tGetNextItemInProjectList: FindOriginalProjectKeyGivenHash[unknown] failed\n"));
}

} // namespace
