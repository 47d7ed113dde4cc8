#include "runtime/maro_log.h"

#include "tests/support/failing_calls.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace {

using corvid::test::Call;
using corvid::test::EnvironmentGuard;
using corvid::test::exists;
using corvid::test::FailNth;
using corvid::test::makeDirectory;
using corvid::test::readFile;
using corvid::test::writeFile;

unsigned permissions(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0U;
}

class UmaskGuard {
public:
    explicit UmaskGuard(mode_t mask) : m_before(::umask(mask)) {}
    ~UmaskGuard() { ::umask(m_before); }
    UmaskGuard(const UmaskGuard&) = delete;
    UmaskGuard& operator=(const UmaskGuard&) = delete;

private:
    mode_t m_before;
};

constexpr long kSomeTime = 1795176303; // Fri Nov 20 12:05:03 2026 in UTC

class MaroTimeTest : public corvid::test::ProductTest {
protected:
    EnvironmentGuard m_zone{"TZ", "UTC"};
};

TEST_F(MaroTimeTest, TheTextIsLocalTimeWithoutLineFeedInAZeroedBuffer) {
    char buffer[256];
    std::memset(buffer, '#', sizeof(buffer));
    EXPECT_EQ(maro_localAscTime(&kSomeTime, buffer, sizeof(buffer)), 1);
    EXPECT_STREQ(buffer, "Fri Nov 20 12:05:03 2026");
    EXPECT_TRUE(
        std::all_of(buffer + 24, buffer + sizeof(buffer), [](char c) { return c == '\0'; }));
}

TEST_F(MaroTimeTest, TheTextFollowsTheTimeZone) {
    const EnvironmentGuard zone("TZ", "XYZ+2");
    char buffer[256];
    EXPECT_EQ(maro_localAscTime(&kSomeTime, buffer, sizeof(buffer)), 1);
    EXPECT_STREQ(buffer, "Fri Nov 20 10:05:03 2026");
}

TEST_F(MaroTimeTest, ASmallBufferTakesSizeLessTwoCharactersAndLosesTheLastOfThem) {
    const std::string whole = "Fri Nov 20 12:05:03 2026\n";
    for (int size = 1; size <= 40; ++size) {
        const auto bytes = static_cast<std::size_t>(size);
        std::string expected = whole.substr(0, bytes > 2 ? bytes - 2 : 0);
        if (expected.size() > 1) {
            expected.pop_back();
        }
        std::vector<char> buffer(bytes + 1, '#');
        EXPECT_EQ(maro_localAscTime(&kSomeTime, buffer.data(), size), 1) << "size " << size;
        EXPECT_EQ(std::string(buffer.data()), expected) << "size " << size;
        EXPECT_EQ(buffer.back(), '#') << "size " << size;
    }
}

TEST_F(MaroTimeTest, ANullBufferOrASizeBelowOneIsRefused) {
    char buffer[4] = {'a', 'b', 'c', '\0'};
    EXPECT_EQ(maro_localAscTime(&kSomeTime, nullptr, 256), 0);
    EXPECT_EQ(maro_localAscTime(&kSomeTime, buffer, 0), 0);
    EXPECT_EQ(maro_localAscTime(&kSomeTime, buffer, -1), 0);
    EXPECT_STREQ(buffer, "abc");
}

using TmPointer = std::unique_ptr<std::tm, decltype(&std::free)>;

TmPointer localTime(long time) {
    return {maro_localtime(&time), &std::free};
}

TEST_F(MaroTimeTest, TheBrokenDownTimeIsACopyOfItsOwn) {
    const TmPointer first = localTime(kSomeTime);
    const TmPointer second = localTime(0);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(first->tm_year, 126);
    EXPECT_EQ(first->tm_mon, 10);
    EXPECT_EQ(first->tm_mday, 20);
    EXPECT_EQ(first->tm_hour, 12);
    EXPECT_EQ(first->tm_min, 5);
    EXPECT_EQ(first->tm_sec, 3);
    EXPECT_EQ(first->tm_wday, 5);
    EXPECT_EQ(second->tm_year, 70);
}

TEST_F(MaroTimeTest, TheBrokenDownTimeIsNullWhenMemoryIsOut) {
    const FailNth fail(Call::Malloc, 1, ENOMEM);
    EXPECT_EQ(localTime(kSomeTime), nullptr);
    EXPECT_EQ(fail.failures(), 1);
}

TEST_F(MaroTimeTest, ATimeWithoutDateGivesNoBrokenDownTimeAndAnEmptyText) {
    const long never = LONG_MAX;
    EXPECT_EQ(localTime(never), nullptr);
    char buffer[64] = "before";
    EXPECT_EQ(maro_localAscTime(&never, buffer, sizeof(buffer)), 1);
    EXPECT_STREQ(buffer, "");
}

class CreateDirectoryTest : public corvid::test::ProductTest {};

TEST_F(CreateDirectoryTest, ADirectoryIsCreatedWithThePermissionsThatTheUmaskLeaves) {
    const UmaskGuard mask(027);
    int error = 42;
    EXPECT_TRUE(createDirectoryForPlatform(root.path("new").c_str(), &error));
    EXPECT_EQ(permissions(root.path("new")), 0750U);
    EXPECT_EQ(error, 42);
}

TEST_F(CreateDirectoryTest, AnExistingDirectoryIsFineAndLeavesTheErrorUntouched) {
    writeFile(root.path("there/file"), "x");
    int error = 42;
    EXPECT_TRUE(createDirectoryForPlatform(root.path("there").c_str(), &error));
    EXPECT_EQ(error, 42);
    EXPECT_EQ(readFile(root.path("there/file")), "x");
}

TEST_F(CreateDirectoryTest, AFileInTheWayOfADirectoryIsAnError) {
    writeFile(root.path("file"), "x");
    int error = 42;
    EXPECT_FALSE(createDirectoryForPlatform(root.path("file").c_str(), &error));
    EXPECT_EQ(error, -1);
    EXPECT_FALSE(createDirectoryForPlatform(root.path("file").c_str(), nullptr));
}

TEST_F(CreateDirectoryTest, ADirectoryBelowAMissingOneIsNotCreated) {
    int error = 42;
    EXPECT_FALSE(createDirectoryForPlatform(root.path("missing/new").c_str(), &error));
    EXPECT_EQ(error, -1);
    EXPECT_FALSE(exists(root.path("missing")));
}

TEST_F(CreateDirectoryTest, AFailedCreationOfAMissingDirectoryIsAnError) {
    int error = 42;
    const FailNth fail(Call::MakeDir, 1, ENOSPC);
    EXPECT_FALSE(createDirectoryForPlatform(root.path("new").c_str(), &error));
    EXPECT_EQ(error, -1);
    EXPECT_EQ(fail.failures(), 1);
}

class SettingsPathTest : public corvid::test::ProductTest {
protected:
    static std::string calculated(const char* fileName) {
        char buffer[4096];
        std::memset(buffer, '#', sizeof(buffer));
        EXPECT_EQ(calculateLogFilePath(buffer, sizeof(buffer), fileName), 1);
        return buffer;
    }
};

TEST_F(SettingsPathTest, ThePathLiesInThePreferencesBelowHome) {
    makeDirectory(root.path("home/Library/Preferences"));
    const EnvironmentGuard home("HOME", root.path("home").c_str());
    EXPECT_EQ(calculated("settings.txt"),
              root.path("home/Library/Preferences/Fernwick/Corvid/settings.txt"));
    EXPECT_TRUE(exists(root.path("home/Library/Preferences/Fernwick/Corvid")));
    EXPECT_FALSE(exists(root.path("home/Library/Preferences/Fernwick/Corvid/settings.txt")));
}

TEST_F(SettingsPathTest, FoldersThatExistAreKept) {
    const std::string kept = root.path("home/Library/Preferences/Fernwick/Corvid/settings.txt");
    writeFile(kept, "mine");
    const EnvironmentGuard home("HOME", root.path("home").c_str());
    EXPECT_EQ(calculated("settings.txt"), kept);
    EXPECT_EQ(readFile(kept), "mine");
}

TEST_F(SettingsPathTest, APreferencesFolderThatCannotBeFilledDoesNotChangeThePath) {
    const EnvironmentGuard home("HOME", root.path("nobody").c_str());
    EXPECT_EQ(calculated("a"), root.path("nobody/Library/Preferences/Fernwick/Corvid/a"));
    EXPECT_FALSE(exists(root.path("nobody")));
}

TEST_F(SettingsPathTest, WithoutHomeThePathLiesInPrivateTmp) {
    const EnvironmentGuard home("HOME", nullptr);
    EXPECT_EQ(calculated("settings.txt"), root.path("private/tmp/Fernwick/Corvid/settings.txt"));
    EXPECT_TRUE(exists(root.path("private/tmp/Fernwick/Corvid")));
}

TEST_F(SettingsPathTest, ThePathIsCutToSizeLessTwoCharactersInAZeroedBuffer) {
    const EnvironmentGuard home("HOME", root.path("home").c_str());
    const std::string whole = root.path("home/Library/Preferences/Fernwick/Corvid/a");
    for (const int size : {1, 2, 3, 10, 20}) {
        const auto bytes = static_cast<std::size_t>(size);
        std::vector<char> buffer(bytes + 1, '#');
        EXPECT_EQ(calculateLogFilePath(buffer.data(), size, "a"), 1);
        EXPECT_EQ(std::string(buffer.data()), whole.substr(0, bytes > 2 ? bytes - 2 : 0));
        EXPECT_EQ(buffer[bytes - 1], '\0');
        EXPECT_EQ(buffer[bytes], '#');
    }
}

TEST_F(SettingsPathTest, WithoutABufferTheAnswerIsStillOne) {
    const EnvironmentGuard home("HOME", root.path("home").c_str());
    char buffer[4] = "abc";
    EXPECT_EQ(calculateLogFilePath(nullptr, 256, "a"), 1);
    EXPECT_EQ(calculateLogFilePath(buffer, 0, "a"), 1);
    EXPECT_STREQ(buffer, "abc");
}

} // namespace
