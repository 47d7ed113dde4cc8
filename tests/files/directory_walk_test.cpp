#include "files/directory_walk.h"

#include "tests/support/forked_child.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::DirectoryWalk;
using corvid::LinkRule;
using corvid::openDirectory;
using corvid::PackedNames;
using corvid::UniqueFd;
using corvid::test::holdsInChild;
using corvid::test::makeDirectory;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

// Notes what the walk reports; `stopAt` is the report after which it asks for the end.
struct Recorder {
    std::vector<std::string> reports;
    std::string stopAt;
    std::function<void(const std::string&)> onReport;

    bool note(const std::string& report) {
        reports.push_back(report);
        if (onReport) {
            onReport(report);
        }
        return report != stopAt;
    }
    bool file(int directory, const std::string& path, const corvid::DirectoryEntry& entry) {
        const char* name = entry.name;
        struct stat status {};
        EXPECT_EQ(0, ::fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW));
        return note("file " + join(path, name));
    }
    bool filesEnded() { return true; }
    bool cannotOpen(const std::string& path) { return note("closed " + path); }
    bool leave(int parent, const char* name, const std::string& path) {
        struct stat status {};
        EXPECT_EQ(0, ::fstatat(parent, name, &status, AT_SYMLINK_NOFOLLOW));
        return note("leave " + path);
    }
    void abandoned(const std::string& path) { reports.push_back("abandoned " + path); }
    static std::string join(const std::string& path, const char* name) {
        return path.empty() ? name : path + "/" + name;
    }
};

struct Counter {
    std::size_t files = 0;
    std::size_t left = 0;
    std::size_t longest = 0;

    bool file(int, const std::string&, const corvid::DirectoryEntry&) { return ++files > 0; }
    bool filesEnded() { return true; }
    bool cannotOpen(const std::string&) { return false; }
    bool leave(int, const char*, const std::string& path) {
        longest = std::max(longest, path.size());
        return ++left > 0;
    }
    void abandoned(const std::string&) {}
    static std::string join(const std::string& path, const char* name) {
        return path.empty() ? name : path + "/" + name;
    }
};

class DirectoryWalkTest : public corvid::test::ProductTest {
protected:
    DirectoryWalkTest() { makeDirectory(top()); }

