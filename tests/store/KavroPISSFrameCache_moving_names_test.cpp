#include "store/KavroPISSFrameCache.h"

#include "store/PISSMD5.h"
#include "tests/support/failing_calls.h"
#include "tests/support/hostile_names.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvid::hashOf;
using corvid::test::Call;
using corvid::test::exists;
using corvid::test::FailNth;
using corvid::test::hostileNames;
using corvid::test::makeDirectory;
using corvid::test::readFile;
using corvid::test::Snapshot;
using corvid::test::snapshot;
using corvid::test::writeFile;

// The process stands in an empty folder, where a command that a name smuggled into a shell would
// leave its mark.
class FrameCacheMovingNamesTest : public corvid::test::ProductTest {
protected:
    FrameCacheMovingNamesTest() : m_before(std::filesystem::current_path()) {
        writeFile(root.path("guarded/file"), "kept");
        m_guarded = snapshot(root.path("guarded"));
        makeDirectory(root.path("here"));
        std::filesystem::current_path(root.path("here"));
    }
    ~FrameCacheMovingNamesTest() override { std::filesystem::current_path(m_before); }
    void TearDown() override {
        EXPECT_EQ(m_guarded, snapshot(root.path("guarded")));
        EXPECT_FALSE(exists("canary")) << "a command ran";
    }
    // Moves a project between roots of these names; what the target then holds.
    std::string moveBetween(const std::string& from, const std::string& to) const {
        KavroPISSFrameCache model(from.c_str(), "p");
        const std::string source = from + "/" + hashOf("p");
        writeFile(source + "/file", "moved");
        EXPECT_EQ(1, model.MoveProject("p", to.c_str())) << to;
        EXPECT_FALSE(exists(source)) << from;
        return readFile(to + "/" + hashOf("p") + "/file");
    }

private:
    std::filesystem::path m_before;
    Snapshot m_guarded;
};

TEST_F(FrameCacheMovingNamesTest, NoRootIsRunOrReadAsAnOptionByARename) {
    for (const std::string& name : hostileNames()) {
        makeDirectory(root.path("to/" + name));
        EXPECT_EQ("moved", moveBetween(root.path("from/" + name), root.path("to/" + name)));
    }
}

TEST_F(FrameCacheMovingNamesTest, NoRootIsRunOrReadAsAnOptionByACopy) {
    for (const std::string& name : hostileNames()) {
        const FailNth otherVolume(Call::Rename, 1, EXDEV, hashOf("p"));
        EXPECT_EQ("moved", moveBetween(root.path("from/" + name), root.path("to/" + name)));
        EXPECT_EQ(1, otherVolume.failures());
    }
}

TEST_F(FrameCacheMovingNamesTest, NoFileNameIsRunOrReadAsAnOptionByACopy) {
    KavroPISSFrameCache model(root.path("from").c_str(), "p");
    const std::string project = root.path("from/" + hashOf("p"));
    for (const std::string& name : hostileNames()) {
        writeFile(project + "/" + name, name);
        writeFile(project + "/folder/" + name + "/" + name, name);
    }
    const FailNth otherVolume(Call::Rename, 1, EXDEV, hashOf("p"));
    EXPECT_EQ(1, model.MoveProject("p", root.path("to").c_str()));
    EXPECT_FALSE(exists(project));
    for (const std::string& name : hostileNames()) {
        const std::string moved = root.path("to/" + hashOf("p") + "/");
        EXPECT_EQ(name, readFile(moved + name));
        EXPECT_EQ(name, readFile(moved + "folder/" + name + "/" + name));
    }
}

TEST_F(FrameCacheMovingNamesTest, RelativeRootsThatBeginWithADashAreNoOptions) {
    const FailNth otherVolume(Call::Rename, 1, EXDEV, hashOf("p"));
    EXPECT_EQ("moved", moveBetween("-from", "--target-directory=x"));
    EXPECT_EQ(1, otherVolume.failures());
}

TEST_F(FrameCacheMovingNamesTest, PercentSignsReachTheLogAsTheyStand) {
    const std::string from = root.path("%s%n");
    makeDirectory(root.path("%d%s"));
    EXPECT_EQ("moved", moveBetween(from, root.path("%d%s")));
    EXPECT_TRUE(root.hasLogged("Moving Cache from [" + from + "/" + hashOf("p") + "] to [" +
                               root.path("%d%s/") + hashOf("p") + "]."));
}

TEST_F(FrameCacheMovingNamesTest, ATargetThatIsTooLongLeavesTheSourceWhole) {
    KavroPISSFrameCache model(root.path("from").c_str(), "p");
    writeFile(root.path("from/" + hashOf("p") + "/file"), "kept");
    const Snapshot before = snapshot(root.path("from"));
    for (const std::size_t length : {256U, 1100U, 5000U, 200000U}) {
        EXPECT_EQ(0, model.MoveProject("p", root.path(std::string(length, 'x')).c_str()));
        EXPECT_EQ(before, snapshot(root.path("from")));
    }
    EXPECT_TRUE(root.hasLogged("ERROR\tFile Copy failed."));
}

TEST_F(FrameCacheMovingNamesTest, NoTargetIsCutToThatOfAnotherDirectory) {
    KavroPISSFrameCache model(root.path("from").c_str(), "p");
    writeFile(root.path("from/" + hashOf("p") + "/file"), "kept");
    for (const std::size_t limit : {255U, 1023U}) {
        std::string cut = root.path("to");
        while (cut.size() + 101 < limit) {
            cut += "/" + std::string(99, 'd');
        }
        cut += "/" + std::string(limit - cut.size() - 1, 'e');
        makeDirectory(cut);
        const Snapshot before = snapshot(cut);
        const FailNth otherVolume(Call::Rename, 1, EXDEV, hashOf("p"));
        EXPECT_EQ(1, model.MoveProject("p", (cut + "-longer").c_str()));
        EXPECT_EQ(before, snapshot(cut));
        EXPECT_EQ("kept", readFile(cut + "-longer/" + hashOf("p") + "/file"));
        writeFile(root.path("from/" + hashOf("p") + "/file"), "kept");
    }
}

TEST_F(FrameCacheMovingNamesTest, AMoveToASecondVolumeCopies) {
    struct Removed {
        explicit Removed(std::string where) : path(std::move(where)) {}
        ~Removed() { corvid::test::removeTree(path); }
        Removed(const Removed&) = delete;
        Removed& operator=(const Removed&) = delete;
        std::string path;
    };
    struct stat here {};
    struct stat there {};
    if (::stat(root.path().c_str(), &here) != 0 || ::stat("/dev/shm", &there) != 0 ||
        here.st_dev == there.st_dev) {
        GTEST_SKIP() << "there is no second volume at /dev/shm";
    }
    std::string made = "/dev/shm/corvid-XXXXXX";
    ASSERT_NE(nullptr, ::mkdtemp(made.data()));
    const Removed volume(made);
    KavroPISSFrameCache model(root.path("from").c_str(), "p");
    const std::string project = root.path("from/" + hashOf("p"));
    writeFile(project + "/c/PROXY/00000001.raw", "frame");
    writeFile(project + "/.hidden", "left out");
    EXPECT_EQ(1, model.MoveProject("p", volume.path.c_str()));
    EXPECT_EQ("frame", readFile(volume.path + "/" + hashOf("p") + "/c/PROXY/00000001.raw"));
    EXPECT_FALSE(exists(volume.path + "/" + hashOf("p") + "/.hidden"));
    EXPECT_FALSE(exists(project));
    EXPECT_TRUE(root.hasLogged("ERROR\trenameX() failed."));
}

} // namespace
