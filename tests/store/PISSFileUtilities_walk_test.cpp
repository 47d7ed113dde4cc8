#include "store/PISSFileUtilities.h"

#include "store/cache_reading.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::test::makeDirectory;
using corvid::test::snapshot;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

// The rights of an ordinary user until the end of the scope, since everything is readable for root.
class OrdinaryUser {
public:
    OrdinaryUser() : m_changed(::geteuid() == 0 && ::seteuid(kNobody) == 0) {}
    ~OrdinaryUser() {
        if (m_changed && ::seteuid(0) != 0) {
            std::abort();
        }
    }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;

private:
    static constexpr uid_t kNobody = 65534;
    bool m_changed;
};

class FileWalkTest : public corvid::test::ProductTest {
protected:
    void SetUp() override { makeDirectory(top()); }
    std::string top() const { return root.path("top"); }
    std::string in(const std::string& name) const { return top() + "/" + name; }
    std::uint64_t size() const { return PISSGetSizeOfDirectoryContents(top().c_str()); }
    std::uint64_t count() const { return PISSGetFileCount(top().c_str()); }

    // Gives the directory this mode and lets ordinary users through to it; false when even they
    // have every right in it.
    bool restrict(const std::string& directory, mode_t mode) const {
        ::chmod(root.path().c_str(), 0755);
        ::chmod(top().c_str(), 0755);
        ::chmod(directory.c_str(), mode);
        const OrdinaryUser user;
        return ::faccessat(AT_FDCWD, directory.c_str(), R_OK | X_OK, AT_EACCESS) != 0;
    }
};

// ---- size of one file

std::string couldNotStat(const std::string& path) {
    return "ERROR\tGetSizeOfFileContents: Could not stat on filepath: " + path + "\n";
}

TEST_F(FileWalkTest, TheSizeOfAFileFollowsLinks) {
    writeFile(in("file"), std::string(1234, 'x'));
    ASSERT_EQ(::symlink("file", in("link").c_str()), 0);
    EXPECT_EQ(PISSGetSizeOfFileContents(in("file").c_str()), 1234U);
    EXPECT_EQ(PISSGetSizeOfFileContents(in("link").c_str()), 1234U);
    EXPECT_EQ(root.logText(), "");
}

TEST_F(FileWalkTest, TheSizeOfAFileIsCountedIn64Bits) {
    writeFile(in("large"), "");
    ASSERT_EQ(::truncate(in("large").c_str(), off_t{5} << 30), 0);
    EXPECT_EQ(PISSGetSizeOfFileContents(in("large").c_str()), std::uint64_t{5} << 30);
}

TEST_F(FileWalkTest, AMissingFileHasNoSizeAndOneLogLine) {
    EXPECT_EQ(PISSGetSizeOfFileContents(in("100%s missing").c_str()), 0U);
    EXPECT_THAT(root.logMessages(), ElementsAre(couldNotStat(in("100%s missing"))));
}

TEST_F(FileWalkTest, ALinkThatLeadsNowhereHasNoSizeAndOneLogLine) {
    ASSERT_EQ(::symlink("nowhere", in("link").c_str()), 0);
    EXPECT_EQ(PISSGetSizeOfFileContents(in("link").c_str()), 0U);
    EXPECT_THAT(root.logMessages(), ElementsAre(couldNotStat(in("link"))));
}

// ---- size and count of a directory

TEST_F(FileWalkTest, SizeAndCountCoverFilesAtEveryDepthHiddenOnesIncluded) {
    writeFile(in("a"), std::string(10, 'x'));
    writeFile(in(".b"), std::string(200, 'x'));
    writeFile(in("d/c"), std::string(3000, 'x'));
    writeFile(in(".e/f/g"), std::string(40000, 'x'));
    makeDirectory(in("empty/below"));
    EXPECT_EQ(size(), 43210U);
    EXPECT_EQ(count(), 4U);
    EXPECT_EQ(root.logText(), "");
}

