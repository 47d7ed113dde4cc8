#include "store/KavroPISSFrameCache.h"

#include "store/PISSMD5.h"
#include "tests/support/forked_child.h"
#include "tests/support/hostile_names.h"
#include "tests/support/product_root.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using corvid::hashOf;
using corvid::test::exists;
using corvid::test::holdsInChild;
using corvid::test::hostileNames;
using corvid::test::kSanitized;
using corvid::test::makeDirectory;
using corvid::test::readFile;
using corvid::test::Snapshot;
using corvid::test::snapshot;
using corvid::test::startChild;
using corvid::test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Clock = std::chrono::steady_clock;

// Under the thread sanitizer more would take minutes.
constexpr int kDeepLevels = corvid::test::kThreadSanitizer ? 1000 : 4000;

// A guarded folder beside the cache; the process stands in an empty folder, where a command that a
// name smuggled into a shell would leave its mark.
class FrameCacheRemovalSafetyTest : public corvid::test::ProductTest {
protected:
    FrameCacheRemovalSafetyTest() : m_before(std::filesystem::current_path()) {
        writeFile(root.path("guarded/inner/deep/frame.raw"), "kept");
        writeFile(root.path("guarded/file"), "kept");
        m_guarded = snapshot(root.path("guarded"));
        makeDirectory(root.path("here"));
        std::filesystem::current_path(root.path("here"));
    }
    ~FrameCacheRemovalSafetyTest() override { std::filesystem::current_path(m_before); }
    void TearDown() override {
        EXPECT_EQ(m_guarded, snapshot(root.path("guarded")));
        EXPECT_TRUE(std::filesystem::is_empty(root.path("here"))) << "a command ran";
    }

    std::string cache() const { return root.path("cache/"); }
    std::string project() const { return cache() + hashOf("p"); }
    void linkToGuarded(const std::string& path) const {
        ASSERT_EQ(0, ::symlink(root.path("guarded").c_str(), path.c_str()));
    }
    static std::string cannotList(const std::string& path) {
        return "ERROR\tDeleteDirectory::GetDirectoryOrFileList( '" + path + "' ) failed\n";
    }
    // A chain of directories below the project, each with a file.
    bool makeDeep(const std::string& name) const {
        makeDirectory(project());
        int directory = ::open(project().c_str(), O_RDONLY | O_DIRECTORY);
        for (int level = 0; level < kDeepLevels && directory >= 0; ++level) {
            ::mkdirat(directory, name.c_str(), 0777);
            const int inner = ::openat(directory, name.c_str(), O_RDONLY | O_DIRECTORY);
            ::close(directory);
            directory = inner;
            ::close(::openat(directory, "f", O_WRONLY | O_CREAT, 0666));
        }
        ::close(directory);
        return directory >= 0;
    }

private:
    std::filesystem::path m_before;
    Snapshot m_guarded;
};

// The way down is searched, not read.
TEST_F(FrameCacheRemovalSafetyTest, DirectoriesOnTheWayNeedNotBeReadable) {
    const std::string composition = project() + "/" + hashOf("c");
    writeFile(composition + "/PROXY/00000001.raw", "");
    writeFile(composition + "/SPEC_RENDER/00000001.raw", "");
    corvid::test::letOthersIn(root);
    const KavroPISSFrameCache tables(cache().c_str(), "p", "c");
    for (const char* feature : {"PROXY", "SPEC_RENDER"}) {
        for (const std::string below : {"", "/00000001.raw"}) {
            const std::string path = composition + "/" + feature + below;
            ASSERT_EQ(0, ::chown(path.c_str(), corvid::test::kNobody, corvid::test::kNobody));
        }
    }
    ASSERT_EQ(0, ::chown(composition.c_str(), corvid::test::kNobody, corvid::test::kNobody));
    ASSERT_EQ(0, ::chmod(composition.c_str(), 0311));
    ASSERT_EQ(0, ::chmod(project().c_str(), 0111));
    ASSERT_EQ(0, ::chmod(cache().c_str(), 0711));
    EXPECT_TRUE(holdsInChild([&] {
        if (!corvid::test::becomeNobody()) {
            return false;
        }
        KavroPISSFrameCache model(cache().c_str(), "p", "c", "SPEC_RENDER");
        return model.DeleteFeature("PROXY") == 1 && model.DeleteAllFrames() == 1;
    }));
    EXPECT_FALSE(exists(composition + "/PROXY"));
    EXPECT_TRUE(exists(composition + "/SPEC_RENDER"));
    EXPECT_FALSE(exists(composition + "/SPEC_RENDER/00000001.raw"));
}

