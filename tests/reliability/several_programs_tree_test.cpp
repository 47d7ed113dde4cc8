// Four programs write the same files at once, a fifth shows the tree, and somebody looks at every
// file all the while.

#include "MacCacheManager/CacheDataSource.h"
#include "runtime/maro_log.h"
#include "store/KavroPISSConfigHelper.h"
#include "store/KavroPISSFrameCache.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "tests/reliability/hostile_walk.h"
#include "tests/reliability/several_programs_run.h"
#include "tests/support/frame_cache_levels.h"
#include "tools/sample_plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>

namespace {

using namespace corvid::test;
using corvid::SampleNumbers;
using corvid::UniqueFd;

constexpr std::size_t kFrameBytes = 100;

// One of the four: it does what all do, most of all what is its own.
class Program {
public:
    Program(const SharedWorld& world, std::size_t number)
        : m_world(world), m_number(number), m_numbers(number + 1) {}

    void operator()() {
        doOne(m_numbers.oneIn(2) ? m_number : m_numbers.below(kPrograms));
        const std::uint64_t serial = m_world.journal().nextSerial(m_number);
        maro_logAlways("%s%s", kWitnessLine, witnessText(m_number, serial).c_str());
    }

private:
    void doOne(std::size_t kind) {
        switch (kind) {
        case 0:
            addFrame();
            break;
        case 1:
            m_world.registerProject(m_number, any(m_world.projects), any(m_world.roots));
            break;
        case 2:
            changeSetting();
            break;
        default:
            remove();
        }
    }
    const std::string& any(const std::vector<std::string>& texts) {
        return texts[m_numbers.below(texts.size())];
    }

    void addFrame() {
        const KavroPISSFrameCache model(any(m_world.roots).c_str(), any(m_world.projects).c_str(),
                                        any(m_world.compositions).c_str(),
                                        KAVRO_FEATURE_SUBDIRS[m_numbers.below(3)]);
        char path[4096];
        ASSERT_EQ(model.GetCompletePathToFrameCache(path, sizeof(path)), 1);
        char name[32];
        static_cast<void>(std::snprintf(name, sizeof(name), "%.8d.raw", m_numbers.upTo(50)));
        const UniqueFd file(
            ::open((std::string(path) + name).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
        if (file.isOpen()) { // else the directory was deleted meanwhile
            const std::string bytes(kFrameBytes, 'f');
            EXPECT_EQ(::pwrite(file.get(), bytes.data(), bytes.size(), 0),
                      static_cast<ssize_t>(bytes.size()));
        }
    }
    void changeSetting() {
        const std::uint64_t serial = m_world.journal().nextSerial(m_number);
        const std::size_t setting = m_numbers.below(3);
        const int result = m_numbers.oneIn(2)
                               ? KavroPISSConfigHelper::addOrUpdateGlobalStringSetting(
                                     kTextSettings[setting], witnessText(m_number, serial).c_str())
                               : KavroPISSConfigHelper::addOrUpdateGlobalIntegerSetting(
                                     kNumberSettings[setting], witnessNumber(m_number, serial));
        EXPECT_EQ(result, 1);
    }
    void remove() {
        const std::string& project = any(m_world.projects);
        const std::string& composition = any(m_world.compositions);
        KavroPISSFrameCache model(any(m_world.roots).c_str(), project.c_str(), composition.c_str());
        switch (m_numbers.below(3)) {
        case 0:
            model.DeleteFeature(KAVRO_FEATURE_SUBDIRS[m_numbers.below(3)]);
            break;
        case 1:
            model.DeleteComposition(composition.c_str());
            break;
        default:
            model.DeleteProject(project.c_str());
        }
    }

    const SharedWorld& m_world;
    std::size_t m_number;
    SampleNumbers m_numbers;
};

// The fifth.
class Viewer {
public:
    explicit Viewer(const SharedWorld& world) : m_world(world) {
        m_source->setShouldProvideData(true);
    }
    void operator()() const {
        m_source->reload();
        expectTree();
    }

private:
    void expectTree() const {
        const FrameCacheEntry& tree = *m_source->getRootNode();
        for (int i = 0; i < tree.getNumberOfChildren(); ++i) {
            const FrameCacheEntry& project = *tree.getChildAt(i);
            EXPECT_THAT(m_world.projects, ::testing::Contains(project.getName()));
            for (int j = 0; j < project.getNumberOfChildren(); ++j) {
                expectComposition(*project.getChildAt(j));
            }
        }
        EXPECT_LE(tree.getFileSize(),
                  static_cast<std::uint64_t>(tree.getFileCount()) * kFrameBytes);
    }
    void expectComposition(const FrameCacheEntry& composition) const {
        EXPECT_THAT(m_world.compositions, ::testing::Contains(composition.getName()));
        for (int i = 0; i < composition.getNumberOfChildren(); ++i) {
            EXPECT_THAT(KAVRO_FEATURE_SUBDIRS, ::testing::Contains(::testing::StrEq(
                                                   composition.getChildAt(i)->getName())));
        }
    }

    const SharedWorld& m_world;
    std::shared_ptr<CacheDataSource> m_source = std::make_shared<CacheDataSource>();
};

TEST_F(SeveralProgramsTest, LeaveEveryFileWholeAtEveryMoment) {
    for (std::size_t i = 0; i < kPrograms; ++i) {
        start([this, i] { return Program(world, i); });
    }
    start([this] { return Viewer(world); });
    watch();
    look();
    world.expectLogs();
    world.expectNeighbour();
    EXPECT_TRUE(world.journal().wasLastCommitOfAny(readFile(world.registryFile())));
    EXPECT_THAT(leftOvers(), ::testing::IsEmpty());
    // A line that another program's commit lost comes back when a plug-in opens its composition.
    std::uint64_t frames = 0;
    for (const std::string& root : world.roots) {
        for (std::size_t i = 0; i < world.projects.size(); ++i) {
            const KavroPISSFrameCache opened(root.c_str(), world.projects[i].c_str(),
                                             world.compositions[i].c_str());
        }
        frames += plainMeasure(root).files - 2; // the tables
    }
    world.registerProject(0, world.projects[0], world.roots[0]);
    world.registerProject(1, world.projects[1], world.roots[1]);
    CacheDataSource source;
    source.setShouldProvideData(true);
    source.reload();
    EXPECT_EQ(static_cast<std::uint64_t>(source.getRootNode()->getFileCount()), frames);
    EXPECT_EQ(source.getRootNode()->getFileSize(), frames * kFrameBytes);
}

} // namespace
