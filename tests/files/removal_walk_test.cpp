#include "files/removal_walk.h"

#include "tests/support/failing_calls.h"
#include "tests/support/forked_child.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::RemovalStep;
using corvid::UniqueFd;
using corvid::test::Call;
using corvid::test::FailNth;
using corvid::test::holdsInChild;
using corvid::test::makeDirectory;
using corvid::test::snapshot;
using corvid::test::writeFile;
using ::testing::ElementsAre;

// Whether the walk finds a second thread; without one it has to give the same steps.
enum class Threads { Two, One };

class RemovalWalkTest : public corvid::test::ProductTest,
                        public ::testing::WithParamInterface<Threads> {
protected:
    std::string top() const { return root.path("top"); }
    UniqueFd start() const { return UniqueFd(::open(top().c_str(), O_RDONLY | O_DIRECTORY)); }
    // The steps as texts; the walk is told to stop after `most` of them.
    bool walk(std::size_t most = 1000) {
        const bool isAlone = GetParam() == Threads::One;
        const FailNth failing(Call::CreateThread, isAlone ? 1 : 1000, EAGAIN);
        return corvid::walkForRemoval(start(), "top", [this, most](RemovalStep& step) {
            steps.push_back(textOf(step));
            return steps.size() < most;
        });
    }
    static std::string textOf(RemovalStep& step) {
        constexpr const char* kKinds[] = {"files", "protected", "unreadable", "directory",
                                          "abandoned"};
        std::string text = std::string(kKinds[static_cast<int>(step.kind)]) + " " + step.path;
        while (const char* name = step.names.next()) {
            text += std::string(" ") + name;
            struct stat status {};
            EXPECT_EQ(0, ::fstatat(step.directory.get(), name, &status, AT_SYMLINK_NOFOLLOW));
        }
        return text;
    }

    std::vector<std::string> steps;
};

TEST_P(RemovalWalkTest, FilesComeBeforeDirectoriesAndTheseAfterTheirContents) {
    writeFile(top() + "/file", "");
    writeFile(top() + "/a/b/deep", "");
    EXPECT_TRUE(walk());
    EXPECT_THAT(steps, ElementsAre("files top file", "files top/a/b deep", "directory top/a/b b",
                                   "directory top/a a"));
}

TEST_P(RemovalWalkTest, AnEmptyDirectoryHasNoSteps) {
    makeDirectory(top());
    EXPECT_TRUE(walk());
    EXPECT_TRUE(steps.empty());
}

TEST_P(RemovalWalkTest, ManyFilesComeInSeveralStepsEachOnce) {
    constexpr int kFiles = 1000;
    for (int i = 0; i < kFiles; ++i) {
        writeFile(top() + "/a/" + std::to_string(i), "");
    }
    std::size_t names = 0;
    std::size_t fileSteps = 0;
    EXPECT_TRUE(corvid::walkForRemoval(start(), "top", [&](RemovalStep& step) {
        const bool isFiles = step.kind == RemovalStep::Kind::Files;
        fileSteps += isFiles ? 1 : 0;
        while (isFiles && step.names.next() != nullptr) {
            ++names;
        }
        return true;
    }));
    EXPECT_EQ(names, static_cast<std::size_t>(kFiles));
    EXPECT_GT(fileSteps, 1U);
}

TEST_P(RemovalWalkTest, AProtectedFileEndsTheWalk) {
    writeFile(top() + "/a/b/protected", "");
    ASSERT_EQ(0, ::chmod((top() + "/a/b/protected").c_str(), 0444));
    EXPECT_FALSE(walk());
    EXPECT_THAT(steps,
                ElementsAre("protected top/a/b protected", "abandoned top/a/b", "abandoned top/a"));
}

TEST_P(RemovalWalkTest, ADirectoryThatCannotBeOpenedEndsTheWalk) {
    writeFile(top() + "/file", "");
    makeDirectory(top() + "/a");
    UniqueFd directory = start();
    const FailNth failing(Call::Open, 1, EACCES);
    EXPECT_FALSE(corvid::walkForRemoval(std::move(directory), "top", [this](RemovalStep& step) {
        steps.push_back(textOf(step));
        return true;
    }));
    EXPECT_THAT(steps, ElementsAre("files top file", "unreadable top/a", "abandoned top/a"));
}

TEST_P(RemovalWalkTest, NoStepComesAfterTheOneThatIsNotWanted) {
    for (int i = 0; i < 100; ++i) {
        writeFile(top() + "/" + std::to_string(i) + "/file", "");
    }
    EXPECT_FALSE(walk(3));
    EXPECT_EQ(steps.size(), 3U);
}

TEST_P(RemovalWalkTest, ItChangesNothingItself) {
    writeFile(top() + "/a/file", "kept");
    const auto before = snapshot(top());
    EXPECT_TRUE(walk());
    EXPECT_EQ(snapshot(top()), before);
}

TEST_P(RemovalWalkTest, FewDescriptorsAreEnough) {
    for (int i = 0; i < 100; ++i) {
        writeFile(top() + "/" + std::to_string(i) + "/file", "");
    }
    EXPECT_TRUE(holdsInChild([this] {
        const int next = ::open("/dev/null", O_RDONLY);
        ::close(next);
        const auto room = static_cast<rlim_t>(next + 8);
        const rlimit few{room, room};
        return ::setrlimit(RLIMIT_NOFILE, &few) == 0 && walk() && steps.size() == 200;
    }));
}

INSTANTIATE_TEST_SUITE_P(Both, RemovalWalkTest, ::testing::Values(Threads::Two, Threads::One),
                         [](const auto& threads) {
                             return threads.param == Threads::Two ? "TwoThreads" : "OneThread";
                         });

} // namespace