// A root that may be searched and no more: the project in it is emptied, it itself cannot go.
TEST_F(FrameCacheRemovalSafetyTest, AProjectOfARootThatCannotBeReadIsEmptied) {
    writeFile(project() + "/" + hashOf("c") + "/PROXY/00000001.raw", "");
    const KavroPISSFrameCache tables(cache().c_str(), "p", "c");
    corvid::test::letOthersIn(root);
    for (const std::string& path :
         {project(), project() + "/" + hashOf("c"), project() + "/" + hashOf("c") + "/PROXY"}) {
        ASSERT_EQ(0, ::chown(path.c_str(), corvid::test::kNobody, corvid::test::kNobody));
    }
    ASSERT_EQ(0, ::chmod(cache().c_str(), 0111));
    EXPECT_TRUE(holdsInChild([&] {
        return corvid::test::becomeNobody() &&
               KavroPISSFrameCache(cache().c_str()).DeleteProject("p") == 0;
    }));
    EXPECT_TRUE(exists(project()));
    EXPECT_FALSE(exists(project() + "/" + hashOf("c")));
    // In a root of the user's own it goes, too.
    ASSERT_EQ(0, ::chown(cache().c_str(), corvid::test::kNobody, corvid::test::kNobody));
    ASSERT_EQ(0, ::chmod(cache().c_str(), 0311));
    EXPECT_TRUE(holdsInChild([&] {
        return corvid::test::becomeNobody() &&
               KavroPISSFrameCache(cache().c_str()).DeleteProject("p") == 1;
    }));
    EXPECT_FALSE(exists(project()));
}

TEST_F(FrameCacheRemovalSafetyTest, LinksGoAsFilesAndTheirTargetsStay) {
    makeDirectory(project() + "/c");
    linkToGuarded(project() + "/folder");
    linkToGuarded(project() + "/c/folder");
    ASSERT_EQ(0, ::symlink("../../guarded/file", (project() + "/c/file").c_str()));
    ASSERT_EQ(0, ::symlink("nowhere", (project() + "/c/dead").c_str()));
    ASSERT_EQ(0, ::symlink("..", (project() + "/c/up").c_str()));
    ASSERT_EQ(0, ::link(root.path("guarded/file").c_str(), (project() + "/hard").c_str()));
    KavroPISSFrameCache model(cache().c_str());
    EXPECT_EQ(1, model.DeleteDirectory(project().c_str()));
    EXPECT_FALSE(exists(project()));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(FrameCacheRemovalSafetyTest, ADirectoryThatIsALinkGoesAsAFile) {
    makeDirectory(cache());
    for (const char* ending : {"", "/", "//"}) {
        linkToGuarded(project());
        KavroPISSFrameCache model(cache().c_str());
        EXPECT_EQ(1, model.DeleteDirectory((project() + ending).c_str()));
        EXPECT_FALSE(exists(project()));
    }
}

TEST_F(FrameCacheRemovalSafetyTest, AProjectThatIsALinkGoesAsAFile) {
    KavroPISSFrameCache model(cache().c_str(), "p");
    linkToGuarded(project());
    EXPECT_EQ(1, model.DeleteProject("p"));
    EXPECT_FALSE(exists(project()));
}

TEST_F(FrameCacheRemovalSafetyTest, NothingIsReachedThroughALinkOnTheWay) {
    makeDirectory(cache());
    linkToGuarded(project());
    KavroPISSFrameCache model(cache().c_str());
    const std::string path = project() + "/inner";
    EXPECT_EQ(0, model.DeleteDirectory(path.c_str()));
    EXPECT_THAT(root.logMessages(), ElementsAre(cannotList(path)));
}

TEST_F(FrameCacheRemovalSafetyTest, ACompositionBelowAProjectThatIsALinkIsLeft) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c");
    makeDirectory(root.path("elsewhere/" + hashOf("c") + "/PROXY"));
    ASSERT_EQ(0, ::symlink(root.path("elsewhere").c_str(), project().c_str()));
    const Snapshot before = snapshot(root.path("elsewhere"));
    EXPECT_EQ(0, model.DeleteComposition("c"));
    EXPECT_EQ(0, model.DeleteFeature("PROXY"));
    EXPECT_EQ(before, snapshot(root.path("elsewhere")));
}

