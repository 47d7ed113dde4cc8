#include "store/KavroPISSConfigHelper.h"

#include "store/KavroPISSConfig.h"
#include "store/KavroPISSFrameCache.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "tests/support/forked_child.h"
#include "tests/support/product_root.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace {

using corvid::test::endedWell;
using corvid::test::holdsInChild;
using corvid::test::makeDirectory;
using corvid::test::readFile;
using corvid::test::startChild;
using corvid::test::writeFile;
using Clock = std::chrono::steady_clock;
using Helper = KavroPISSConfigHelper;

// A volume of 64 KiB on a folder, seen by this process alone; for a child.
bool mountSmallVolume(const std::string& folder) {
    return ::unshare(CLONE_NEWNS) == 0 &&
           ::mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mount("small", folder.c_str(), "tmpfs", 0, "size=64k") == 0;
}

// Takes what room is left, to the last byte.
bool fillVolume(const std::string& folder) {
    const int file = ::open((folder + "/filler").c_str(), O_WRONLY | O_CREAT, 0666);
    const std::string block(4096, 'x');
    while (::write(file, block.data(), block.size()) > 0) {
    }
    while (::write(file, block.data(), 1) > 0) {
    }
    const bool isFull = errno == ENOSPC;
    ::close(file);
    return isFull;
}

std::size_t namesIn(const std::string& folder) {
    const std::filesystem::directory_iterator all(folder);
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

class FullVolumeTest : public corvid::test::ProductTest {
protected:
    void SetUp() override {
        if (!holdsInChild([this] { return mountSmallVolume(root.productFile()); })) {
            GTEST_SKIP() << "mounting is not allowed here";
        }
    }
    // On a full volume `update` must fail, and leave the file as it was and nothing beside it. With
    // room again it must succeed.
    static bool losesNothing(const std::string& folder, const std::string& file,
                             const std::function<void()>& prepare,
                             const std::function<bool()>& update) {
        if (!mountSmallVolume(folder)) {
            return false;
        }
        prepare();
        const std::string before = readFile(file);
        if (before.empty() || !fillVolume(folder)) {
            return false;
        }
        const std::size_t names = namesIn(folder);
        const bool failed = !update() && readFile(file) == before && namesIn(folder) == names;
        ::unlink((folder + "/filler").c_str());
        return failed && update() && readFile(file) != before && namesIn(folder) == names - 1;
    }
};

// Longer than the last block of any of the files, so that it needs room.
const std::string kLong(900, 'v');

TEST_F(FullVolumeTest, TheGlobalSettingsAreNotLost) {
    EXPECT_TRUE(holdsInChild([this] {
        return losesNothing(
            root.productFile(), root.productFile("Config.txt"),
            [] { KavroPISSConfig::initializePISSConfig(); },
            [] { return Helper::addOrUpdateGlobalStringSetting("new", kLong.c_str()) == 1; });
    }));
    EXPECT_TRUE(root.hasLogged(
        "ERROR\tUnable to commit persistent storage transaction for: [default] [new]"));
}

TEST_F(FullVolumeTest, TheProjectsSettingsAreNotLost) {
    makeDirectory(root.path("Shots"));
    const KavroPISSProjectKeys project(root.path("Shots/Edit.aep").c_str());
    writeFile(root.productFile("Config.txt"), "default int\tsize 1\n");
    EXPECT_TRUE(holdsInChild([&] {
        return losesNothing(
            root.path("Shots"), root.path("Shots/.CorvidPro2ProjectConfig.cvp"),
            [&] { Helper::addOrUpdateProjectIntegerSetting(&project, "size", 1); },
            [&] {
                return Helper::addOrUpdateProjectStringSetting(&project, "new", kLong.c_str()) == 1;
            });
    }));
    EXPECT_TRUE(root.hasLogged("ERROR\tUnable to commit persistent storage transaction for: [" +
                               project.identity + "] [new]"));
}

TEST_F(FullVolumeTest, TheRegistryIsNotLost) {
    EXPECT_TRUE(holdsInChild([this] {
        return losesNothing(
            root.productFile(), root.productFile("FrameCache.cvp"),
            [] { Helper::addOrUpdateRegistryStringSetting("p", "PathToCache", "/a/"); },
            [] {
                return Helper::addOrUpdateRegistryStringSetting("q", "PathToCache",
                                                                kLong.c_str()) == 1;
            });
    }));
    EXPECT_TRUE(root.hasLogged("ERROR\tUnable to commit persistent REGISTRY storage transaction "
                               "for project:[q] key:[PathToCache]"));
}

TEST_F(FullVolumeTest, TheHashTablesAreNotLost) {
    makeDirectory(root.path("cache"));
    const std::string cache = root.path("cache/");
    for (const char* name : {"ProjectHash.txt", "CompositionHash.txt"}) {
        const bool isProject = std::string(name) == "ProjectHash.txt";
        EXPECT_TRUE(holdsInChild([&] {
            return losesNothing(
                root.path("cache"), cache + name,
                [&] { KavroPISSFrameCache(cache.c_str(), "p", "c"); },
                [&] {
                    KavroPISSFrameCache model(cache.c_str());
                    return (isProject
                                ? model.AddProjectHashTable("hash", kLong.c_str(), true)
                                : model.AddCompositionHashTable("hash", kLong.c_str(), true)) == 1;
                });
        })) << name;
    }
    EXPECT_TRUE(root.hasLogged("ERROR\tWriteProjectHashTable: Could not open '" + cache +
                               "ProjectHash.txt' for writing\n"));
    EXPECT_TRUE(root.hasLogged("ERROR\tWriteCompositionHashTable: Could not open '" + cache +
                               "CompositionHash.txt' for writing\n"));
}

TEST_F(FullVolumeTest, AFirstSettingsFileIsNotLeftBroken) {
    makeDirectory(root.path("Shots"));
    const KavroPISSProjectKeys project(root.path("Shots/Edit.aep").c_str());
    writeFile(root.productFile("Config.txt"), "default int\tsize 1\n");
    EXPECT_TRUE(holdsInChild([&] {
        return mountSmallVolume(root.path("Shots")) && fillVolume(root.path("Shots")) &&
               Helper::addOrUpdateProjectStringSetting(&project, "new", kLong.c_str()) == 0 &&
               namesIn(root.path("Shots")) == 1;
    }));
}

class SettingsOfTwoProcessesTest : public corvid::test::ProductTest {
protected:
    static constexpr auto kTime = std::chrono::seconds(2);

    SettingsOfTwoProcessesTest() {
        makeDirectory(root.path("Shots"));
        KavroPISSConfig::initializePISSConfig();
        Helper::addOrUpdateProjectIntegerSetting(&project, "size", 0);
        Helper::addOrUpdateRegistryStringSetting("p", "PathToCache", "/a/");
    }
    // Values of changing length, so that a mixture of two texts shows.
    bool writeSettings(const std::string& who) const {
        int done = 0;
        for (const auto end = Clock::now() + kTime; Clock::now() < end; ++done) {
            const std::string value =
                who + std::string(static_cast<std::size_t>(done % 400), 'x') + who;
            if (Helper::addOrUpdateGlobalStringSetting("last", value.c_str()) != 1 ||
                Helper::addOrUpdateProjectStringSetting(&project, "last", value.c_str()) != 1 ||
                Helper::addOrUpdateRegistryStringSetting("p", "PathToCache", value.c_str()) != 1) {
                return false;
            }
        }
        return done > 0;
    }
    static bool isWhole(const std::string& value) {
        return value.size() >= 2 && value.front() == value.back() &&
               (value.front() == 'a' || value.front() == 'b' || value == "/a/") &&
               (value == "/a/" || value.find_first_not_of('x', 1) == value.size() - 1);
    }
    std::string globalText() const {
        char text[1024];
        const int found =
            Helper::queryStringSetting(text, sizeof(text), "last", "default", nullptr, nullptr);
        return found != 0 ? text : "none";
    }
    std::string projectText() const {
        char text[1024];
        const int found =
            Helper::queryStringSetting(text, sizeof(text), "last", nullptr, &project, nullptr);
        return found != 0 ? text : "none";
    }
    static std::string registeredRoot() {
        KavroPISSFrameCacheRegistry registry;
        char* text = nullptr;
        registry.GetItem(&text, "p", "PathToCache");
        const std::string found = text != nullptr ? text : "none";
        std::free(text);
        return found;
    }

    KavroPISSProjectKeys project{root.path("Shots/Edit.aep").c_str()};
};

TEST_F(SettingsOfTwoProcessesTest, NeverLeaveABrokenFile) {
    const pid_t first = startChild([this] { return writeSettings("a"); });
    const pid_t second = startChild([this] { return writeSettings("b"); });
    int looks = 0;
    for (const auto end = Clock::now() + kTime; Clock::now() < end; ++looks) {
        const KavroPISSConfig config;
        ASSERT_EQ(1, config.IsValid());
        ASSERT_GE(config.NumberOfKeyValuePairsInList(), 16U);
        ASSERT_LE(config.NumberOfKeyValuePairsInList(), 17U);
        const std::string global = globalText();
        ASSERT_TRUE(global == "none" || isWhole(global)) << global;
        const std::string perProject = projectText();
        ASSERT_TRUE(perProject == "none" || isWhole(perProject)) << perProject;
        ASSERT_TRUE(isWhole(registeredRoot())) << registeredRoot();
    }
    EXPECT_TRUE(endedWell(first));
    EXPECT_TRUE(endedWell(second));
    EXPECT_GT(looks, 0);
    EXPECT_TRUE(isWhole(globalText()));
    EXPECT_TRUE(isWhole(projectText()));
    EXPECT_EQ(1U, namesIn(root.path("Shots")));
}

} // namespace
