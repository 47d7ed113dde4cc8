// Programs that do nothing but commit, and others that do nothing but read what they committed.

#include "store/KavroPISSConfig.h"
#include "store/KavroPISSFrameCache.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "tests/reliability/several_programs_run.h"
#include "tests/support/frame_cache_levels.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using namespace corvid::test;
using corvid::hashOf;

constexpr std::size_t kCommitters = 3;
constexpr int kReaders = 2;

// Commits as quickly as it can; now and then it takes over what the others committed.
class Committer {
public:
    Committer(const SharedWorld& world, std::size_t number) : m_world(world), m_number(number) {}

    void operator()() const {
        constexpr int kCommitsPerReading = 20;
        KavroPISSFrameCacheRegistry registry;
        KavroPISSConfig config;
        KavroPISSFrameCache model(m_world.roots[0].c_str());
        EXPECT_EQ(config.IsValid(), 1);
        addCompositions(model);
        for (int i = 0; i < kCommitsPerReading; ++i) {
            const std::string& project = m_world.projects[m_number];
            EXPECT_EQ(registry.ChangeItem(project.c_str(), "LastOpened", nextWitness().c_str()), 1);
            m_world.journal().willCommit(m_number, registryText(registry));
            EXPECT_EQ(registry.Commit(), 1);
            EXPECT_TRUE(config.ChangeItem("default", kTextSettings[0], nextWitness().c_str()));
            EXPECT_TRUE(config.Commit());
            EXPECT_EQ(model.WriteCompositionHashTable(), 1);
        }
    }

private:
    std::string nextWitness() const {
        return witnessText(m_number, m_world.journal().nextSerial(m_number));
    }
    // Each program knows another number of compositions.
    void addCompositions(KavroPISSFrameCache& model) const {
        model.DeleteCompositionHashTable();
        for (std::size_t i = 0; i <= m_number; ++i) {
            const std::string& key = m_world.compositions[i];
            model.AddCompositionHashTable(hashOf(key).c_str(), key.c_str(), false);
        }
    }

    const SharedWorld& m_world;
    std::size_t m_number;
};

TEST_F(SeveralProgramsTest, ReadersSeeTheTextOfOneCommit) {
    for (std::size_t i = 0; i < kCommitters; ++i) {
        start([this, i] { return Committer(world, i); });
    }
    for (int i = 0; i < kReaders; ++i) {
        start([this] { return [this] { look(); }; });
    }
    watch();
    look();
    EXPECT_TRUE(world.journal().wasLastCommitOfAny(readFile(world.registryFile())));
    EXPECT_THAT(leftOvers(), ::testing::IsEmpty());
}

} // namespace