TEST_F(FrameCacheRemovalSafetyTest, TheRootMayBeReachedThroughALink) {
    makeDirectory(root.path("real/cache"));
    ASSERT_EQ(0, ::symlink("real", root.path("way").c_str()));
    KavroPISSFrameCache model(root.path("way/cache").c_str(), "p", "c", "PROXY");
    EXPECT_EQ(1, model.DeleteProject("p"));
    EXPECT_FALSE(exists(root.path("real/cache/") + hashOf("p")));
}

// The check compares text only: what a parent-directory step names is removed, wherever it is.
TEST_F(FrameCacheRemovalSafetyTest, AParentStepInAFeatureNameLeadsToTheNeighbour) {
    writeFile(project() + "/" + hashOf("d") + "/PROXY/00000001.raw", "");
    writeFile(project() + "/" + hashOf("e") + "/PROXY/00000001.raw", "");
    writeFile(root.path("beside/folder/00000001.raw"), "");
    writeFile(root.path("beside/file"), "kept");
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    EXPECT_EQ(1, model.DeleteFeature(("../" + hashOf("d")).c_str()));
    EXPECT_FALSE(exists(project() + "/" + hashOf("d")));
    EXPECT_TRUE(exists(project() + "/" + hashOf("e") + "/PROXY/00000001.raw"));
    EXPECT_EQ(1, model.DeleteFeature("../../../beside/folder"));
    EXPECT_FALSE(exists(root.path("beside/folder")));
    EXPECT_EQ("kept", readFile(root.path("beside/file")));
    EXPECT_TRUE(exists(project() + "/" + hashOf("c") + "/PROXY"));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(FrameCacheRemovalSafetyTest, AFeatureNamedAsTheParentEmptiesTheProjectAndFails) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c", "PROXY");
    writeFile(cache() + hashOf("q") + "/file", "kept");
    EXPECT_EQ(0, model.DeleteFeature(".."));
    EXPECT_THAT(snapshot(project()), ElementsAre(::testing::Key(".")));
    EXPECT_EQ("kept", readFile(cache() + hashOf("q") + "/file"));
}