    std::string top(const std::string& relative = {}) const { return root.path("top/" + relative); }
    UniqueFd start() const { return openDirectory(AT_FDCWD, top().c_str(), LinkRule::Follow); }
    bool walk(Recorder& recorder) const {
        return DirectoryWalk<Recorder>(recorder).run(start(), "");
    }
    // A chain of directories, each with a file.
    void makeDeep(int levels, const std::string& name) const {
        UniqueFd directory = start();
        for (int level = 0; level < levels; ++level) {
            ASSERT_EQ(0, ::mkdirat(directory.get(), name.c_str(), 0777));
            directory = openDirectory(directory.get(), name.c_str(), LinkRule::Refuse);
            const UniqueFd file(
                ::openat(directory.get(), "f", O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
            ASSERT_TRUE(file.isOpen());
        }
    }
};

TEST_F(DirectoryWalkTest, AnEmptyDirectoryGivesNoReport) {
    Recorder recorder;
    EXPECT_TRUE(walk(recorder));
    EXPECT_THAT(recorder.reports, IsEmpty());
}

TEST_F(DirectoryWalkTest, ADirectoryIsLeftAfterItsFilesAndSubdirectories) {
    writeFile(top("a/b/file"), "");
    writeFile(top("a/file"), "");
    Recorder recorder;
    EXPECT_TRUE(walk(recorder));
    EXPECT_THAT(recorder.reports,
                ElementsAre("file a/file", "file a/b/file", "leave a/b", "leave a"));
}

TEST_F(DirectoryWalkTest, HiddenEntriesAreMetLikeOthers) {
    writeFile(top(".hidden/.file"), "");
    writeFile(top("..x"), "");
    Recorder recorder;
    EXPECT_TRUE(walk(recorder));
    EXPECT_THAT(recorder.reports, ElementsAre("file ..x", "file .hidden/.file", "leave .hidden"));
}

TEST_F(DirectoryWalkTest, LinksAreFilesWhateverTheyPointTo) {
    writeFile(root.path("outside/file"), "");
    makeDirectory(top("d"));
    ASSERT_EQ(0, ::symlink(root.path("outside").c_str(), top("d/out").c_str()));
    ASSERT_EQ(0, ::symlink("..", top("d/up").c_str()));
    ASSERT_EQ(0, ::symlink("dead", top("d/dead").c_str()));
    ASSERT_EQ(0, ::mkfifo(top("d/pipe").c_str(), 0666));
    Recorder recorder;
    EXPECT_TRUE(walk(recorder));
    EXPECT_THAT(recorder.reports, UnorderedElementsAre("file d/out", "file d/up", "file d/dead",
                                                       "file d/pipe", "leave d"));
}

TEST_F(DirectoryWalkTest, ADirectoryThatBecomesALinkIsNotEntered) {
    writeFile(root.path("outside/secret"), "");
    makeDirectory(top("d"));
    writeFile(top("file"), "");
    Recorder recorder;
    recorder.onReport = [this](const std::string& report) {
        if (report == "file file") {
            ASSERT_EQ(0, ::rmdir(top("d").c_str()));
            ASSERT_EQ(0, ::symlink(root.path("outside").c_str(), top("d").c_str()));
        }
    };
    walk(recorder);
    EXPECT_THAT(recorder.reports, ElementsAre("file file", "closed d"));
}

TEST_F(DirectoryWalkTest, ADirectoryThatIsGoneIsReportedAndTheWalkGoesOn) {
    makeDirectory(top("d"));
    writeFile(top("file"), "");
    Recorder recorder;
    recorder.onReport = [this](const std::string&) { ::rmdir(top("d").c_str()); };
    // Without its directory there is nothing to leave.
    EXPECT_TRUE(walk(recorder));
    EXPECT_THAT(recorder.reports, ElementsAre("file file", "closed d"));
}

TEST_F(DirectoryWalkTest, AStartThatIsNotOpenIsReported) {
    Recorder recorder;
    EXPECT_TRUE(DirectoryWalk<Recorder>(recorder).run(UniqueFd(), "nowhere"));
    EXPECT_THAT(recorder.reports, ElementsAre("closed nowhere"));
    recorder.reports.clear();
    recorder.stopAt = "closed nowhere";
    EXPECT_FALSE(DirectoryWalk<Recorder>(recorder).run(UniqueFd(), "nowhere"));
}

TEST_F(DirectoryWalkTest, AnEndAtAFileAbandonsTheDirectoriesFromTheInnermostOutwards) {
    writeFile(top("a/b/c/file"), "");
    makeDirectory(top("a/b/c/never"));
    Recorder recorder;
    recorder.stopAt = "file a/b/c/file";
    EXPECT_FALSE(walk(recorder));
    EXPECT_THAT(recorder.reports,
                ElementsAre("file a/b/c/file", "abandoned a/b/c", "abandoned a/b", "abandoned a"));
}

TEST_F(DirectoryWalkTest, AnEndInTheStartingDirectoryAbandonsNothing) {
    writeFile(top("file"), "");
    makeDirectory(top("never"));
    Recorder recorder;
    recorder.stopAt = "file file";
    EXPECT_FALSE(walk(recorder));
    EXPECT_THAT(recorder.reports, ElementsAre("file file"));
}

TEST_F(DirectoryWalkTest, AnEndOnLeavingAbandonsThatDirectoryAndThoseAround) {
    makeDirectory(top("a/b"));
    Recorder recorder;
    recorder.stopAt = "leave a/b";
    EXPECT_FALSE(walk(recorder));
    EXPECT_THAT(recorder.reports, ElementsAre("leave a/b", "abandoned a/b", "abandoned a"));
    recorder.reports.clear();
    recorder.stopAt = "leave a";
    EXPECT_FALSE(walk(recorder));
    EXPECT_THAT(recorder.reports, ElementsAre("leave a/b", "leave a", "abandoned a"));
}

TEST_F(DirectoryWalkTest, ADirectoryWithoutPermissionIsReported) {
    corvid::test::letOthersIn(root);
    makeDirectory(top("d"));
    ASSERT_EQ(0, ::chmod(top("d").c_str(), 0));
    EXPECT_TRUE(holdsInChild([this] {
        Recorder recorder;
        return corvid::test::becomeNobody() && walk(recorder) &&
               recorder.reports == std::vector<std::string>{"closed d"};
    }));
}

TEST_F(DirectoryWalkTest, FourThousandLevelsAreWalkedWithFewDescriptors) {
    makeDeep(4000, "d");
    EXPECT_TRUE(holdsInChild([this] {
        const struct rlimit few { 64, 64 };
        Counter counter;
        return ::setrlimit(RLIMIT_NOFILE, &few) == 0 &&
               DirectoryWalk<Counter>(counter).run(start(), "") && counter.files == 4000 &&
               counter.left == 4000 && counter.longest == 7999;
    }));
}

TEST_F(DirectoryWalkTest, MemoryGrowsWithTheDepthNotWithItsSquare) {
    if (corvid::test::kSanitized) {
        GTEST_SKIP() << "the sanitizer needs the address space";
    }
    makeDeep(1500, std::string(200, 'd'));
    EXPECT_TRUE(holdsInChild([this] {
        const struct rlimit little { 120U << 20, 120U << 20 };
        Counter counter;
        return ::setrlimit(RLIMIT_AS, &little) == 0 &&
               DirectoryWalk<Counter>(counter).run(start(), "") && counter.left == 1500;
    }));
}

TEST_F(DirectoryWalkTest, EveryDescriptorIsClosedAfterwards) {
    makeDeep(50, "d");
    const auto descriptors = [] {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return std::distance(begin(all), end(all));
    };
    const auto before = descriptors();
    Recorder whole;
    EXPECT_TRUE(walk(whole));
    Recorder stopped;
    stopped.stopAt = whole.reports[30];
    EXPECT_FALSE(walk(stopped));
    EXPECT_EQ(before, descriptors());
}

// The way back up leads out of the tree when a directory is moved elsewhere during the walk.
TEST_F(DirectoryWalkTest, ATreeThatIsMovedAwayDuringTheWalkEndsIt) {
    makeDeep(40, "d");
    writeFile(root.path("outside/secret"), "");
    makeDirectory(root.path("outside/other"));
    std::string fifth = top("d/d/d/d/d");
    Recorder recorder;
    std::string deepest = "d";
    for (int level = 1; level < 40; ++level) {
        deepest += "/d";
    }
    recorder.onReport = [&](const std::string& report) {
        if (report == "file " + deepest + "/f") {
            ASSERT_EQ(0, ::rename(fifth.c_str(), root.path("outside/moved").c_str()));
        }
    };
    EXPECT_FALSE(walk(recorder));
    for (const std::string& report : recorder.reports) {
        EXPECT_EQ(std::string::npos, report.find("secret")) << report;
        EXPECT_EQ(std::string::npos, report.find("other")) << report;
    }
    EXPECT_EQ("abandoned d", recorder.reports.back());
}

TEST(PackedNames, GivesTheNamesInOrder) {
    PackedNames names;
    EXPECT_TRUE(names.empty());
    EXPECT_EQ(nullptr, names.next());
    names.add("one");
    names.add("two words");
    EXPECT_FALSE(names.empty());
    EXPECT_STREQ("one", names.next());
    EXPECT_STREQ("two words", names.next());
    EXPECT_EQ(nullptr, names.next());
    EXPECT_EQ(nullptr, names.next());
}

} // namespace