// The paths of the links in a directory, each sub-directory's where the listing names it.
std::vector<std::string> linksInListingOrder(const std::string& directory) {
    std::vector<std::string> links;
    DIR* listing = ::opendir(directory.c_str());
    while (const dirent* entry = ::readdir(listing)) { // NOLINT(concurrency-mt-unsafe)
        const std::string path = directory + "/" + entry->d_name;
        if (entry->d_type == DT_LNK) {
            links.push_back(path);
        } else if (entry->d_type == DT_DIR && entry->d_name[0] != '.') {
            const std::vector<std::string> below = linksInListingOrder(path);
            links.insert(links.end(), below.begin(), below.end());
        }
    }
    ::closedir(listing);
    return links;
}

TEST_F(FileWalkTest, FilesThatCannotBeAskedAreToldInTheOrderOfTheListing) {
    for (const std::string folder : {"", "a/", "b/", "b/c/", "b/d/", "e/", "e/f/g/"}) {
        makeDirectory(in(folder));
        for (const std::string link : {"1", "2", "3", "4"}) {
            ASSERT_EQ(::symlink("nowhere", in(folder + "link" + link).c_str()), 0);
        }
    }
    const std::vector<std::string> links = linksInListingOrder(top());
    ASSERT_EQ(links.size(), 28U);
    std::vector<std::string> expected;
    for (const std::string& link : links) {
        expected.push_back(couldNotStat(link));
    }
    EXPECT_EQ(size(), 0U);
    EXPECT_EQ(root.logMessages(), expected);
    // The same directory as a project, read by several threads.
    root.clearLog();
    corvid::logUnreadableFiles(corvid::measureDirectories({top()}).at(0).total());
    EXPECT_EQ(root.logMessages(), expected);
}

TEST_F(FileWalkTest, DirectoriesThemselvesAddNothing) {
    makeDirectory(in("d/e/f"));
    EXPECT_EQ(size(), 0U);
    EXPECT_EQ(count(), 0U);
}

TEST_F(FileWalkTest, AMissingDirectoryIsEmptyWithoutAMessage) {
    EXPECT_EQ(PISSGetSizeOfDirectoryContents(in("missing").c_str()), 0U);
    EXPECT_EQ(PISSGetFileCount(in("missing").c_str()), 0U);
    EXPECT_EQ(PISSGetSizeOfDirectoryContents(""), 0U);
    EXPECT_EQ(PISSGetFileCount(""), 0U);
    EXPECT_EQ(root.logText(), "");
}

TEST_F(FileWalkTest, AFileIsNotADirectoryToMeasure) {
    writeFile(in("file"), "content");
    EXPECT_EQ(PISSGetSizeOfDirectoryContents(in("file").c_str()), 0U);
    EXPECT_EQ(PISSGetFileCount(in("file").c_str()), 0U);
}

TEST_F(FileWalkTest, ASlashAtTheEndOfThePathChangesNothing) {
    writeFile(in("a"), std::string(10, 'x'));
    EXPECT_EQ(PISSGetSizeOfDirectoryContents((top() + "/").c_str()), 10U);
    EXPECT_EQ(PISSGetFileCount((top() + "/").c_str()), 1U);
}

TEST_F(FileWalkTest, ALinkToAFileCountsWithTheSizeOfTheFile) {
    writeFile(root.path("outside"), std::string(500, 'x'));
    ASSERT_EQ(::symlink(root.path("outside").c_str(), in("link").c_str()), 0);
    EXPECT_EQ(size(), 500U);
    EXPECT_EQ(count(), 1U);
}

TEST_F(FileWalkTest, ALinkToADirectoryIsOneFileAndIsNotEntered) {
    writeFile(root.path("outside/file"), std::string(12345, 'x'));
    ASSERT_EQ(::symlink(root.path("outside").c_str(), in("link").c_str()), 0);
    ASSERT_EQ(::symlink("..", in("up").c_str()), 0);
    struct stat outside {};
    struct stat up {};
    ASSERT_EQ(::stat(root.path("outside").c_str(), &outside), 0);
    ASSERT_EQ(::stat(root.path().c_str(), &up), 0);
    EXPECT_EQ(count(), 2U);
    EXPECT_EQ(size(), static_cast<std::uint64_t>(outside.st_size + up.st_size));
}

