// What a reading tells of a feature beside what a model tells.

#include "store/cache_reading.h"

#include "tests/support/product_root.h"
#include "tests/support/random_cache.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <set>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::CacheReading;
using corvid::DirectoryMeasure;
using corvid::hashOf;
using corvid::readCaches;
using corvid::ReadComposition;
using corvid::ReadFeature;
using corvid::ReadProject;
using corvid::test::RandomCache;
using corvid::test::writeFile;

class CacheReadingFactsTest : public corvid::test::ProductTest {
protected:
    std::string cache() const { return root.path("cache/"); }
};

// Looked for by other means.
struct Facts {
    std::uint64_t allocated = 0;
    std::uint64_t directories = 0;
    long oldest = 0;
    std::int64_t changedNs = 0;
    std::optional<std::uint64_t> first, last;
};

Facts factsOf(const std::string& path) {
    namespace fs = std::filesystem;
    Facts facts;
    std::set<std::pair<dev_t, ino_t>> seen;
    const auto noteChange = [&facts](const struct stat& status) {
        facts.changedNs = std::max<std::int64_t>(
            facts.changedNs, status.st_ctim.tv_sec * 1'000'000'000L + status.st_ctim.tv_nsec);
    };
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0);
    noteChange(status);
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path)) {
        EXPECT_EQ(::lstat(entry.path().c_str(), &status), 0);
        noteChange(status);
        if (S_ISDIR(status.st_mode)) {
            ++facts.directories;
            continue;
        }
        if (seen.insert({status.st_dev, status.st_ino}).second) {
            facts.allocated += static_cast<std::uint64_t>(status.st_blocks) * 512;
        }
        const std::string name = entry.path().filename().string();
        const bool isDirect = entry.path().parent_path() == fs::path(path);
        if (::stat(entry.path().c_str(), &status) != 0) {
            continue;
        }
        noteChange(status);
        if (isDirect && status.st_mtime > 0) {
            facts.oldest =
                facts.oldest == 0 ? status.st_mtime : std::min<long>(facts.oldest, status.st_mtime);
        }
        if (isDirect && name.size() == 12 && name.substr(8) == ".raw") {
            const std::uint64_t number = std::stoull(name);
            facts.first = std::min(facts.first.value_or(number), number);
            facts.last = std::max(facts.last.value_or(number), number);
        }
    }
    return facts;
}

void expectFacts(const Facts& facts, const ReadFeature& feature) {
    DirectoryMeasure measure = feature.parts.total();
    EXPECT_EQ(measure.allocated + corvid::allocatedOnce(measure.sharedFiles), facts.allocated);
    EXPECT_EQ(measure.directories, facts.directories);
    EXPECT_EQ(measure.oldest, facts.oldest);
    EXPECT_EQ(measure.firstNumber, facts.first);
    EXPECT_EQ(measure.lastNumber, facts.last);
    EXPECT_EQ(measure.identity.changedNs, facts.changedNs);
}

TEST_F(CacheReadingFactsTest, TakesTheOtherFactsOfAFeatureOnTheWay) {
    int features = 0;
    for (unsigned seed = 1; seed <= 30 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        corvid::test::removeTree(root.path("cache"));
        const RandomCache made(cache(), seed);
        const CacheReading reading = readCaches(
            {.roots = {cache()}, .withFrameNumbers = true, .identity = corvid::Identity::Ask});
        for (const ReadProject& project : reading.roots[0].projects) {
            for (const ReadComposition& composition : project.compositions) {
                const std::string path = cache() + project.directory + "/" + composition.directory;
                for (const ReadFeature& feature : composition.features) {
                    SCOPED_TRACE(path + "/" + feature.directory);
                    struct stat status {};
                    ASSERT_EQ(::stat((path + "/" + feature.directory).c_str(), &status), 0);
                    EXPECT_EQ(feature.parts.own.identity.inode, status.st_ino);
                    EXPECT_EQ(feature.parts.own.identity.device, status.st_dev);
                    expectFacts(factsOf(path + "/" + feature.directory), feature);
                    ++features;
                }
                struct stat status {};
                ASSERT_EQ(::stat(path.c_str(), &status), 0);
                EXPECT_EQ(composition.identity.inode, status.st_ino);
            }
        }
    }
    EXPECT_GT(features, 100);
}

TEST_F(CacheReadingFactsTest, CountsAFileOfSeveralNamesOnceAndALinkForItself) {
    const std::string feature = cache() + hashOf("p") + "/" + hashOf("c") + "/PROXY";
    writeFile(feature + "/00000003.raw", std::string(10000, 'x'));
    ASSERT_EQ(::link((feature + "/00000003.raw").c_str(), (feature + "/00000004.raw").c_str()), 0);
    ASSERT_EQ(::symlink("00000003.raw", (feature + "/00000005.raw").c_str()), 0);
    const CacheReading reading = readCaches({.roots = {cache()}, .withFrameNumbers = true});
    const ReadFeature& read = reading.roots.at(0).projects.at(0).compositions.at(0).features.at(0);
    EXPECT_EQ(read.parts.total().bytes, 30000U);
    EXPECT_EQ(read.parts.own.identity.inode, 0U) << "not asked for";
    Facts facts = factsOf(feature);
    EXPECT_LT(facts.allocated, 20000U);
    facts.changedNs = read.parts.total().identity.changedNs;
    expectFacts(facts, read);
    EXPECT_EQ(read.parts.total().firstNumber, 3U);
    EXPECT_EQ(read.parts.total().lastNumber, 5U);
}

TEST(FrameNumber, IsOfDigitsBeforeRaw) {
    using corvid::frameNumber;
    EXPECT_EQ(frameNumber("00000012.raw"), 12U);
    EXPECT_EQ(frameNumber("7.raw"), 7U);
    EXPECT_EQ(frameNumber("9999999999999999999.raw"), 9999999999999999999U);
    EXPECT_EQ(frameNumber("0000000000000000000000012.raw"), 12U);
    EXPECT_EQ(frameNumber("000.raw"), 0U);
    for (const char* name : {"10000000000000000000.raw", "-1.raw", "1", ".raw", "1.raw2", "1.RAW",
                             "a1.raw", " 1.raw", "1 .raw", ""}) {
        EXPECT_EQ(frameNumber(name), std::nullopt) << name;
    }
}

} // namespace