TEST_F(FrameCacheRemovalSafetyTest, NoFeatureNameIsRunOrReadAsAnOption) {
    const std::string composition = project() + "/" + hashOf("c") + "/";
    const std::string other = composition + "other/file";
    writeFile(other, "kept");
    std::vector<std::string> names = hostileNames();
    names.emplace_back("..x"); // hidden, and not the directory above
    for (const std::string& name : names) {
        KavroPISSFrameCache model(cache().c_str(), "p", "c", name.c_str());
        const std::string feature = composition + name;
        ASSERT_TRUE(exists(feature)) << name;
        writeFile(std::string(feature).append("/").append(name), "");
        EXPECT_EQ(1, model.DeleteFeature(name.c_str())) << name;
        EXPECT_FALSE(exists(feature)) << name;
    }
    EXPECT_EQ("kept", readFile(other));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

TEST_F(FrameCacheRemovalSafetyTest, NoRootOrKeyIsRunOrReadAsAnOption) {
    for (const std::string& name : hostileNames()) {
        const std::string cacheRoot = root.path("roots/" + name);
        KavroPISSFrameCache model(cacheRoot.c_str(), name.c_str(), name.c_str(), "PROXY");
        const std::string path = cacheRoot + "/" + hashOf(name);
        const std::string feature = path + "/" + hashOf(name) + "/PROXY";
        ASSERT_TRUE(exists(feature)) << name;
        writeFile(feature + "/00000001.raw", "");
        EXPECT_EQ(1, model.DeleteAllFrames()) << name;
        EXPECT_FALSE(exists(feature + "/00000001.raw")) << name;
        EXPECT_EQ(1, model.DeleteComposition(name.c_str())) << name;
        EXPECT_EQ(1, model.DeleteProject(name.c_str())) << name;
        EXPECT_FALSE(exists(path)) << name;
    }
}

TEST_F(FrameCacheRemovalSafetyTest, ARelativeRootThatBeginsWithADashIsNoOption) {
    {
        KavroPISSFrameCache model("-rf", "p", "c", "PROXY");
        EXPECT_TRUE(exists("./-rf/" + hashOf("p") + "/" + hashOf("c") + "/PROXY"));
        EXPECT_EQ(1, model.DeleteProject("p"));
        EXPECT_FALSE(exists("./-rf/" + hashOf("p")));
        EXPECT_EQ(1, model.DeleteDirectory("-rf/"));
    }
}

TEST_F(FrameCacheRemovalSafetyTest, PercentSignsReachTheLogAsTheyStand) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c");
    const std::string name = "%s%n%d%s%s";
    EXPECT_EQ(0, model.DeleteProject(name.c_str()));
    EXPECT_EQ(0, model.DeleteFeature(name.c_str()));
    const std::string path = project() + "/" + hashOf("c") + "/" + name;
    EXPECT_THAT(
        root.logMessages(),
        ElementsAre("ERROR\tDeleteProject: FindProjectNameHashGivenKey[" + name + "] failed\n",
                    cannotList(path),
                    "ERROR\tDeleteFeature: Failed to DeleteDirectory '" + path + "'\n"));
}

TEST_F(FrameCacheRemovalSafetyTest, APathThatIsTooLongIsRefused) {
    KavroPISSFrameCache model(cache().c_str(), "p", "c");
    for (const std::size_t length : {256U, 1025U, 5000U, 200000U}) {
        const std::string path = cache() + std::string(length, 'x');
        root.clearLog();
        EXPECT_EQ(0, model.DeleteDirectory(path.c_str()));
        EXPECT_THAT(root.logMessages(), ElementsAre(cannotList(path)));
    }
}

TEST_F(FrameCacheRemovalSafetyTest, NoPathIsCutToThatOfAnotherDirectory) {
    for (const std::size_t limit : {255U, 256U, 1023U, 1024U, 4000U}) {
        std::string path = cache() + "d";
        while (path.size() < limit) {
            const std::size_t rest = limit - path.size();
            path += "/" + std::string(rest > 201 ? 100 : rest - 1, 'd');
            if (path.back() == '/') { // one place was left
                path.back() = 'd';
            }
        }
        writeFile(path + "/file", "kept");
        const Snapshot before = snapshot(root.path("cache"));
        KavroPISSFrameCache model(cache().c_str());
        EXPECT_EQ(0, model.DeleteDirectory((path + "x").c_str()));
        EXPECT_EQ(0, model.DeleteDirectory((path + "/missing").c_str()));
        EXPECT_EQ(before, snapshot(root.path("cache")));
        EXPECT_EQ(1, model.DeleteDirectory(path.c_str()));
        EXPECT_FALSE(exists(path));
    }
}