TEST_F(FileWalkTest, FilesWithoutReadableStatusCountNothingAndAreEachNamedInTheLog) {
    writeFile(in("good"), "12345");
    ASSERT_EQ(::symlink("nowhere", in("bad").c_str()), 0);
    makeDirectory(in("d"));
    ASSERT_EQ(::symlink("loop", in("d/loop").c_str()), 0);
    EXPECT_EQ(PISSGetSizeOfDirectoryContents((top() + "/").c_str()), 5U);
    EXPECT_THAT(root.logMessages(),
                UnorderedElementsAre(couldNotStat(in("bad")), couldNotStat(in("d/loop"))));
}

TEST_F(FileWalkTest, CountingNeedsNoStatusAndLogsNothing) {
    ASSERT_EQ(::symlink("nowhere", in("bad").c_str()), 0);
    EXPECT_EQ(count(), 1U);
    EXPECT_EQ(root.logText(), "");
}

TEST_F(FileWalkTest, SizesAreAddedIn64Bits) {
    for (const char* name : {"a", "b", "d/c"}) {
        writeFile(in(name), "");
        ASSERT_EQ(::truncate(in(name).c_str(), off_t{3} << 30), 0);
    }
    EXPECT_EQ(size(), std::uint64_t{9} << 30);
}

TEST_F(FileWalkTest, AnUnreadableSubdirectoryCountsNothing) {
    writeFile(in("open/a"), "123");
    writeFile(in("locked/b"), "12345");
    if (!restrict(in("locked"), 0)) {
        GTEST_SKIP() << "this user may read every directory and cannot give up that right";
    }
    const OrdinaryUser user;
    EXPECT_EQ(size(), 3U);
    EXPECT_EQ(count(), 1U);
    EXPECT_EQ(root.logText(), "");
}

TEST_F(FileWalkTest, NamesWithoutAccessToTheirFilesAreCountedButNotMeasured) {
    writeFile(in("listed/b"), "12345");
    PISSGetSizeOfFileContents(in("missing").c_str()); // so that there is a log that all may write
    if (!restrict(in("listed"), 0744)) {
        GTEST_SKIP() << "this user may read every directory and cannot give up that right";
    }
    const OrdinaryUser user;
    EXPECT_EQ(size(), 0U);
    EXPECT_EQ(count(), 1U);
    EXPECT_TRUE(root.hasLogged(couldNotStat(in("listed/b"))));
}

TEST_F(FileWalkTest, MeasuringChangesNothing) {
    writeFile(in("a"), "x");
    writeFile(in("d/b"), "y");
    const auto before = snapshot(top());
    size();
    count();
    EXPECT_EQ(snapshot(top()), before);
}

// A chain of directories `depth` deep with a file of one byte in every tenth. Relative calls,
// because its path is longer than the system takes.
void makeNest(const std::string& path, int depth, const std::string& name) {
    int directory = ::open(path.c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_GE(directory, 0);
    for (int level = 1; level <= depth; ++level) {
        ASSERT_EQ(::mkdirat(directory, name.c_str(), 0755), 0);
        const int inner = ::openat(directory, name.c_str(), O_RDONLY | O_DIRECTORY);
        ASSERT_GE(inner, 0);
        ::close(directory);
        directory = inner;
        if (level % 10 == 0) {
            const int file = ::openat(directory, "f", O_WRONLY | O_CREAT, 0644);
            ASSERT_EQ(::write(file, "x", 1), 1);
            ::close(file);
        }
    }
    ::close(directory);
}

TEST_F(FileWalkTest, ANestOf4000LevelsIsMeasuredWhole) {
    makeNest(top(), 4000, "d");
    EXPECT_EQ(size(), 400U);
    EXPECT_EQ(count(), 400U);
}

TEST_F(FileWalkTest, ANestWithLongNamesIsMeasuredWhole) {
    makeNest(top(), 300, std::string(255, 'd'));
    EXPECT_EQ(size(), 30U);
    EXPECT_EQ(count(), 30U);
}

TEST_F(FileWalkTest, SeveralThreadsMeasureSideBySide) {
    for (int i = 0; i < 50; ++i) {
        writeFile(in(std::to_string(i % 5)) + "/" + std::to_string(i), "12");
    }
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int round = 0; round < 20; ++round) {
                EXPECT_EQ(size(), 100U);
                EXPECT_EQ(count(), 50U);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace
