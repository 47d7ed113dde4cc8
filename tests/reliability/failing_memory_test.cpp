// Every public operation of the core library that plug-ins call, with each of its allocations
// failing in turn: it answers and never throws, whatever the answer is. What it may leave on the
// disk is looked at by the failing-calls tests.

#include "files/owned_text.h"
#include "runtime/maro_log.h"
#include "store/KavroPISSConfig.h"
#include "store/KavroPISSConfigHelper.h"
#include "store/KavroPISSFrameCache.h"
#include "store/KavroPISSFrameCacheRegistry.h"
#include "store/KavroPISSPerProjectConfig.h"
#include "store/Kavro_PISSRenderQueue.h"
#include "store/PISSFileUtilities.h"
#include "store/PISSMD5.h"
#include "tests/reliability/product_world.h"
#include "tests/reliability/queue_jobs.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <exception>

namespace {

using corvid::NameList;
using corvid::OwnedText;
using corvid::test::Call;
using corvid::test::FailNth;
using corvid::test::Lasting;
using corvid::test::ProductWorld;

// Texts made before anything fails.
struct Given {
    explicit Given(const ProductWorld& world)
        : root(world.firstRoot()), second(world.secondRoot()), project(world.solo),
          twin(world.twin), composition(world.mainComp), shots(world.shots()),
          missing(world.path("new/folder")), frame(world.path("new/file")) {}
    std::string root, second, project, twin, composition, shots, missing, frame;
};

struct Step {
    const char* name;
    void (*run)(const Given&);
};

void PrintTo(const Step& step, std::ostream* out) {
    *out << step.name;
}

void stepThrough(KavroPISSFrameCache& cache,
                 int (KavroPISSFrameCache::*next)(char**, char**, std::uint64_t*)) {
    for (int i = 0; i < 4; ++i) {
        char* path = nullptr;
        char* name = nullptr;
        std::uint64_t size = 0;
        (cache.*next)(&path, &name, &size);
        const OwnedText ownedPath(path);
        const OwnedText ownedName(name);
    }
}

const Step kSteps[] = {
    {"log",
     [](const Given& given) {
         char path[1024];
         initMaroTime();
         initializeMaroLogging(given.frame.c_str());
         maro_logAlways("%s", given.root.c_str());
         calculateLogFilePath(path, sizeof(path), "settings");
         const long now = 0;
         std::free(maro_localtime(&now));
     }},
    {"list",
     [](const Given& given) {
         sDirectoryOrFileListEntry* head = nullptr;
         sDirectoryOrFileListEntry* tail = nullptr;
         int count = 0;
         PISSGetDirectoryOrFileList(given.root.c_str(), 1, &head, &tail, &count);
         NameList names;
         names.adopt(head, tail, static_cast<std::size_t>(count));
     }},
    {"measure",
     [](const Given& given) {
         PISSGetSizeOfDirectoryContents(given.root.c_str());
         PISSGetFileCount(given.root.c_str());
         PISSGetSizeOfFileContents(given.project.c_str());
     }},
    {"create", [](const Given& given) { PISSCreateDirectoryPath(given.missing.c_str()); }},
    {"hashOfFile",
     [](const Given& given) {
         char hash[36];
         _generateMD5ForFile(given.project.c_str(), hash);
     }},
    {"config",
     [](const Given& given) {
         KavroPISSConfig config;
         char* text = nullptr;
         config.GetItem(&text, "default", "DirectoryLocationOfFrameCache");
         const OwnedText owned(text);
         config.Add("default", "key", given.root.c_str());
         config.Add("two words", "key", 1);
         config.ChangeItem("default", "key", "x");
         config.Commit();
     }},
    {"initializeConfig", [](const Given&) { KavroPISSConfig::initializePISSConfig(); }},
    {"projectConfig",
     [](const Given& given) {
         const KavroPISSProjectKeys keys(given.project.c_str());
         KavroPISSPerProjectConfig config(given.shots.c_str());
         config.Add(keys.identity.c_str(), "key", given.root.c_str());
         config.AddWithoutHashing("h h", "key", 2);
         config.ChangeItem(keys.identity.c_str(), "key", 3);
         config.Commit();
     }},
    {"registry",
     [](const Given& given) {
         KavroPISSFrameCacheRegistry registry;
         registry.Add(given.project.c_str(), "key", given.root.c_str());
         registry.ChangeItem(given.twin.c_str(), "PathToCache", given.root.c_str());
         registry.DeleteItem(given.project.c_str());
         registry.Commit();
     }},
    {"layers",
     [](const Given& given) {
         using Helper = KavroPISSConfigHelper;
         char text[64];
         int number = 0;
         const KavroPISSProjectKeys keys(given.project.c_str());
         Helper::addOrUpdateGlobalStringSetting("key", given.root.c_str());
         Helper::addOrUpdateProjectIntegerSetting(&keys, "key", 1);
         Helper::addOrUpdateRegistryStringSetting(given.project.c_str(), "key", "x");
         Helper::queryStringSetting(text, sizeof(text), "key", "default", &keys, nullptr);
         Helper::queryIntegerSettingBounded(&number, "key", 0, 9, "default", &keys, nullptr);
         const KavroProjectSettings settings{1};
         Helper::isCacheCheckingMode(&settings);
         Helper::determineIfCacheWillOverflow(1, 1);
     }},
    {"steps",
     [](const Given& given) {
         KavroPISSFrameCache cache(given.root.c_str(), given.twin.c_str(),
                                   given.composition.c_str(), "PROXY");
         char path[64];
         cache.GetCompletePathToFrameCache(path, sizeof(path));
         cache.PrepareProjectList();
         stepThrough(cache, &KavroPISSFrameCache::GetNextItemInProjectList);
         cache.PrepareCompositionList();
         stepThrough(cache, &KavroPISSFrameCache::GetNextItemInCompositionList);
         cache.PrepareFeatureList();
         stepThrough(cache, &KavroPISSFrameCache::GetNextItemInFeatureList);
         cache.PrepareFrameCacheList();
         stepThrough(cache, &KavroPISSFrameCache::GetNextItemInFrameCacheList);
         long date = 0;
         cache.GetLastModifiedDateForFeature(&date);
         cache.DoesFrameExist(1);
     }},
    {"sizeOfRoot", [](const Given& given) { KavroPISSFrameCache(given.root.c_str()).GetSize(); }},
    {"configuredRoot",
     [](const Given& given) {
         KavroPISSFrameCache cache(true, given.project.c_str());
         cache.DoesProjectHaveAnyCacheFiles(given.project.c_str());
         cache.WriteProjectHashTable();
         cache.ReadCompositionHashTable();
     }},
    {"removals",
     [](const Given& given) {
         KavroPISSFrameCache cache(given.root.c_str(), given.twin.c_str(),
                                   given.composition.c_str(), "PROXY");
         cache.DeleteAllCompositions();
         cache.DeleteAllFeatures();
         cache.TestFunctionToCreateAFrameFile(1);
         cache.DeleteAllFrames();
         cache.DeleteFeature("PROXY");
         cache.DeleteComposition(given.composition.c_str());
         cache.DeleteProject(given.twin.c_str());
     }},
    {"moves",
     [](const Given& given) {
         KavroPISSFrameCache cache(given.root.c_str());
         cache.MoveProject(given.project.c_str(), given.second.c_str());
         cache.RenameProject(given.twin.c_str(), "new name", nullptr, nullptr);
     }},
    {"queue",
     [](const Given&) {
         KavroPISSRenderQueue queue;
         char name[1024];
         queue.StartTransaction();
         corvid::test::addJob(queue, "new");
         queue.GetSpecificRenderQueueItemInList(2);
         queue.MoveRenderQueueItem(1, 3);
         queue.MoveRenderQueueItemToHistory(1);
         queue.DeleteRenderQueueItem(2);
         queue.CreateBackupProjectName(name, sizeof(name));
         queue.Commit();
     }},
};

class FailingMemoryTest : public ::testing::TestWithParam<Step> {};

// Whether the nth allocation of that kind came; what was thrown then.
bool failsAt(const Step& step, Call call, int nth, Lasting lasting, std::string& thrown) {
    const ProductWorld world;
    const Given given(world);
    const FailNth failing(call, nth, ENOMEM, {}, lasting);
    try {
        step.run(given);
    } catch (const std::exception& exception) {
        const corvid::test::Undisturbed tell;
        thrown = exception.what();
    }
    return failing.failures() > 0;
}

TEST_P(FailingMemoryTest, NeverThrows) {
    constexpr int kMostAllocations = 3000;
    // The allocations of a loop follow one another; the further on, the more of them are passed
    // over.
    constexpr int kSteadiness = corvid::test::kSanitized ? 4 : 32;
    for (const Call call : {Call::AnyNew, Call::Malloc, Call::Strdup}) {
        for (const Lasting lasting : {Lasting::Once, Lasting::FromThenOn}) {
            int nth = 1;
            std::string thrown;
            while (nth < kMostAllocations && failsAt(GetParam(), call, nth, lasting, thrown)) {
                ASSERT_EQ(thrown, "")
                    << "at allocation " << nth << " of kind " << static_cast<int>(call);
                nth += 1 + nth / kSteadiness;
            }
            ASSERT_LT(nth, kMostAllocations);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Steps, FailingMemoryTest, ::testing::ValuesIn(kSteps),
                         [](const ::testing::TestParamInfo<Step>& each) {
                             return std::string(each.param.name);
                         });

} // namespace