TEST_F(FrameCacheRemovalSafetyTest, ARootThatIsTooLongHasNoProjects) {
    KavroPISSFrameCache model((cache() + std::string(5000, 'x')).c_str(), "p");
    root.clearLog();
    EXPECT_EQ(0, model.DeleteProject("p"));
    EXPECT_THAT(root.logMessages(),
                ElementsAre("ERROR\tDeleteProject: Unable to GetCompletePathToCacheRoot\n"));
}

TEST_F(FrameCacheRemovalSafetyTest, ADeepNestGoesWithFewDescriptorsAndLittleMemory) {
    constexpr unsigned kPatience = 200; // some disks take milliseconds for each directory
    KavroPISSFrameCache model(cache().c_str(), "p");
    ASSERT_TRUE(makeDeep(std::string(250, 'n')));
    EXPECT_TRUE(holdsInChild(
        [&model] {
            const rlimit few{64, 64};
            const rlimit little{512U << 20U, 512U << 20U};
            const bool limited =
                ::setrlimit(RLIMIT_NOFILE, &few) == 0 &&
                (kSanitized || ::setrlimit(RLIMIT_AS, &little) == 0); // they need much themselves
            return limited && model.DeleteProject("p") == 1;
        },
        kPatience));
    EXPECT_FALSE(exists(project()));
    EXPECT_THAT(root.logMessages(), IsEmpty());
}

// For two seconds another process puts links to the guarded folder in the place of directories that
// are being removed, at every level.
class FrameCacheRemovalRaceTest : public FrameCacheRemovalSafetyTest {
protected:
    static constexpr auto kTime = std::chrono::seconds(2);

    // Only this process makes links and it takes each back before the next, so that its own steps
    // never lead through one.
    bool swapDirectories() const {
        const std::string aside = root.path("aside");
        for (const auto end = Clock::now() + 2 * kTime; Clock::now() < end;) {
            for (const char* place : kPlaces) {
                const std::string path = project() + place;
                if (::rename(path.c_str(), aside.c_str()) == 0) {
                    static_cast<void>(::symlink(root.path("guarded").c_str(), path.c_str()));
                    ::usleep(20);
                    ::unlink(path.c_str());
                    static_cast<void>(::rename(aside.c_str(), path.c_str()));
                    corvid::test::removeTree(aside);
                }
            }
        }
        return true;
    }
    // Made elsewhere and put into its place whole, never through a link.
    void putProjectInPlace() const {
        const std::string fresh = root.path("fresh");
        for (const char* place : kPlaces) {
            for (int file = 0; file < 3; ++file) {
                writeFile(fresh + place + "/file" + std::to_string(file), "");
            }
        }
        static_cast<void>(::rename(fresh.c_str(), project().c_str()));
        corvid::test::removeTree(fresh);
    }

private:
    static constexpr const char* kPlaces[] = {"", "/inner", "/inner/deep", "/a", "/a/inner"};
};

TEST_F(FrameCacheRemovalRaceTest, NothingOutsideGoesWhileDirectoriesTurnIntoLinks) {
    const pid_t swapper = startChild([this] { return swapDirectories(); });
    ASSERT_GT(swapper, 0);
    KavroPISSFrameCache model(cache().c_str(), "p");
    int removed = 0;
    int stopped = 0;
    for (const auto end = Clock::now() + kTime; Clock::now() < end;) {
        putProjectInPlace();
        ++(model.DeleteProject("p") == 1 ? removed : stopped);
    }
    EXPECT_EQ(0, ::kill(swapper, SIGKILL));
    int status = 0;
    EXPECT_EQ(swapper, ::waitpid(swapper, &status, 0));
    EXPECT_GT(removed, 0);
    EXPECT_GT(stopped, 0) << "nothing was swapped while it was removed";
}

} // namespace
